#include "platform/qat/read/late_elements.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/qat/array_json.hpp"
#include "platform/qat/failure.hpp"
#include "platform/text.hpp"

namespace vtu::qat {
namespace {

using Json = nlohmann::ordered_json;

qxArrayWrapper textArray(const std::string& utf8) {
  const ustring text = to_ustring(utf8);
  return qxArrayWrapper(qxCreateUString(text.data(), text.size()));
}

qxArrayWrapper emptyDataset(const std::string& name) {
  qxStructWrapper dataset({"Name", "Elements"});
  dataset.set("Name", textArray(name));
  dataset.set("Elements", qxCellArrayWrapper(0, 1));
  qxStructWrapper storage({"DatasetStorageType", "Dataset"});
  storage.set("DatasetStorageType", textArray("QatFileDatasetStorage"));
  storage.set("Dataset", std::move(dataset));
  return qxArrayWrapper(storage.release());
}

const qxArray* elementsOf(const qxArray& variable) {
  if (variable.id != qxSTRUCT || variable.dims.elements() != 1) return nullptr;
  const qxArray* dataset = qxGetField(&variable, 0, "Dataset");
  if (dataset == nullptr || dataset->id != qxSTRUCT || dataset->dims.elements() != 1) return nullptr;
  const qxArray* elements = qxGetField(dataset, 0, "Elements");
  return elements != nullptr && elements->id == qxCELL ? elements : nullptr;
}

/// @param alone An element that is the variable; may be null.
qxArrayWrapper longer(const qxArray& elements, qxArrayWrapper alone, std::vector<LateElement>& late) {
  const std::size_t before = elements.dims.elements(), count = before + (alone ? 1 : 0) + late.size();
  const bool isRow = elements.dims.data()[0] == 1 && before != 1;
  qxCellArrayWrapper cells(isRow ? 1 : count, isRow ? count : 1);
  std::size_t i = 0;
  for (; i < before; ++i) {
    const qxArray* cell = qxGetCell(&elements, i);
    cells.set(i, qxArrayWrapper(cell != nullptr ? qxShareArray(cell) : nullptr));
  }
  if (alone) cells.set(i++, std::move(alone));
  for (LateElement& element : late) cells.set(i++, qxArrayWrapper(element.element.release()));
  return qxArrayWrapper(cells.release());
}

std::string textIn(const Json& json, const char* name) {
  return json.contains(name) && json.at(name).is_string() ? json.at(name).get<std::string>() : std::string();
}

/// Calls use(json) for each description that has an element.
template <typename Use>
void forEachElement(const std::vector<std::string>& descriptions, const Use& use) {
  for (const std::string& text : descriptions) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) throw Failure(kDamaged, "the description of a signal is not as it should be");
    if (json.contains("value") && !textIn(json, "variable").empty()) use(json);
  }
}

}  // namespace

std::vector<LateElement> lateElements(const std::vector<std::string>& descriptions,
                                      const std::function<qalc::ArrayPtr(const Reference&)>& samplesOf) {
  std::vector<LateElement> elements;
  forEachElement(descriptions, [&](const Json& json) {
    qalc::ArrayPtr element = arrayOf(json.at("value"), samplesOf);
    if (!element || element->id != qxSTRUCT) throw Failure(kDamaged, "a late element that is no structure");
    elements.push_back({textIn(json, "variable"), textIn(json, "dataset"), std::move(element)});
  });
  return elements;
}

std::vector<std::string> lateVariables(const std::vector<std::string>& descriptions) {
  std::vector<std::string> names;
  forEachElement(descriptions, [&](const Json& json) {
    std::string name = textIn(json, "variable");
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
  });
  return names;
}

qalc::ArrayPtr withLateElements(qalc::ArrayPtr variable, const std::string& name, std::vector<LateElement> late) {
  std::erase_if(late, [&](const LateElement& element) { return element.variable != name; });
  if (late.empty()) return variable;
  qxArrayWrapper whole(variable.release()), alone;
  const bool isElement = whole && whole.get()->id == qxSTRUCT && whole.get()->dims.elements() == 1 &&
                         qxGetField(whole.get(), 0, "Values") != nullptr;
  if (isElement) std::swap(alone, whole);
  if (!whole) whole = emptyDataset(late.front().dataset);
  const qxArray* elements = elementsOf(*whole.get());
  if (elements == nullptr) throw Failure(kDamaged, "late elements of a variable that is no dataset");
  qxArrayWrapper dataset(qxShareArray(qxGetField(whole.get(), 0, "Dataset")));
  qxArrayWrapper all = longer(*elements, std::move(alone), late);
  qxSetField(dataset.get(), 0, "Elements", all.release());
  qxSetField(whole.get(), 0, "Dataset", dataset.release());
  return qalc::ArrayPtr(whole.release());
}

}  // namespace vtu::qat
