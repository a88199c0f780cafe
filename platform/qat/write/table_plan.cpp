#include "platform/qat/write/table_plan.hpp"

#include <algorithm>

#include "platform/qat/write/dataset_writer.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

bool isSingle(const qxArray& array) { return array.dims.size() == 2 && array.dims.elements() == 1; }

bool areLikeStructures(const std::vector<const qxArray*>& rows) {
  if (rows.empty() || rows.front() == nullptr || rows.front()->id != qxSTRUCT) return false;
  const auto& model = rows.front()->storage->fields;
  const auto sameName = [](const qalc::Field& a, const qalc::Field& b) { return a.name == b.name; };
  return !model.empty() && std::all_of(rows.begin(), rows.end(), [&](const qxArray* row) {
    if (row == nullptr || row->id != qxSTRUCT || !isSingle(*row)) return false;
    const auto& fields = row->storage->fields;
    return std::equal(fields.begin(), fields.end(), model.begin(), model.end(), sameName);
  });
}

bool planNumbers(FieldPlan& plan) {
  const qxArray* first = plan.values.front();
  if (first == nullptr || qalc::elementSize(first->id) == 0 || first->id == qxCHAR) return false;
  plan.kind = {first->id, first->complex};
  return std::all_of(plan.values.begin(), plan.values.end(), [&](const qxArray* value) {
    return value != nullptr && plan.kind == ElementKind{value->id, value->complex} && isSingle(*value);
  });
}

bool planTexts(FieldPlan& plan) {
  plan.texts.reserve(plan.values.size());
  for (const qxArray* value : plan.values) {
    auto text = textOfRow(value);
    if (!text) return false;
    plan.texts.push_back(std::move(*text));
  }
  return fitFixedLength(plan.texts);
}

bool areCellsAlong(const std::vector<const qxArray*>& values, std::size_t axis) {
  return std::all_of(values.begin(), values.end(), [axis](const qxArray* value) {
    return value != nullptr && value->id == qxCELL && value->dims.size() == 2 && value->dims.data()[1 - axis] == 1;
  });
}

bool planTextCells(FieldPlan& plan) {
  const bool asColumns = areCellsAlong(plan.values, 0);
  if (!asColumns && !areCellsAlong(plan.values, 1)) return false;
  plan.cellsAreRows = !asColumns;
  plan.offsets.push_back(0);
  for (const qxArray* value : plan.values) {
    for (const auto& cell : value->storage->cells()) {
      auto text = textOfRow(cell.get());
      if (!text) return false;
      plan.texts.push_back(std::move(*text));
    }
    plan.offsets.push_back(plan.texts.size());
  }
  return fitFixedLength(plan.texts);
}

bool planColumns(FieldPlan& plan, int depth) {
  auto fields = planTable(plan.values, depth - 1);
  if (!fields) return false;
  plan.fields = std::move(*fields);
  plan.hasRowMembers =
      std::any_of(plan.fields.begin(), plan.fields.end(), [](const FieldPlan& field) { return field.hasRowMembers; });
  return true;
}

void choose(FieldPlan& plan, int depth) {
  const auto attempt = [&plan](FieldForm form, bool fits) {
    if (fits) {
      plan.form = form;
    } else {
      plan.texts.clear();
      plan.offsets.clear();
    }
    return fits;
  };
  if (attempt(FieldForm::numbers, planNumbers(plan)) || attempt(FieldForm::texts, planTexts(plan)) ||
      attempt(FieldForm::textCells, planTextCells(plan)) || attempt(FieldForm::columns, planColumns(plan, depth))) {
    return;
  }
  plan.hasRowMembers =
      std::any_of(plan.values.begin(), plan.values.end(), [](const qxArray* value) { return value != nullptr; });
}

}  // namespace

std::vector<const qxArray*> borrowed(const std::vector<qalc::ArrayPtr>& values) {
  std::vector<const qxArray*> pointers(values.size());
  std::transform(values.begin(), values.end(), pointers.begin(), [](const auto& value) { return value.get(); });
  return pointers;
}

std::optional<std::vector<FieldPlan>> planTable(const std::vector<const qxArray*>& rows, int depth) {
  if (depth <= 0 || !areLikeStructures(rows)) return {};
  const auto& names = rows.front()->storage->fields;
  std::vector<FieldPlan> plans(names.size());
  for (std::size_t f = 0; f < plans.size(); ++f) {
    plans[f].link = encodeName(names[f].name, NameRole::tableField);
    if (plans[f].link.size() > kLongestName) return {};
    plans[f].values.reserve(rows.size());
    for (const qxArray* row : rows) plans[f].values.push_back(row->storage->fields[f].values.front().get());
    choose(plans[f], depth);
  }
  return plans;
}

}  // namespace vtu::qat
