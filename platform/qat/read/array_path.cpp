#include "platform/qat/read/array_path.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/structures.hpp"

namespace vtu::qat {
namespace {

using Values = std::vector<const qxArray*>;
using Path = std::span<const std::string>;

bool isSingle(const qxArray& array) { return array.dims.size() == 2 && array.dims.elements() == 1; }

qalc::ArrayPtr shared(const qxArray* value) { return qalc::ArrayPtr(value == nullptr ? nullptr : qxShareArray(value)); }

Values fieldOf(const Values& structures, const std::string& name) {
  Values values;
  bool found = false;
  for (const qxArray* structure : structures) {
    if (structure != nullptr && (structure->id != qxSTRUCT || !isSingle(*structure))) {
      failAtStep(name, "not all cells are 1-by-1 structures");
    }
    values.push_back(structure == nullptr ? nullptr : qxGetField(structure, 0, name.c_str()));
    found = found || values.back() != nullptr;
  }
  if (!found) failAtStep(name, "no cell has that field");
  return values;
}

/// Samples that have not been read yet do not count as numbers.
bool areNumbersOfOneClass(const Values& values) {
  return std::all_of(values.begin(), values.end(), [&](const qxArray* value) {
    return value != nullptr && qalc::elementSize(value->id) > 0 && value->id != qxCHAR && isSingle(*value) &&
           value->id == values.front()->id && value->complex == values.front()->complex &&
           value->storage->flat().size() > 0;
  });
}

bool areLikeStructures(const Values& values) {
  return std::all_of(values.begin(), values.end(), [&](const qxArray* value) {
    if (value == nullptr || value->id != qxSTRUCT || !isSingle(*value)) return false;
    const auto& model = values.front()->storage->fields;
    const auto& fields = value->storage->fields;
    return std::equal(fields.begin(), fields.end(), model.begin(), model.end(),
                      [](const auto& a, const auto& b) { return a.name == b.name; });
  });
}

/// Values as one array with a row for each.
qalc::ArrayPtr asRows(const Values& values) {
  const std::size_t dims[] = {values.size(), 1};
  if (!values.empty() && areNumbersOfOneClass(values)) {
    qalc::ArrayPtr numbers(qxCreateNumericArray(2, dims, values.front()->id, values.front()->complex));
    std::byte* target = numbers->storage->values.data();
    for (const qxArray* value : values) {
      const qalc::ValueView view = qalc::storedValues(*value);
      std::memcpy(target, view.data, view.elementBytes);
      target += view.elementBytes;
    }
    return numbers;
  }
  if (!values.empty() && areLikeStructures(values)) {
    std::vector<std::string> names;
    for (const auto& field : values.front()->storage->fields) names.push_back(field.name);
    qalc::ArrayPtr columns = makeStructures({1, 1}, names);
    for (std::size_t f = 0; f < names.size(); ++f) {
      Values column;
      for (const qxArray* value : values) column.push_back(value->storage->fields[f].values.front().get());
      columns->storage->fields[f].values.front() = asRows(column);
    }
    return columns;
  }
  qalc::ArrayPtr cells(qxCreateCellArray(2, dims));
  for (std::size_t i = 0; i < values.size(); ++i) cells->storage->ownCells[i] = shared(values[i]);
  return cells;
}

}  // namespace

std::optional<std::size_t> numberOfStep(const std::string& step) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(step.data(), step.data() + step.size(), number);
  if (error != std::errc() || std::to_string(number) != step) return {};
  return number;
}

void failAtStep(const std::string& step, const std::string& why) {
  throw Failure(kAbsent, "at \"" + step + "\": " + why);
}

qalc::ArrayPtr partOf(const qxArray* value, Path path) {
  if (path.empty() || value == nullptr) {
    if (!path.empty()) failAtStep(path.front(), "there is nothing");
    return shared(value);
  }
  const std::string& step = path.front();
  const auto number = numberOfStep(step);
  if (value->id == qxCELL) {
    const auto& cells = value->storage->cells();
    if (cells.size() != value->dims.elements()) failAtStep(step, "samples are read as a whole");
    if (number && *number < cells.size()) return partOf(cells[*number].get(), path.subspan(1));
    if (number) failAtStep(step, "there are " + std::to_string(cells.size()) + " cells");
    Values values;
    for (const auto& cell : cells) values.push_back(cell.get());
    return partOfAll(fieldOf(values, step), path.subspan(1));
  }
  if (value->id != qxSTRUCT || !isSingle(*value)) failAtStep(step, "neither a 1-by-1 structure nor a cell array");
  const qxArray* field = qxGetField(value, 0, step.c_str());
  if (field == nullptr) failAtStep(step, "no such field");
  return partOf(field, path.subspan(1));
}

qalc::ArrayPtr partOfAll(const std::vector<const qxArray*>& values, Path path) {
  if (path.empty()) return asRows(values);
  const auto number = numberOfStep(path.front());
  if (!number) return partOfAll(fieldOf(values, path.front()), path.subspan(1));
  if (*number >= values.size()) failAtStep(path.front(), "there are " + std::to_string(values.size()) + " cells");
  return partOf(values[*number], path.subspan(1));
}

}  // namespace vtu::qat
