#include "platform/qat/file_format.hpp"

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"

namespace vtu::qat {

Handle makeAccessList(Changes changes) {
  constexpr unsigned kAttemptsInStream = 20;  // a writer may be in the middle of a structure
  Handle list(checked(H5Pcreate(H5P_FILE_ACCESS), kStorage, "cannot make a property list"));
  constexpr const char* kWhat = "cannot set up the file access";
  checked(H5Pset_libver_bounds(list.get(), H5F_LIBVER_V110, H5F_LIBVER_V110), kStorage, kWhat);
  checked(H5Pset_fclose_degree(list.get(), H5F_CLOSE_STRONG), kStorage, kWhat);
  checked(H5Pset_metadata_read_attempts(list.get(), kAttemptsInStream), kStorage, kWhat);
  checked(H5Pset_driver(list.get(), fileDriver(changes), nullptr), kStorage, kWhat);
  return list;
}

Handle makeFileCreationList() {
  Handle list(checked(H5Pcreate(H5P_FILE_CREATE), kStorage, "cannot make a property list"));
  checked(H5Pset_link_creation_order(list.get(), H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED), kStorage,
          "cannot keep the order of variables");
  checked(H5Pset_obj_track_times(list.get(), false), kStorage, "cannot set up the file");
  keepLinksInHeader(list.get(), 32, 16);
  return list;
}

void keepLinksInHeader(hid_t list, unsigned most, unsigned expected) {
  constexpr unsigned kNameBytes = 16;
  constexpr const char* kWhat = "cannot set up a group";
  checked(H5Pset_link_phase_change(list, most, most / 2), kStorage, kWhat);
  checked(H5Pset_est_link_info(list, expected, kNameBytes), kStorage, kWhat);
}

void writeFormat(Kit& kit, hid_t root) {
  writeTextAttribute(kit, root, kFormatAttribute, "qat");
  const Handle version(
      checked(H5Acreate2(root, kVersionAttribute, H5T_STD_U32LE, kit.scalarSpace(), H5P_DEFAULT, H5P_DEFAULT), kStorage,
              "cannot write the format version"));
  checked(H5Awrite(version.get(), H5T_NATIVE_UINT32, &kVersion), kStorage, "cannot write the format version");
}

}  // namespace vtu::qat
