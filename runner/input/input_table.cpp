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

bool isTunable(const Variable& variable) {
  return variable.variability == Variability::tunable && variable.causality == Causality::parameter;
}

bool isTick(const Values& values) { return values.numbers.front() != std::byte{0}; }

bool isClock(const Variable& variable) { return variable.clock.has_value(); }

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
    if (variable == nullptr || (variable->causality != Causality::input && !isTunable(*variable))) {
      throw RunnerError("the column '" + printable(cells[i]) + "' names no input and no tunable parameter");
    }
    if (variable->clock && variable->clock->variability != IntervalVariability::triggered) {
      throw RunnerError("the clock '" + printable(variable->name) + "' ticks by its interval and cannot be set");
    }
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

void InputTable::applyInEvent(Instance& instance, double time, const std::vector<std::uint32_t>& ticking) {
  if (empty()) return;
  applyColumns(instance, time, EventSide::after, [&ticking](const Variable& variable) {
    const auto ticks = [&ticking](std::uint32_t clock) {
      return std::find(ticking.begin(), ticking.end(), clock) != ticking.end();
    };
    return variable.clocks.empty() || std::any_of(variable.clocks.begin(), variable.clocks.end(), ticks);
  });
}

void InputTable::applyColumns(Instance& instance, double time, EventSide side,
                              const std::function<bool(const Variable&)>& isWanted) {
  // The last row that counts, and how far the time is on the way to the next one.
  const auto behind = side == EventSide::after ? std::upper_bound(times_.begin(), times_.end(), time)
                                               : std::lower_bound(times_.begin(), times_.end(), time);
  std::size_t row = behind == times_.begin() ? 0 : static_cast<std::size_t>(behind - times_.begin()) - 1;
  if (side == EventSide::before && behind != times_.end() && *behind == time)
    row = static_cast<std::size_t>(behind - times_.begin());
  const bool hasNext = row + 1 < times_.size() && times_[row] < time;
  const double share = hasNext ? (time - times_[row]) / (times_[row + 1] - times_[row]) : 0.0;
  for (Column& column : columns_) {
    if (isClock(*column.variable) || !isWanted(*column.variable)) continue;
    if (share > 0.0 && isContinuous(*column.variable)) {
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
  return std::any_of(columns_.begin(), columns_.end(), [row](const Column& column) {
    const Values& now = column.rows[row];
    if (isClock(*column.variable)) return isTick(now);
    if (row == 0 || isContinuous(*column.variable) || !column.variable->clocks.empty()) return false;
    const Values& before = column.rows[row - 1];
    return before.numbers != now.numbers || before.texts != now.texts;
  });
}

std::vector<std::uint32_t> InputTable::ticks(double from, double to) const {
  std::vector<std::uint32_t> found;
  for (const Column& column : columns_) {
    if (!isClock(*column.variable)) continue;
    auto row = static_cast<std::size_t>(std::lower_bound(times_.begin(), times_.end(), from) - times_.begin());
    while (row < times_.size() && times_[row] <= to && !isTick(column.rows[row])) ++row;
    if (row < times_.size() && times_[row] <= to) found.push_back(column.variable->valueReference);
  }
  return found;
}

bool InputTable::hasClocks() const {
  return std::any_of(columns_.begin(), columns_.end(), [](const Column& column) { return isClock(*column.variable); });
}

double InputTable::nextChange(double time) const {
  const auto behind = std::upper_bound(times_.begin(), times_.end(), time);
  for (auto row = static_cast<std::size_t>(behind - times_.begin()); row < times_.size(); ++row) {
    if (jumpsAt(row)) return times_[row];
  }
  return kNever;
}

void markTuned(const std::filesystem::path& csv, ModelDescription& model) {
  const bool has = std::any_of(model.variables.begin(), model.variables.end(), isTunable);
  if (!has || csv.extension() == ".qat") return;
  std::set<std::string> columns;
  readInputRows(csv, model, [&columns](std::vector<std::string>& cells, std::size_t row) {
    if (row == 1) columns.insert(cells.begin(), cells.end());
  });
  for (Variable& variable : model.variables) variable.isTuned = isTunable(variable) && columns.contains(variable.name);
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
