#include "results/viewer/answers.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "results/export/json.hpp"
#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostPixels = 100'000;

template <class Number>
Number numberFrom(const std::string& name, std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && rest == end) return number;
  throw ResultsError(name + ": '" + std::string(text) + "' is no number");
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.size(), text.find(separator));
    parts.push_back(text.substr(0, end));
    text.remove_prefix(std::min(text.size(), end + 1));
  }
  return parts;
}

TraceId traceFrom(std::string_view text) {
  const std::vector<std::string_view> parts = split(text, '.');
  const bool isKnown = parts.size() == 3 && parts[0].size() == 1 && std::strchr("abd", parts[0][0]) != nullptr;
  if (!isKnown) throw ResultsError("'" + std::string(text) + "' is no trace");
  return {TraceFile{parts[0][0]}, numberFrom<std::size_t>("signal", parts[1]),
          numberFrom<std::size_t>("element", parts[2])};
}

/// Reads the parameters of a question.
class Parameters {
 public:
  explicit Parameters(const Query& query) : query_(query) {}

  const std::string& text(const std::string& name) const {
    const auto found = query_.find(name);
    if (found == query_.end()) throw ResultsError("the parameter '" + name + "' is missing");
    return found->second;
  }

  std::vector<TraceId> traces() const {
    std::vector<TraceId> ids;
    for (const std::string_view part : split(text("traces"), ',')) ids.push_back(traceFrom(part));
    return ids;
  }

  TimeRange range() const {
    TimeRange range;
    if (query_.contains("from")) range.from = numberFrom<double>("from", text("from"));
    if (query_.contains("to")) range.to = numberFrom<double>("to", text("to"));
    if (!(range.from <= range.to)) throw ResultsError("the range of time ends before it begins");
    return range;
  }

  std::size_t pixels() const {
    return std::clamp<std::size_t>(numberFrom<std::size_t>("pixels", text("pixels")), 1, kMostPixels);
  }

 private:
  const Query& query_;
};

Answer json(const Json& value) { return {200, "application/json", jsonText(value)}; }

Answer state(Viewer& viewer) {
  Json answer = {{"version", viewer.refresh()}, {"files", Json::array()}};
  for (const ViewedFile* viewed : {&viewer.first(), viewer.second()}) {
    if (viewed == nullptr) continue;
    double last = std::nan("");
    for (const SignalInfo* signal : viewed->signals()) {
      if (signal != nullptr && signal->place.count != 0) last = std::fmax(last, signal->last);
    }
    answer["files"].push_back({{"complete", viewed->file().isComplete()},
                               {"signals", viewed->signals().size()},
                               {"last", finiteOrNull(last)}});
  }
  return json(answer);
}

Answer series(Viewer& viewer, const Parameters& parameters) {
  Answer answer{200, "application/octet-stream", ""};
  const TimeRange range = parameters.range();
  const std::size_t pixels = parameters.pixels();
  for (const TraceId& id : parameters.traces()) {
    const Trace& trace = viewer.trace(id);
    const auto begin = std::lower_bound(trace.times().begin(), trace.times().end(), range.from);
    const auto end = std::upper_bound(begin, trace.times().end(), range.to);
    const std::vector<Point> points = trace.reduced(range, pixels);
    appendPoints(answer.body, points, points.size() < static_cast<std::size_t>(end - begin));
  }
  return answer;
}

Answer over(Viewer& viewer, const Parameters& parameters) {
  Answer answer{200, "application/octet-stream", ""};
  const TraceId x = traceFrom(parameters.text("x"));
  for (const TraceId& id : parameters.traces()) {
    appendPoints(answer.body, viewer.overTrace(x, id, parameters.range(), parameters.pixels()), true);
  }
  return answer;
}

Answer values(Viewer& viewer, const Parameters& parameters) {
  Json answer = Json::array();
  for (const std::string_view text : split(parameters.text("times"), ',')) {
    const auto time = numberFrom<double>("times", text);
    Json row = Json::array();
    for (const TraceId& id : parameters.traces()) {
      const std::optional<TraceValue> value = viewer.valueAt(id, time);
      row.push_back(value ? Json{{"time", value->time}, {"value", finiteOrNull(value->value)}, {"text", value->text}}
                          : Json(nullptr));
    }
    answer.push_back(std::move(row));
  }
  return json(answer);
}

Answer statistics(Viewer& viewer, const Parameters& parameters) {
  Json answer = Json::array();
  for (const TraceId& id : parameters.traces()) {
    const Statistics found = viewer.trace(id).statistics(parameters.range());
    answer.push_back({{"samples", found.samples},
                      {"nans", found.nans},
                      {"min", finiteOrNull(found.min)},
                      {"max", finiteOrNull(found.max)},
                      {"mean", finiteOrNull(found.mean)}});
  }
  return json(answer);
}

using Answering = std::function<Answer(Viewer&, const Parameters&)>;

const std::map<std::string, Answering>& questions() {
  static const std::map<std::string, Answering> all = {
      {"files",
       [](Viewer& viewer, const Parameters&) {
         const std::uint64_t version = viewer.refresh();
         return Answer{200, "application/json", filesJson(viewer, version)};
       }},
      {"state", [](Viewer& viewer, const Parameters&) { return state(viewer); }},
      {"series", series},
      {"over", over},
      {"texts",
       [](Viewer& viewer, const Parameters& parameters) {
         return json(viewer.trace(traceFrom(parameters.text("trace"))).texts());
       }},
      {"values", values},
      {"statistics", statistics},
  };
  return all;
}

}  // namespace

void appendPoints(std::string& out, const std::vector<Point>& points, bool isReduced) {
  const auto append = [&](const auto& number) { out.append(reinterpret_cast<const char*>(&number), sizeof number); };
  out.reserve(out.size() + 8 + points.size() * 2 * sizeof(double));
  append(static_cast<std::uint32_t>(points.size()));
  append(std::uint32_t{isReduced ? 1U : 0U});
  for (const Point& point : points) append(point.time);
  for (const Point& point : points) append(point.value);
}

std::string filesJson(const Viewer& viewer, std::uint64_t version) {
  std::string text = "{\"version\": " + std::to_string(version) + ", \"files\": [";
  text += signalListJson(viewer.first().file(), viewer.first().signals());
  if (const ViewedFile* second = viewer.second()) {
    text += ",\n" + signalListJson(second->file(), second->signals());
  }
  return text + "]}";
}

Answer answer(Viewer& viewer, const std::string& question, const Query& query) {
  const auto found = questions().find(question);
  if (found == questions().end()) return {404, "application/json", R"({"error":"no such question"})"};
  try {
    return found->second(viewer, Parameters(query));
  } catch (const ResultsError& error) {
    Answer refused = json({{"error", error.what()}});
    refused.status = 400;
    return refused;
  }
}

}  // namespace vtio::results
