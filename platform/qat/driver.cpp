#include "platform/qat/driver.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#if __has_include(<H5FDdevelop.h>)
#include <H5FDdevelop.h>
#endif

#include "platform/qat/failure.hpp"
#include "platform/qat/superblock.hpp"

namespace vtu::qat {
namespace {

H5FD_class_t plain;  // HDF5's own driver

using Failures = std::map<const void*, std::shared_ptr<std::string>>;

/// Of the files whose writes are checked, by the address of their descriptor. Never destroyed: HDF5 closes open files
/// when the program ends.
Failures& failures() {
  static auto& list = *new Failures;
  return list;
}

std::shared_ptr<std::string> opening;  // for the failures of the file that is being opened

const void* keyOf(H5FD_t* file) {
  void* handle = nullptr;
  return plain.get_handle(file, H5P_DEFAULT, &handle) < 0 ? nullptr : handle;
}

/// Runs work that writes to a file, unless that has failed before.
template <typename Work>
herr_t watched(H5FD_t* file, Work&& work) {
  const auto found = failures().find(keyOf(file));
  if (found == failures().end()) return work();
  std::string& failure = *found->second;
  if (failure.empty() && work() < 0) {
    failure = libraryReason();
    H5Eclear2(H5E_DEFAULT);
  }
  return 0;
}

herr_t readAsClosed(H5FD_t* file, H5FD_mem_t type, hid_t list, haddr_t address, size_t size, void* target) {
  if (plain.read(file, type, list, address, size, target) < 0) return -1;
  if (address >= kSuperblockBytes) return 0;
  SuperblockBytes superblock{};
  if (plain.read(file, type, list, 0, kSuperblockBytes, superblock.data()) < 0) return -1;
  const bool openForWriting = superblock[8] == 3 && superblock[11] != 0;
  const bool streamed = (superblock[11] & 4U) != 0;
  if (!openForWriting || streamed) return 0;
  closeSuperblock(superblock, plain.get_eof(file, type));
  std::memcpy(target, superblock.data() + address, std::min<std::size_t>(size, kSuperblockBytes - address));
  return 0;
}

herr_t write(H5FD_t* file, H5FD_mem_t type, hid_t list, haddr_t address, size_t size, const void* source) {
  return watched(file, [&] { return plain.write(file, type, list, address, size, source); });
}

/// A file that is open becomes no shorter: HDF5 cuts it before it has written all links to what was there. That is done
/// when everything is written (File::settle, or on closing).
herr_t truncate(H5FD_t* file, hid_t list, hbool_t closing) {
  if (!closing && plain.get_eoa(file, H5FD_MEM_DEFAULT) < plain.get_eof(file, H5FD_MEM_DEFAULT)) return 0;
  return watched(file, [&] { return plain.truncate(file, list, closing); });
}

H5FD_t* open(const char* name, unsigned flags, hid_t list, haddr_t largest) {
  H5FD_t* file = plain.open(name, flags, list, largest);
  if (file != nullptr && opening) failures()[keyOf(file)] = opening;
  return file;
}

herr_t close(H5FD_t* file) {
  failures().erase(keyOf(file));
  return plain.close(file);
}

/// Every block has a place of its own in the file, so that each is written by itself.
herr_t queryInPlace(const H5FD_t* file, unsigned long* flags) {
  const herr_t status = plain.query(file, flags);
  constexpr unsigned long kTogether =
      H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_ACCUMULATE_METADATA | H5FD_FEAT_AGGREGATE_SMALLDATA;
  *flags &= ~kTogether;
  return status;
}

/// Places a block where it does not cross the border of a page, if it fits into one. The gap after it keeps HDF5 from
/// making it longer, and from making one free block of two.
haddr_t allocateInPage(H5FD_t* file, H5FD_mem_t type, hid_t, hsize_t size) {
  constexpr haddr_t kPage = 4096, kUnit = 8;
  const auto roundedUp = [](haddr_t address, haddr_t unit) { return (address + unit - 1) / unit * unit; };
  haddr_t address = roundedUp(plain.get_eoa(file, type), kUnit);
  if (size <= kPage && address / kPage != (address + size - 1) / kPage) address = roundedUp(address, kPage);
  return plain.set_eoa(file, type, address + size + kUnit) < 0 ? HADDR_UNDEF : address;
}

herr_t lockNothing(H5FD_t*, hbool_t) { return 0; }
herr_t unlockNothing(H5FD_t*) { return 0; }

/// HDF5 shows the functions of a driver only on a file that it opened.
H5FD_class_t plainDriver() {
  const Handle list(checked(H5Pcreate(H5P_FILE_ACCESS), kStorage, "cannot make a property list"));
  checked(H5Pset_fapl_sec2(list.get()), kStorage, "HDF5 has no driver for files");
  H5FD_t* file = H5FDopen("/dev/null", H5F_ACC_RDONLY, list.get(), HADDR_UNDEF);
  if (file == nullptr) throwLibraryFailure(kStorage, "HDF5 has no driver for files");
  const H5FD_class_t found = *file->cls;
  H5FDclose(file);
  return found;
}

hid_t registerDriver(Changes changes) {
  plain = plainDriver();
  H5FD_class_t driver = plain;
  driver.name = "qat";
  if (changes == Changes::inPlace) {
    driver.query = queryInPlace;
    driver.alloc = allocateInPage;
  }
  driver.open = open;
  driver.close = close;
  driver.read = readAsClosed;
  driver.write = write;
  driver.truncate = truncate;
  driver.lock = lockNothing;
  driver.unlock = unlockNothing;
  return checked(H5FDregister(&driver), kStorage, "cannot register the file driver");
}

}  // namespace

hid_t fileDriver(Changes changes) {
  static std::array<hid_t, 2> drivers = {H5I_INVALID_HID, H5I_INVALID_HID};
  hid_t& driver = drivers.at(static_cast<std::size_t>(changes));
  if (H5Iis_valid(driver) <= 0) driver = registerDriver(changes);  // another caller's H5close() unregisters it
  return driver;
}

int descriptorOf(hid_t file) {
  void* handle = nullptr;
  return H5Fget_vfd_handle(file, H5P_DEFAULT, &handle) < 0 ? -1 : *static_cast<int*>(handle);
}

WatchedOpening::WatchedOpening(std::shared_ptr<std::string> failure) { opening = std::move(failure); }

WatchedOpening::~WatchedOpening() { opening.reset(); }

}  // namespace vtu::qat
