/// @file
/// How a delivered sample is stored in a row: every column's values side by side, last index fastest, as readers get
/// them.
#pragma once

#include <cstddef>
#include <string>

#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/tile.hpp"

namespace vtio::recorders {

/// Bytes of a row that a position takes: its columns one after another.
[[nodiscard]] std::size_t storedBytes(const LayoutPosition& position);

[[nodiscard]] bool hasTexts(const LayoutPosition& position);

/// Is the stored sample the beginning of the delivered bytes as it stands?
[[nodiscard]] bool isStoredAsDelivered(const LayoutPosition& position);

/// Stores a sample. Logicals become 0 or 1, the two parts of complex values stand side by side, texts are copied.
/// @param texts Used for positions with texts only.
/// @param scratch Spares an allocation for each text.
void storeSample(const LayoutPosition& position, const std::byte* delivered, std::byte* row, TextStore* texts,
                 std::string& scratch);

/// Copies the texts that the cells of a row refer to, so that they refer to the copies.
void moveTexts(const LayoutPosition& position, std::byte* row, TextStore& texts);

}  // namespace vtio::recorders
