/// @file
/// The HDF5 C library as the Qat code uses it: one owner for every kind of identifier; errors are not printed.
/// Related: failure.hpp turns a failing call into an exception.
#pragma once

#ifndef H5_USE_110_API
#define H5_USE_110_API
#endif
#include <hdf5.h>

#include <utility>

namespace vtu::qat {

/// Owns one HDF5 identifier of any kind (file, group, dataset, type, property list, …) and releases it.
class Handle final {
 public:
  Handle() = default;
  explicit Handle(hid_t id) : id_(id) {}
  Handle(Handle&& other) noexcept : id_(std::exchange(other.id_, H5I_INVALID_HID)) {}
  Handle& operator=(Handle&& other) noexcept {
    if (this != &other) {
      reset();
      id_ = std::exchange(other.id_, H5I_INVALID_HID);
    }
    return *this;
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { reset(); }

  [[nodiscard]] hid_t get() const { return id_; }
  explicit operator bool() const { return id_ >= 0; }

  /// Releases the identifier. Where a failure matters, call close().
  void reset() { static_cast<void>(close()); }

  /// Releases the identifier; true when HDF5 reported no error.
  [[nodiscard]] bool close() {
    const hid_t id = std::exchange(id_, H5I_INVALID_HID);
    return id < 0 || H5Idec_ref(id) >= 0;
  }

 private:
  hid_t id_ = H5I_INVALID_HID;
};

/// Keeps HDF5 from printing its error stack on this thread while the object exists; restores what was set before.
class QuietErrors final {
 public:
  QuietErrors() {
    H5Eget_auto2(H5E_DEFAULT, &function_, &data_);
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
  }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;
  ~QuietErrors() {
    H5Eclear2(H5E_DEFAULT);
    H5Eset_auto2(H5E_DEFAULT, function_, data_);
  }

 private:
  H5E_auto2_t function_ = nullptr;
  void* data_ = nullptr;
};

}  // namespace vtu::qat
