#include "results/viewer/static_page.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "results/export/json.hpp"
#include "results/export/target_file.hpp"
#include "results/file/results_error.hpp"
#include "results/viewer/answers.hpp"

namespace vtio::results {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostInPage = std::size_t{6} << 20U;  // bytes of samples in index.html
constexpr std::size_t kMostInAll = std::size_t{400} << 20U;
constexpr std::size_t kLeastPixels = 200;
constexpr std::string_view kPlace = "<!--qat-data-->";  // in the page, where data go

std::string traceText(const TraceId& id) {
  return std::string(1, static_cast<char>(id.file)) + "." + std::to_string(id.signal) + "." +
         std::to_string(id.element);
}

// JSON that is safe inside of a script element.
std::string scriptText(const std::string& json) {
  std::string text;
  for (const char c : json) {
    if (c == '<')
      text += "\\u003c";
    else
      text += c;
  }
  return text;
}

std::string pageWith(std::string_view page, const std::string& json) {
  const std::size_t place = page.find(kPlace);
  if (place == std::string_view::npos) throw ResultsError("the viewer's page has no place for data");
  std::string text(page.substr(0, place));
  text += "<script>window.qatData=" + scriptText(json) + ";</script>";
  text += page.substr(place + kPlace.size());
  return text;
}

// The data of one signal: its traces as the question `series` gives them, and the texts of text signals.
std::string signalData(Viewer& viewer, const std::vector<TraceId>& traces, TimeRange range, std::size_t pixels) {
  std::string bytes;
  Json texts = Json::object();
  Json names = Json::array();
  for (const TraceId& id : traces) {
    const Trace& trace = viewer.trace(id);
    const std::vector<Point> points = trace.reduced(range, pixels);
    const bool isReduced = range.isAll() && points.size() < trace.values().size();
    appendPoints(bytes, points, isReduced);
    names.push_back(traceText(id));
    if (!trace.texts().empty()) texts[traceText(id)] = trace.texts();
  }
  return jsonText({{"traces", std::move(names)}, {"points", base64(bytes)}, {"texts", std::move(texts)}});
}

std::vector<TraceId> tracesOf(TraceFile file, std::size_t number, const SignalInfo& signal) {
  std::vector<TraceId> traces;
  const std::size_t count = std::min(signal.width(), kMostStaticElements);
  for (std::size_t element = 0; element < count; ++element) traces.push_back({file, number, element});
  return traces;
}

// All signals of both files and the differences of those that both have, by trace of their first element.
std::vector<std::vector<TraceId>> allSignals(const Viewer& viewer) {
  std::vector<std::vector<TraceId>> all;
  const ViewedFile* second = viewer.second();
  const auto add = [&](TraceFile file, const ViewedFile& viewed) {
    for (std::size_t i = 0; i < viewed.signals().size(); ++i) {
      const SignalInfo* signal = viewed.signals()[i];
      if (signal == nullptr || signal->place.count > kMostTraceSamples) continue;
      if (file == TraceFile::difference && second->numberOf(signal->name) == ViewedFile::npos) continue;
      std::vector<TraceId> traces = tracesOf(file, i, *signal);
      if (file == TraceFile::difference) {
        const std::size_t width = second->signal(second->numberOf(signal->name)).width();
        traces.resize(std::min(traces.size(), width));
      }
      if (!traces.empty()) all.push_back(std::move(traces));
    }
  };
  add(TraceFile::first, viewer.first());
  if (second == nullptr) return all;
  add(TraceFile::second, *second);
  add(TraceFile::difference, viewer.first());
  return all;
}

std::size_t pixelsFor(const std::vector<std::vector<TraceId>>& signals) {
  std::size_t traces = 1;
  for (const auto& signal : signals) traces += signal.size();
  constexpr std::size_t kPixelBytes = 4 * 16 * 4 / 3;
  return std::clamp(kMostInAll / (traces * kPixelBytes), kLeastPixels, kStaticPixels);
}

void writeText(const std::string& path, const std::string& text) {
  TextOutput out(path);
  out.buffer() = text;
  out.commit();
}

void makeFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw ResultsError(folder, "cannot make this folder: " + error.message());
}

std::string signalKey(const TraceId& id) {
  return std::string(1, static_cast<char>(id.file)) + "." + std::to_string(id.signal);
}

std::string pageData(const Viewer& viewer, const std::string& inlined, const std::string& rest) {
  return "{\"files\": " + filesJson(viewer, 0) + ",\n\"signals\": {" + inlined + "}" + rest + "}";
}

void appendMember(std::string& members, const std::string& key, const std::string& value) {
  members += (members.empty() ? "\"" : ",\n\"") + key + "\": " + value;
}

}  // namespace

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8U | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) text += k <= count ? kDigits[group >> (18U - 6U * k) & 63U] : '=';
  }
  return text;
}

std::string plotPage(Viewer& viewer, std::string_view page, const StaticPlot& plot, const Job& job) {
  std::string members;
  Json traces = Json::array();
  for (const TraceId& id : plot.traces) {
    job.step(static_cast<double>(traces.size()) / static_cast<double>(plot.traces.size()));
    traces.push_back(traceText(id));
  }
  std::set<std::string> done;
  for (const TraceId& id : plot.traces) {
    if (!done.insert(signalKey(id)).second) continue;
    std::vector<TraceId> own;
    std::copy_if(plot.traces.begin(), plot.traces.end(), std::back_inserter(own),
                 [&](const TraceId& other) { return signalKey(other) == signalKey(id); });
    appendMember(members, signalKey(id), signalData(viewer, own, plot.range, kStaticPixels));
  }
  const Json show = {{"traces", traces},
                     {"xy", plot.isXy},
                     {"from", finiteOrNull(plot.range.from)},
                     {"to", finiteOrNull(plot.range.to)}};
  return pageWith(page, pageData(viewer, members, ",\n\"show\": " + jsonText(show)));
}

void exportPage(Viewer& viewer, std::string_view page, const std::string& folder, const Job& job) {
  makeFolder(folder);
  const std::vector<std::vector<TraceId>> signals = allSignals(viewer);
  const std::size_t pixels = pixelsFor(signals);
  std::string inlined;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    job.step(static_cast<double>(i) / static_cast<double>(signals.size()));
    const std::string key = signalKey(signals[i].front());
    const std::string data = signalData(viewer, signals[i], {}, pixels);
    if (inlined.size() + data.size() <= kMostInPage) {
      appendMember(inlined, key, data);
      continue;
    }
    const std::filesystem::path dataFolder = std::filesystem::path(folder) / "data";
    makeFolder(dataFolder.string());
    std::string script = "qatSignal(\"";
    script.append(key).append("\", ").append(data).append(");\n");
    writeText((dataFolder / (key + ".js")).string(), script);
  }
  const std::string index = (std::filesystem::path(folder) / "index.html").string();
  writeText(index, pageWith(page, pageData(viewer, inlined, "")));
}

}  // namespace vtio::results
