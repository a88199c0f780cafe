/// @file
/// Writing datasets: numbers, characters and lists of texts. The values go to their place in the file directly, in pieces,
/// which costs a third less per small dataset than a write through HDF5.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/file_bytes.hpp"
#include "platform/qat/kit.hpp"

namespace vtu::qat {

/// Longest text that becomes one fixed-length element.
inline constexpr std::size_t kLongestText = std::size_t{1} << 30;

/// Whether texts may share one fixed length without wasting much of the file.
[[nodiscard]] bool fitFixedLength(std::span<const std::string> texts);

/// Writes column-major values in row-major order, a few megabytes at a time.
void writeTransposed(const FileBytes& bytes, std::uint64_t address, const qxArray& array);

/// Makes datasets in a group and fills them. Borrows the kit.
class DatasetWriter final {
 public:
  DatasetWriter(Kit& kit, FileBytes bytes) : kit_(kit), bytes_(bytes) {}

  /// Writes a numeric, logical or char array element by element; element (i, j) becomes `dataset[i, j]`.
  Handle writeElements(hid_t group, const std::string& link, const qxArray& array);

  /// Writes one text as a scalar.
  Handle writeText(hid_t group, const std::string& link, std::string_view text);

  /// Writes texts of one fixed length. @param extents At least one; their product is the number of texts.
  Handle writeTexts(hid_t group, const std::string& link, std::span<const std::string> texts,
                    const std::vector<hsize_t>& extents);

  /// Writes a column of elements that stand in memory one after another.
  Handle writeColumn(hid_t group, const std::string& link, hid_t type, std::size_t count, const void* values,
                     std::size_t size);

 private:
  Handle create(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents);
  void fill(const Handle& dataset, const void* values, std::size_t size);
  [[nodiscard]] std::uint64_t addressOf(const Handle& dataset) const;

  Kit& kit_;
  FileBytes bytes_;
};

/// The extents of the dataset for an array: trailing ones dropped, none for a single element.
[[nodiscard]] std::vector<hsize_t> storedExtents(const qalc::Dimensions& dims);

}  // namespace vtu::qat
