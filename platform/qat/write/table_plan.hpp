/// @file
/// Decides which fields of a cell array of like structures become columns, and collects what the columns hold.
///
/// A field that is in every cell a number of one class, a char row, a cell of the same number of char rows or an array of
/// samples is a column. A field that is in every cell a structure of the same fields is a group of such fields. What is
/// left is a group with one member per row.
#pragma once

#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/write/sample_store.hpp"

namespace vtu::qat {

class TablePlan;

/// One field of a table: its value per row, and what its form needs. Rows are taken one after another.
class FieldPlan final {
 public:
  enum class Form { members, numbers, texts, textCells, references, columns };

  FieldPlan(TablePlan& table, std::string link) : table_(&table), link_(std::move(link)) {}

  /// Takes the value of the next row, null where the field was never set. @param owner The row's structure.
  void take(const qxArray* value, const qxArray& owner);

  /// To be called after the last row.
  void finish();

  [[nodiscard]] const std::string& link() const { return link_; }  ///< encoded name
  [[nodiscard]] Form form() const { return form_; }
  [[nodiscard]] const std::vector<const qxArray*>& values() const { return values_; }     ///< one per row
  [[nodiscard]] const std::vector<const qxArray*>& owners() const { return owners_; }     ///< one per row
  [[nodiscard]] ElementKind kind() const { return kind_; }                                ///< numbers
  [[nodiscard]] const std::vector<std::byte>& numbers() const { return numbers_; }        ///< numbers
  [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }          ///< texts, textCells
  [[nodiscard]] std::size_t textsPerRow() const { return textsPerRow_; }                  ///< textCells
  [[nodiscard]] bool cellsAreRows() const { return cellsAreRows_; }                       ///< textCells: 1-by-k
  [[nodiscard]] const std::vector<Reference>& references() const { return references_; }  ///< references
  [[nodiscard]] const std::vector<FieldPlan>& fields() const { return fields_; }          ///< columns

 private:
  void choose(const qxArray& first, const qxArray& owner);
  [[nodiscard]] bool fits(const qxArray& value, const qxArray& owner);
  [[nodiscard]] bool takeNumber(const qxArray& value);
  [[nodiscard]] bool takeText(const qxArray& value);
  [[nodiscard]] bool takeTextCells(const qxArray& value);
  void leaveToMembers();

  TablePlan* table_;
  std::string link_;
  Form form_ = Form::members;
  std::vector<const qxArray*> values_, owners_;
  ElementKind kind_;
  std::vector<std::byte> numbers_;
  std::vector<std::string> texts_;
  std::size_t textsPerRow_ = 1;
  bool cellsAreRows_ = false;
  std::vector<Reference> references_;
  std::vector<FieldPlan> fields_;
};

/// The plan of one table. Borrows the arrays.
class TablePlan final {
 public:
  /// @param samples Gives the references of arrays of samples.
  explicit TablePlan(const SampleStore& samples) : samples_(samples) {}
  TablePlan(const TablePlan&) = delete;
  TablePlan& operator=(const TablePlan&) = delete;

  /// Plans the cells of a cell array. @return False if they are not all 1-by-1 structures of the same fields, at least one.
  [[nodiscard]] bool take(const std::vector<qalc::ArrayPtr>& cells);

  [[nodiscard]] const std::vector<FieldPlan>& fields() const { return fields_; }

 private:
  friend class FieldPlan;

  const SampleStore& samples_;
  std::vector<FieldPlan> fields_;
  std::size_t fieldCount_ = 0;  // of all levels
  int depth_ = 0;               // of the groups of columns that are being planned
};

}  // namespace vtu::qat
