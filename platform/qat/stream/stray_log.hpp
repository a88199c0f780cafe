/// @file
/// The log of strays of a file that is being streamed.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/qat/stray_format.hpp"
#include "platform/qat/stream/growing_dataset.hpp"
#include "platform/qat/stream/leaf_places.hpp"
#include "platform/qat/stream/row_counts.hpp"
#include "platform/qat_stream.hpp"

namespace vtu::qat {

/// Appends strays, and takes the newest ones back. Every function throws Failure.
class StrayLog final {
 public:
  /// Makes the group, empty, without a link. Borrows its arguments.
  StrayLog(Kit& kit, const DiskGuard& guard, hid_t root);

  /// Makes it a member of the root; to be called after it was flushed.
  void link(hid_t root) const;

  /// @param places Where leaves are since the file was closed before.
  void append(const StrayBuffer& strays, const LeafPlaces& places);

  [[nodiscard]] QatStream::StrayMark mark() const { return {samples_->rows(), bytes_->rows()}; }

  /// Times and bytes [offset, offset + bytes) of strays of a leaf. Read while the file is written.
  void readTimes(LeafPlace leaf, std::uint64_t first, std::uint64_t count, double* out);
  void readValues(LeafPlace leaf, std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                  std::byte* out);
  /// @return utf8
  const std::string& readText(TextCell cell, std::string& utf8);

  /// Takes strays back. Readers still see the old number.
  void rewind(const QatStream::StrayMark& mark);

  /// True if readers know of strays that have been taken back.
  [[nodiscard]] bool mustTakeBack() const { return counted_ > samples_->rows(); }

  /// Gives all strays to the file system; readers still see the old number.
  void flushRows();

  /// Makes the valid strays known to readers.
  void writeCounts();

 private:
  /// Calls use(stray) for strays [first, first + count) of a leaf.
  template <typename Use>
  void forEach(LeafPlace leaf, std::uint64_t first, std::uint64_t count, const Use& use);
  void index();
  void forgetIndex();
  [[nodiscard]] Stray read(std::uint64_t number);

  Handle strayType_, group_;
  std::optional<GrowingDataset> samples_, bytes_;
  std::optional<RowCounts> rows_;
  std::uint64_t counted_ = UINT64_MAX;  // strays that readers know of

  // What was read until the next flush():
  std::map<LeafPlace, std::vector<std::uint64_t>> numbers_;
  std::uint64_t indexed_ = 0;
  std::vector<std::byte> window_;
  std::uint64_t windowFirst_ = 0;
};

}  // namespace vtu::qat
