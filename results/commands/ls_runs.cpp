#include "results/commands/ls_runs.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <ostream>

#include "results/export/json.hpp"
#include "results/file/results_error.hpp"
#include "results/signals/glob.hpp"
#include "results/terminal/text_table.hpp"

namespace vtio::results {
namespace {

using Json = nlohmann::ordered_json;
using Role = RunColumn::Role;

bool isWanted(const RunColumn& column, const std::vector<std::string>& patterns) {
  if (column.name == "status" || patterns.empty()) return true;
  return std::any_of(patterns.begin(), patterns.end(), [&](auto& one) { return matchesGlob(one, column.name); });
}

// The message is longest and comes last.
std::vector<const RunColumn*> wantedColumns(const RunTable& table, const std::vector<std::string>& patterns) {
  std::vector<const RunColumn*> columns;
  for (const RunColumn& column : table.columns()) {
    if (isWanted(column, patterns)) columns.push_back(&column);
  }
  std::stable_partition(columns.begin(), columns.end(), [](const auto* one) { return one->name != "message"; });
  return columns;
}

Json valueOf(const RunColumn& column, std::size_t run) {
  if (column.isText) return column.texts[run];
  return std::isfinite(column.numbers[run]) ? Json(column.numbers[run]) : Json(nullptr);
}

Json recordOf(const RunTable& table, std::size_t run) {
  Json record = {{"run", run}, {"parameters", Json::object()}};
  Json finals = Json::object();
  for (const RunColumn& column : table.columns()) {
    if (column.role == Role::parameter) record["parameters"][column.name] = valueOf(column, run);
    if (column.role == Role::outcome) record[column.name] = valueOf(column, run);
    if (column.role == Role::final) finals[column.name] = valueOf(column, run);
  }
  record["final"] = std::move(finals);
  const std::string file = table.fileOf(run);
  record["file"] = std::filesystem::exists(file) ? Json(file) : Json(nullptr);
  return record;
}

void printJson(const RunTable& table, const std::vector<std::size_t>& runs, const Console& console) {
  console.out << "{\"file\": " << jsonText(table.path()) << ", \"runs\": [";
  const char* separator = "\n";
  for (const std::size_t run : runs) {
    console.out << separator << jsonText(recordOf(table, run));
    separator = ",\n";
  }
  console.out << "\n]}\n";
}

}  // namespace

int listRuns(const LsSettings& settings, const Console& console) {
  if (settings.tree || settings.isLong) {
    throw ResultsError(settings.file, "--tree and --long are for the signals of one run; choose it with --run");
  }
  const RunTable table(settings.file);
  const std::vector<std::size_t> runs = table.select(settings.runs.conditions);
  if (settings.json) {
    printJson(table, runs, console);
    return kDone;
  }
  const auto columns = wantedColumns(table, settings.patterns);
  std::vector<TextTable::Column> titles = {{"run", TextTable::Align::right}};
  for (const RunColumn* column : columns) {
    titles.push_back({column->name, column->isText ? TextTable::Align::left : TextTable::Align::right});
  }
  TextTable text(std::move(titles));
  for (const std::size_t run : runs) {
    std::vector<std::string> cells = {std::to_string(run)};
    for (const RunColumn* column : columns) cells.push_back(column->text(run));
    text.add(std::move(cells));
  }
  text.print(console.out, console.style);
  return kDone;
}

}  // namespace vtio::results
