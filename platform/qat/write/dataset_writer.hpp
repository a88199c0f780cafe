/// @file
/// Writing datasets: numbers, characters and lists of texts.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"

namespace vtu::qat {

/// Longest text that becomes one fixed-length element.
inline constexpr std::size_t kLongestText = std::size_t{1} << 30;

/// Whether texts may share one fixed length without wasting much of the file.
[[nodiscard]] bool fitFixedLength(std::span<const std::string> texts);

/// Makes datasets in a group and fills them. Does not own the kit.
class DatasetWriter final {
 public:
  explicit DatasetWriter(Kit& kit) : kit_(kit) {}

  /// Writes a numeric, logical or char array element by element; element (i, j) becomes `dataset[i, j]`.
  Handle writeElements(hid_t group, const std::string& link, const qxArray& array);

  /// Writes one text as a scalar.
  Handle writeText(hid_t group, const std::string& link, std::string_view text);

  /// Writes texts of one fixed length as a column. @param extents At least one; their product is the number of texts.
  Handle writeTexts(hid_t group, const std::string& link, std::span<const std::string> texts,
                    const std::vector<hsize_t>& extents);

  /// Writes elements that are contiguous in memory. @param extents None for a single element.
  Handle writeValues(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents,
                     const void* values) {
    return write(group, link, type, extents, values, kit_.datasetList());
  }

  /// Writes rows; where all are the same, or mostly padding, they are deflated. @param extents Rows first.
  Handle writeColumn(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents,
                     const void* values);

 private:
  static Handle write(hid_t group, const std::string& link, hid_t type, const std::vector<hsize_t>& extents,
                      const void* values, hid_t list);

  Kit& kit_;
};

/// Makes a dataspace. @param extents None for a single element.
[[nodiscard]] Handle makeSpace(const std::vector<hsize_t>& extents);

}  // namespace vtu::qat
