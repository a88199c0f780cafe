#include "runner/input/results_rows.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/rows/joined_rows.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

using results::Series;
using results::SignalInfo;

/// A signal at any time: outside its span it holds its first or last value.
class Column {
 public:
  Column(const results::ResultsFile& file, const SignalInfo& signal)
      : series_(readSeries(file, signal)),
        values_(signal),
        sampler_(series_.view(), signal.interpolates()),
        cells_(signal.width()) {}
  Column(const Column&) = delete;
  Column& operator=(const Column&) = delete;

  [[nodiscard]] std::string text(results::SampleView sample, double time) {
    if (!sample.exists()) sample = sampler_.at(time);
    if (!sample.exists()) sample = series_.view().sample(time < series_.times.front() ? 0 : series_.times.size() - 1);
    std::string text;
    for (std::size_t cell = 0; cell < cells_; ++cell) {
      if (cell != 0) text += ' ';
      results::appendPlain(text, values_(sample, cell));
    }
    return text;
  }

 private:
  Series series_;
  results::ShownValues values_;
  results::SeriesSampler sampler_;
  std::size_t cells_;
};

std::vector<const SignalInfo*> inputsIn(const results::ResultsFile& file, const ModelDescription& model) {
  std::vector<const SignalInfo*> found;
  for (const Variable& variable : model.variables) {
    if (variable.causality != Causality::input || variable.type == VariableType::clock) continue;
    const SignalInfo* signal = file.lookUp(variable.name);
    if (signal != nullptr && signal->place.count != 0 && !signal->type.isComplex) found.push_back(signal);
  }
  if (found.empty()) throw RunnerError("no signal of the file is called as an input", printable(file.path()));
  return found;
}

void readResults(const std::filesystem::path& path, const ModelDescription& model, const CsvRow& take) {
  const results::ResultsFile file(path.string());
  const std::vector<const SignalInfo*> signals = inputsIn(file, model);
  std::vector<std::unique_ptr<Column>> columns;
  std::vector<std::string> cells{"time"};
  for (const SignalInfo* signal : signals) {
    columns.push_back(std::make_unique<Column>(file, *signal));
    cells.push_back(signal->name);
  }
  std::size_t number = 1;
  take(cells, number);
  results::JoinedRows rows(file, signals, {});
  while (rows.next()) {
    cells.assign(1, numberText(rows.time()));
    for (std::size_t i = 0; i < columns.size(); ++i) cells.push_back(columns[i]->text(rows.sample(i), rows.time()));
    take(cells, ++number);
  }
}

}  // namespace

void readInputRows(const std::filesystem::path& file, const ModelDescription& model, const CsvRow& take) {
  if (file.extension() != ".qat") return readCsv(file, take);
  try {
    readResults(file, model, take);
  } catch (const results::ResultsError& error) {
    throw RunnerError(error.what());
  }
}

}  // namespace vtio::runner
