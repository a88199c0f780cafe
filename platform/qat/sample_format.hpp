/// @file
/// How sample tables are stored: the names of their members, and references to them. For reading and writing.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qat/kit.hpp"

namespace vtu::qat {

inline constexpr const char* kSamplesGroup = "qat.samples";  ///< member of the root: one group per table, "0", "1", …
inline constexpr const char* kTimeMember = "Time";           ///< seconds, one per row
inline constexpr const char* kColumnsMember = "columns";     ///< one record per leaf
inline constexpr const char* kTextMember = "text";           ///< the ranges of the texts in kTextBytesMember
inline constexpr const char* kTextBytesMember = "text.bytes";  ///< UTF-8
inline constexpr const char* kRowsMember = "rows";             ///< valid rows per record, while the file is written

/// The part of a record that a reference refers to.
inline constexpr std::uint32_t kValuesPart = 0;
inline constexpr std::uint32_t kTimesPart = 1;

/// Stored in place of an array of samples: record `column` of table `table`.
struct Reference {
  std::uint32_t table = 0;
  std::uint32_t column = 0;
  std::uint32_t part = kValuesPart;

  // clang-tidy takes the comparison with 0. NOLINTNEXTLINE(modernize-use-nullptr)
  friend auto operator<=>(const Reference&, const Reference&) = default;
};

/// References as stored in a file, kPackedReference bytes each: u4, u4, u1.
inline constexpr std::size_t kPackedReference = 9;
[[nodiscard]] std::vector<char> packed(std::span<const Reference> references);

/// Name of the dataset for a kind of elements: "double", "double.complex", "text" for the id qxCELL.
[[nodiscard]] std::string elementClassName(ElementKind kind);

/// The kind of elements for such a name; empty for any other name.
[[nodiscard]] std::optional<ElementKind> elementClassOf(std::string_view name);

/// Bytes of one element in a row of a table.
[[nodiscard]] std::size_t elementBytes(ElementKind kind);

/// Dimensions of one sample as text: "3x4", "" for a scalar.
[[nodiscard]] std::string dimsText(const std::vector<std::size_t>& dims);

/// The dimensions of such a text; empty for any other text.
[[nodiscard]] std::optional<std::vector<std::size_t>> dimsOfText(std::string_view text);

/// True for the type of references.
[[nodiscard]] bool isReferenceType(hid_t type);

}  // namespace vtu::qat
