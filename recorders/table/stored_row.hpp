/// @file
/// How a delivered sample is stored in a row: the values of each column contiguous, last index fastest, as readers get
/// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/tile.hpp"

namespace vtio::recorders {

/// Bytes of a row that a position takes: its columns one after another.
[[nodiscard]] std::size_t storedBytes(const LayoutPosition& position);

[[nodiscard]] bool hasTexts(const LayoutPosition& position);

/// True if the stored sample is the beginning of the delivered bytes, unchanged.
[[nodiscard]] bool isStoredAsDelivered(const LayoutPosition& position);

/// Delivered bytes that follow each other in the row, too.
struct SampleRun {
  std::uint32_t from;  ///< offset in the delivered bytes
  std::uint32_t bytes;
  bool isLogical;  ///< any byte but 0 becomes 1
};

/// The runs that make up a stored sample, in the order of the row: a short list to store structures by. None if a
/// column is delivered in several pieces, has texts, or complex values of several words.
[[nodiscard]] std::vector<SampleRun> sampleRuns(const LayoutPosition& position);

/// Stores a sample that has runs.
void storeRuns(const std::vector<SampleRun>& runs, const std::byte* delivered, std::byte* row);

/// Stores any sample. Logicals become 0 or 1, the two parts of complex values are interleaved, texts are copied.
/// @param texts Used for positions with texts only.
/// @param scratch Used again, so that a text needs no allocation.
void storeSample(const LayoutPosition& position, const std::byte* delivered, std::byte* row, TextStore* texts,
                 std::string& scratch);

/// Copies the texts that the cells of a row refer to, so that they refer to the copies.
void moveTexts(const LayoutPosition& position, std::byte* row, TextStore& texts);

}  // namespace vtio::recorders
