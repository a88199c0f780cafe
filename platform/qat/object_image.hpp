/// @file
/// Headers of groups and datasets as HDF5 stores them in its latest format.
///
/// Making an object through HDF5 costs 10 to 20 us; the rows of a table are thousands of groups and datasets that differ
/// in little but their addresses. Their headers are made here and written together. Every size is known before the first
/// address is, so that one piece of the file can be asked for all of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/qat/byte_image.hpp"
#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// One hard link of a group.
struct LinkImage {
  std::string_view name;  ///< as HDF5 sees it, at most 65535 bytes
  std::uint64_t address;  ///< of the header of the object
};

/// Bytes of a link as a message.
[[nodiscard]] std::size_t linkBytes(std::string_view name);

/// Appends a link as a message.
void putLink(ByteImage& image, const LinkImage& link);

/// Where a group keeps links that are not in its header; see link_index_image.hpp.
struct LinkIndexPlace {
  std::uint64_t heap = HADDR_UNDEF;
  std::uint64_t tree = HADDR_UNDEF;
};

/// Bytes of the header of a group.
/// @param messageBytes Sum of linkBytes() of the links in the header.
/// @param links Number of them.
/// @param spare Room for messages that HDF5 adds later, 0 or at least 4.
[[nodiscard]] std::size_t groupHeaderBytes(std::size_t messageBytes, std::size_t links, std::size_t spare = 0);

/// Appends the header of a group.
/// @param links The links to keep in the header.
void putGroupHeader(ByteImage& image, std::span<const LinkImage> links, const LinkIndexPlace& index = {},
                    std::size_t spare = 0);

/// A dataset whose values stand one after another in the file.
struct DatasetImage {
  std::span<const std::byte> type;      ///< of an element, as encodedType() gives it
  std::span<const hsize_t> extents;     ///< none for a scalar
  std::uint64_t address = HADDR_UNDEF;  ///< of the values; HADDR_UNDEF for no values
  std::uint64_t size = 0;               ///< of the values, in bytes
  std::uint32_t references = 1;         ///< number of links to the dataset
};

/// Bytes of the header of a dataset; the addresses do not matter.
[[nodiscard]] std::size_t datasetHeaderBytes(const DatasetImage& dataset);

/// Appends the header of a dataset.
void putDatasetHeader(ByteImage& image, const DatasetImage& dataset);

/// An HDF5 type in the form that headers hold.
[[nodiscard]] std::vector<std::byte> encodedType(hid_t type);

}  // namespace vtu::qat
