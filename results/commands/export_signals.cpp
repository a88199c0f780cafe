#include "results/commands/export_signals.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

#include "results/export/csv.hpp"
#include "results/export/json.hpp"
#include "results/export/npz.hpp"
#include "results/export/sqlite.hpp"
#include "results/file/results_error.hpp"
#include "results/rows/joined_rows.hpp"
#include "results/rows/resampled_rows.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

using Signals = std::vector<const SignalInfo*>;

std::string formatOf(const ExportSettings& settings) {
  constexpr std::array<std::string_view, 4> kFormats = {"csv", "json", "sqlite", "npz"};
  std::string format = settings.format;
  if (format.empty()) {
    format = std::filesystem::path(settings.output).extension().string();
    if (!format.empty()) format.erase(0, 1);
    if (format == "db") format = "sqlite";
  }
  if (std::find(kFormats.begin(), kFormats.end(), format) != kFormats.end()) return format;
  const std::string what =
      settings.format.empty() ? "the ending does not say the format" : "unknown format '" + format + "'";
  throw ResultsError(settings.output, what + "; use --format csv, json, sqlite or npz");
}

class Exporter {
 public:
  Exporter(const ExportSettings& settings, const Console& console)
      : settings_(settings),
        console_(console),
        chosen_(openChosen(settings.file, settings.runs, settings.patterns)),
        file_(chosen_.file),
        signals_(chosen_.isSelection ? file_.select({}) : file_.select(settings.patterns)) {
    range_ = settings.time.range();
    if (!settings.every) return;
    if (!(*settings.every > 0) || std::isinf(*settings.every)) {
      throw ResultsError("--every: a step of " + numberText(*settings.every) + " s is not positive");
    }
    range_ = closedRange(signals_, range_);  // one grid for all that is written
  }

  void write(const std::string& format) {
    if (settings_.split && format != "csv") throw ResultsError("--split is for --format csv");
    requireNoInput(settings_.output, {settings_.file});
    if (format == "csv") writeCsvFiles();
    if (format == "json") {
      TextOutput out(settings_.output);
      SeriesBatches batches(file_, signals_, range_, settings_.every);
      writeJson(batches, settings_.raw, out, console_.job);
      out.commit();
    }
    if (format == "npz") {
      TargetFile target(settings_.output);
      SeriesBatches batches(file_, signals_, range_, settings_.every);
      writeNpz(batches, settings_.raw, target, console_.job);
      target.commit();
    }
    if (format == "sqlite") {
      TargetFile target(settings_.output);
      writeSqlite(file_, signals_, {range_, settings_.every, settings_.raw}, target, console_.job);
      target.commit();
    }
  }

 private:
  // All files of a split export appear at its end.
  void writeCsvFiles() {
    std::vector<std::unique_ptr<TextOutput>> files;
    if (!settings_.split) {
      files.push_back(writeOneCsv(signals_, settings_.output));
    } else {
      for (TableGroup& group : groupByTable(signals_)) {
        files.push_back(writeOneCsv(std::move(group.signals), splitName(settings_.output, files.size())));
      }
    }
    for (const auto& file : files) file->commit();
  }

  std::unique_ptr<TextOutput> writeOneCsv(Signals signals, const std::string& path) {
    requireNoInput(path, {settings_.file});
    auto out = std::make_unique<TextOutput>(path);
    if (settings_.every) {
      ResampledRows rows(file_, std::move(signals), range_, *settings_.every);
      writeCsv(rows, settings_.raw, *out, console_.job, file_.axis().name);
    } else {
      JoinedRows rows(file_, std::move(signals), range_);
      writeCsv(rows, settings_.raw, *out, console_.job, file_.axis().name);
    }
    return out;
  }

  const ExportSettings& settings_;
  const Console& console_;
  ChosenFile chosen_;
  const ResultsFile& file_;
  Signals signals_;
  TimeRange range_;
};

}  // namespace

std::string splitName(const std::string& output, std::size_t k) {
  const std::filesystem::path path(output);
  const std::string name = path.stem().string() + "." + std::to_string(k) + path.extension().string();
  return (path.parent_path() / name).string();
}

int exportSignals(const ExportSettings& settings, const Console& console) {
  const std::string format = formatOf(settings);
  const bool isText = format == "csv" || format == "json";
  if (settings.output == "-" && (!isText || settings.split)) {
    throw ResultsError("standard output takes one CSV or JSON text only; name a file");
  }
  Exporter(settings, console).write(format);
  return kDone;
}

}  // namespace vtio::results
