/// @file
/// Small arrays that are mostly the same from signal to signal.
#pragma once

#include "platform/qalc.hpp"

namespace vtio::recorders {

/// A field whose value repeats: arrays of one value, made one after another, share their storage.
///
///     thread_local RepeatedArray<std::u16string> unit;
///     structure.set("Unit", unit.of(leaf.unit().getUnits()));
///
/// @tparam Value std::u16string, std::string (UTF-8) or std::uint64_t.
template <typename Value>
class RepeatedArray final {
 public:
  /// A char array of a text, a scalar of a number.
  [[nodiscard]] vtu::qxArrayWrapper of(const Value& value);

 private:
  Value value_{};
  vtu::qxArrayWrapper array_;
};

}  // namespace vtio::recorders
