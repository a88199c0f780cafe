#include "platform/qat/read/source.hpp"

#include <unistd.h>

#include <array>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/structures.hpp"

namespace vtu::qat {
namespace {

herr_t collectName(hid_t, const char* name, const H5L_info_t*, void* target) {
  try {
    static_cast<std::vector<std::string>*>(target)->emplace_back(name);
    return 0;
  } catch (...) {
    return -1;
  }
}

Handle ofType(Handle object, H5I_type_t type, const std::string& link) {
  if (H5Iget_type(object.get()) != type) {
    throw Failure(kDamaged, link + " is not a " + (type == H5I_GROUP ? "group" : "dataset"));
  }
  return object;
}

/// Metadata of a file that grows may be read while it is half-written: what seems damaged is read again for a
/// while.
void requireSound(const Source& source, haddr_t address) {
  constexpr int kAttempts = 50;
  constexpr useconds_t kPause = 1000;
  for (int attempt = 1; source.live && attempt < kAttempts; ++attempt) {
    try {
      source.integrity.forget();
      return source.integrity.requireObject(address);
    } catch (const Failure&) {
      usleep(kPause);
    }
  }
  source.integrity.requireObject(address);
}

}  // namespace

bool hasMember(hid_t group, const std::string& link) {
  if (link == "." || link.find('/') != std::string::npos) throw Failure(kDamaged, "a name that is a path: " + link);
  return checked(H5Lexists(group, link.c_str(), H5P_DEFAULT), kDamaged, "members of a group cannot be read") > 0;
}

Handle openAt(const Source& source, haddr_t address) {
  requireSound(source, address);
  return Handle(checked(H5Oopen_by_addr(source.root, address), kDamaged, "an object cannot be opened"));
}

Handle openMember(const Source& source, hid_t group, const std::string& link, haddr_t* address) {
  H5L_info_t info;
  checked(H5Lget_info(group, link.c_str(), &info, H5P_DEFAULT), kDamaged, "a member cannot be found");
  if (info.type != H5L_TYPE_HARD) throw Failure(kUnsupported, "a soft or external link");
  requireSound(source, info.u.address);
  if (address != nullptr) *address = info.u.address;
  return Handle(checked(H5Oopen(group, link.c_str(), H5P_DEFAULT), kDamaged, "an object cannot be opened"));
}

Handle openDataset(const Source& source, hid_t group, const std::string& link) {
  Handle dataset = ofType(openMember(source, group, link), H5I_DATASET, link);
  if (source.live) checked(H5Drefresh(dataset.get()), kDamaged, link + " cannot be read again");
  return dataset;
}

Handle openGroup(const Source& source, hid_t group, const std::string& link) {
  return ofType(openMember(source, group, link), H5I_GROUP, link);
}

/// HDF5 frees what it never made when it fails in the middle of sorting many links, so it is not asked to: an index of
/// many links is in order, the few of a header are sorted.
std::vector<std::string> memberNames(hid_t group) {
  H5G_info_t info;
  checked(H5Gget_info(group, &info), kDamaged, "a group cannot be read");
  const H5_iter_order_t order = info.storage_type == H5G_STORAGE_TYPE_DENSE ? H5_ITER_NATIVE : H5_ITER_INC;
  std::vector<std::string> names;
  if (H5Literate(group, H5_INDEX_CRT_ORDER, order, nullptr, collectName, &names) < 0) {
    names.clear();
    checked(H5Literate(group, H5_INDEX_NAME, order, nullptr, collectName, &names), kDamaged,
            "the names cannot be read");
  }
  return names;
}

std::uint64_t memberCount(hid_t group) {
  H5G_info_t info;
  checked(H5Gget_info(group, &info), kDamaged, "a group cannot be read");
  return info.nlinks;
}

Handle typeOf(hid_t dataset) { return Handle(checked(H5Dget_type(dataset), kDamaged, "a dataset has no type")); }

Handle spaceOf(hid_t dataset) { return Handle(checked(H5Dget_space(dataset), kDamaged, "a dataset has no dataspace")); }

std::vector<std::size_t> extentsOf(hid_t dataset) {
  const Handle space = spaceOf(dataset);
  if (H5Sget_simple_extent_type(space.get()) == H5S_NULL) return {0, 0};
  std::array<hsize_t, H5S_MAX_RANK> extents{};
  const int rank = checked(H5Sget_simple_extent_dims(space.get(), extents.data(), nullptr), kDamaged, "no extents");
  return {extents.begin(), extents.begin() + rank};
}

std::vector<std::size_t> extentsOfRank(hid_t dataset, std::size_t rank) {
  auto extents = extentsOf(dataset);
  if (extents.size() != rank) throw Failure(kDamaged, "a dataset that does not have " + std::to_string(rank) + " axes");
  return extents;
}

std::vector<std::size_t> chunkOf(hid_t dataset) {
  const Handle list(checked(H5Dget_create_plist(dataset), kDamaged, "a dataset has no layout"));
  if (H5Pget_layout(list.get()) != H5D_CHUNKED) return {};
  std::array<hsize_t, H5S_MAX_RANK> chunk{};
  const int rank = checked(H5Pget_chunk(list.get(), H5S_MAX_RANK, chunk.data()), kDamaged, "chunks without a size");
  return {chunk.begin(), chunk.begin() + rank};
}

void requireChunks(hid_t dataset, const MemoryBudget& budget) {
  const auto chunk = chunkOf(dataset);
  if (!chunk.empty()) budget.require(checkedElements(chunk), H5Tget_size(typeOf(dataset).get()));
}

}  // namespace vtu::qat
