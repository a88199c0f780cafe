#include "platform/qat/array_json.hpp"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/qalc_values.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/text.hpp"

namespace vtu::qat {
namespace {

using Json = nlohmann::ordered_json;
using SamplesOf = std::function<qalc::ArrayPtr(const Reference&)>;

constexpr int kDeepest = 100;
constexpr const char* kCharClass = "char";

bool isScalar(const qxArray& array) { return array.dims.elements() == 1; }

bool isRow(const qxArray& array) { return array.dims.size() == 2 && array.dims.data()[0] == 1; }

/// JSON has no NaN and no infinities.
Json numberJson(double value) {
  if (std::isfinite(value)) return value;
  return std::isnan(value) ? "NaN" : value > 0 ? "Inf" : "-Inf";
}

template <typename T>
Json valueJson(T value) {
  if constexpr (std::is_floating_point_v<T>) {
    return numberJson(value);
  } else {
    return value;
  }
}

template <typename T>
T valueOf(const Json& json) {
  if constexpr (std::is_floating_point_v<T>) {
    if (json.is_number()) return static_cast<T>(json.get<double>());
    if (json == "NaN") return std::numeric_limits<T>::quiet_NaN();
    if (json == "Inf") return std::numeric_limits<T>::infinity();
    if (json == "-Inf") return -std::numeric_limits<T>::infinity();
  } else if (json.is_number_unsigned()) {
    if (std::in_range<T>(json.get<std::uint64_t>())) return static_cast<T>(json.get<std::uint64_t>());
  } else if (json.is_number_integer()) {
    if (std::in_range<T>(json.get<std::int64_t>())) return static_cast<T>(json.get<std::int64_t>());
  }
  throw Failure(kDamaged, "a value that is no number");
}

Json valuesJson(const qxArray& array) {
  Json values = Json::array();
  const void* data = qxGetConstData(&array);
  const std::size_t count = array.dims.elements() * (array.complex ? 2 : 1);
  withValueType(array.id, [&](auto type) {
    const auto* from = static_cast<const decltype(type)*>(data);
    for (std::size_t i = 0; i < count; ++i) values.push_back(valueJson(from[i]));
  });
  return values;
}

std::optional<std::string> textOf(const qxArray& array) {
  const std::u16string_view units(qxGetChars(&array), array.dims.elements());
  std::string text = to_string(units);
  if (!isRow(array) || to_ustring(text) != units) return {};
  return text;
}

std::string classOf(const qxArray& array) {
  switch (array.id) {
    case qxCHAR:
      return kCharClass;
    case qxCELL:
      return "cell";
    case qxSTRUCT:
      return "struct";
    default:
      return elementClassName({array.id, array.complex});
  }
}

Json fieldsJson(const qxArray& array, const ReferenceOf& referenceOf) {
  Json fields = Json::array();
  for (const qalc::Field& field : array.storage->fields) {
    Json values = Json::array();
    for (const auto& value : field.values) values.push_back(value ? jsonOf(*value, referenceOf, &array) : Json());
    fields.push_back({{"name", field.name}, {"values", std::move(values)}});
  }
  return fields;
}

std::vector<std::size_t> dimsOf(const Json& json) {
  std::vector<std::size_t> dims;
  for (const Json& dim : json.at("dims")) dims.push_back(valueOf<std::size_t>(dim));
  if (dims.size() < 2 || dims.size() > 32) throw Failure(kDamaged, "an array without dimensions");
  return dims;
}

qalc::ArrayPtr numbersOf(const Json& json, ElementKind kind) {
  const auto dims = dimsOf(json);
  const Json& values = json.at("values");
  const std::size_t parts = kind.complex ? 2 : 1;
  if (values.size() % parts != 0 || checkedElements(dims) != values.size() / parts) {
    throw Failure(kDamaged, "not one value per element");
  }
  qalc::ArrayPtr array(kind.id == qxLOGICAL ? qxCreateLogicalArray(dims.size(), dims.data())
                                            : qxCreateNumericArray(dims.size(), dims.data(), kind.id, kind.complex));
  void* data = qxGetData(array.get());
  withValueType(kind.id, [&](auto type) {
    auto* to = static_cast<decltype(type)*>(data);
    for (const Json& value : values) *to++ = valueOf<decltype(type)>(value);
  });
  return array;
}

qalc::ArrayPtr charsOf(const Json& json) {
  std::u16string units;
  for (const Json& unit : json.at("values")) units.push_back(static_cast<char16_t>(valueOf<std::uint16_t>(unit)));
  return qalc::ArrayPtr(qxCreateUString(units.data(), units.size()));
}

qalc::ArrayPtr arrayAt(const Json& json, const SamplesOf& samplesOf, int depth);

qalc::ArrayPtr cellsOf(const Json& json, const SamplesOf& samplesOf, int depth) {
  const auto dims = dimsOf(json);
  const Json& values = json.at("values");
  if (checkedElements(dims) != values.size()) throw Failure(kDamaged, "not one value per cell");
  qalc::ArrayPtr cells(qxCreateCellArray(dims.size(), dims.data()));
  std::size_t i = 0;
  for (const Json& value : values) qxSetCell(cells.get(), i++, arrayAt(value, samplesOf, depth).release());
  return cells;
}

qalc::ArrayPtr structuresOf(const Json& json, const SamplesOf& samplesOf, int depth) {
  const auto dims = dimsOf(json);
  const std::size_t count = checkedElements(dims);
  for (const Json& field : json.at("fields")) {
    if (field.at("values").size() != count) throw Failure(kDamaged, "not one value per structure");
  }
  if (json.at("fields").empty() && count > 1) throw Failure(kDamaged, "structures without fields");
  qalc::ArrayPtr structures = makeStructures(dims, {});
  for (const Json& field : json.at("fields")) {
    std::size_t i = 0;
    for (const Json& value : field.at("values")) {
      qxSetField(structures.get(), i++, field.at("name").get<std::string>().c_str(),
                 arrayAt(value, samplesOf, depth).release());
    }
  }
  return structures;
}

qalc::ArrayPtr objectOf(const Json& json, const SamplesOf& samplesOf, int depth) {
  if (json.contains("table")) {
    return samplesOf({valueOf<std::uint32_t>(json.at("table")), valueOf<std::uint32_t>(json.at("column")),
                      valueOf<std::uint32_t>(json.at("part"))});
  }
  const std::string name = json.at("class").get<std::string>();
  if (name == kCharClass) return charsOf(json);
  if (name == "cell") return cellsOf(json, samplesOf, depth);
  if (name == "struct") return structuresOf(json, samplesOf, depth);
  const auto kind = elementClassOf(name);
  if (!kind || kind->id == qxCELL) throw Failure(kDamaged, "an array of the class \"" + name + "\"");
  return numbersOf(json, *kind);
}

qalc::ArrayPtr arrayAt(const Json& json, const SamplesOf& samplesOf, int depth) {
  if (depth > kDeepest) throw Failure(kDamaged, "nested too deeply");
  if (json.is_null()) return {};
  if (json.is_number()) return qalc::ArrayPtr(qxCreateDoubleScalar(json.get<double>()));
  if (json.is_boolean()) return qalc::ArrayPtr(qxCreateLogicalScalar(json.get<bool>()));
  if (json.is_string()) {
    const ustring text = to_ustring(json.get<std::string>());
    return qalc::ArrayPtr(qxCreateUString(text.data(), text.size()));
  }
  if (!json.is_object()) throw Failure(kDamaged, "a list in place of a value");
  return objectOf(json, samplesOf, depth + 1);
}

}  // namespace

Json jsonOf(const qxArray& array, const ReferenceOf& referenceOf, const qxArray* owner) {
  if (const auto reference = referenceOf(array, owner)) {
    return {{"table", reference->table}, {"column", reference->column}, {"part", reference->part}};
  }
  if (array.id == qxCHAR) {
    if (auto text = textOf(array)) return *text;
  }
  const bool isPlain = isScalar(array) && !array.complex;
  if (isPlain && array.id == qxDOUBLE && std::isfinite(qxGetScalar(&array))) return qxGetScalar(&array);
  if (isPlain && array.id == qxLOGICAL) return *qxGetLogicals(&array);
  Json json{{"class", classOf(array)}, {"dims", std::vector<std::size_t>(array.dims.begin(), array.dims.end())}};
  if (array.id == qxSTRUCT) {
    json["fields"] = fieldsJson(array, referenceOf);
  } else if (array.id == qxCELL) {
    Json values = Json::array();
    for (const auto& cell : array.storage->cells()) values.push_back(cell ? jsonOf(*cell, referenceOf) : Json());
    json["values"] = std::move(values);
  } else {
    json["values"] = valuesJson(array);
  }
  return json;
}

qalc::ArrayPtr arrayOf(const Json& json, const SamplesOf& samplesOf) {
  try {
    return arrayAt(json, samplesOf, 0);
  } catch (const Json::exception&) {
    throw Failure(kDamaged, "the description of a signal is not as it should be");
  }
}

Json plainJsonOf(const qxArray& array) {
  if (array.storage->samples) return {};
  if (array.id == qxCHAR) return to_string({qxGetChars(&array), array.dims.elements()});
  if (array.id == qxSTRUCT) {
    Json object = Json::object();
    for (const qalc::Field& field : array.storage->fields) {
      const qxArray* value = field.values.size() == 1 ? field.values.front().get() : nullptr;
      object[field.name] = value != nullptr ? plainJsonOf(*value) : Json();
    }
    return object;
  }
  if (array.id == qxCELL) {
    Json list = Json::array();
    for (const auto& cell : array.storage->cells()) list.push_back(cell ? plainJsonOf(*cell) : Json());
    return list;
  }
  Json values = valuesJson(array);
  return isScalar(array) && !array.complex ? values.front() : values;
}

}  // namespace vtu::qat
