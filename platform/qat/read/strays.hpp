/// @file
/// Reads the log of strays of a file that is being written or whose writer died.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/source.hpp"
#include "platform/qat/stray_format.hpp"
#include "platform/qat_parts.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {

/// The valid strays of a file when this is made. Keeps which strays belong to which leaf, 8 bytes for each; their times
/// and bytes stay in the file. Every function throws Failure.
class Strays final {
 public:
  explicit Strays(const Source& source);

  /// A leaf with strays, or one that no table has.
  struct Leaf {
    LeafPlace place;
    std::optional<StoredColumn> described;  ///< of a leaf that no table has
    std::vector<std::uint64_t> strays;      ///< their numbers, ascending
  };

  /// In the order in which they first occur.
  [[nodiscard]] const std::vector<Leaf>& leaves() const { return leaves_; }

  /// Index of a leaf in leaves(); none if it has no strays and is in a table.
  [[nodiscard]] std::optional<std::size_t> find(LeafPlace place) const;

  /// The descriptions of leaves that no table has, as JSON.
  [[nodiscard]] const std::vector<std::string>& descriptions() const { return descriptions_; }

  /// Times of strays [first, first + count) of a leaf, in seconds.
  void readTimes(const Leaf& leaf, std::uint64_t first, std::uint64_t count, double* out);

  /// What the rows of a table would hold for them, `size` bytes each.
  void readValues(const Leaf& leaf, std::size_t size, std::uint64_t first, std::uint64_t count, std::byte* out);

  /// The bytes of a text of a stray, valid until the next call.
  [[nodiscard]] std::string_view text(TextCell cell);

 private:
  /// Elements of a dataset in memory.
  struct Window {
    Handle dataset;
    std::uint64_t size = 0;  // elements of the dataset
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    std::vector<std::byte> bytes;
  };

  [[nodiscard]] std::uint64_t validRows(hid_t group) const;
  [[nodiscard]] Window open(hid_t group, const char* name) const;
  void index(std::uint64_t rows);
  [[nodiscard]] Leaf& leafAt(LeafPlace place);
  void describe(std::string_view json);
  [[nodiscard]] Stray stray(std::uint64_t number);
  [[nodiscard]] const std::byte* bytes(std::uint64_t start, std::uint64_t count);
  void move(Window& window, hid_t type, std::size_t element, std::uint64_t first, std::uint64_t count) const;

  Source source_;
  MemoryBudget budget_;
  Handle strayType_;
  Window samples_, bytes_;
  std::map<LeafPlace, std::size_t> known_;
  std::vector<Leaf> leaves_;
  std::vector<std::string> descriptions_;
};

/// What a description says of its leaf as a record of a table would, with the number by which strays call it.
/// @throws Failure
struct DescribedLeaf {
  std::uint32_t number = 0;
  StoredColumn column;
};
[[nodiscard]] DescribedLeaf describedLeaf(std::string_view json);

}  // namespace vtu::qat
