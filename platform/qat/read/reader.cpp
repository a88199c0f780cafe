#include "platform/qat/read/reader.hpp"

#include <algorithm>
#include <unordered_set>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/qat/utf8_rows.hpp"

namespace vtu::qat {
namespace {

bool hasAttribute(hid_t object, const char* name) {
  return checked(H5Aexists(object, name), kDamaged, "attributes cannot be read") > 0;
}

Handle openAttribute(hid_t object, const std::string& name) {
  return Handle(
      checked(H5Aopen(object, name.c_str(), H5P_DEFAULT), kDamaged, "attribute " + name + " cannot be opened"));
}

}  // namespace

Reader::Reader(const Source& source)
    : source_(source), budget_(source.bytes.size()), texts_(source.bytes, budget_), samples_(source, budget_) {}

qalc::ArrayPtr Reader::readVariable(hid_t group, const std::string& link) {
  qalc::ArrayPtr array = readWhole(group, link);
  loadSamples();
  return array;
}

qalc::ArrayPtr Reader::readLazily(hid_t group, const std::string& link) {
  setSamples(Samples::lazy);
  return readWhole(group, link);
}

qalc::ArrayPtr Reader::readWhole(hid_t group, const std::string& link) {
  qalc::ArrayPtr array = hasMember(group, link) ? readMember(group, link) : nullptr;
  array = withLateElements(std::move(array), decodeName(link), readLateElements());
  if (!array) throw Failure(kAbsent, "no such variable");
  return array;
}

std::vector<LateElement> Reader::readLateElements() {
  const auto& descriptions = samples_.tables().strays().descriptions();
  if (descriptions.empty()) return {};
  return lateElements(descriptions, [this](const Reference& reference) { return samplesOf(reference); });
}

qalc::ArrayPtr Reader::readAt(haddr_t address) {
  qalc::ArrayPtr array = readOnce(openAt(source_, address), address);
  loadSamples();
  return array;
}

void Reader::findTables(hid_t group, const std::string& link) {
  setSamples(Samples::found);
  static_cast<void>(readMember(group, link));
}

qalc::ArrayPtr Reader::readMember(hid_t group, const std::string& link) {
  return atPlace(link, [&] {
    haddr_t address = HADDR_UNDEF;
    const Handle object = openMember(source_, group, link, &address);
    return readOnce(object, address);
  });
}

qalc::ArrayPtr Reader::readOnce(const Handle& object, haddr_t address) {
  const auto [entry, isNew] = done_.try_emplace(address);
  if (!isNew) {
    if (!entry->second) throw Failure(kDamaged, "an object contains itself");
    budget_.take(1, kArrayBytes);
    return qalc::ArrayPtr(qxShareArray(entry->second.get()));
  }
  const Deeper deeper(depth_);
  qalc::ArrayPtr value = readObject(object.get());
  done_[address].reset(qxShareArray(value.get()));
  return value;
}

qalc::ArrayPtr Reader::readObject(hid_t object) {
  budget_.take(1, kObjectBytes);
  switch (H5Iget_type(object)) {
    case H5I_DATASET:
      return readDataset(object);
    case H5I_GROUP:
      return readGroup(object);
    default:
      throw Failure(kUnsupported, "an object that is neither a dataset nor a group");
  }
}

qalc::ArrayPtr Reader::readGroup(hid_t group) {
  const std::string kind = textAttribute(group, kKindAttribute);
  if (kind == "struct") return readStructures(group);
  if (kind != "cell") throw Failure(kUnsupported, "a group of the kind \"" + kind + "\"");
  return textAttribute(group, kFormAttribute) == "table" ? readTable(group) : readCells(group);
}

qalc::ArrayPtr Reader::readCells(hid_t group) {
  const auto dims = dimsAttribute(group);
  const std::size_t count = checkedElements(dims);
  std::vector<std::uint64_t> empty;
  if (hasMember(group, kEmptyCells)) empty = readIndices(group, kEmptyCells);
  const std::uint64_t members = memberCount(group) - (empty.empty() ? 0 : 1);
  if (count != members + empty.size() || !std::is_sorted(empty.begin(), empty.end())) {
    throw Failure(kDamaged, std::to_string(members) + " members for " + std::to_string(count) + " cells");
  }
  budget_.take(count, sizeof(void*));
  qalc::ArrayPtr cells(qxCreateCellArray(dims.size(), dims.data()));
  for (std::size_t i = 0; i < count; ++i) {
    if (std::binary_search(empty.begin(), empty.end(), i)) continue;
    cells->storage->ownCells[i] = readMember(group, std::to_string(i));
  }
  return cells;
}

qalc::ArrayPtr Reader::readStructures(hid_t group) {
  const auto links = fieldLinks(group);
  std::vector<std::string> names(links.size());
  std::transform(links.begin(), links.end(), names.begin(), decodeName);
  budget_.take(names.size(), kFieldBytes);
  if (!hasAttribute(group, kDimsAttribute)) {
    qalc::ArrayPtr single = makeStructures({1, 1}, names);
    readFields(group, *single, 0, links);
    return single;
  }
  const auto dims = dimsAttribute(group);
  const std::size_t count = checkedElements(dims);
  if (count != memberCount(group)) {
    throw Failure(kDamaged,
                  std::to_string(memberCount(group)) + " members for " + std::to_string(count) + " structures");
  }
  budget_.take(count, links.size() * sizeof(void*));
  qalc::ArrayPtr structures = makeStructures(dims, names);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string name = std::to_string(i);
    atPlace(name, [&] { readFields(openGroup(source_, group, name).get(), *structures, i, links); });
  }
  return structures;
}

