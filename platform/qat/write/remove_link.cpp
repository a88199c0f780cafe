#include "platform/qat/write/remove_link.hpp"

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr const char* kFailure = "cannot count the references of an object";

}  // namespace

void keepWithoutLink(hid_t group, const std::string& link) {
  const Handle object(checked(H5Oopen(group, link.c_str(), H5P_DEFAULT), kStorage, kFailure));
  checked(H5Oincr_refcount(object.get()), kStorage, kFailure);
}

void removeLink(const Source& source, hid_t group, const std::string& link, bool written) {
  H5L_info_t info;
  checked(H5Lget_info(group, link.c_str(), &info, H5P_DEFAULT), kDamaged, "what is to be removed cannot be found");
  if (info.type == H5L_TYPE_HARD) {
    const Handle object = openMember(source, group, link);
    H5O_info_t about;
    checked(H5Oget_info2(object.get(), &about, H5O_INFO_BASIC), kDamaged, kFailure);
    if (written) {
      checked(H5Odecr_refcount(object.get()), kStorage, kFailure);
    } else if (about.rc < 2) {
      checked(H5Oincr_refcount(object.get()), kStorage, kFailure);
    }
  }
  checked(H5Ldelete(group, link.c_str(), H5P_DEFAULT), kStorage, "cannot be removed");
}

}  // namespace vtu::qat
