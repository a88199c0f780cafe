#include "results/sweep/run_table.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <set>
#include <utility>

#include "platform/qat.hpp"
#include "platform/qat_parts.hpp"
#include "results/file/record.hpp"
#include "results/file/results_error.hpp"
#include "results/signals/near_names.hpp"
#include "results/sweep/run_condition.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

constexpr const char* kRuns = "runs";
constexpr const char* kNumber = "run";

/// The columns of a table of runs; row k is run k.
class RunsSource final : public SampleSource {
 public:
  explicit RunsSource(std::vector<RunColumn> columns) : columns_(std::move(columns)) {}

  void readTimes(std::uint32_t /*table*/, std::uint64_t first, std::uint64_t count, double* out) override {
    std::iota(out, out + count, static_cast<double>(first));
  }
  void readBlock(std::uint32_t /*table*/, ElementType /*type*/, std::size_t firstColumn, std::size_t width,
                 std::uint64_t firstRow, std::uint64_t count, std::byte* out) override {
    for (std::uint64_t row = firstRow; row < firstRow + count; ++row) {
      for (std::size_t column = firstColumn; column < firstColumn + width; ++column, out += sizeof(double)) {
        const std::vector<double>& numbers = columns_[column].numbers;
        const double value = numbers.empty() ? 0 : numbers[row];
        std::memcpy(out, &value, sizeof value);
      }
    }
  }
  std::vector<std::string> readTexts(std::uint32_t /*table*/, std::uint32_t column, std::uint64_t firstRow,
                                     std::uint64_t count) override {
    const auto begin = columns_[column].texts.begin() + static_cast<std::ptrdiff_t>(firstRow);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
  }

 private:
  std::vector<RunColumn> columns_;
};

// A column as stored in the file: n-by-1 numbers, or a cell array of n texts.
RunColumn columnOf(std::string name, const qxArray* values) {
  RunColumn column;
  column.name = std::move(name);
  column.isText = qxGetClassID(values) == qxCELL;
  for (std::size_t i = 0; i < qxGetNumberOfElements(values); ++i) {
    if (column.isText) {
      column.texts.push_back(textOf(qxGetCell(values, i)));
    } else {
      column.numbers.push_back(static_cast<const double*>(qxGetConstData(values))[i]);
    }
  }
  return column;
}

bool isColumn(const qxArray* values, std::size_t runs) {
  const qxClassID id = qxGetClassID(values);
  return (id == qxCELL || (id == qxDOUBLE && !qxIsComplex(values))) && qxGetNumberOfElements(values) == runs;
}

std::vector<RunColumn> readColumns(QatFile* file, const std::string& path) {
  const vtu::qxArrayWrapper first = vtu::qatGetPart(file, kRuns, {"0"});
  std::vector<RunColumn> columns;
  std::size_t runs = 0;
  const std::set<std::string> outcomes{"status", "message", "seconds", "lastTime"};
  auto role = RunColumn::Role::parameter;
  for (const std::string& field : Record(first.get()).fields()) {
    const vtu::qxArrayWrapper values = vtu::qatGetPart(file, kRuns, {field});
    if (columns.empty()) runs = qxGetNumberOfElements(values.get());
    if (!isColumn(values.get(), runs)) {
      throw ResultsError(path, "field '" + field + "' of the runs is neither numbers nor texts");
    }
    columns.push_back(columnOf(field, values.get()));
    if (outcomes.contains(field)) role = RunColumn::Role::final;  // what follows
    columns.back().role = outcomes.contains(field) ? RunColumn::Role::outcome : role;
  }
  return columns;
}

}  // namespace

std::string RunColumn::text(std::size_t run) const { return isText ? texts[run] : numberText(numbers[run]); }

bool RunTable::isSweep(const std::string& path) {
  const vtu::QatFileWrapper file(path, "r");
  if (!file) throw ResultsError::ofService(path, qatLastError());
  int count = 0;
  char** names = qatGetVariableNames(file.get(), &count);
  if (names == nullptr) throw ResultsError::ofService(path, qatLastError());
  const bool found = std::any_of(names, names + count, [](const char* name) { return std::strcmp(name, kRuns) == 0; });
  qxFree(names);
  return found;
}

