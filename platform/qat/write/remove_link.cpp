#include "platform/qat/write/remove_link.hpp"

#include "platform/qat/failure.hpp"

namespace vtu::qat {

void removeLink(const Source& source, hid_t group, const std::string& link, bool written) {
  H5L_info_t info;
  checked(H5Lget_info(group, link.c_str(), &info, H5P_DEFAULT), kDamaged, "what is to be removed cannot be found");
  if (!written && info.type == H5L_TYPE_HARD) {
    const Handle object = openMember(source, group, link);
    checked(H5Oincr_refcount(object.get()), kStorage, "what is to be removed cannot be kept");
  }
  checked(H5Ldelete(group, link.c_str(), H5P_DEFAULT), kStorage, "cannot be removed");
}

}  // namespace vtu::qat
