/// @file
/// What a Qat file holds already, so that an array that is shared is stored once.
#pragma once

#include <functional>
#include <unordered_map>

#include "platform/qalc_internal.hpp"
#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// Which arrays a file holds already, by their storage: such an array is linked, not written again.
///
/// Within one variable equal storage means an equal value. Between variables the storage may have been written or
/// reused, so the first hit is compared with what the file holds.
class SharedObjects final {
 public:
  /// True if the object at an address holds the array's value.
  using Comparison = std::function<bool(haddr_t, const qxArray&)>;

  explicit SharedObjects(Comparison comparison) : holds_(std::move(comparison)) {}

  /// From now on every object that is shared is compared before it is used.
  void beginVariable() { ++variable_; }

  /// Clears the record; to be called when objects may have been deleted.
  void clear() { known_.clear(); }

  /// The address of an object with this array's value, or HADDR_UNDEF.
  [[nodiscard]] haddr_t find(const qxArray& array) {
    const auto found = known_.find(qalc::storageIdentity(array));
    if (found == known_.end()) return HADDR_UNDEF;
    if (found->second.variable != variable_ && !holds_(found->second.address, array)) {
      known_.erase(found);
      return HADDR_UNDEF;
    }
    found->second.variable = variable_;
    return found->second.address;
  }

  void add(const qxArray& array, haddr_t address) { known_[qalc::storageIdentity(array)] = {address, variable_}; }

 private:
  struct Entry {
    haddr_t address;
    unsigned long variable;  // the variable for which the address is known to be right
  };

  Comparison holds_;
  std::unordered_map<const void*, Entry> known_;
  unsigned long variable_ = 0;
};

}  // namespace vtu::qat
