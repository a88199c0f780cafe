#include "platform/qat/write/shared_objects.hpp"

#include "platform/qat/failure.hpp"

namespace vtu::qat {

haddr_t SharedObjects::find(const qxArray& array) {
  const auto found = known_.find(qalc::storageIdentity(array));
  if (found == known_.end()) return HADDR_UNDEF;
  if (found->second.variable != variable_) {
    if (!holds_(found->second.address, array)) {
      known_.erase(found);
      return HADDR_UNDEF;
    }
    found->second.variable = variable_;
  }
  return found->second.address;
}

haddr_t addressOfObject(hid_t object) {
  H5O_info_t info;
  checked(H5Oget_info2(object, &info, H5O_INFO_BASIC), kStorage, "cannot find a new object");
  return info.addr;
}

}  // namespace vtu::qat
