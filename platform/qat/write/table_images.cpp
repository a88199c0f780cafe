#include "platform/qat/write/table_images.hpp"

#include <stdexcept>

#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kMostLinksInHeader = 8;  // as HDF5 does it
constexpr std::size_t kRoomForAttributes = 512;

herr_t collectName(hid_t, const char* name, const H5L_info_t*, void* target) {
  try {
    static_cast<std::vector<std::string>*>(target)->emplace_back(name);
    return 0;
  } catch (...) {
    return -1;
  }
}

std::vector<std::string> membersOf(hid_t group) {
  std::vector<std::string> names;
  checked(H5Literate(group, H5_INDEX_NAME, H5_ITER_NATIVE, nullptr, collectName, &names), kStorage,
          "cannot list the columns of a table");
  return names;
}

/// Takes a piece of the file out of HDF5's hands: a dataset that nothing leads to, and that is never deleted, has it.
std::uint64_t takeSpace(hid_t file, const Kit& kit, std::uint64_t size) {
  constexpr const char* kWhat = "cannot find room for a table";
  const hsize_t extent = size;
  const Handle space(checked(H5Screate_simple(1, &extent, nullptr), kStorage, kWhat));
  const Handle owner(
      checked(H5Dcreate_anon(file, H5T_STD_U8LE, space.get(), kit.datasetList(), H5P_DEFAULT), kStorage, kWhat));
  const haddr_t address = H5Dget_offset(owner.get());
  if (address == HADDR_UNDEF) throwLibraryFailure(kStorage, kWhat);
  checked(H5Oincr_refcount(owner.get()), kStorage, kWhat);
  return address;
}

/// Counts links to an object that HDF5 does not know of.
haddr_t addReferences(const Handle& object, unsigned count) {
  for (; count > 0; --count) checked(H5Oincr_refcount(object.get()), kStorage, "cannot count the links to an object");
  return addressOfObject(object.get());
}

}  // namespace

TableImages::TableImages(Kit& kit, SharedObjects& shared, const std::vector<FieldPlan>& plan, std::size_t rows,
                         int levels)
    : kit_(kit), rows_(kit, shared) {
  for (std::size_t row = 0; row < rows; ++row) {
    std::string name = std::to_string(row);
    layout_.add(name);
    if (rows_.add(plan, row, levels)) {
      rowNames_.push_back(std::move(name));
    } else {
      otherRows_.push_back(row);
    }
  }
  for (const FieldPlan& field : plan) layout_.add(kOffsetsPrefix + field.link);  // at most; writeRows() knows better
  any_ = !rowNames_.empty() && layout_.isPossible();
}

std::size_t TableImages::headerBytes() const {
  const bool inHeader = layout_.links() <= kMostLinksInHeader;
  GroupShape shape;
  shape.linkBytes = inHeader ? layout_.linksBytes() : 0;
  shape.links = inHeader ? layout_.links() : 0;
  shape.spare = kRoomForAttributes;
  return groupHeaderBytes(shape);
}

void TableImages::writeRows(hid_t file, hid_t parts, const FileBytes& bytes) {
  layout_ = {};
  for (const std::string& name : membersOf(parts)) layout_.add(name);
  for (const std::string& name : rowNames_) layout_.add(name);
  for (const std::size_t row : otherRows_) layout_.add(std::to_string(row));
  const std::size_t ownBytes = headerBytes() + (layout_.links() > kMostLinksInHeader ? layout_.size() : 0);
  address_ = takeSpace(file, kit_, ownBytes + rows_.headerBytes());
  // Values have a piece of their own: when they are deleted, HDF5 gives it to other values.
  const std::uint64_t values = rows_.valueBytes() != 0 ? takeSpace(file, kit_, rows_.valueBytes()) : 0;
  rows_.place(address_ + ownBytes, values);
  rows_.write(bytes);
  for (const auto& [address, count] : rows_.linksToOthers()) {
    const Handle object(checked(H5Oopen_by_addr(file, address), kStorage, "cannot open a shared object"));
    static_cast<void>(addReferences(object, count));
  }
}

std::vector<LinkImage> TableImages::linksWith(hid_t parts, const std::vector<std::string>& members) const {
  std::vector<LinkImage> links;
  links.reserve(members.size() + rowNames_.size());
  for (const std::string& name : members) {
    const Handle object(checked(H5Oopen(parts, name.c_str(), H5P_DEFAULT), kStorage, "cannot open a part of a table"));
    links.push_back({name, addReferences(object, 1)});
  }
  for (std::size_t i = 0; i < rowNames_.size(); ++i) links.push_back({rowNames_[i], rows_.rowAddress(i)});
  return links;
}

Handle TableImages::writeTable(hid_t file, hid_t parts, hid_t group, const std::string& link, const FileBytes& bytes) {
  const std::vector<std::string> members = membersOf(parts);
  const std::vector<LinkImage> links = linksWith(parts, members);
  if (links.size() != layout_.links()) throw std::logic_error("a table has other members than planned");
  GroupImage header;
  header.spare = kRoomForAttributes;
  ByteImage index;
  if (links.size() <= kMostLinksInHeader) {
    header.links = links;
  } else {
    header.index = putLinkIndex(index, layout_, links, address_ + headerBytes());
  }
  ByteImage image;
  putGroupHeader(image, header);
  image.putBytes({index.data(), index.size()});
  bytes.write(address_, image.data(), image.size());
  Handle table(checked(H5Oopen_by_addr(file, address_), kStorage, "cannot open a new table"));
  checked(H5Olink(table.get(), group, link.c_str(), H5P_DEFAULT, H5P_DEFAULT), kStorage, "cannot link a new table");
  checked(H5Odecr_refcount(table.get()), kStorage,
          "cannot count the links to a new table");  // it began with one
  return table;
}

}  // namespace vtu::qat
