/// @file
/// The C++ type of the values of an array.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "platform/qalc.hpp"

namespace vtu {

/// Calls use(T()) with the type T of the values of arrays of a class: logicals are bytes, chars UTF-16 code units, and
/// a complex array has two values an element.
/// @return What `use` returns, for each type of the same type.
/// @throws std::invalid_argument for a class that has no values: cell arrays, structures.
template <typename Use>
decltype(auto) withValueType(qxClassID id, Use&& use) {
  switch (id) {
    // The types differ. NOLINTNEXTLINE(bugprone-branch-clone)
    case qxDOUBLE:
      return use(double());
    case qxSINGLE:
      return use(float());
    case qxINT8:
      return use(std::int8_t());
    case qxUINT8:
    case qxLOGICAL:
      return use(std::uint8_t());
    case qxINT16:
      return use(std::int16_t());
    case qxUINT16:
    case qxCHAR:
      return use(std::uint16_t());
    case qxINT32:
      return use(std::int32_t());
    case qxUINT32:
      return use(std::uint32_t());
    case qxINT64:
      return use(std::int64_t());
    case qxUINT64:
      return use(std::uint64_t());
    default:
      throw std::invalid_argument("an array of a class that has no values");
  }
}

}  // namespace vtu
