/// @file
/// A leaf with strays, as a table of its own.
#pragma once

#include <cstdint>

#include "platform/qat/read/one_leaf_table.hpp"
#include "platform/qat/read/strays.hpp"

namespace vtu::qat {

/// The leaf's rows of its table, then its strays. Does not own its arguments.
class MergedTable final : public OneLeafTable {
 public:
  /// @param table Null for a leaf that no table has. @param column The leaf's record.
  MergedTable(Strays& strays, const Strays::Leaf& leaf, OpenTable* table, const StoredColumn& column);

  void readTimes(std::uint64_t first, std::uint64_t count, double* out) override;
  void readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                 std::uint64_t count, void* out) override;
  [[nodiscard]] std::string_view text(TextCell cell) override;

 private:
  [[nodiscard]] std::uint64_t rowsInTable(std::uint64_t first, std::uint64_t count) const;
  void readStrays(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t first,
                  std::uint64_t count, std::byte* out);

  Strays& strays_;
  const Strays::Leaf& leaf_;
  OpenTable* table_;
  StoredColumn inTable_;
};

}  // namespace vtu::qat
