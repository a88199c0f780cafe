#include "results/commands/plot.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <ostream>

#include "results/export/target_file.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/plot/figure.hpp"
#include "results/plot/gnuplot.hpp"
#include "results/sweep/over_parameter.hpp"
#include "results/terminal/chart.hpp"
#include "results/viewer/static_page.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kMargin = kLabelColumns + 2;  // characters beside a chart

std::vector<const SignalInfo*> chosenSignals(const ResultsFile& file, const std::vector<std::string>& names) {
  // The order of the names counts: the first is the abscissa of an XY plot.
  std::vector<const SignalInfo*> signals;
  for (const std::string& name : names) {
    for (const SignalInfo* signal : file.select(std::span(&name, 1))) {
      if (std::find(signals.begin(), signals.end(), signal) == signals.end()) signals.push_back(signal);
    }
  }
  return signals;
}

bool hasPoints(const Figure& figure) {
  return std::any_of(figure.panels.begin(), figure.panels.end(), [](const Panel& panel) {
    return std::any_of(panel.curves.begin(), panel.curves.end(),
                       [](const Curve& curve) { return !curve.points.empty(); });
  });
}

TimeRange extentOf(const Figure& figure) {
  if (!figure.isXy) return figure.range;
  TimeRange extent{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  for (const Panel& panel : figure.panels) {
    for (const Curve& curve : panel.curves) {
      for (const Point& point : curve.points) {
        if (!std::isfinite(point.time)) continue;
        extent.from = std::min(extent.from, point.time);
        extent.to = std::max(extent.to, point.time);
      }
    }
  }
  return extent;
}

void drawOnConsole(const Figure& figure, const Console& console) {
  const TimeRange extent = extentOf(figure);
  console.out << console.style.bold(printable(figure.title)) << '\n';
  for (const Panel& panel : figure.panels) {
    Chart chart;
    chart.unit = panel.unit;
    chart.columns = std::clamp<std::size_t>(console.style.width, 40, 200) - kMargin;
    chart.axisUnit = figure.isXy ? "" : figure.xUnit;
    chart.rows = panel.kind == Panel::Kind::tracks ? std::max<std::size_t>(2, panel.ticks.size()) : 12;
    chart.from = std::isfinite(extent.from) ? extent.from : 0;
    chart.to = std::isfinite(extent.to) ? extent.to : 0;
    for (const Curve& curve : panel.curves) {
      chart.curves.push_back({curve.name + (curve.isOther ? " (other)" : ""), curve.points, curve.isStairs});
    }
    chart.ticks = panel.ticks;
    console.out << chart.draw(console.style);
  }
  if (figure.isXy) console.out << printable(figure.xTitle) << '\n';
}

void draw(const Figure& figure, const std::string& format, const PlotSettings& settings, const Console& console) {
  if (format.empty()) {
    drawOnConsole(figure, console);
  } else {
    drawWithGnuplot(figure, format, settings.output);
  }
}

// Of a sweep all runs are drawn unless some are chosen.
ChosenFile openForPlot(const std::string& path, const PlotSettings& settings, RunChoice choice) {
  if (!choice.isGiven() && RunTable::isSweep(path)) choice.conditions = {"all"};
  if (settings.xy && !choice.conditions.empty()) throw ResultsError(path, "--xy is for one run; choose it with --run");
  return openChosen(path, choice, settings.signals, RunNames::parameters);
}

// The file to compare with: of a sweep the same runs.
std::optional<ChosenFile> openOther(const PlotSettings& settings) {
  if (settings.compare.empty()) return std::nullopt;
  const bool isSweep = RunTable::isSweep(settings.compare);
  return openForPlot(settings.compare, settings, isSweep ? settings.runs : RunChoice());
}

Figure figureOverParameter(const PlotSettings& settings) {
  if (settings.xy || settings.time.isGiven() || !settings.compare.empty() || settings.runs.run) {
    throw ResultsError("--over goes with neither --xy, --from, --to, --compare nor --run");
  }
  if (!RunTable::isSweep(settings.file)) throw ResultsError(settings.file, "is no sweep, as --over needs one");
  const RunTable table(settings.file);
  return figureOver(table, table.select(settings.runs.conditions), settings.over, settings.signals);
}

void addTraces(std::vector<TraceId>& traces, const ViewedFile& viewed, TraceFile file, const SignalInfo& signal) {
  const std::size_t number = viewed.numberOf(signal.name);
  for (std::size_t element = 0; element < signal.width(); ++element) traces.push_back({file, number, element});
}

int writePlotPage(const PlotSettings& settings, const Console& console) {
  if (settings.page.empty()) {
    throw ResultsError(settings.output, "this qat was built without its page; install nodejs and npm, build it again");
  }
  if (RunTable::isSweep(settings.file)) {
    throw ResultsError(settings.output, "runs of a sweep are plotted as .svg or .png");
  }
  Viewer viewer(ViewedFile::opener(settings.file), ViewedFile::opener(settings.compare), console.job);
  const ResultsFile& file = viewer.first().file();
  const std::vector<const SignalInfo*> signals = chosenSignals(file, settings.signals);
  FigureSettings figure;
  figure.range = settings.time.range();
  figure.isXy = settings.xy;
  figure.pixels = 1;
  // Refuses what other formats refuse.
  const ViewedFile* second = viewer.second();
  checkFigure(file, signals, second != nullptr ? &second->file() : nullptr, figure);
  StaticPlot plot{{}, figure.range, settings.xy};
  for (const SignalInfo* signal : signals) {
    addTraces(plot.traces, viewer.first(), TraceFile::first, *signal);
    if (second != nullptr) addTraces(plot.traces, *second, TraceFile::second, second->file().find(signal->name));
  }
  TextOutput out(settings.output);
  out.buffer() = plotPage(viewer, settings.page, plot, console.job);
  out.commit();
  return kDone;
}

}  // namespace

std::string pictureFormat(const std::string& output, const std::vector<std::string>& inputs) {
  if (output.empty()) return "";
  const std::string ending = std::filesystem::path(output).extension().string();
  if (ending != ".svg" && ending != ".png" && ending != ".html") {
    throw ResultsError(output, "a plot is written as .svg, .png or .html");
  }
  requireNoInput(output, inputs);
  return ending.substr(1);
}

int plotSignals(const PlotSettings& settings, const Console& console) {
  const std::string format = pictureFormat(settings.output, {settings.file, settings.compare});
  if (format == "html") return writePlotPage(settings, console);
  if (!settings.over.empty()) {
    draw(figureOverParameter(settings), format, settings, console);
    return kDone;
  }
  const ChosenFile chosen = openForPlot(settings.file, settings, settings.runs);
  const ResultsFile& file = chosen.file;
  const auto other = openOther(settings);
  FigureSettings figureSettings;
  figureSettings.range = settings.time.range();
  figureSettings.isXy = settings.xy;
  if (format.empty()) figureSettings.pixels = 2 * std::max<std::size_t>(40, console.style.width);
  const auto signals = chosenSignals(file, chosen.isSelection ? std::vector<std::string>{"*"} : settings.signals);
  const Figure figure = makeFigure(file, signals, other ? &other->file : nullptr, figureSettings, console.job);
  if (settings.time.isGiven() && !hasPoints(figure)) {
    throw ResultsError(settings.file, "these signals have no samples in that range of time");
  }
  draw(figure, format, settings, console);
  return kDone;
}

}  // namespace vtio::results
