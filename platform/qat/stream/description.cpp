#include "platform/qat/stream/description.hpp"

#include <nlohmann/json.hpp>
#include <utility>

#include "platform/qat/array_json.hpp"
#include "platform/text.hpp"

namespace vtu::qat {
namespace {

using Json = nlohmann::ordered_json;
using PlaceOf = std::function<std::optional<LeafPlace>(const qalc::Samples&)>;

/// The fields of a structure but one.
Json fieldsBut(const qxArray& structure, const std::string& but) {
  Json fields = Json::object();
  for (const qalc::Field& field : structure.storage->fields) {
    const qxArray* value = field.values.size() == 1 ? field.values.front().get() : nullptr;
    if (value != nullptr && field.name != but && !value->storage->samples) fields[field.name] = plainJsonOf(*value);
  }
  return fields;
}

/// Calls use(structure, samples, place) for the structures of all leaves below a value.
template <typename Use>
void forEachLeaf(const qxArray& value, const PlaceOf& placeOf, const Use& use) {
  if (value.id == qxCELL && !value.storage->samples) {
    for (const auto& cell : value.storage->ownCells) {
      if (cell) forEachLeaf(*cell, placeOf, use);
    }
    return;
  }
  if (value.id != qxSTRUCT) return;
  for (const qalc::Field& field : value.storage->fields) {
    for (const auto& member : field.values) {
      if (!member) continue;
      const qalc::Samples* samples = member->storage->samples.get();
      if (samples == nullptr) {
        forEachLeaf(*member, placeOf, use);
      } else if (const auto place = samples->areTimes() ? std::nullopt : placeOf(*samples)) {
        use(value, *samples, *place);
      }
    }
  }
}

/// The values of a leaf: its times are those of this leaf, whatever other leaves have them now, too.
const qalc::Samples* valuesIn(const qxArray& structure) {
  for (const qalc::Field& field : structure.storage->fields) {
    const qxArray* value = field.values.size() == 1 ? field.values.front().get() : nullptr;
    const qalc::Samples* samples = value != nullptr ? value->storage->samples.get() : nullptr;
    if (samples != nullptr && !samples->areTimes()) return samples;
  }
  return nullptr;
}

Json recordOf(const SampleColumn& column, LeafPlace place) {
  return {{"column", place.second},
          {"name", to_string(column.name)},
          {"unit", to_string(column.unit)},
          {"class", elementClassName({column.id, column.isComplex})},
          {"dims", dimsText(column.dims)}};
}

}  // namespace

std::vector<std::string> describeElement(const std::string& variable, const std::string& dataset,
                                         const qxArray& element, const PlaceOf& placeOf) {
  Json fields = fieldsBut(element, "Values");
  fields["dataset"] = dataset;
  std::vector<Json> leaves;
  forEachLeaf(element, placeOf, [&](const qxArray& leaf, const qalc::Samples& samples, LeafPlace place) {
    Json& said = leaves.emplace_back(recordOf(samples.column(), place));
    said["variable"] = variable;
    said["dataset"] = dataset;
    said["element"] = fields;
    said["leaf"] = fieldsBut(leaf, {});
  });
  const auto referenceOf = [&](const qxArray& array, const qxArray* owner) -> std::optional<Reference> {
    const qalc::Samples* samples = array.storage->samples.get();
    if (samples == nullptr) return {};
    const qalc::Samples* values = samples->areTimes() && owner != nullptr ? valuesIn(*owner) : samples;
    const auto place = values != nullptr ? placeOf(*values) : std::nullopt;
    if (!place) return {};
    return Reference{place->first, place->second, samples->areTimes() ? kTimesPart : kValuesPart};
  };
  if (!leaves.empty()) leaves.front()["value"] = jsonOf(element, referenceOf);
  std::vector<std::string> texts;
  texts.reserve(leaves.size());
  for (const Json& leaf : leaves) texts.push_back(leaf.dump(-1, ' ', false, Json::error_handler_t::replace));
  return texts;
}

}  // namespace vtu::qat
