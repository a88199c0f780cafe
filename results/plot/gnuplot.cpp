#include "results/plot/gnuplot.hpp"

#include <cmath>
#include <cstddef>
#include <filesystem>

#include "results/export/target_file.hpp"
#include "results/file/results_error.hpp"
#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kPanelHeight = 260;
constexpr std::size_t kRestHeight = 90;  // title and the axis below
constexpr std::size_t kWidth = 1200;

// A text in double quotation marks.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F)
      result += ' ';
    else if (c == '"' || c == '\\')
      result += std::string("\\") + c;
    else if (c == '`')
      result += '\'';  // gnuplot runs what is between backquotes
    else
      result += c;
  }
  return result + "\"";
}

void appendData(std::string& script, const std::string& block, const Curve& curve) {
  script += block + " << EOD\n";
  for (const Point& point : curve.points) {
    appendNumber(script, std::isfinite(point.time) ? point.time : std::nan(""));
    script += ' ';
    appendNumber(script, std::isfinite(point.value) ? point.value : std::nan(""));
    script += '\n';
  }
  if (curve.points.empty()) script += "NaN NaN\n";
  script += "EOD\n";
}

bool isFlat(const Panel& panel) {
  for (const Curve& curve : panel.curves) {
    for (const Point& point : curve.points) {
      if (std::isfinite(point.value) && point.value != panel.curves.front().points.front().value) return false;
    }
  }
  return true;
}

void appendAxis(std::string& script, const Panel& panel) {
  script += "set autoscale y\nunset ytics\n";
  if (panel.kind == Panel::Kind::numbers) {
    script += "set ytics\nset ylabel " + quoted(panel.unit.empty() ? " " : panel.unit) + "\n";
    script += isFlat(panel) ? "set offsets 0, 0, 0.5, 0.5\n" : "set offsets 0, 0, graph 0.04, graph 0.04\n";
    return;
  }
  script += "set ylabel \" \"\nset ytics (";
  for (std::size_t i = 0; i < panel.ticks.size(); ++i) {
    script += (i == 0 ? "" : ", ") + quoted(panel.ticks[i].second) + " " + numberText(panel.ticks[i].first);
  }
  script += ")\nset offsets 0, 0, 0.4, 0.4\n";
}

void appendPlot(std::string& script, const Panel& panel, std::size_t firstBlock) {
  for (std::size_t i = 0; i < panel.curves.size(); ++i) {
    const Curve& curve = panel.curves[i];
    script += (i == 0 ? "plot $d" : ", \\\n  $d") + std::to_string(firstBlock + i) + " using 1:2 with " +
              (curve.isStairs ? "steps" : "lines") + " lw 1.5 dt " + (curve.isOther ? "2" : "1") + " title " +
              quoted(curve.name + (curve.isOther ? " (other)" : ""));
  }
  script += "\n";
}

}  // namespace

std::string gnuplotScript(const Figure& figure, const std::string& terminal, const std::string& output) {
  const std::size_t panels = figure.panels.size();
  const std::size_t height = panels * kPanelHeight + kRestHeight;
  std::string script = "set encoding utf8\n";
  script += "set terminal " + std::string(terminal == "png" ? "pngcairo" : "svg") + " noenhanced size " +
            std::to_string(kWidth) + "," + std::to_string(height) + " background \"white\" font \"sans,11\"\n";
  script += "set output " + quoted(output) + "\n";
  std::size_t block = 0;
  for (const Panel& panel : figure.panels) {
    for (const Curve& curve : panel.curves) appendData(script, "$d" + std::to_string(block++), curve);
  }
  script += "set grid lc rgb \"#d0d0d0\"\nset key outside right top\nset lmargin 14\nset rmargin 28\n";
  if (!figure.isXy && figure.range.from < figure.range.to) {
    script += "set xrange [" + numberText(figure.range.from) + ":" + numberText(figure.range.to) + "]\n";
  }
  script += "set multiplot layout " + std::to_string(panels) + ",1 title " + quoted(figure.title) + " noenhanced\n";
  block = 0;
  for (std::size_t i = 0; i < panels; ++i) {
    const Panel& panel = figure.panels[i];
    if (i + 1 == panels) script += "set xlabel " + quoted(figure.xTitle) + "\n";
    appendAxis(script, panel);
    appendPlot(script, panel, block);
    block += panel.curves.size();
  }
  return script + "unset multiplot\nunset output\n";
}

void drawWithGnuplot(const Figure& figure, const std::string& terminal, const std::string& output) {
  TargetFile target(output);
  const int status = runWithInput("gnuplot", gnuplotScript(figure, terminal, target.temporaryPath()));
  if (status == 127) throw ResultsError(output, "drawing needs gnuplot, which is not installed (package gnuplot-nox)");
  if (status != 0) throw ResultsError(output, "gnuplot failed with status " + std::to_string(status));
  if (std::filesystem::file_size(target.temporaryPath()) == 0) throw ResultsError(output, "gnuplot drew nothing");
  target.commit();
}

}  // namespace vtio::results
