/// @file
/// Full block paths: where a block is, from the top model down through every model reference.
///
///     vtu::FullBlkPathToTopMdl path;
///     vtu::BlockPathUtil::decodeBlockPath(u"top/Plant|plant/Wheel%7CLeft", path);
///     path.append(vtu::InternedUstring(u"wheel/Gain"));             // three elements, top model first
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/export.hpp"
#include "platform/text.hpp"

namespace vtu {

/// Path of a block from the top model: one element per model level, top first, and a sub-path with its kind.
///
/// A value: copies are independent. Not synchronised.
class VTIO_PLATFORM_EXPORT FullBlkPathToTopMdl {
 public:
  /// Adds an element at the end.
  void append(InternedUstring element);

  /// Number of elements.
  [[nodiscard]] std::size_t size() const { return elements_.size(); }

  /// Element i, 0 being the top model's.
  /// @throws std::out_of_range if there is no element i.
  [[nodiscard]] const InternedUstring& element(std::size_t i) const { return elements_.at(i); }

  /// The path inside the block, empty if none.
  [[nodiscard]] const ustring& subPath() const { return subPath_; }
  void subPath(ustring text);

  /// The kind of the path inside the block.
  [[nodiscard]] std::int32_t subPathType() const { return subPathType_; }
  void subPathType(std::int32_t type) { subPathType_ = type; }

  /// Replaces each line feed in the elements by one space; elements without one keep their identity.
  void replaceNewlineWithSpace();

  /// Fewer elements first; of two as long, an empty sub-path before one that is not (paths without elements tie then);
  /// then the elements in order, then the sub-paths, both by unsigned code unit.
  VTIO_PLATFORM_EXPORT friend bool operator<(const FullBlkPathToTopMdl&, const FullBlkPathToTopMdl&);

 private:
  std::vector<InternedUstring> elements_;
  ustring subPath_;
  std::int32_t subPathType_ = 0;
};

namespace BlockPathUtil {

/// Appends the elements of an encoded path.
///
/// Elements are joined by `|` and percent-encoded: `%7C` is `|`, `%25` is `%`, and any other UTF-8 byte may be encoded
/// too, with hexadecimal digits of either case. The empty text holds no element.
/// @throws vtsv::IException "Vortan:BlockPath" / "BadEncoding" with the encoded text if an escape is not `%` and two
///   hexadecimal digits, or if adjacent escaped bytes are not UTF-8; `path` is as it was.
VTIO_PLATFORM_EXPORT void decodeBlockPath(const ustring& encoded, FullBlkPathToTopMdl& path);

}  // namespace BlockPathUtil
}  // namespace vtu
