/// @file
/// What the messages of an object say, each read within its own bytes and checked for itself.
#pragma once

#include <functional>
#include <optional>
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
  std::uint64_t elements = 0;
};
[[nodiscard]] SpaceInfo readDataspace(Cursor at);

/// Gives the type that stands in the object at an address.
using NamedTypes = std::function<TypeInfo(std::uint64_t address)>;

/// A datatype that stands here or, when `shared`, in an object of its own.
[[nodiscard]] TypeInfo readTypeMessage(Cursor at, bool shared, const NamedTypes& named);

/// One entry of a group.
struct LinkInfo {
  std::string_view name;
  std::uint64_t target = kNoAddress;  ///< the object; none for a link that is a text
};
[[nodiscard]] LinkInfo readLink(Cursor at);

/// One attribute, with everything in it. @return its name
std::string_view readAttribute(Cursor at, const NamedTypes& named);

/// Where links or attributes stand that are too many for the header.
struct DenseInfo {
  std::uint64_t heap = kNoAddress;
  std::uint64_t nameIndex = kNoAddress;
  std::uint64_t orderIndex = kNoAddress;
};
[[nodiscard]] DenseInfo readLinkInfo(Cursor at);
[[nodiscard]] DenseInfo readAttributeInfo(Cursor at);

void checkGroupInfo(Cursor at);

/// The value of elements that were never written. The views live as long as the message.
[[nodiscard]] std::string_view readFillValue(Cursor at);
[[nodiscard]] std::string_view readOldFillValue(Cursor at);

/// The filters of a chunked dataset in the order of writing.
struct Filter {
  static constexpr unsigned kDeflate = 1;
  static constexpr unsigned kShuffle = 2;
  static constexpr unsigned kChecksum = 3;

  unsigned id;
};
[[nodiscard]] std::vector<Filter> readFilters(Cursor at);

}  // namespace vtu::qat
