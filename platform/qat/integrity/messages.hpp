/// @file
/// The messages of an object, each read within its own bytes and checked alone.
#pragma once

#include <string_view>
#include <vector>

#include "platform/qat/integrity/cursor.hpp"
#include "platform/qat/integrity/datatype.hpp"

namespace vtu::qat {

/// Extents of a dataset or an attribute.
struct SpaceInfo {
  static constexpr std::uint64_t kUnlimited = ~std::uint64_t{0};

  std::vector<std::uint64_t> extents;
  std::vector<std::uint64_t> limits;  // as many; kUnlimited where there is none
  std::uint64_t elements = 1;
};
[[nodiscard]] SpaceInfo readDataspace(Cursor at);

/// Checks one entry of a group: a hard, soft or external link. @return its name
std::string_view readLink(Cursor at);

/// Checks one attribute, with everything in it. @return its name
std::string_view readAttribute(Cursor at);

/// Where links or attributes are stored that are too many for the header.
struct DenseInfo {
  std::uint64_t heap = kNoAddress;
  std::uint64_t nameIndex = kNoAddress;
  std::uint64_t orderIndex = kNoAddress;
};
[[nodiscard]] DenseInfo readLinkInfo(Cursor at);
[[nodiscard]] DenseInfo readAttributeInfo(Cursor at);

void checkGroupInfo(Cursor at);
void checkReferenceCount(Cursor at);

/// Checks the value of elements that were never written: nothing, or one element that refers to nothing.
void checkFillValue(Cursor at, const TypeInfo& type);

/// The filters of a chunked dataset in the order of writing: deflate and shuffle, once each.
inline constexpr unsigned kDeflate = 1, kShuffle = 2;
[[nodiscard]] std::vector<unsigned> readFilters(Cursor at);

}  // namespace vtu::qat
