#include "recorders/table/stored_row.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/text_bytes.hpp"
#include "recorders/table/cursor.hpp"

namespace vtio::recorders {
namespace {

bool isText(const LeafColumn& column) { return column.type.text != StoredType::Text::none; }

bool areWordsApart(const StoredType& type) { return type.isComplex && type.words > 1; }

std::u16string_view deliveredText(const LeafColumn& column, const std::byte* data) {
  if (column.type.text == StoredType::Text::address) {
    const std::u16string* text = nullptr;
    std::memcpy(&text, data, sizeof(void*));
    return text != nullptr ? std::u16string_view(*text) : std::u16string_view();
  }
  // In place: up to the terminator or the end of the leaf's bytes. Structures align 16-bit characters.
  const auto* units = reinterpret_cast<const char16_t*>(data);
  const std::size_t most = column.deliveredBytes / sizeof(char16_t);
  std::size_t length = 0;
  while (length < most && units[length] != u'\0') ++length;
  return {units, length};
}

template <std::size_t kBytes>
void gatherPiecesOf(const std::vector<std::size_t>& offsets, const std::byte* data, std::byte* out) {
  for (const std::size_t offset : offsets) {
    std::memcpy(out, data + offset, kBytes);
    out += kBytes;
  }
}

// Copies pieces of the usual sizes without a function call each.
void gatherPieces(const LeafColumn& column, const std::byte* data, std::byte* out) {
  switch (column.deliveredBytes) {
    case 1:
      return gatherPiecesOf<1>(column.offsets, data, out);
    case 2:
      return gatherPiecesOf<2>(column.offsets, data, out);
    case 4:
      return gatherPiecesOf<4>(column.offsets, data, out);
    case 8:
      return gatherPiecesOf<8>(column.offsets, data, out);
    case 16:
      return gatherPiecesOf<16>(column.offsets, data, out);
    default:
      for (const std::size_t offset : column.offsets) {
        std::memcpy(out, data + offset, column.deliveredBytes);
        out += column.deliveredBytes;
      }
  }
}

// Complex values of several words arrive as all words of the real part, then all of the imaginary part.
void gatherWords(const LeafColumn& column, const std::byte* data, std::byte* out) {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  const std::size_t words = column.type.words;
  for (const std::size_t offset : column.offsets) {
    for (std::size_t at = 0; at < column.deliveredBytes; at += 2 * words * kWord) {
      const std::byte* value = data + offset + at;
      for (std::size_t w = 0; w < words; ++w, out += 2 * kWord) {
        std::memcpy(out, value + w * kWord, kWord);
        std::memcpy(out + kWord, value + (words + w) * kWord, kWord);
      }
    }
  }
}

// Any byte but 0 counts as true.
void makeLogical(std::byte* values, std::size_t count) {
  std::transform(values, values + count, values, [](std::byte b) { return std::byte{b != std::byte{0}}; });
}

}  // namespace

std::size_t storedBytes(const LayoutPosition& position) {
  std::size_t bytes = 0;
  for (const LeafColumn& column : position.columns) bytes += column.bytesPerRow();
  return bytes;
}

bool hasTexts(const LayoutPosition& position) {
  return std::any_of(position.columns.begin(), position.columns.end(), isText);
}

bool isStoredAsDelivered(const LayoutPosition& position) {
  if (position.columns.size() != 1) return false;
  const LeafColumn& column = position.columns.front();
  return !isText(column) && column.type.id != qxLOGICAL && !areWordsApart(column.type) && column.offsets.size() == 1 &&
         column.offsets.front() == 0;
}

std::vector<SampleRun> sampleRuns(const LayoutPosition& position) {
  std::vector<SampleRun> runs;
  for (const LeafColumn& column : position.columns) {
    if (isText(column) || areWordsApart(column.type) || column.offsets.size() != 1) return {};
    const auto from = static_cast<std::uint32_t>(column.offsets.front());
    const auto bytes = static_cast<std::uint32_t>(column.deliveredBytes);
    const bool isLogical = column.type.id == qxLOGICAL;
    if (!runs.empty() && runs.back().isLogical == isLogical && runs.back().from + runs.back().bytes == from) {
      runs.back().bytes += bytes;
    } else {
      runs.push_back({from, bytes, isLogical});
    }
  }
  return runs;
}

void storeRuns(const std::vector<SampleRun>& runs, const std::byte* delivered, std::byte* row) {
  for (const SampleRun& run : runs) {
    copyValue(row, delivered + run.from, run.bytes);
    if (run.isLogical) makeLogical(row, run.bytes);
    row += run.bytes;
  }
}

void storeSample(const LayoutPosition& position, const std::byte* delivered, std::byte* row, TextStore* texts,
                 std::string& scratch) {
  for (const LeafColumn& column : position.columns) {
    const std::size_t bytes = column.bytesPerRow();
    if (isText(column)) {
      std::byte* cell = row;
      for (const std::size_t offset : column.offsets) {
        scratch.clear();
        vtu::appendTextBytes(deliveredText(column, delivered + offset), scratch);
        texts->append(scratch).toRow(cell);
        cell += vtu::TextCell::kBytesInRow;
      }
    } else if (areWordsApart(column.type)) {
      gatherWords(column, delivered, row);
    } else {
      gatherPieces(column, delivered, row);
      if (column.type.id == qxLOGICAL) makeLogical(row, bytes);
    }
    row += bytes;
  }
}

void moveTexts(const LayoutPosition& position, std::byte* row, TextStore& texts) {
  for (const LeafColumn& column : position.columns) {
    const std::size_t bytes = column.bytesPerRow();
    for (std::size_t at = 0; isText(column) && at < bytes; at += vtu::TextCell::kBytesInRow) {
      texts.append(TextStore::read(vtu::TextCell::fromRow(row + at))).toRow(row + at);
    }
    row += bytes;
  }
}

}  // namespace vtio::recorders
