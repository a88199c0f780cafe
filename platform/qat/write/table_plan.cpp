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

/// True if a table can have fields of these names.
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
  if (values.empty() && value != nullptr) choose(*value, owner);
  const bool fitsForm = form != Form::members && value != nullptr && fits(*value, owner);
  values.push_back(value);
  owners.push_back(&owner);
  if (!fitsForm) leaveToMembers();
}

void FieldPlan::choose(const qxArray& first, const qxArray& owner) {
  if (table->samples_.find(first, &owner)) {
    form = Form::references;
  } else if (first.id == qxCHAR) {
    form = Form::texts;
  } else if (first.id == qxCELL) {
    form = Form::textCells;
    textsPerRow = first.dims.elements();
    cellsAreRows = first.dims.data()[0] == 1 && textsPerRow != 1;
  } else if (first.id != qxSTRUCT) {
    form = Form::numbers;
    kind = {first.id, first.complex};
  } else if (isSingle(first) && haveShortNames(first) && table->depth_ < kDeepestColumns &&
             table->fieldCount_ + first.storage->fields.size() <= kMostFields) {
    form = Form::columns;
    table->fieldCount_ += first.storage->fields.size();
    fields = plansFor(*table, first);
  }
}

bool FieldPlan::fits(const qxArray& value, const qxArray& owner) {
  const bool isSampled = value.storage->samples != nullptr;
  const auto reference = isSampled ? table->samples_.find(value, &owner) : std::nullopt;
  if (reference.has_value() != (form == Form::references)) return false;
  switch (form) {
    case Form::references:
      references.push_back(*reference);
      return true;
    case Form::numbers:
      return takeNumber(value);
    case Form::texts:
      return takeText(value);
    case Form::textCells:
      return takeTextCells(value);
    case Form::columns:
      if (!isSingleStructure(&value) || (!values.empty() && !haveSameFields(value, *values.front()))) return false;
      ++table->depth_;
      takeRow(fields, value);
      --table->depth_;
      return true;
    case Form::members:
      break;
  }
  return false;
}

bool FieldPlan::takeNumber(const qxArray& value) {
  if (!(ElementKind{value.id, value.complex} == kind) || !isSingle(value)) return false;
  const qalc::ValueView view = qalc::storedValues(value);
  numbers.insert(numbers.end(), view.data, view.data + view.elementBytes);
  return true;
}

bool FieldPlan::takeText(const qxArray& value) {
  if (!values.empty() && value.storage == values.back()->storage && value.dims.elements() > 0) {
    texts.push_back(texts.back());
    return true;
  }
  auto text = textOfRow(&value);
  if (text) texts.push_back(std::move(*text));
  return text.has_value();
}

bool FieldPlan::takeTextCells(const qxArray& value) {
  const std::size_t rows = cellsAreRows ? 1 : textsPerRow;
  if (value.id != qxCELL || value.dims.size() != 2 || value.dims.elements() == 0 || value.dims.data()[0] != rows ||
      value.dims.elements() != textsPerRow) {
    return false;
  }
  for (const auto& cell : value.storage->cells()) {
    auto text = textOfRow(cell.get());
    if (!text) return false;
    texts.push_back(std::move(*text));
  }
  return true;
}

void FieldPlan::leaveToMembers() {
  form = Form::members;
  numbers = {};
  texts = {};
  references = {};
  fields = {};
}

void FieldPlan::finish() {
  const bool isText = form == Form::texts || form == Form::textCells;
  if (isText && !fitFixedLength(texts)) leaveToMembers();
  for (FieldPlan& field : fields) field.finish();
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
