#include "results/commands/ls.hpp"

#include <cstdio>
#include <map>
#include <memory>
#include <ostream>

#include "results/commands/ls_runs.hpp"
#include "results/export/json.hpp"
#include "results/file/results_file.hpp"
#include "results/terminal/text_table.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

using Signals = std::vector<const SignalInfo*>;

std::string rounded(double value, const char* form) {
  char text[32];
  std::snprintf(text, sizeof text, form, value);
  return text;
}

std::string sizeText(double bytes) {
  constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB"};
  std::size_t unit = 0;
  for (; bytes >= 1000 && unit < 4; ++unit) bytes /= 1000;
  return rounded(bytes, unit == 0 ? "%.0f " : "%.1f ") + kUnits[unit];
}

// Samples per second.
std::string rateText(const SignalInfo& signal) {
  const double span = signal.last - signal.first;
  if (signal.place.count < 2 || !(span > 0)) return "";
  return rounded(static_cast<double>(signal.place.count - 1) / span, "%.4g") + "/s";
}

std::string pathText(const SignalInfo& signal) {
  std::string text;
  for (const std::string& level : signal.blockPath) text += (text.empty() ? "" : "|") + level;
  return text;
}

std::string typeText(const SignalInfo& signal) { return signal.typeName + (signal.type.isComplex ? " complex" : ""); }

std::string labelsText(const SignalInfo& signal) {
  if (!signal.labels) return "";
  std::string text;
  for (const auto& [label, value] : *signal.labels) {
    text += (text.empty() ? "" : " ") + label + "=" + std::to_string(value);
  }
  return text;
}

std::string scalingText(const SignalInfo& signal) {
  if (!signal.fixedPoint) return "";
  const FixedPoint& fixed = *signal.fixedPoint;
  return std::to_string(fixed.wordLength) + (fixed.isSigned ? " bits signed, x " : " bits, x ") +
         numberText(fixed.slope()) + (fixed.bias == 0 ? "" : " + " + numberText(fixed.bias));
}

void printTable(const ResultsFile& file, const Signals& signals, bool isLong, const Console& console) {
  using Align = TextTable::Align;
  std::vector<TextTable::Column> columns = {{"name"},
                                            {"block path"},
                                            {"type"},
                                            {"dims"},
                                            {"unit"},
                                            {"samples", Align::right},
                                            {"first", Align::right},
                                            {"last", Align::right},
                                            {"rate", Align::right},
                                            {"size", Align::right}};
  if (isLong) {
    for (const char* title : {"dataset", "port", "interpolation", "sample time", "decimation", "labels", "scaling"}) {
      columns.push_back({title});
    }
  }
  TextTable table(std::move(columns));
  for (const SignalInfo* signal : signals) {
    const bool hasSamples = signal->place.count != 0;
    std::vector<std::string> cells = {signal->name,
                                      pathText(*signal),
                                      typeText(*signal),
                                      dimensionsText(signal->dimensions),
                                      signal->unit,
                                      std::to_string(signal->place.count),
                                      hasSamples ? timeText(signal->first) : "",
                                      hasSamples ? timeText(signal->last) : "",
                                      rateText(*signal),
                                      sizeText(static_cast<double>(file.storedBytes(*signal)))};
    if (isLong) {
      const std::string port = std::to_string(signal->port) + (signal->portKind.empty() ? "" : " " + signal->portKind);
      for (const std::string& cell : {signal->dataset, port, signal->interpolation, signal->sampleTime,
                                      std::to_string(signal->decimation), labelsText(*signal), scalingText(*signal)}) {
        cells.push_back(cell);
      }
    }
    table.add(std::move(cells));
  }
  table.print(console.out, console.style);
}

/// A level of signal names: what is between dots.
struct Branch {
  std::vector<std::pair<std::string, std::unique_ptr<Branch>>> children;  // in file order
  std::map<std::string, Branch*, std::less<>> byName;
  const SignalInfo* signal = nullptr;

  Branch& child(std::string_view name) {
    if (const auto found = byName.find(name); found != byName.end()) return *found->second;
    children.emplace_back(std::string(name), std::make_unique<Branch>());
    byName.emplace(name, children.back().second.get());
    return *children.back().second;
  }
};

void printBranch(const Branch& branch, const std::string& indent, const Console& console) {
  for (std::size_t i = 0; i < branch.children.size(); ++i) {
    const auto& [name, child] = branch.children[i];
    const bool isLast = i + 1 == branch.children.size();
    console.out << indent << (isLast ? "└─ " : "├─ ") << printable(name);
    if (const SignalInfo* signal = child->signal) {
      const std::string dims = dimensionsText(signal->dimensions);
      const std::string details = typeText(*signal) + (dims.empty() ? "" : " " + dims) +
                                  (signal->unit.empty() ? "" : " [" + signal->unit + "]") + ", " +
                                  std::to_string(signal->place.count) + " samples";
      console.out << "  " << console.style.dim(printable(details));
    }
    console.out << '\n';
    printBranch(*child, indent + (isLast ? "   " : "│  "), console);
  }
}

void printTree(const Signals& signals, const Console& console) {
  Branch root;
  for (const SignalInfo* signal : signals) {
    Branch* branch = &root.child(signal->dataset.empty() ? "(no dataset)" : signal->dataset);
    // The element's own name may contain dots; only what is behind it are levels of a bus.
    const std::string& name = signal->name;
    const bool hasElement = !signal->element.empty() && name.starts_with(signal->element + ".");
    std::size_t begin = 0;
    std::size_t dot = hasElement ? signal->element.size() : name.find('.');
    while (dot != std::string::npos) {
      branch = &branch->child(std::string_view(name).substr(begin, dot - begin));
      begin = dot + 1;
      dot = name.find('.', begin);
    }
    Branch& leaf = branch->child(std::string_view(name).substr(begin));
    leaf.signal = signal;
  }
  for (const auto& [dataset, branch] : root.children) {
    console.out << console.style.bold(printable(dataset)) << '\n';
    printBranch(*branch, "", console);
  }
}

}  // namespace

int listSignals(const LsSettings& settings, const Console& console) {
  if (!settings.runs.run && RunTable::isSweep(settings.file)) return listRuns(settings, console);
  const ResultsFile file = openChosen(settings.file, settings.runs, {}).file;
  const Signals signals = file.selectAny(settings.patterns);
  if (settings.json) {
    console.out << signalListJson(file, signals) << '\n';
  } else if (settings.tree) {
    printTree(signals, console);
  } else {
    printTable(file, signals, settings.isLong, console);
  }
  return kDone;
}

}  // namespace vtio::results
