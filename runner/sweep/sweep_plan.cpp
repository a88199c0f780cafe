#include "runner/sweep/sweep_plan.hpp"

#include <cmath>
#include <functional>
#include <random>
#include <set>
#include <utility>

#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/input/csv.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr std::uint64_t kMostRuns = 1'000'000;

std::pair<std::string, std::string> splitOption(const std::string& option, const std::string& given) {
  const std::size_t at = given.rfind('=');
  if (at == std::string::npos || at == 0) throw RunnerError(option + ": no NAME=... in '" + printable(given) + "'");
  return {given.substr(0, at), given.substr(at + 1)};
}

std::vector<double> numbersOf(std::string_view text, char separator) {
  std::vector<double> numbers;
  while (true) {
    const std::size_t end = text.find(separator);
    const std::optional<double> number = parseXmlNumber(text.substr(0, end));
    if (!number || !std::isfinite(*number)) return {};
    numbers.push_back(*number);
    if (end == std::string_view::npos) return numbers;
    text.remove_prefix(end + 1);
  }
}

SweepPlan readTable(const std::filesystem::path& file) {
  SweepPlan plan;
  readCsv(file, [&](std::vector<std::string>& cells, std::size_t row) {
    const std::string place = printable(file.string()) + " row " + std::to_string(row);
    if (row == 1) {
      plan.names = std::move(cells);
      return;
    }
    if (cells.size() != plan.names.size()) {
      throw RunnerError(
          "--table: " + std::to_string(cells.size()) + " cells in place of " + std::to_string(plan.names.size()),
          place);
    }
    if (plan.values.size() == kMostRuns) throw RunnerError("--table: more than a million runs", place);
    plan.values.push_back(std::move(cells));
  });
  return plan;
}

std::vector<std::string> gridValues(const std::string& given, const std::string& range) {
  const std::vector<double> numbers = numbersOf(range, ':');
  const bool isRange = numbers.size() == 3 && numbers[2] >= 1.0 && numbers[2] <= static_cast<double>(kMostRuns) &&
                       numbers[2] == std::floor(numbers[2]);
  if (!isRange) {
    throw RunnerError("--grid needs NAME=a:b:n with a whole number n from 1, not '" + printable(given) + "'");
  }
  const auto count = static_cast<std::size_t>(numbers[2]);
  std::vector<std::string> values;
  values.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double share = count > 1 ? static_cast<double>(i) / static_cast<double>(count - 1) : 0.0;
    values.push_back(numberText((1.0 - share) * numbers[0] + share * numbers[1]));
  }
  return values;
}

// All combinations, the last parameter fastest.
SweepPlan makeGrid(const std::vector<std::string>& grids) {
  SweepPlan plan;
  plan.values.emplace_back();
  for (const std::string& given : grids) {
    const auto [name, range] = splitOption("--grid", given);
    const std::vector<std::string> values = gridValues(given, range);
    if (values.size() > kMostRuns / plan.values.size()) throw RunnerError("--grid: more than a million runs");
    std::vector<std::vector<std::string>> combined;
    combined.reserve(plan.values.size() * values.size());
    for (const std::vector<std::string>& before : plan.values) {
      for (const std::string& value : values) {
        combined.push_back(before);
        combined.back().push_back(value);
      }
    }
    plan.names.push_back(name);
    plan.values = std::move(combined);
  }
  return plan;
}

using Distribution = std::function<double(std::mt19937_64&)>;

Distribution distributionOf(const std::string& given, const std::string& text) {
  const std::size_t open = text.find('(');
  std::vector<double> numbers;
  if (open != std::string::npos && text.ends_with(')')) {
    numbers = numbersOf(std::string_view(text).substr(open + 1, text.size() - open - 2), ',');
  }
  const std::string kind = text.substr(0, open);
  if (numbers.size() == 2 && kind == "normal" && numbers[1] >= 0.0) {
    return [numbers](std::mt19937_64& random) {
      std::normal_distribution<double> standard;
      return numbers[0] + numbers[1] * standard(random);
    };
  }
  if (numbers.size() == 2 && kind == "uniform" && numbers[0] <= numbers[1]) {
    return [numbers](std::mt19937_64& random) {
      std::uniform_real_distribution<double> unit;
      return numbers[0] + (numbers[1] - numbers[0]) * unit(random);
    };
  }
  throw RunnerError("--sample needs NAME=normal(mean,deviation) or NAME=uniform(least,most), not '" + printable(given) +
                    "'");
}

SweepPlan drawSamples(const SweepOptions& options) {
  if (!options.runs || *options.runs == 0 || *options.runs > kMostRuns) {
    throw RunnerError("--sample needs --runs from 1 to a million");
  }
  SweepPlan plan;
  plan.values.resize(*options.runs);
  for (std::size_t parameter = 0; parameter < options.samples.size(); ++parameter) {
    const auto [name, text] = splitOption("--sample", options.samples[parameter]);
    const Distribution draw = distributionOf(options.samples[parameter], text);
    plan.names.push_back(name);
    for (std::size_t run = 0; run < plan.values.size(); ++run) {
      std::seed_seq seed{static_cast<std::uint32_t>(options.seed), static_cast<std::uint32_t>(options.seed >> 32),
                         static_cast<std::uint32_t>(run), static_cast<std::uint32_t>(parameter)};
      std::mt19937_64 random(seed);
      plan.values[run].push_back(numberText(draw(random)));
    }
  }
  return plan;
}

}  // namespace

SweepPlan planSweep(const SweepOptions& options) {
  const int ways =
      (options.table.empty() ? 0 : 1) + (options.grids.empty() ? 0 : 1) + (options.samples.empty() ? 0 : 1);
  if (ways != 1) throw RunnerError("a sweep needs one of --table, --grid and --sample");
  if (options.runs && options.samples.empty()) throw RunnerError("--runs goes with --sample");
  SweepPlan plan = !options.table.empty()   ? readTable(options.table)
                   : !options.grids.empty() ? makeGrid(options.grids)
                                            : drawSamples(options);
  if (plan.values.empty()) throw RunnerError("the table has no runs", printable(options.table.string()));
  std::set<std::string> seen;
  for (const std::string& name : plan.names) {
    if (!seen.insert(name).second) throw RunnerError("the parameter '" + printable(name) + "' stands twice");
  }
  return plan;
}

}  // namespace vtio::runner
