/// @file
/// Texts of variable length as HDF5 stores them: collections of a fixed size, in which a text has a number.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/qat/write/byte_image.hpp"

namespace vtu::qat {

/// Where a text stands.
struct TextPlace {
  std::uint64_t collection;  ///< offset of the collection among all of them
  std::uint32_t number;      ///< in the collection
  std::uint32_t size;        ///< in bytes
};

/// Collections of texts; what they hold does not depend on where they stand in the file.
class TextHeapImage final {
 public:
  /// Longest text that fits a collection.
  static constexpr std::size_t kLongestText = 4000;

  /// Adds a text of at most kLongestText bytes.
  TextPlace add(std::string_view text);

  /// The collections, one after another. Nothing may be added afterwards.
  [[nodiscard]] const ByteImage& finished();

  /// Bytes of the collections, the last one taken as full.
  [[nodiscard]] std::size_t size() const { return collections_ * kCollection; }

 private:
  static constexpr std::size_t kCollection = 4096;
  static constexpr std::size_t kPrefix = 16;  // of a collection, and of a text in it

  void close();

  ByteImage image_;
  std::size_t collections_ = 0;
  std::uint32_t texts_ = 0;  // in the last collection
};

}  // namespace vtu::qat
