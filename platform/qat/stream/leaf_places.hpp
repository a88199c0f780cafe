/// @file
/// Where leaves with strays are after a file was closed in mid-run: all their samples then stand in tables that were
/// written with the file's variables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/qat/kit.hpp"
#include "platform/qat/read/open_tables.hpp"
#include "platform/qat/stray_format.hpp"
#include "platform/qat/stream/row_counts.hpp"

namespace vtu::qat {

/// Knows the places, and counts and reads their rows while the file is written. Every function throws Failure.
class LeafPlaces final {
 public:
  /// Where a leaf is now; none: where it was when the file was laid out.
  [[nodiscard]] std::optional<LeafPlace> find(LeafPlace leaf) const;
  [[nodiscard]] bool isEmpty() const { return places_.empty(); }

  /// The file is closed: leaves are in other places. @param tables Of the file as it is now.
  void set(const std::map<LeafPlace, LeafPlace>& places, OpenTables& tables);

  /// The file is open again, and readers are not let in yet. The counts of rows have no links.
  void open(hid_t root);

  /// To be called after they were flushed.
  void linkCounts() const;

  /// Samples of a leaf in its place.
  [[nodiscard]] std::uint64_t count(LeafPlace leaf) { return tableOf(leaf).counts.at(find(leaf)->second); }

  /// Lets go of the file.
  void close();

  /// A step back has left so many samples of a leaf. Readers see that at once.
  void keep(LeafPlace leaf, std::uint64_t samples);

  /// Read while the file is written.
  void readTimes(LeafPlace leaf, std::uint64_t first, std::uint64_t count, double* out);
  /// @param element First of the elements of a sample. @param elements Number of elements.
  void readValues(Kit& kit, LeafPlace leaf, std::uint64_t first, std::uint64_t count, std::uint64_t element,
                  std::uint64_t elements, void* out);
  /// @return utf8
  const std::string& readText(LeafPlace leaf, TextCell cell, std::string& utf8);

 private:
  struct Table {
    std::vector<StoredColumn> columns;
    std::vector<std::uint64_t> counts;
    Handle group;  // while the file is open
    std::optional<RowCounts> rows;
  };

  [[nodiscard]] Table& tableOf(LeafPlace leaf);
  [[nodiscard]] const StoredColumn& columnOf(LeafPlace leaf);

  std::map<LeafPlace, LeafPlace> places_;
  std::map<std::uint32_t, Table> tables_;
};

}  // namespace vtu::qat
