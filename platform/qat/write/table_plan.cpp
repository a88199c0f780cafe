#include "platform/qat/write/table_plan.hpp"

#include <algorithm>

#include "platform/qat/names.hpp"
#include "platform/qat/utf8_rows.hpp"
#include "platform/qat/write/dataset_writer.hpp"

namespace vtu::qat {
namespace {

/// Fields of one table and depth of its groups; structures beyond are members, which are linked where they are shared.
constexpr int kMostFields = 4096;
constexpr int kDeepestColumns = 32;

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

/// True for cells of the same number of cells along one axis.
bool areCellsAlong(const std::vector<const qxArray*>& values, std::size_t axis, std::size_t count) {
  return std::all_of(values.begin(), values.end(), [=](const qxArray* value) {
    return value != nullptr && value->id == qxCELL && value->dims.size() == 2 && value->dims.data()[1 - axis] == 1 &&
           value->dims.data()[axis] == count;
  });
}

bool planTextCells(FieldPlan& plan) {
  const qxArray* first = plan.values.front();
  if (first == nullptr || first->id != qxCELL || first->dims.elements() == 0) return false;
  plan.textsPerRow = first->dims.elements();
  const bool asColumns = areCellsAlong(plan.values, 0, plan.textsPerRow);
  if (!asColumns && !areCellsAlong(plan.values, 1, plan.textsPerRow)) return false;
  plan.cellsAreRows = !asColumns;
  for (const qxArray* value : plan.values) {
    for (const auto& cell : value->storage->cells()) {
      auto text = textOfRow(cell.get());
      if (!text) return false;
      plan.texts.push_back(std::move(*text));
    }
  }
  return fitFixedLength(plan.texts);
}

/// Plans one table, its groups of columns included.
class Planner final {
 public:
  explicit Planner(const SampleStore& samples) : samples_(samples) {}

  std::optional<std::vector<FieldPlan>> plan(const std::vector<const qxArray*>& rows, int depth) {
    if (depth > kDeepestColumns || !areLikeStructures(rows)) return {};
    const auto& names = rows.front()->storage->fields;
    if (depth > 0 && fields_ + names.size() > kMostFields) return {};
    fields_ += names.size();
    std::vector<FieldPlan> plans(names.size());
    for (std::size_t f = 0; f < plans.size(); ++f) {
      plans[f].link = encodeName(names[f].name, NameRole::tableField);
      if (plans[f].link.size() > kLongestName) return {};
      plans[f].values.reserve(rows.size());
      for (const qxArray* row : rows) plans[f].values.push_back(row->storage->fields[f].values.front().get());
      choose(plans[f], rows, depth);
    }
    return plans;
  }

 private:
  bool planReferences(FieldPlan& plan, const std::vector<const qxArray*>& rows) const {
    plan.references.reserve(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const auto reference = plan.values[i] != nullptr ? samples_.find(*plan.values[i], rows[i]) : std::nullopt;
      if (!reference) return false;
      plan.references.push_back(*reference);
    }
    return true;
  }

  /// True if one of the values has samples in the file: it is a reference wherever it stands.
  bool anySamples(const FieldPlan& plan, const std::vector<const qxArray*>& rows) const {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (plan.values[i] != nullptr && samples_.find(*plan.values[i], rows[i])) return true;
    }
    return false;
  }

  bool planColumns(FieldPlan& plan, int depth) {
    auto fields = this->plan(plan.values, depth + 1);
    if (!fields) return false;
    plan.fields = std::move(*fields);
    return true;
  }

  void choose(FieldPlan& plan, const std::vector<const qxArray*>& rows, int depth) {
    const auto attempt = [&plan](FieldForm form, bool fits) {
      if (fits) {
        plan.form = form;
      } else {
        plan.texts.clear();
        plan.references.clear();
      }
      return fits;
    };
    if (attempt(FieldForm::references, planReferences(plan, rows)) || anySamples(plan, rows)) return;
    static_cast<void>(attempt(FieldForm::numbers, planNumbers(plan)) || attempt(FieldForm::texts, planTexts(plan)) ||
                      attempt(FieldForm::textCells, planTextCells(plan)) ||
                      attempt(FieldForm::columns, planColumns(plan, depth)));
  }

  const SampleStore& samples_;
  std::size_t fields_ = 0;
};

}  // namespace

std::vector<const qxArray*> borrowed(const std::vector<qalc::ArrayPtr>& values) {
  std::vector<const qxArray*> pointers(values.size());
  std::transform(values.begin(), values.end(), pointers.begin(), [](const auto& value) { return value.get(); });
  return pointers;
}

std::optional<std::vector<FieldPlan>> planTable(const std::vector<const qxArray*>& rows, const SampleStore& samples) {
  return Planner(samples).plan(rows, 0);
}

}  // namespace vtu::qat
