#include "runner/compare/compare_run.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "results/commands/diff.hpp"
#include "results/compare/reference_comparison.hpp"
#include "results/file/results_error.hpp"
#include "runner/archive/temporary_folder.hpp"
#include "runner/description/xml_reader.hpp"
#include "runner/fmu/fmu_file.hpp"
#include "runner/input/csv.hpp"
#include "runner/run/run_fmu.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

using results::ReferenceComparer;
using results::ResultsFile;
using results::SignalInfo;

using Row = std::vector<std::string>;

bool isResultsFile(const std::filesystem::path& reference) { return reference.extension() == ".qat"; }

Row headerOf(const std::filesystem::path& csv) {
  Row header;
  readCsv(csv, [&](Row& cells, std::size_t row) {
    if (row == 1) header = cells;
  });
  if (header.empty() || header[0] != "time") {
    throw RunnerError("the first column is not 'time'", printable(csv.string()));
  }
  header.erase(header.begin());
  const std::set<std::string> different(header.begin(), header.end());
  if (different.size() != header.size()) throw RunnerError("a column stands twice", printable(csv.string()));
  return header;
}

Row namesIn(const std::filesystem::path& reference) {
  if (!isResultsFile(reference)) return headerOf(reference);
  Row names;
  const ResultsFile file(reference.string());
  for (const SignalInfo& signal : file.signals()) names.push_back(signal.name);
  return names;
}

// "m" of "m[0][1]", "z" of "z.re".
std::string withoutElement(std::string name) {
  while (name.ends_with(']') && name.rfind('[') != std::string::npos) name.erase(name.rfind('['));
  return name;
}

// What is to be logged so that the reference can be compared; nothing if the user says.
std::vector<std::string> wantedVariables(const CompareOptions& options) {
  if (!options.run.signals.empty()) return options.run.signals;
  const FmuFile fmu(options.run.fmu);
  std::set<std::string> known;
  for (const Variable& variable : fmu.model().variables) known.insert(variable.name);
  std::vector<std::string> wanted;
  for (const std::string& name : namesIn(options.reference)) {
    if (known.contains(name))
      wanted.push_back(name);
    else if (known.contains(withoutElement(name)))
      wanted.push_back(withoutElement(name));
  }
  for (const Variable& variable : fmu.model().variables) {  // what is logged anyway
    const bool isPort = variable.causality == Causality::input || variable.causality == Causality::output;
    if (isPort && !wanted.empty()) wanted.push_back(variable.name);
  }
  return wanted;
}

Row words(const std::string& text) {
  std::istringstream stream(text);
  Row found;
  for (std::string word; stream >> word;) found.push_back(word);
  return found;
}

/// A reference in CSV.
class CsvReference {
 public:
  CsvReference(const ResultsFile& file, const CompareOptions& options, const results::Tolerances& tolerances)
      : options_(options) {
    std::map<std::string, std::pair<const SignalInfo*, std::size_t>> elements;
    for (const SignalInfo& signal : file.signals()) {
      const std::vector<std::string> names = cellNames(signal);
      for (std::size_t cell = 0; cell < names.size(); ++cell) elements.emplace(names[cell], std::pair(&signal, cell));
    }
    for (const std::string& name : headerOf(options.reference)) {
      const SignalInfo* signal = file.lookUp(name);
      const auto element = elements.find(name);
      if (signal == nullptr && element == elements.end()) {
        columns_.push_back(otherColumn(file, name, tolerances));
        if (columns_.back().comparer == nullptr) unknown.push_back(name);
        continue;
      }
      const SignalInfo& compared = signal != nullptr ? *signal : *element->second.first;
      Column column;
      column.cells = signal != nullptr ? compared.width() * compared.type.parts() : 1;
      column.first = signal != nullptr ? 0 : element->second.second;
      column.comparer = comparerOf(file, compared, tolerances);
      columns_.push_back(column);
    }
  }

  results::FileComparison compare() {
    std::optional<std::pair<double, Row>> last;  // is compared once the next row has another time
    readCsv(options_.reference, [&](Row& cells, std::size_t row) {
      if (row == 1) return;
      const std::string place = printable(options_.reference.string()) + " row " + std::to_string(row);
      const std::optional<double> time = parseXmlNumber(cells[0]);
      if (!time || !std::isfinite(*time)) throw RunnerError("'" + printable(cells[0]) + "' is no time", place);
      if (cells.size() != columns_.size() + 1) {
        throw RunnerError(std::to_string(cells.size()) + " cells in place of " + std::to_string(columns_.size() + 1),
                          place);
      }
      if (last && *time < last->first) {
        throw RunnerError("the time " + printable(cells[0]) + " is before that of the row above", place);
      }
      if (last && *time > last->first) compareRow(last->first, last->second, place);
      last = {*time, cells};
    });
    if (!last) throw RunnerError("the table has no rows", printable(options_.reference.string()));
    compareRow(last->first, last->second, printable(options_.reference.string()) + " at the end");
    results::FileComparison all;
    for (auto& [signal, comparer] : comparers_) all.signals.push_back(comparer.result());
    return all;
  }

  std::vector<std::string> unknown;  ///< columns that name nothing that was logged

 private:
  struct Column {
    ReferenceComparer* comparer = nullptr;  // none: not compared
    std::size_t first = 0;
    std::size_t cells = 0;
    ReferenceComparer* length = nullptr;  // of a binary, whose bytes `comparer` compares
  };

