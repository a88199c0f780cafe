/// @file
/// Decides which fields of a cell array of like structures become columns.
///
/// A field that is in every cell a number of one class, a char row, a cell of the same number of char rows or an array of
/// samples is a column. A field that is in every cell a structure of the same fields is a group of such fields. What is
/// left is a group with one member per row.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/write/sample_store.hpp"

namespace vtu::qat {

/// How one field of a table is stored.
enum class FieldForm { members, numbers, texts, textCells, references, columns };

/// One field of a table: its value per row, and what its form needs.
struct FieldPlan {
  std::string link;  ///< encoded name
  FieldForm form = FieldForm::members;
  std::vector<const qxArray*> values;  ///< one per row; null where the field was never set
  ElementKind kind;                    ///< numbers: their class
  std::vector<std::string> texts;      ///< texts, textCells: all texts, row after row
  std::size_t textsPerRow = 1;         ///< textCells
  bool cellsAreRows = false;           ///< textCells: the cells are 1-by-k, not k-by-1
  std::vector<Reference> references;   ///< references: one per row
  std::vector<FieldPlan> fields;       ///< columns: the fields of the structures
};

/// A plan for the values if they are 1-by-1 structures with the same fields, at least one; nothing otherwise.
/// @param samples Gives the references of arrays of samples.
[[nodiscard]] std::optional<std::vector<FieldPlan>> planTable(const std::vector<const qxArray*>& rows,
                                                              const SampleStore& samples);

/// The cells or, of a structure's field, the values as plain pointers.
[[nodiscard]] std::vector<const qxArray*> borrowed(const std::vector<qalc::ArrayPtr>& values);

}  // namespace vtu::qat
