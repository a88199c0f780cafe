/// @file
/// Decides which fields of a cell array of like structures become columns.
///
/// A field that holds, in every cell, a number of one class, a char row or a cell of char rows is a column. A field that
/// holds like structures is a group of such fields. What is left stays with its row.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"

namespace vtu::qat {

/// How one field of a table is stored.
enum class FieldForm { inRows, numbers, texts, textCells, columns };

/// One field of a table: its value per row, and what its form needs.
struct FieldPlan {
  std::string link;  ///< encoded name
  FieldForm form = FieldForm::inRows;
  std::vector<const qxArray*> values;  ///< one per row; null where the field was never set
  ElementKind kind;                    ///< numbers: their class
  std::vector<std::string> texts;      ///< texts, textCells: all texts, row after row
  std::vector<std::uint64_t> offsets;  ///< textCells: where each row begins in texts, and the end
  bool cellsAreRows = false;           ///< textCells: the cells are 1-by-N, not N-by-1
  std::vector<FieldPlan> fields;       ///< columns: the fields of the structures
  bool hasRowMembers = false;          ///< something of this field is stored in the rows
};

/// A plan for the values if they are 1-by-1 structures with the same fields, at least one; nothing otherwise.
/// @param depth Levels of nesting still allowed for groups of columns.
[[nodiscard]] std::optional<std::vector<FieldPlan>> planTable(const std::vector<const qxArray*>& rows, int depth);

/// The cells or, of a structure's field, the values as plain pointers.
[[nodiscard]] std::vector<const qxArray*> borrowed(const std::vector<qalc::ArrayPtr>& values);

}  // namespace vtu::qat
