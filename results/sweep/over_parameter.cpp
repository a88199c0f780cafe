#include "results/sweep/over_parameter.hpp"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

using Role = RunColumn::Role;

constexpr std::size_t kMostGroups = 24;  // more curves cannot be told apart

const RunColumn& numberColumn(const RunTable& table, const std::string& name) {
  const RunColumn& column = table.find(name);
  if (column.isText) throw ResultsError(table.path(), "column '" + name + "' has texts, which cannot be drawn");
  return column;
}

// Runs that differ in the one parameter only, with what the others are; all runs together where that leaves single
// ones.
std::map<std::string, std::vector<std::size_t>> groupsOf(const RunTable& table, std::span<const std::size_t> runs,
                                                         const std::string& parameter) {
  std::map<std::string, std::vector<std::size_t>> groups;
  for (const std::size_t run : runs) {
    std::string others;
    for (const RunColumn& column : table.columns()) {
      if (column.role != Role::parameter || column.name == parameter) continue;
      others += (others.empty() ? "" : ", ") + column.name + "=" + column.text(run);
    }
    groups[others].push_back(run);
  }
  const bool hasSingle = std::any_of(groups.begin(), groups.end(), [](auto& one) { return one.second.size() < 2; });
  if (!hasSingle && groups.size() <= kMostGroups) return groups;
  return {{"", {runs.begin(), runs.end()}}};
}

}  // namespace

Figure figureOver(const RunTable& table, std::span<const std::size_t> runs, const std::string& parameter,
                  std::span<const std::string> patterns) {
  const RunColumn& x = numberColumn(table, parameter);
  const auto groups = groupsOf(table, runs, parameter);
  Figure figure;
  figure.title = std::filesystem::path(table.path()).filename().string();
  figure.xTitle = parameter;
  figure.xUnit = "";
  figure.isXy = true;
  figure.range = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  const ResultsFile all = table.asResults();
  for (const SignalInfo* signal : all.select(patterns)) {
    const RunColumn& y = numberColumn(table, signal->name);
    Panel panel;
    for (const auto& [others, members] : groups) {
      Curve curve;
      curve.name = y.name + (others.empty() ? "" : " (" + others + ")");
      for (const std::size_t run : members) curve.points.push_back({x.numbers[run], y.numbers[run]});
      std::sort(curve.points.begin(), curve.points.end(), [](auto& a, auto& b) { return a.time < b.time; });
      figure.range.from = std::min(figure.range.from, curve.points.front().time);
      figure.range.to = std::max(figure.range.to, curve.points.back().time);
      panel.curves.push_back(std::move(curve));
    }
    figure.panels.push_back(std::move(panel));
  }
  return figure;
}

}  // namespace vtio::results
