#include "results/export/json.hpp"

#include <cmath>
#include <type_traits>

#include "results/values/number_text.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

using Json = nlohmann::ordered_json;

Json labelRecord(const SignalInfo& signal) {
  if (!signal.labels) return nullptr;
  Json labels = Json::object();
  for (const auto& [label, value] : *signal.labels) labels[label] = value;
  return labels;
}

Json fixedPointRecord(const SignalInfo& signal) {
  if (!signal.fixedPoint) return nullptr;
  return {{"signed", signal.fixedPoint->isSigned},
          {"wordLength", signal.fixedPoint->wordLength},
          {"fixedExponent", signal.fixedPoint->fixedExponent},
          {"slopeAdjustmentFactor", signal.fixedPoint->slopeAdjustmentFactor},
          {"bias", signal.fixedPoint->bias}};
}

void appendValue(std::string& out, const ShownValue& value) {
  std::visit(
      [&]<class T>(const T& shown) {
        if constexpr (std::is_same_v<T, std::string_view>) {
          out += jsonText(Json(std::string(shown)));
        } else if constexpr (std::is_same_v<T, bool>) {
          out += shown ? "true" : "false";
        } else if constexpr (std::is_floating_point_v<T>) {
          if (std::isfinite(shown))
            appendNumber(out, shown);
          else
            out += "null";
        } else {
          appendNumber(out, shown);
        }
      },
      value);
}

// Appends the elements of one sample as nested lists.
class SampleWriter {
 public:
  SampleWriter(std::string& out, const SignalInfo& signal, bool raw)
      : out_(out), dimensions_(signal.dimensions), values_(signal, raw) {}

  void write(const SampleView& sample) {
    element_ = 0;
    writeLevel(sample, 0);
  }

 private:
  void writeLevel(const SampleView& sample, std::size_t level) {
    if (level == dimensions_.size()) {
      writeElement(sample);
      return;
    }
    out_ += '[';
    for (std::size_t i = 0; i < dimensions_[level]; ++i) {
      if (i != 0) out_ += ',';
      writeLevel(sample, level + 1);
    }
    out_ += ']';
  }

  void writeElement(const SampleView& sample) {
    const std::size_t element = element_++;
    if (!sample.type.isComplex) {
      appendValue(out_, values_(sample, element));
      return;
    }
    out_ += "{\"re\":";
    appendValue(out_, values_(sample, 2 * element));
    out_ += ",\"im\":";
    appendValue(out_, values_(sample, 2 * element + 1));
    out_ += '}';
  }

  std::string& out_;
  const std::vector<std::size_t>& dimensions_;
  ShownValues values_;
  std::size_t element_ = 0;
};

}  // namespace

std::string jsonText(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

nlohmann::ordered_json finiteOrNull(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

nlohmann::ordered_json signalRecord(const SignalInfo& signal) {
  const bool hasSamples = signal.place.count != 0;
  Json record = {{"name", signal.name},
                 {"dataset", signal.dataset},
                 {"element", signal.element},
                 {"blockPath", signal.blockPath},
                 {"port", signal.port},
                 {"portKind", signal.portKind},
                 {"type", signal.typeName},
                 {"complex", signal.type.isComplex},
                 {"dimensions", signal.dimensions},
                 {"unit", signal.unit},
                 {"interpolation", signal.interpolation},
                 {"samples", signal.place.count},
                 {"first", hasSamples ? Json(signal.first) : Json(nullptr)},
                 {"last", hasSamples ? Json(signal.last) : Json(nullptr)}};
  record["labels"] = labelRecord(signal);
  record["fixedPoint"] = fixedPointRecord(signal);
  record["decimation"] = signal.decimation;
  record["sampleTime"] = signal.sampleTime;
  return record;
}

std::string signalListJson(const ResultsFile& file, const std::vector<const SignalInfo*>& signals) {
  std::string text = "{\"file\": " + jsonText(file.path()) +
                     ", \"complete\": " + (file.isComplete() ? "true" : "false") + ", \"signals\": [";
  for (std::size_t i = 0; i < signals.size(); ++i) {
    text += i == 0 ? "\n" : ",\n";
    text += signals[i] == nullptr ? "null" : jsonText(signalRecord(*signals[i]));
  }
  return text + "\n]}";
}

void appendJsonSignal(std::string& out, const SignalInfo& signal, const SeriesView& series, bool raw) {
  out += jsonText(signalRecord(signal));
  out.back() = ',';  // more fields follow
  out += "\"time\":[";
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (i != 0) out += ',';
    appendValue(out, series.times[i]);
  }
  out += "],\"values\":[";
  SampleWriter samples(out, signal, raw);
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (i != 0) out += ',';
    samples.write(series.sample(i));
  }
  out += "]}";
}

void writeJson(SeriesBatches& signals, bool raw, TextOutput& out, const Job& job) {
  const std::size_t count = signals.signals().size();
  out.buffer() += "{\"signals\": [";
  for (std::size_t i = 0; i < count; ++i) {
    job.step(static_cast<double>(i) / static_cast<double>(count));
    out.buffer() += i == 0 ? "\n" : ",\n";
    appendJsonSignal(out.buffer(), *signals.signals()[i], signals.series(i), raw);
    out.flushIfLarge();
  }
  out.buffer() += "\n]}\n";
}

}  // namespace vtio::results
