/// @file
/// A table while it is read, and the checks that come before memory is asked for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/reader.hpp"

namespace vtu::qat {

/// One field of a table while its rows are made.
struct TableColumn {
  enum class Form { inRows, numbers, texts, textCells, columns };

  std::string link;
  std::string name;
  Form form = Form::inRows;
  qalc::ArrayPtr numbers;
  std::vector<std::string> texts;
  std::vector<std::uint64_t> offsets;  // textCells: one more than rows
  bool cellsAreRows = false;
  std::vector<TableColumn> fields;
};

/// Product of extents. @throws Failure when it is not below `limit`, overflow included.
inline std::size_t checkedElements(const std::vector<std::size_t>& dims, std::uint64_t limit) {
  std::size_t elements = 1;
  bool overflow = false;
  bool none = false;
  for (const std::size_t extent : dims) {
    none = none || extent == 0;
    overflow = __builtin_mul_overflow(elements, extent, &elements) || overflow;
  }
  if (none) return 0;
  if (overflow || elements > limit) throw Failure(kDamaged, "more elements than the file has bytes");
  return elements;
}

/// An empty structure array with the decoded names of the links as its fields.
qalc::ArrayPtr makeStructures(const std::vector<std::size_t>& dims, const std::vector<std::string>& names);

}  // namespace vtu::qat