RunTable::RunTable(const std::string& path) : path_(path) {
  const vtu::QatFileWrapper file(path, "r");
  if (!file) throw ResultsError::ofService(path, qatLastError());
  try {
    columns_ = readColumns(file.get(), path);
  } catch (const ResultsError&) {
    throw;
  } catch (const std::exception& error) {
    throw ResultsError::ofService(path, error.what());
  }
  if (!columns_.empty()) runs_ = std::max(columns_[0].texts.size(), columns_[0].numbers.size());
}

const RunColumn& RunTable::find(std::string_view name) const {
  const auto found = std::find_if(columns_.begin(), columns_.end(), [&](const auto& one) { return one.name == name; });
  if (found != columns_.end()) return *found;
  std::vector<std::string> names;
  for (const RunColumn& column : columns_) names.push_back(column.name);
  throw ResultsError(path_, "the runs have no column '" + std::string(name) + "'" + didYouMean(name, names));
}

std::function<bool(std::size_t)> RunTable::test(const std::string& condition) const {
  if (condition == "all") return [](std::size_t) { return true; };
  std::vector<std::string> names{kNumber};
  for (const RunColumn& column : columns_) names.push_back(column.name);
  const RunCondition parsed = parseCondition(condition, names);
  const bool isOwn = std::any_of(columns_.begin(), columns_.end(), [](auto& one) { return one.name == kNumber; });
  const bool isNumber = parsed.column == kNumber && !isOwn;
  const RunColumn* column = isNumber ? nullptr : &find(parsed.column);
  if (!isNumber && column->isText) {
    const bool isEqual = parsed.op == RunCondition::Operator::equal;
    if (!isEqual && parsed.op != RunCondition::Operator::notEqual) {
      throw ResultsError("'" + condition + "': texts are compared by = and != only");
    }
    return [=](std::size_t run) { return (column->texts[run] == parsed.value) == isEqual; };
  }
  double limit = 0;
  const char* end = parsed.value.data() + parsed.value.size();
  const auto [rest, error] = std::from_chars(parsed.value.data(), end, limit);
  if (error != std::errc() || rest != end) {
    throw ResultsError("'" + condition + "': '" + parsed.value + "' is no number");
  }
  return
      [=](std::size_t run) { return parsed.holds(isNumber ? static_cast<double>(run) : column->numbers[run], limit); };
}

std::vector<std::size_t> RunTable::select(std::span<const std::string> conditions) const {
  std::vector<std::function<bool(std::size_t)>> tests;
  for (const std::string& condition : conditions) tests.push_back(test(condition));
  std::vector<std::size_t> chosen;
  for (std::size_t run = 0; run < runs_; ++run) {
    if (std::all_of(tests.begin(), tests.end(), [run](auto& holds) { return holds(run); })) chosen.push_back(run);
  }
  if (!chosen.empty()) return chosen;
  std::string text;
  for (const std::string& condition : conditions) text += (text.empty() ? "" : " and ") + condition;
  const std::string none = "no run of " + std::to_string(runs_) + " has " + text;
  throw ResultsError(path_, text.empty() ? "the sweep has no runs" : none);
}

std::string RunTable::fileOf(std::size_t run) const {
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "%06zu.qat", run);
  return path_ + ".d/" + name.data();
}

std::string RunTable::parametersOf(std::size_t run) const {
  std::string text;
  for (const RunColumn& column : columns_) {
    if (column.role != RunColumn::Role::parameter) continue;
    text += (text.empty() ? "" : ", ") + column.name + "=" + column.text(run);
  }
  return text;
}

ResultsFile RunTable::asResults() const {
  std::vector<SignalInfo> signals;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    SignalInfo signal;
    signal.name = signal.element = columns_[i].name;
    signal.dataset = kRuns;
    signal.type = {columns_[i].isText ? ElementClass::text : ElementClass::float64, false};
    signal.typeName = nameOf(signal.type.id);
    signal.interpolation = "zoh";
    signal.first = 0;
    signal.last = static_cast<double>(runs_) - 1;
    signal.place = {0, static_cast<std::uint32_t>(i), i, 0, runs_};
    signals.push_back(std::move(signal));
  }
  return ResultsFile(path_, std::move(signals), std::make_unique<RunsSource>(columns_), true, {"run", ""});
}

}  // namespace vtio::results
