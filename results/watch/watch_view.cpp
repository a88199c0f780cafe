#include "results/watch/watch_view.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <sstream>
#include <utility>

#include "results/file/results_error.hpp"
#include "results/terminal/chart.hpp"
#include "results/terminal/text_table.hpp"
#include "results/values/number_text.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kMostCurves = 6;
constexpr std::size_t kMostCellsShown = 8;
constexpr std::size_t kAroundChart = 3;  // lines: legend, axis, times
constexpr std::size_t kLeastChart = 3;
constexpr std::size_t kMostChart = 20;
constexpr std::size_t kWithUnit = 44;  // columns of a terminal from which there is room for more
constexpr std::size_t kWithSamples = 64;

// The last time of any signal; none if there is no sample.
double lastTimeOf(const std::vector<const SignalInfo*>& signals) {
  double last = -std::numeric_limits<double>::infinity();
  for (const SignalInfo* signal : signals) {
    if (signal->place.count != 0) last = std::max(last, signal->last);
  }
  return last;
}

bool isDrawable(const SignalInfo& signal) { return signal.type.id != ElementClass::text && signal.width() != 0; }

// Not more than `width` columns of a line with escape sequences, which take none.
std::string clipped(std::string_view line, std::size_t width) {
  std::string result;
  std::size_t columns = 0;
  for (std::size_t i = 0; i < line.size();) {
    std::size_t end = i + 1;
    if (line[i] == '\x1b') {
      while (end < line.size() && line[end - 1] != 'm') ++end;
      result += line.substr(i, end - i);
    } else {
      while (end < line.size() && (static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80) ++end;
      if (columns++ < width) result += line.substr(i, end - i);
    }
    i = end;
  }
  return result;
}

void appendLines(std::vector<std::string>& lines, const std::string& text) {
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
}

std::string lastValueOf(const ResultsFile& file, const SignalInfo& signal) {
  if (signal.place.count == 0) return "";
  const std::uint64_t row = signal.place.begin + signal.place.count - 1;
  const Series series = readRows(file, signal, {row, row + 1});
  const ShownValues values(signal);
  const std::size_t cells = signal.width() * signal.type.parts();
  std::string text;
  for (std::size_t cell = 0; cell < std::min(cells, kMostCellsShown); ++cell) {
    if (cell != 0) text += ' ';
    appendPlain(text, values(series.view().sample(0), cell));
  }
  return cells > kMostCellsShown ? text + " …" : text;
}

}  // namespace

WatchKey takeKey(std::string_view& sent) {
  constexpr std::array<std::pair<std::string_view, WatchKey>, 16> kKeys = {{{"\x1b[A", WatchKey::up},
                                                                            {"\x1bOA", WatchKey::up},
                                                                            {"k", WatchKey::up},
                                                                            {"\x1b[B", WatchKey::down},
                                                                            {"\x1bOB", WatchKey::down},
                                                                            {"j", WatchKey::down},
                                                                            {"\x1b[5~", WatchKey::pageUp},
                                                                            {"\x1b[6~", WatchKey::pageDown},
                                                                            {" ", WatchKey::pageDown},
                                                                            {"\x1b[H", WatchKey::first},
                                                                            {"\x1bOH", WatchKey::first},
                                                                            {"g", WatchKey::first},
                                                                            {"\x1b[F", WatchKey::last},
                                                                            {"G", WatchKey::last},
                                                                            {"q", WatchKey::quit},
                                                                            {"Q", WatchKey::quit}}};
  for (const auto& [bytes, key] : kKeys) {
    if (!sent.starts_with(bytes)) continue;
    sent.remove_prefix(bytes.size());
    return key;
  }
  sent.remove_prefix(std::min<std::size_t>(1, sent.size()));
  return WatchKey::none;
}

WatchView::WatchView(const std::string& path, std::vector<std::string> patterns)
    : file_(path), patterns_(std::move(patterns)) {
  const auto chosen = file_.select(patterns_);
  const auto drawn = std::find_if(chosen.begin(), chosen.end(), [](const auto* one) { return isDrawable(*one); });
  place_ = drawn == chosen.end() ? 0 : static_cast<std::size_t>(drawn - chosen.begin());
}

std::vector<const SignalInfo*> WatchView::signals() const { return file_.selectAny(patterns_); }

void WatchView::update(const Job& job) {
  try {
    const double before = lastTimeOf(signals());
    const Refresh found = file_.refresh();
    const double after = lastTimeOf(signals());
    if (found.isSteppedBack || after < before) {
      stepBack_ = "stepped back from " + timeText(before) + " to " + timeText(after) + " s";
    }
    drawSignal(job);
    file_.release();  // a program that writes it anew shall be watched, not refused
    problem_.clear();
  } catch (const ResultsError& error) {
    problem_ = error.what();
  }
}

void WatchView::drawSignal(const Job& job) {
  const auto all = signals();
  if (all.empty()) return;
  place_ = std::min(place_, all.size() - 1);
  const SignalInfo& signal = *all[place_];
  if (curvesOf_ != signal.name) {
    curves_.clear();
    curvesOf_ = signal.name;
    const std::size_t cells = isDrawable(signal) ? signal.width() * signal.type.parts() : 0;
    for (std::size_t cell = 0; cell < std::min(cells, kMostCurves); ++cell) curves_.emplace_back(cell);
  }
  for (GrowingCurve& curve : curves_) curve.update(file_, signal, job);
}

