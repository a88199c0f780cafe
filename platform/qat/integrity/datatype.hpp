/// @file
/// What a stored datatype says, checked.
#pragma once

#include <cstdint>

#include "platform/qat/integrity/cursor.hpp"

namespace vtu::qat {

/// What the checks need to know about a type.
struct TypeInfo {
  std::uint64_t size = 0;  ///< bytes of one element, > 0
  bool refers = false;     ///< elements refer to something outside them: text or lists of variable length, references
};

/// Reads one datatype, members and base types included. @throws Failure when a member or bit field lies outside its
/// type, sizes contradict each other, or the nesting is deeper than any real type's.
TypeInfo readDatatype(Cursor& at, int depth = 0);

}  // namespace vtu::qat
