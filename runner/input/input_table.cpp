#include "runner/input/input_table.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <set>

#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/input/results_rows.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

template <typename T>
void mix(const Values& low, const Values& high, double share, std::vector<double>& mixed) {
  const std::size_t count = low.numbers.size() / sizeof(T);
  mixed.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    T a{};
    T b{};
    std::memcpy(&a, low.numbers.data() + i * sizeof(T), sizeof(T));
    std::memcpy(&b, high.numbers.data() + i * sizeof(T), sizeof(T));
    mixed[i] = share == 0.0 ? static_cast<double>(a)
                            : static_cast<double>(a) + share * (static_cast<double>(b) - static_cast<double>(a));
  }
}

}  // namespace

InputTable::InputTable(const std::filesystem::path& csv, const ModelDescription& model) {
  readInputRows(csv, model, [this, &csv, &model](std::vector<std::string>& cells, std::size_t row) {
    try {
      row == 1 ? readHeader(cells, model) : readRow(cells, model);
    } catch (const RunnerError& error) {
      throw RunnerError(error.what(), printable(csv.string()) + " row " + std::to_string(row));
    }
  });
  if (times_.empty()) throw RunnerError("the table has no rows", printable(csv.string()));
}

void InputTable::readHeader(const std::vector<std::string>& cells, const ModelDescription& model) {
  if (cells.empty() || cells[0] != "time") throw RunnerError("the first column is not 'time'");
  std::set<std::string> seen;
  for (std::size_t i = 1; i < cells.size(); ++i) {
    const Variable* variable = model.find(cells[i]);
    if (variable == nullptr || variable->causality != Causality::input) {
      throw RunnerError("the column '" + printable(cells[i]) + "' names no input");
    }
    if (variable->type == VariableType::clock) throw RunnerError("the clock '" + variable->name + "' cannot be set");
    if (!seen.insert(cells[i]).second) throw RunnerError("the column '" + printable(cells[i]) + "' stands twice");
    columns_.push_back({variable, {}, {}});
  }
}

void InputTable::readRow(const std::vector<std::string>& cells, const ModelDescription& model) {
  if (cells.size() != columns_.size() + 1) {
    throw RunnerError(std::to_string(cells.size()) + " cells in place of " + std::to_string(columns_.size() + 1));
  }
  const std::optional<double> time = parseXmlNumber(cells[0]);
  if (!time || !std::isfinite(*time)) throw RunnerError("'" + printable(cells[0]) + "' is no time");
  if (!times_.empty() && *time < times_.back())
    throw RunnerError("the time " + cells[0] + " is before that of the row above");
  const std::size_t rows = times_.size();
  if (rows > 1 && *time == times_[rows - 1] && *time == times_[rows - 2]) {
    throw RunnerError("the time " + cells[0] + " stands more than twice");
  }
  times_.push_back(*time);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].rows.push_back(parseValues(cells[i + 1], *columns_[i].variable, model));
  }
}

void InputTable::applyColumns(Instance& instance, double time, EventSide side, bool onlyContinuous) {
  // The last row that counts, and how far the time is on the way to the next one.
  const auto behind = side == EventSide::after ? std::upper_bound(times_.begin(), times_.end(), time)
                                               : std::lower_bound(times_.begin(), times_.end(), time);
  std::size_t row = behind == times_.begin() ? 0 : static_cast<std::size_t>(behind - times_.begin()) - 1;
  if (side == EventSide::before && behind != times_.end() && *behind == time)
    row = static_cast<std::size_t>(behind - times_.begin());
  const bool hasNext = row + 1 < times_.size() && times_[row] < time;
  const double share = hasNext ? (time - times_[row]) / (times_[row + 1] - times_[row]) : 0.0;
  for (Column& column : columns_) {
    const bool isContinuous = column.variable->variability == Variability::continuous;
    if (onlyContinuous && !isContinuous) continue;
    if (share > 0.0 && isContinuous) {
      setMixed(instance, column, column.rows[row], column.rows[row + 1], share);
    } else {
      setValues(instance, *column.variable, column.rows[row]);
    }
  }
}

void InputTable::setMixed(Instance& instance, Column& column, const Values& low, const Values& high, double share) {
  const Variable& variable = *column.variable;
  const std::uint32_t reference = variable.valueReference;
  if (variable.type == VariableType::float64) {
    mix<double>(low, high, share, column.mixed);
    instance.set(variable.type, {&reference, 1}, column.mixed.data(), column.mixed.size());
    return;
  }
  mix<float>(low, high, share, column.mixed);
  const std::vector<float> narrowed(column.mixed.begin(), column.mixed.end());
  instance.set(variable.type, {&reference, 1}, narrowed.data(), narrowed.size());
}

double InputTable::nextEvent(double time) const {
  auto at = std::upper_bound(times_.begin(), times_.end(), time);
  at = std::adjacent_find(at, times_.end());
  if (at == times_.end()) return kNever;
  return *at;
}

bool InputTable::jumpsAt(std::size_t row) const {
  if (row + 1 < times_.size() && times_[row + 1] == times_[row]) return true;
  if (row == 0) return false;
  return std::any_of(columns_.begin(), columns_.end(), [row](const Column& column) {
    const Values& before = column.rows[row - 1];
    const Values& now = column.rows[row];
    return column.variable->variability != Variability::continuous &&
           (before.numbers != now.numbers || before.texts != now.texts);
  });
}

double InputTable::nextChange(double time) const {
  const auto behind = std::upper_bound(times_.begin(), times_.end(), time);
  for (auto row = static_cast<std::size_t>(behind - times_.begin()); row < times_.size(); ++row) {
    if (jumpsAt(row)) return times_[row];
  }
  return kNever;
}

void setValues(Instance& instance, const Variable& variable, const Values& values) {
  const std::uint32_t reference = variable.valueReference;
  if (variable.elements() == 0) return;
  if (variable.type == VariableType::string) {
    std::vector<const char*> texts;
    for (const std::string& text : values.texts) texts.push_back(text.c_str());
    instance.setTexts({&reference, 1}, texts);
  } else if (variable.type == VariableType::binary) {
    std::vector<std::size_t> sizes;
    std::vector<const std::uint8_t*> bytes;
    for (const std::string& text : values.texts) {
      sizes.push_back(text.size());
      bytes.push_back(reinterpret_cast<const std::uint8_t*>(text.data()));
    }
    instance.setBinaries({&reference, 1}, sizes, bytes);
  } else {
    instance.set(variable.type, {&reference, 1}, values.numbers.data(), values.numbers.size() / bytesOf(variable.type));
  }
}

}  // namespace vtio::runner