bool WatchView::press(WatchKey key) {
  const std::size_t count = signals().size();
  const std::size_t last = count == 0 ? 0 : count - 1;
  const auto up = [&](std::size_t by) { place_ -= std::min(place_, by); };
  const auto down = [&](std::size_t by) { place_ = std::min(last, place_ + by); };
  if (key == WatchKey::up) up(1);
  if (key == WatchKey::down) down(1);
  if (key == WatchKey::pageUp) up(onScreen_);
  if (key == WatchKey::pageDown) down(onScreen_);
  if (key == WatchKey::first) place_ = 0;
  if (key == WatchKey::last) place_ = last;
  return key != WatchKey::quit;
}

std::string WatchView::stateText(const Style& style) const {
  if (!problem_.empty()) return style.red("cannot be read: " + printable(problem_));
  if (file_.isGrowing()) return style.green("running");
  return file_.isComplete() ? style.bold("completed") : style.red("incomplete: its writer ended");
}

std::string WatchView::summary() const {
  const double last = lastTimeOf(signals());
  return file_.path() + ": " + stateText({}) + (std::isfinite(last) ? ", last time " + timeText(last) + " s" : "") +
         (stepBack_.empty() ? "" : ", " + stepBack_);
}

std::string WatchView::frame(const Style& style, std::size_t height) {
  const std::size_t count = signals().size();
  const std::size_t room = height > 3 ? height - 3 : 0;  // without state, titles and keys
  std::size_t rows = std::min(count, std::max<std::size_t>(3, room / 2));
  std::size_t chart = room > rows + kAroundChart ? std::min(room - rows - kAroundChart, kMostChart) : 0;
  if (chart < kLeastChart || count == 0) chart = 0;
  if (chart == 0 || chart == kMostChart) rows = std::min(count, room - (chart == 0 ? 0 : chart + kAroundChart));

  std::vector<std::string> lines;
  const double last = lastTimeOf(signals());
  lines.push_back(style.bold(printable(std::filesystem::path(file_.path()).filename().string())) + "  " +
                  stateText(style) + (std::isfinite(last) ? "  " + timeText(last) + " s" : "") +
                  (stepBack_.empty() ? "" : "  " + style.series(1, stepBack_)));
  appendTable(lines, style, rows);
  if (chart != 0) appendChart(lines, style, chart);
  lines.resize(std::min(lines.size(), height == 0 ? 0 : height - 1));
  if (height > 0) lines.push_back(style.dim("q quit  ↑ ↓ choose a signal"));
  file_.release();
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + clipped(line, style.width);
  return text;
}

std::vector<std::string> WatchView::rowOf(const SignalInfo& signal, bool isChosen) const {
  std::string value;
  try {
    value = lastValueOf(file_, signal);
  } catch (const ResultsError&) {
    value = "?";  // the next refresh says why
  }
  return {(isChosen ? "▸ " : "  ") + signal.name, value, signal.unit, std::to_string(signal.place.count),
          signal.place.count != 0 ? timeText(signal.last) : ""};
}

void WatchView::appendTable(std::vector<std::string>& lines, const Style& style, std::size_t rows) {
  using Align = TextTable::Align;
  std::vector<TextTable::Column> columns = {{"  name"}, {"value", Align::right}};
  if (style.width >= kWithUnit) columns.push_back({"unit"});
  if (style.width >= kWithSamples) {
    columns.push_back({"samples", Align::right});
    columns.push_back({"last [s]", Align::right});
  }
  const std::size_t shown = columns.size();
  TextTable table(std::move(columns));
  const auto all = signals();
  onScreen_ = std::max<std::size_t>(1, rows);
  if (!all.empty()) place_ = std::min(place_, all.size() - 1);
  if (place_ < top_) top_ = place_;
  if (place_ >= top_ + onScreen_) top_ = place_ + 1 - onScreen_;
  top_ = std::min(top_, all.size() > rows ? all.size() - rows : 0);
  for (std::size_t i = top_; i < std::min(all.size(), top_ + rows); ++i) {
    std::vector<std::string> cells = rowOf(*all[i], i == place_);
    cells.resize(shown);
    table.add(std::move(cells));
  }
  std::ostringstream text;
  Style narrowed = style;
  narrowed.isTerminal = true;  // columns are narrowed to its width
  table.print(text, narrowed);
  appendLines(lines, text.str());
}

void WatchView::appendChart(std::vector<std::string>& lines, const Style& style, std::size_t rows) const {
  const auto all = signals();
  const SignalInfo& signal = *all[std::min(place_, all.size() - 1)];
  if (curvesOf_ != signal.name || curves_.empty()) {
    lines.push_back("");
    lines.push_back(style.dim("  " + printable(signal.name) + " cannot be drawn"));
    return;
  }
  Chart chart;
  chart.unit = signal.unit;
  chart.rows = rows;
  chart.columns = style.width > kLabelColumns + 12 ? style.width - kLabelColumns - 2 : 10;
  chart.from = signal.place.count != 0 ? signal.first : 0;
  chart.to = signal.place.count != 0 ? signal.last : 0;
  const std::vector<std::string> names = cellNames(signal);
  for (std::size_t i = 0; i < curves_.size(); ++i) {
    chart.curves.push_back({names[i], curves_[i].points(), !signal.interpolates()});
  }
  if (signal.labels) {
    for (const auto& [label, value] : *signal.labels) chart.ticks.emplace_back(static_cast<double>(value), label);
  }
  appendLines(lines, chart.draw(style));
}

}  // namespace vtio::results
