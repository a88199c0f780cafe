#include "platform/qat/write/writer.hpp"

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kLongestAttributeText = 64U << 10U;
constexpr std::size_t kMostOpenObjects = 256;

bool isNumericScalar(const qxArray& array) {
  return array.id != qxCHAR && qalc::elementSize(array.id) > 0 && array.dims.size() == 2 && array.dims.elements() == 1;
}

std::vector<std::string> encodedFieldNames(const qxArray& array) {
  std::vector<std::string> names;
  for (const qalc::Field& field : array.storage->fields) names.push_back(encodeName(field.name));
  return names;
}

}  // namespace

void Writer::writeMember(hid_t group, const std::string& link, const qxArray& array, int depth) {
  if (link.size() > kLongestName) throw Failure(kUnsupported, "a name of " + std::to_string(link.size()) + " bytes");
  if (depth > kDeepestNesting) {
    throw Failure(kUnsupported, "nested deeper than " + std::to_string(kDeepestNesting) + " levels");
  }
  if (linkKnown(group, link, array)) return;
  const Handle object = writeObject(group, link, array, depth);
  shared_.add(array, addressOfObject(object.get()));
}

bool Writer::linkKnown(hid_t group, const std::string& link, const qxArray& array) {
  const haddr_t address = shared_.find(array);
  if (address == HADDR_UNDEF) return false;
  auto found = linked_.find(address);
  if (found == linked_.end()) {
    if (linked_.size() >= kMostOpenObjects) linked_.clear();
    Handle object(checked(H5Oopen_by_addr(file_, address), kStorage, "cannot open a shared object"));
    found = linked_.emplace(address, std::move(object)).first;
  }
  checked(H5Olink(found->second.get(), group, link.c_str(), H5P_DEFAULT, H5P_DEFAULT), kStorage,
          "cannot link a shared object");
  return true;
}

Handle Writer::writeObject(hid_t group, const std::string& link, const qxArray& array, int depth) {
  if (array.id == qxCELL) return writeCells(group, link, array, depth);
  if (array.id == qxSTRUCT) return writeStructures(group, link, array, depth);
  if (const auto text = textOfRow(&array); text && text->size() <= kLongestText) {
    return datasets_.writeText(group, link, *text);
  }
  return datasets_.writeElements(group, link, array);
}

Handle Writer::makeGroup(hid_t group, const std::string& link, hid_t list) {
  return Handle(
      checked(H5Gcreate2(group, link.c_str(), H5P_DEFAULT, list, H5P_DEFAULT), kStorage, "cannot make a group"));
}

Handle Writer::writeCells(hid_t group, const std::string& link, const qxArray& array, int depth) {
  if (Handle texts = writeTextCells(group, link, array)) return texts;
  if (const auto plan = planTable(borrowed(array.storage->cells()), kDeepestNesting - depth)) {
    return writeTable(group, link, array, *plan, depth);
  }
  return writeCellGroup(group, link, array, depth);
}

Handle Writer::writeTextCells(hid_t group, const std::string& link, const qxArray& array) {
  std::vector<std::string> texts;
  for (const auto& cell : array.storage->cells()) {
    auto text = textOfRow(cell.get());
    if (!text) return {};
    texts.push_back(std::move(*text));
  }
  if (texts.empty() || array.dims.size() > H5S_MAX_RANK || !fitFixedLength(texts)) return {};
  std::vector<std::string> ordered(texts.size());
  qalc::Dimensions dims(array.dims);
  // A dataset runs along the last axis first, a cell array along the first.
  std::vector<std::size_t> index(dims.size(), 0);
  for (std::string& text : texts) {
    std::size_t place = 0;
    for (std::size_t axis = 0; axis < dims.size(); ++axis) place = place * dims.data()[axis] + index[axis];
    ordered[place] = std::move(text);
    for (std::size_t axis = 0; axis < dims.size() && ++index[axis] == dims.data()[axis]; ++axis) index[axis] = 0;
  }
  auto extents = storedExtents(dims);
  if (extents.empty()) extents.push_back(1);  // a scalar dataset would be a char row
  return datasets_.writeTexts(group, link, ordered, extents);
}

Handle Writer::writeCellGroup(hid_t group, const std::string& link, const qxArray& array, int depth) {
  Handle cells = makeGroup(group, link, kit_.groupList());
  writeTextAttribute(kit_, cells.get(), kKindAttribute, "cell");
  writeDimsAttribute(cells.get(), array.dims);
  std::vector<std::uint64_t> empty;
  for (std::size_t i = 0; i < array.storage->cells().size(); ++i) {
    const qxArray* cell = array.storage->cells()[i].get();
    if (cell == nullptr) {
      empty.push_back(i);
      continue;
    }
    const std::string name = std::to_string(i);
    atPlace(name, [&] { writeMember(cells.get(), name, *cell, depth + 1); });
  }
  if (!empty.empty()) {
    datasets_.writeColumn(cells.get(), kEmptyCells, H5T_STD_U64LE, empty.size(), empty.data(),
                          empty.size() * sizeof(std::uint64_t));
  }
  return cells;
}

Handle Writer::writeStructures(hid_t group, const std::string& link, const qxArray& array, int depth) {
  Handle structure = makeGroup(group, link, kit_.orderedGroupList());
  writeTextAttribute(kit_, structure.get(), kKindAttribute, "struct");
  writeTextsAttribute(kit_, structure.get(), kFieldsAttribute, encodedFieldNames(array));
  if (array.dims.size() == 2 && array.dims.elements() == 1) {
    writeFields(structure.get(), array, 0, depth);
    return structure;
  }
  writeDimsAttribute(structure.get(), array.dims);
  for (std::size_t i = 0; i < array.dims.elements(); ++i) {
    const std::string name = std::to_string(i);
    const Handle element = makeGroup(structure.get(), name, kit_.orderedGroupList());
    atPlace(name, [&] { writeFields(element.get(), array, i, depth); });
  }
  return structure;
}

void Writer::writeFields(hid_t group, const qxArray& array, std::size_t element, int depth) {
  for (const qalc::Field& field : array.storage->fields) {
    const qxArray* value = field.values[element].get();
    if (value == nullptr) continue;
    const std::string link = encodeName(field.name);
    atPlace(link, [&] { writeField(group, link, *value, depth); });
  }
}

void Writer::writeField(hid_t group, const std::string& link, const qxArray& value, int depth) {
  if (link.size() <= kLongestName) {
    if (isNumericScalar(value)) return writeScalarAttribute(kit_, group, link.c_str(), value);
    if (const auto text = textOfRow(&value); text && text->size() <= kLongestAttributeText) {
      return writeTextAttribute(kit_, group, link.c_str(), *text);
    }
  }
  writeMember(group, link, value, depth + 1);
}

}  // namespace vtu::qat