  // A variable that is logged under other names: a member of an array of buses, or a binary. None of both has no
  // comparer.
  Column otherColumn(const ResultsFile& file, const std::string& name, const results::Tolerances& tolerances) {
    Column column;
    const SignalInfo* data = file.lookUp(name + ".data");
    const SignalInfo* length = file.lookUp(name + ".length");
    if (data != nullptr && length != nullptr) {
      column.comparer = comparerOf(file, *data, tolerances);
      column.cells = data->width();
      column.length = comparerOf(file, *length, tolerances);
      return column;
    }
    const std::size_t open = name.find('[');
    const std::size_t close = name.find("].", open);
    if (open == std::string::npos || close == std::string::npos) return column;
    const std::optional<std::uint64_t> number = parseXmlUnsigned(name.substr(open + 1, close - open - 1));
    const SignalInfo* all = file.lookUp(name.substr(0, open) + name.substr(close + 1));
    if (all == nullptr || all->dimensions.empty() || !number || *number < 1 || *number > all->dimensions.front()) {
      return column;
    }
    column.cells = all->width() * all->type.parts() / all->dimensions.front();
    column.first = (*number - 1) * column.cells;
    column.comparer = comparerOf(file, *all, tolerances);
    return column;
  }

  ReferenceComparer* comparerOf(const ResultsFile& file, const SignalInfo& signal,
                                const results::Tolerances& tolerances) {
    const auto known = comparers_.find(&signal);
    if (known != comparers_.end()) return &known->second;
    const results::Tolerance tolerance = tolerances.of(signal.name);
    return &comparers_.try_emplace(&signal, file, signal, tolerance, options_.timeTolerance).first->second;
  }

  // Hexadecimal digits, two a byte.
  static void compareBinary(const Column& column, double time, const std::string& text, const std::string& place) {
    constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
    if (text.size() % 2 != 0 || text.find_first_not_of(kDigits) != std::string::npos) {
      throw RunnerError("'" + printable(text) + "' is no hexadecimal number of whole bytes", "before or in " + place);
    }
    column.length->compare(time, 0, std::to_string(text.size() / 2));
    for (std::size_t i = 0; i < std::min(column.cells, text.size() / 2); ++i) {
      column.comparer->compare(time, i, std::to_string(std::stoul(text.substr(2 * i, 2), nullptr, 16)));
    }
  }

  void compareRow(double time, const Row& cells, const std::string& place) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const Column& column = columns_[i];
      const std::string& text = cells[i + 1];
      if (column.comparer == nullptr || text.empty()) continue;
      if (column.length != nullptr) {
        compareBinary(column, time, text, place);
        continue;
      }
      const Row values = column.cells == 1 ? Row{text} : words(text);
      if (values.size() != column.cells) {
        throw RunnerError(std::to_string(values.size()) + " values for " + std::to_string(column.cells) + " elements",
                          "before or in " + place);
      }
      for (std::size_t k = 0; k < values.size(); ++k) column.comparer->compare(time, column.first + k, values[k]);
    }
  }

  const CompareOptions& options_;
  std::vector<Column> columns_;
  std::map<const SignalInfo*, ReferenceComparer> comparers_;  // in the order of the file, whose signals are an array
};

results::Tolerances tolerancesOf(const CompareOptions& options) {
  for (const auto& [option, value] : {std::pair("--rtol", options.rtol), std::pair("--atol", options.atol),
                                      std::pair("--time-tol", options.timeTolerance)}) {
    if (!(value >= 0.0) || std::isinf(value)) {
      throw RunnerError(std::string(option) + ": " + numberText(value) + " is no tolerance");
    }
  }
  results::Tolerances tolerances({options.rtol, options.atol});
  if (!options.tolerances.empty()) tolerances.addFile(options.tolerances.string());
  return tolerances;
}

results::FileComparison compareFile(const std::filesystem::path& output, const CompareOptions& options,
                                    const results::Tolerances& tolerances, std::vector<std::string>& unknown) {
  const ResultsFile file(output.string());
  if (!isResultsFile(options.reference)) {
    CsvReference reference(file, options, tolerances);
    results::FileComparison result = reference.compare();
    unknown = reference.unknown;
    return result;
  }
  results::FileComparison result =
      compareWithReference(file, ResultsFile(options.reference.string()), {}, tolerances, options.timeTolerance);
  unknown = std::exchange(result.onlyB, {});
  return result;
}

ExitStatus compare(const CompareOptions& options, const RunOptions& run, std::ostream& out, std::ostream& messages) {
  const results::Tolerances tolerances = tolerancesOf(options);
  std::ostringstream ignored;
  const ExitStatus status = runFmu(run, ignored, messages);
  if (status != ExitStatus::done) return status;
  std::vector<std::string> unknown;
  const results::FileComparison result = compareFile(run.output, options, tolerances, unknown);
  for (const std::string& name : unknown) {
    messages << "vtio-run: " << printable(options.reference.string()) << ": '" << printable(name)
             << "' is not compared: the run has no signal of that name\n";
  }
  if (result.signals.empty()) {
    throw RunnerError("nothing to compare: the reference has no signal of the model",
                      printable(options.reference.string()));
  }
  results::printComparison({run.fmu.string(), options.reference.string()}, result, options.json, {out, {}, {}});
  if (options.keepsResults && !options.json) out << run.output.string() << "\n";
  return result.isEqual() ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace

ExitStatus compareRun(const CompareOptions& options, std::ostream& out, std::ostream& messages) {
  RunOptions run = options.run;
  std::optional<TemporaryFolder> folder;
  try {
    run.signals = wantedVariables(options);
    if (!options.keepsResults) run.output = folder.emplace().path() / "run.qat";
    return compare(options, run, out, messages);
  } catch (const results::ResultsError& error) {
    throw RunnerError(error.what());
  }
}

}  // namespace vtio::runner
