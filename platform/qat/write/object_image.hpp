/// @file
/// Headers of groups and datasets as HDF5 stores them in its latest format.
///
/// Making an object through HDF5 costs 10 to 20 us; the rows of a table are thousands of groups and datasets that
/// differ in little but their addresses. Their headers are made here and written together. Every size is known before
/// the first address is, so that one piece of the file can be asked for all of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/qat/write/byte_image.hpp"
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

/// What the header of a group holds.
struct GroupImage {
  std::span<const LinkImage> links;            ///< kept in the header
  LinkIndexPlace index;                        ///< of links that are not
  bool ordered = false;                        ///< the order of the links is kept: they are numbered
                                               ///< as they stand
  std::span<const std::byte> attributes = {};  ///< messages as putAttribute() makes them
  std::uint32_t references = 1;                ///< number of links to the group
  std::size_t spare = 0;                       ///< room for messages that HDF5 adds later, 0 or at least 4
};

/// The sizes that decide how long the header of a group is.
struct GroupShape {
  std::size_t linkBytes = 0;  ///< sum of linkBytes() of the links in the header
  std::size_t links = 0;      ///< number of them
  bool ordered = false;
  std::size_t attributeBytes = 0;
  std::uint32_t references = 1;
  std::size_t spare = 0;
};

/// Bytes of the header of a group.
[[nodiscard]] std::size_t groupHeaderBytes(const GroupShape& shape);

/// Appends the header of a group.
void putGroupHeader(ByteImage& image, const GroupImage& group);

/// One attribute; a scalar has no extent.
struct AttributeImage {
  std::string_view name;
  std::span<const std::byte> type;  ///< as encodedType() gives it
  bool isList = false;              ///< a list of values, otherwise a scalar
  std::uint64_t count = 1;
  std::span<const std::byte> values;
};

/// Appends an attribute as a message of a header, less than 64 KiB in all.
void putAttribute(ByteImage& image, const AttributeImage& attribute);

/// The type of texts of variable length in a file. A value is: length (4 bytes), address of the collection, number (4
/// bytes).
[[nodiscard]] std::span<const std::byte> variableTextType();

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
