#include "platform/qat/write/writer.hpp"

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/row_major_order.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kLongestAttributeText = 64U << 10U;
constexpr std::size_t kMostOpenObjects = 256;

bool isNumericScalar(const qxArray& array) {
  return array.id != qxCHAR && qalc::elementSize(array.id) > 0 && array.dims.size() == 2 && array.dims.elements() == 1;
}

haddr_t addressOfObject(hid_t object) {
  H5O_info_t info;
  checked(H5Oget_info2(object, &info, H5O_INFO_BASIC), kStorage, "cannot find a new object");
  return info.addr;
}

std::vector<std::string> encodedFieldNames(const qxArray& array) {
  std::vector<std::string> names;
  for (const qalc::Field& field : array.storage->fields) names.push_back(encodeName(field.name));
  return names;
}

}  // namespace

void Writer::writeMember(hid_t group, const std::string& link, const qxArray& array, const qxArray* owner, int depth) {
  if (link.size() > kLongestName) throw Failure(kUnsupported, "a name of " + std::to_string(link.size()) + " bytes");
  if (depth > kDeepestNesting) {
    throw Failure(kUnsupported, "nested deeper than " + std::to_string(kDeepestNesting) + " levels");
  }
  if (const auto reference = samples_.find(array, owner)) {
    datasets_.writeValues(group, link, kit_.storedReferenceType(), {}, packed({&*reference, 1}).data());
    return;
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
  TablePlan plan(samples_);
  if (plan.take(array.storage->cells())) return writeTable(group, link, array, plan, depth);
  return writeCellGroup(group, link, array, depth);
}

Handle Writer::writeTextCells(hid_t group, const std::string& link, const qxArray& array) {
  const auto& cells = array.storage->cells();
  if (cells.empty() || array.dims.size() > H5S_MAX_RANK) return {};
  std::vector<std::string> texts(cells.size());
  RowMajorOrder order(array.dims);
  for (std::string& target : texts) {
    auto text = textOfRow(cells[order.next()].get());
    if (!text) return {};
    target = std::move(*text);
  }
  if (!fitFixedLength(texts)) return {};
  std::vector<hsize_t> extents(array.dims.begin(), array.dims.end());
  // A scalar dataset would be a char row.
  while (extents.size() > 1 && extents.back() == 1) extents.pop_back();
  return datasets_.writeTexts(group, link, texts, extents);
}

Handle Writer::writeCellGroup(hid_t group, const std::string& link, const qxArray& array, int depth) {
  Handle made = makeGroup(group, link, kit_.groupList());
  writeTextAttribute(kit_, made.get(), kKindAttribute, "cell");
  writeDimsAttribute(made.get(), array.dims);
  const auto& cells = array.storage->cells();
  std::vector<std::uint64_t> empty;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (cells[i] == nullptr) {
      empty.push_back(i);
      continue;
    }
    const std::string name = std::to_string(i);
    atPlace(name, [&] { writeMember(made.get(), name, *cells[i], nullptr, depth + 1); });
  }
  if (!empty.empty()) {
    datasets_.writeValues(made.get(), kEmptyCells, H5T_STD_U64LE, {empty.size()}, empty.data());
  }
  return made;
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
    atPlace(link, [&] {
      if (!writeAsAttribute(group, link, *value, array)) writeMember(group, link, *value, &array, depth + 1);
    });
  }
}

bool Writer::writeAsAttribute(hid_t group, const std::string& link, const qxArray& value, const qxArray& owner) {
  if (link.size() > kLongestName) return false;
  if (const auto reference = samples_.find(value, &owner)) {
    writeReferenceAttribute(kit_, group, link.c_str(), *reference);
    return true;
  }
  if (isNumericScalar(value)) {
    writeScalarAttribute(kit_, group, link.c_str(), value);
    return true;
  }
  const auto text = textOfRow(&value);
  if (!text || text->size() > kLongestAttributeText) return false;
  writeTextAttribute(kit_, group, link.c_str(), *text);
  return true;
}

}  // namespace vtu::qat
