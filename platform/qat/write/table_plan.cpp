#include "platform/qat/write/table_plan.hpp"

#include <algorithm>

#include "platform/qat/names.hpp"
#include "platform/qat/utf8_rows.hpp"
#include "platform/qat/write/dataset_writer.hpp"

namespace vtu::qat {
namespace {

/// Fields of one table and depth of its groups; structures beyond are members, which are linked where they are shared.
constexpr std::size_t kMostFields = 4096;
constexpr int kDeepestColumns = 32;

bool isSingle(const qxArray& array) { return array.dims.size() == 2 && array.dims.elements() == 1; }

bool isSingleStructure(const qxArray* value) { return value != nullptr && value->id == qxSTRUCT && isSingle(*value); }

bool haveSameFields(const qxArray& a, const qxArray& b) {
  const auto& first = a.storage->fields;
  const auto& second = b.storage->fields;
  return &a == &b || std::equal(first.begin(), first.end(), second.begin(), second.end(),
                                [](const auto& x, const auto& y) { return x.name == y.name; });
}

/// True if the fields' names can stand in a table.
bool haveShortNames(const qxArray& structure) {
  const auto& fields = structure.storage->fields;
  return !fields.empty() && std::all_of(fields.begin(), fields.end(), [](const qalc::Field& field) {
    return encodeName(field.name, NameRole::tableField).size() <= kLongestName;
  });
}

std::vector<FieldPlan> plansFor(TablePlan& table, const qxArray& structure) {
  std::vector<FieldPlan> plans;
  plans.reserve(structure.storage->fields.size());
  for (const qalc::Field& field : structure.storage->fields) {
    plans.emplace_back(table, encodeName(field.name, NameRole::tableField));
  }
  return plans;
}

void takeRow(std::vector<FieldPlan>& plans, const qxArray& row) {
  for (std::size_t f = 0; f < plans.size(); ++f) plans[f].take(row.storage->fields[f].values.front().get(), row);
}

}  // namespace

void FieldPlan::take(const qxArray* value, const qxArray& owner) {
  if (values_.empty() && value != nullptr) choose(*value, owner);
  const bool fitsForm = form_ != Form::members && value != nullptr && fits(*value, owner);
  values_.push_back(value);
  owners_.push_back(&owner);
  if (!fitsForm) leaveToMembers();
}

void FieldPlan::choose(const qxArray& first, const qxArray& owner) {
  if (table_->samples_.find(first, &owner)) {
    form_ = Form::references;
  } else if (first.id == qxCHAR) {
    form_ = Form::texts;
  } else if (first.id == qxCELL) {
    form_ = Form::textCells;
    textsPerRow_ = first.dims.elements();
    cellsAreRows_ = first.dims.data()[0] == 1 && textsPerRow_ != 1;
  } else if (first.id != qxSTRUCT) {
    form_ = Form::numbers;
    kind_ = {first.id, first.complex};
  } else if (isSingle(first) && haveShortNames(first) && table_->depth_ < kDeepestColumns &&
             table_->fieldCount_ + first.storage->fields.size() <= kMostFields) {
    form_ = Form::columns;
    table_->fieldCount_ += first.storage->fields.size();
    fields_ = plansFor(*table_, first);
  }
}

bool FieldPlan::fits(const qxArray& value, const qxArray& owner) {
  const bool isSampled = value.storage->samples != nullptr;
  const auto reference = isSampled ? table_->samples_.find(value, &owner) : std::nullopt;
  if (reference.has_value() != (form_ == Form::references)) return false;
  switch (form_) {
    case Form::references:
      references_.push_back(*reference);
      return true;
    case Form::numbers:
      return takeNumber(value);
    case Form::texts:
      return takeText(value);
    case Form::textCells:
      return takeTextCells(value);
    case Form::columns:
      if (!isSingleStructure(&value) || (!values_.empty() && !haveSameFields(value, *values_.front()))) return false;
      ++table_->depth_;
      takeRow(fields_, value);
      --table_->depth_;
      return true;
    case Form::members:
      break;
  }
  return false;
}

bool FieldPlan::takeNumber(const qxArray& value) {
  if (!(ElementKind{value.id, value.complex} == kind_) || !isSingle(value)) return false;
  const qalc::ValueView view = qalc::storedValues(value);
  numbers_.insert(numbers_.end(), view.data, view.data + view.elementBytes);
  return true;
}

bool FieldPlan::takeText(const qxArray& value) {
  if (!values_.empty() && value.storage == values_.back()->storage && value.dims.elements() > 0) {
    texts_.push_back(texts_.back());
    return true;
  }
  auto text = textOfRow(&value);
  if (text) texts_.push_back(std::move(*text));
  return text.has_value();
}

bool FieldPlan::takeTextCells(const qxArray& value) {
  const std::size_t rows = cellsAreRows_ ? 1 : textsPerRow_;
  if (value.id != qxCELL || value.dims.size() != 2 || value.dims.elements() == 0 || value.dims.data()[0] != rows ||
      value.dims.elements() != textsPerRow_) {
    return false;
  }
  for (const auto& cell : value.storage->cells()) {
    auto text = textOfRow(cell.get());
    if (!text) return false;
    texts_.push_back(std::move(*text));
  }
  return true;
}

void FieldPlan::leaveToMembers() {
  form_ = Form::members;
  numbers_ = {};
  texts_ = {};
  references_ = {};
  fields_ = {};
}

void FieldPlan::finish() {
  const bool isText = form_ == Form::texts || form_ == Form::textCells;
  if (isText && !fitFixedLength(texts_)) leaveToMembers();
  for (FieldPlan& field : fields_) field.finish();
}

bool TablePlan::take(const std::vector<qalc::ArrayPtr>& cells) {
  if (cells.empty() || !isSingleStructure(cells.front().get()) || !haveShortNames(*cells.front())) return false;
  for (const auto& cell : cells) {
    if (!isSingleStructure(cell.get()) || !haveSameFields(*cell, *cells.front())) return false;
  }
  fields_ = plansFor(*this, *cells.front());
  for (const auto& cell : cells) takeRow(fields_, *cell);
  for (FieldPlan& field : fields_) field.finish();
  return true;
}

}  // namespace vtu::qat
