/// @file
/// What reading needs of an open file, and how its objects are opened.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/qat/failure.hpp"
#include "platform/qat/file_bytes.hpp"
#include "platform/qat/integrity/integrity.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/read/memory_budget.hpp"

namespace vtu::qat {

/// Parts of an open file, not owned; valid until it is closed or changed.
struct Source {
  Kit& kit;
  FileBytes bytes;
  Integrity& integrity;
  hid_t root;
  const std::string& path;
  bool live = false;  ///< it may grow while it is read
};

/// True if a group has a member of this name. @throws Failure for a name that HDF5 would read as a path
[[nodiscard]] bool hasMember(hid_t group, const std::string& link);

/// Opens the object at an address after it has been checked. @throws Failure
[[nodiscard]] Handle openAt(const Source& source, haddr_t address);

/// Opens a member of a group; every object is checked before HDF5 opens it. @param address Set if not null.
/// @throws Failure
[[nodiscard]] Handle openMember(const Source& source, hid_t group, const std::string& link, haddr_t* address = nullptr);

/// The same for a member that must be a dataset or a group.
[[nodiscard]] Handle openDataset(const Source& source, hid_t group, const std::string& link);
[[nodiscard]] Handle openGroup(const Source& source, hid_t group, const std::string& link);

/// Names of the members of a group, in the order of creation where it is known.
[[nodiscard]] std::vector<std::string> memberNames(hid_t group);

/// Number of members of a group.
[[nodiscard]] std::uint64_t memberCount(hid_t group);

/// Type, dataspace and extents of a dataset; no extents for a single element. @throws Failure
[[nodiscard]] Handle typeOf(hid_t dataset);
[[nodiscard]] Handle spaceOf(hid_t dataset);
[[nodiscard]] std::vector<std::size_t> extentsOf(hid_t dataset);

/// Extents of a dataset that has `rank` of them. @throws Failure
[[nodiscard]] std::vector<std::size_t> extentsOfRank(hid_t dataset, std::size_t rank);

/// Reads a rectangle of a dataset: of each axis the first and how many. @throws Failure
template <std::size_t kRank>
void readRectangle(hid_t dataset, hid_t type, const std::array<hsize_t, kRank>& first,
                   const std::array<hsize_t, kRank>& count, void* out) {
  if (std::find(count.begin(), count.end(), hsize_t{0}) != count.end()) return;
  const Handle space = spaceOf(dataset);
  checked(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, first.data(), nullptr, count.data(), nullptr), kDamaged,
          "samples cannot be selected");
  const Handle memory(checked(H5Screate_simple(kRank, count.data(), nullptr), kStorage, "cannot make a dataspace"));
  checked(H5Dread(dataset, type, memory.get(), space.get(), H5P_DEFAULT, out), kDamaged, "samples cannot be read");
}

/// Extents of the chunks of a dataset; none without chunks.
[[nodiscard]] std::vector<std::size_t> chunkOf(hid_t dataset);

/// Throws a Failure for chunks that are too large: HDF5 keeps one whole in memory, however little is in it.
void requireChunks(hid_t dataset, const MemoryBudget& budget);

}  // namespace vtu::qat
