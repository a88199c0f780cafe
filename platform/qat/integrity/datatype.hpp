/// @file
/// Reads and checks a stored datatype.
#pragma once

#include <cstdint>

#include "platform/qat/integrity/cursor.hpp"

namespace vtu::qat {

/// The properties of a type that the checks use.
struct TypeInfo {
  std::uint64_t size = 0;  ///< bytes of one element, > 0
  bool refers = false;     ///< elements are text of variable length, which is stored elsewhere
};

/// Reads one Datatype Message: little-endian integers and IEEE numbers, text of fixed and variable length, enumerations
/// over integers, and compounds of all but text of variable length and compounds. @throws Failure for anything else
[[nodiscard]] TypeInfo readDatatype(Cursor at);

}  // namespace vtu::qat
