#include "results/plot/figure.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>

#include "results/export/series_batches.hpp"
#include "results/file/results_error.hpp"
#include "results/plot/curves.hpp"

namespace vtio::results {
namespace {

using Signals = std::vector<const SignalInfo*>;

constexpr std::size_t kMostCurves = 64;  // of one signal; more cannot be told apart

Panel::Kind kindOf(const SignalInfo& signal) {
  if (signal.labels) return Panel::Kind::labels;
  return signal.type.id == ElementClass::logical ? Panel::Kind::tracks : Panel::Kind::numbers;
}

std::vector<std::pair<double, std::string>> labelTicks(const SignalInfo& signal) {
  std::vector<std::pair<double, std::string>> ticks;
  for (const auto& [label, value] : *signal.labels) ticks.emplace_back(static_cast<double>(value), label);
  return ticks;
}

Panel& panelFor(std::vector<Panel>& panels, const SignalInfo& signal) {
  const Panel::Kind kind = kindOf(signal);
  auto ticks = kind == Panel::Kind::labels ? labelTicks(signal) : std::vector<std::pair<double, std::string>>();
  const std::string unit = kind == Panel::Kind::numbers ? signal.unit : "";
  const auto fits = [&](const Panel& panel) {
    return panel.kind == kind && panel.unit == unit && (kind != Panel::Kind::labels || panel.ticks == ticks);
  };
  const auto found = std::find_if(panels.begin(), panels.end(), fits);
  if (found != panels.end()) return *found;
  panels.push_back({kind, unit, std::move(ticks), {}});
  return panels.back();
}

// Tracks are above each other: each is moved up by its number. A compared one is drawn over its counterpart.
void stackTracks(Panel& panel) {
  if (panel.kind != Panel::Kind::tracks) return;
  for (Curve& curve : panel.curves) {
    const auto known = std::find_if(panel.ticks.begin(), panel.ticks.end(),
                                    [&](const auto& tick) { return curve.isOther && tick.second == curve.name; });
    const auto number = static_cast<double>(known - panel.ticks.begin());
    if (known == panel.ticks.end()) panel.ticks.emplace_back(number + 0.35, curve.name);
    for (Point& point : curve.points) point.value = number + 0.7 * point.value;
  }
}

void checkDrawable(const ResultsFile& file, const SignalInfo& signal) {
  const std::string name = "signal '" + signal.name + "'";
  if (signal.type.id == ElementClass::text) throw ResultsError(file.path(), name + " has texts, which cannot be drawn");
  if (signal.width() > kMostCurves) {
    throw ResultsError(file.path(), name + " has " + std::to_string(signal.width()) + " elements; at most " +
                                        std::to_string(kMostCurves) + " can be drawn");
  }
}

class FigureMaker {
 public:
  FigureMaker(const FigureSettings& settings, TimeRange range, const Job& job)
      : settings_(settings), range_(range), job_(job) {}

  void addFile(const ResultsFile& file, const Signals& signals, bool isOther) {
    const std::size_t first = settings_.isXy ? 1 : 0;
    for (std::size_t i = first; i < signals.size(); ++i) {
      job_.step(static_cast<double>(i) / static_cast<double>(signals.size()));
      std::vector<Curve> curves = settings_.isXy
                                      ? xyCurves(file, *signals.front(), *signals[i], range_, settings_.pixels)
                                      : timeCurves(file, *signals[i], range_, settings_.pixels);
      Panel& panel = panelFor(figure.panels, *signals[i]);
      for (Curve& curve : curves) {
        curve.isOther = isOther;
        panel.curves.push_back(std::move(curve));
      }
    }
  }

  Figure figure;

 private:
  const FigureSettings& settings_;
  TimeRange range_;
  const Job& job_;
};

Signals sameNames(const Signals& signals, const ResultsFile& other) {
  Signals found;
  for (const SignalInfo* signal : signals) found.push_back(&other.find(signal->name));
  for (const SignalInfo* signal : found) checkDrawable(other, *signal);
  return found;
}

}  // namespace

void checkFigure(const ResultsFile& file, const std::vector<const SignalInfo*>& signals, const ResultsFile* other,
                 const FigureSettings& settings) {
  if (settings.isXy && signals.size() < 2) throw ResultsError("an XY plot needs two signals or more");
  for (const SignalInfo* signal : signals) checkDrawable(file, *signal);
  if (other != nullptr) static_cast<void>(sameNames(signals, *other));
}

Figure makeFigure(const ResultsFile& file, const std::vector<const SignalInfo*>& signals, const ResultsFile* other,
                  const FigureSettings& settings, const Job& job) {
  checkFigure(file, signals, nullptr, settings);
  const Signals others = other != nullptr ? sameNames(signals, *other) : Signals();
  Signals all = signals;
  all.insert(all.end(), others.begin(), others.end());
  const TimeRange range = closedRange(all, settings.range);
  FigureMaker maker(settings, range, job);
  maker.addFile(file, signals, false);
  if (other != nullptr) maker.addFile(*other, others, true);
  Figure figure = std::move(maker.figure);
  for (Panel& panel : figure.panels) stackTracks(panel);
  figure.title = std::filesystem::path(file.path()).filename().string();
  if (other != nullptr) figure.title += " and " + std::filesystem::path(other->path()).filename().string();
  figure.range = range;
  figure.xTitle = file.axis().title();
  figure.xUnit = file.axis().unit;
  figure.isXy = settings.isXy;
  if (settings.isXy) {
    const SignalInfo& x = *signals.front();
    figure.xTitle = x.name + (x.unit.empty() ? "" : " [" + x.unit + "]");
  }
  return figure;
}

}  // namespace vtio::results