void Reader::readFields(hid_t group, qxArray& array, std::size_t element, const std::vector<std::string>& links) {
  for (std::size_t f = 0; f < links.size(); ++f) array.storage->fields[f].values[element] = readField(group, links[f]);
}

qalc::ArrayPtr Reader::readField(hid_t group, const std::string& link) {
  if (link.empty()) throw Failure(kDamaged, "an empty field name");
  if (hasAttribute(group, link.c_str())) return atPlace(link, [&] { return readAttribute(group, link); });
  return hasMember(group, link) ? readMember(group, link) : nullptr;
}

qalc::ArrayPtr Reader::readAttribute(hid_t object, const std::string& name) {
  const Handle attribute = openAttribute(object, name);
  const Handle type(checked(H5Aget_type(attribute.get()), kDamaged, "an attribute has no type"));
  const Handle space(checked(H5Aget_space(attribute.get()), kDamaged, "an attribute has no dataspace"));
  if (H5Sget_simple_extent_npoints(space.get()) != 1) {
    throw Failure(kDamaged, "an attribute that is not a single value");
  }
  budget_.take(1, kAttributeBytes);
  if (H5Tget_class(type.get()) == H5T_STRING) return rowOfText(texts_.attributeTexts(attribute.get())[0]);
  const auto read = [&](hid_t memoryType, void* target) {
    checked(H5Aread(attribute.get(), memoryType, target), kDamaged, "an attribute cannot be read");
  };
  if (isReferenceType(type.get())) {
    Reference reference;
    read(source_.kit.referenceType(), &reference);
    return samplesOf(reference);
  }
  const ElementKind kind = elementKindOf(type.get());
  if (kind.id == qxUNKNOWN) throw Failure(kUnsupported, "an attribute of a type that arrays do not have");
  const std::size_t dims[] = {1, 1};
  qalc::ArrayPtr value(qxCreateNumericArray(2, dims, kind.id, kind.complex));
  read(source_.kit.elementType(kind), value->storage->values.data());
  if (kind.id == qxLOGICAL) normaliseLogicals(*value);
  return value;
}

std::string Reader::textAttribute(hid_t object, const char* name) {
  if (!hasAttribute(object, name)) return {};
  const Texts texts = texts_.attributeTexts(openAttribute(object, name).get());
  if (texts.size() != 1) throw Failure(kDamaged, "attribute " + std::string(name) + " is not a single text");
  return std::string(texts[0]);
}

std::vector<std::string> Reader::fieldLinks(hid_t group) {
  if (!hasAttribute(group, kFieldsAttribute)) throw Failure(kDamaged, "attribute qat.fields is missing");
  const Texts texts = texts_.attributeTexts(openAttribute(group, kFieldsAttribute).get());
  budget_.take(texts.size(), kFieldBytes);
  std::vector<std::string> links;
  std::unordered_set<std::string> names;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    links.emplace_back(texts[i]);
    if (!names.insert(decodeName(texts[i])).second)
      throw Failure(kDamaged, "the field " + links.back() + " is named twice");
  }
  return links;
}

std::vector<std::size_t> Reader::dimsAttribute(hid_t object) {
  if (!hasAttribute(object, kDimsAttribute)) throw Failure(kDamaged, "attribute qat.dims is missing");
  const Handle attribute = openAttribute(object, kDimsAttribute);
  const Handle type(checked(H5Aget_type(attribute.get()), kDamaged, "attribute qat.dims has no type"));
  const Handle space(checked(H5Aget_space(attribute.get()), kDamaged, "attribute qat.dims has no dataspace"));
  const hssize_t count = H5Sget_simple_extent_npoints(space.get());
  if (count < 0 || H5Tget_class(type.get()) != H5T_INTEGER) throw Failure(kDamaged, "attribute qat.dims is no list");
  budget_.take(static_cast<std::uint64_t>(count) + 1, sizeof(std::size_t));
  std::vector<std::size_t> dims(static_cast<std::size_t>(count) + 1);  // never without memory
  checked(H5Aread(attribute.get(), H5T_NATIVE_UINT64, dims.data()), kDamaged, "attribute qat.dims cannot be read");
  dims.pop_back();
  return dims;
}

std::vector<Reference> Reader::resolved(std::vector<Reference> references) {
  for (Reference& reference : references) reference = samples_.resolve(reference);
  return references;
}

qalc::ArrayPtr Reader::samplesOf(const Reference& reference) {
  if (samplesAs_ == Samples::found) tables_.insert(reference.table);
  if (samplesAs_ == Samples::found) return referenceRows({reference});
  if (samplesAs_ == Samples::references) return referenceRows({samples_.resolve(reference)});
  return samplesAs_ == Samples::lazy ? samples_.lazyArray(reference) : samples_.array(reference);
}

}  // namespace vtu::qat
