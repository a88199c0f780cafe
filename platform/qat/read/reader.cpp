#include "platform/qat/read/reader.hpp"

#include <algorithm>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/names.hpp"
#include "platform/qat/read/table_column.hpp"
#include "platform/qat/utf8_rows.hpp"
#include "platform/qat/write/writer.hpp"

namespace vtu::qat {
namespace {

class Deeper final {
 public:
  explicit Deeper(int& depth) : depth_(depth) {
    if (depth_ >= kDeepestNesting + 2) throw Failure(kDamaged, "nested deeper than any Qat file");
    ++depth_;
  }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;
  ~Deeper() { --depth_; }

 private:
  int& depth_;
};

bool hasAttribute(hid_t object, const char* name) {
  return checked(H5Aexists(object, name), kDamaged, "attributes cannot be read") > 0;
}

Handle openAttribute(hid_t object, const std::string& name) {
  return Handle(
      checked(H5Aopen(object, name.c_str(), H5P_DEFAULT), kDamaged, "attribute " + name + " cannot be opened"));
}

std::uint64_t memberCount(hid_t group) {
  H5G_info_t info;
  checked(H5Gget_info(group, &info), kDamaged, "a group cannot be read");
  return info.nlinks;
}

}  // namespace

bool hasMember(hid_t group, const std::string& link) {
  if (link == "." || link.find('/') != std::string::npos) throw Failure(kDamaged, "a name that is a path: " + link);
  return checked(H5Lexists(group, link.c_str(), H5P_DEFAULT), kDamaged, "members of a group cannot be read") > 0;
}

qalc::ArrayPtr makeStructures(const std::vector<std::size_t>& dims, const std::vector<std::string>& names) {
  std::vector<const char*> pointers(names.size() + 1);
  for (std::size_t i = 0; i < names.size(); ++i) pointers[i] = names[i].c_str();
  return qalc::ArrayPtr(qxCreateStructArray(dims.size(), dims.data(), static_cast<int>(names.size()), pointers.data()));
}

Handle Reader::openMember(hid_t group, const std::string& link, haddr_t* address) const {
  H5L_info_t info;
  checked(H5Lget_info(group, link.c_str(), &info, H5P_DEFAULT), kDamaged, "a member cannot be found");
  if (info.type != H5L_TYPE_HARD) throw Failure(kUnsupported, "a soft or external link");
  integrity_.requireObject(info.u.address);
  *address = info.u.address;
  return Handle(checked(H5Oopen(group, link.c_str(), H5P_DEFAULT), kDamaged, "an object cannot be opened"));
}

qalc::ArrayPtr Reader::readMember(hid_t group, const std::string& link) {
  return atPlace(link, [&] {
    haddr_t address = HADDR_UNDEF;
    const Handle object = openMember(group, link, &address);
    return readOnce(object, address);
  });
}

qalc::ArrayPtr Reader::readAt(hid_t file, haddr_t address) {
  integrity_.requireObject(address);
  const Handle object(checked(H5Oopen_by_addr(file, address), kDamaged, "an object cannot be opened"));
  return readOnce(object, address);
}

qalc::ArrayPtr Reader::readOnce(const Handle& object, haddr_t address) {
  const auto [entry, isNew] = done_.try_emplace(address);
  if (!isNew) {
    if (!entry->second) throw Failure(kDamaged, "an object contains itself");
    return qalc::ArrayPtr(qxShareArray(entry->second.get()));
  }
  const Deeper deeper(depth_);
  qalc::ArrayPtr value = readObject(object.get());
  done_[address].reset(qxShareArray(value.get()));
  return value;
}

qalc::ArrayPtr Reader::readObject(hid_t object) {
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
  const std::size_t count = checkedElements(dims, fileSize_);
  std::vector<std::uint64_t> empty;
  if (hasMember(group, kEmptyCells)) empty = readNumbers(group, kEmptyCells);
  const std::uint64_t members = memberCount(group) - (empty.empty() ? 0 : 1);
  if (count != members + empty.size() || !std::is_sorted(empty.begin(), empty.end())) {
    throw Failure(kDamaged, std::to_string(members) + " members for " + std::to_string(count) + " cells");
  }
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
  if (!hasAttribute(group, kDimsAttribute)) {
    qalc::ArrayPtr single = makeStructures({1, 1}, names);
    readFields(group, *single, 0, links);
    return single;
  }
  const auto dims = dimsAttribute(group);
  const std::size_t count = checkedElements(dims, fileSize_);
  if (count != memberCount(group) || (count > 0 && links.size() > 64 * fileSize_ / count)) {
    throw Failure(kDamaged,
                  std::to_string(memberCount(group)) + " members for " + std::to_string(count) + " structures");
  }
  qalc::ArrayPtr structures = makeStructures(dims, names);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string name = std::to_string(i);
    atPlace(name, [&] {
      haddr_t address = HADDR_UNDEF;
      const Handle element = openMember(group, name, &address);
      if (H5Iget_type(element.get()) != H5I_GROUP) throw Failure(kDamaged, "an element that is not a group");
      readFields(element.get(), *structures, i, links);
    });
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
  if (H5Sget_simple_extent_npoints(space.get()) != 1)
    throw Failure(kDamaged, "an attribute that is not a single value");
  if (H5Tget_class(type.get()) == H5T_STRING) return rowOfText(texts_.attributeTexts(attribute.get()).at(0));
  const ElementKind kind = elementKindOf(type.get());
  if (kind.id == qxUNKNOWN) throw Failure(kUnsupported, "an attribute of a type that arrays do not have");
  const std::size_t dims[] = {1, 1};
  qalc::ArrayPtr value(qxCreateNumericArray(2, dims, kind.id, kind.complex));
  checked(H5Aread(attribute.get(), kit_.elementType(kind), qxGetData(value.get())), kDamaged,
          "an attribute cannot be read");
  if (auto* flag = static_cast<unsigned char*>(qxGetData(value.get())); kind.id == qxLOGICAL) *flag = *flag != 0;
  return value;
}

std::string Reader::textAttribute(hid_t object, const char* name) {
  if (!hasAttribute(object, name)) return {};
  const auto texts = texts_.attributeTexts(openAttribute(object, name).get());
  if (texts.size() != 1) throw Failure(kDamaged, "attribute " + std::string(name) + " is not a single text");
  return texts.front();
}

std::vector<std::string> Reader::fieldLinks(hid_t group) {
  if (!hasAttribute(group, kFieldsAttribute)) throw Failure(kDamaged, "attribute qat.fields is missing");
  return texts_.attributeTexts(openAttribute(group, kFieldsAttribute).get());
}

std::vector<std::size_t> Reader::dimsAttribute(hid_t object) {
  if (!hasAttribute(object, kDimsAttribute)) throw Failure(kDamaged, "attribute qat.dims is missing");
  const Handle attribute = openAttribute(object, kDimsAttribute);
  const Handle space(checked(H5Aget_space(attribute.get()), kDamaged, "attribute qat.dims has no dataspace"));
  const hssize_t count = H5Sget_simple_extent_npoints(space.get());
  if (count < 0 || static_cast<std::uint64_t>(count) > fileSize_)
    throw Failure(kDamaged, "attribute qat.dims is too long");
  std::vector<std::size_t> dims(static_cast<std::size_t>(count) + 1);
  checked(H5Aread(attribute.get(), H5T_NATIVE_UINT64, dims.data()), kDamaged, "attribute qat.dims cannot be read");
  dims.pop_back();
  return dims;
}

}  // namespace vtu::qat
