#include "recorders/dataset/column_array.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/qalc_pieces.hpp"
#include "recorders/dataset/dataset_element.hpp"
#include "recorders/table/row_chunk.hpp"

namespace vtio::recorders {
namespace {

std::vector<std::size_t> dimensionsOf(const SampleStream& stream, const LeafColumn& column) {
  std::vector<std::size_t> dimensions{static_cast<std::size_t>(stream.count() - stream.first())};
  const auto append = [&dimensions](const std::vector<long long>& more) {
    for (const long long dimension : more) dimensions.push_back(static_cast<std::size_t>(dimension));
  };
  append(column.busDimensions);
  const std::vector<long long>& own = column.leaf->dataDimensions();
  const bool isScalar = own.size() <= 2 && std::all_of(own.begin(), own.end(), [](long long d) { return d == 1; });
  // A text leaf delivers one text whatever its dimensions are.
  if (!isScalar && column.type.text == StoredType::Text::none) append(own);
  if (column.type.words > 1) dimensions.push_back(column.type.words);
  return dimensions;
}

// Any byte but 0 counts as true: only 0 and 1 are booleans.
void normalizeLogicals(unsigned char* values, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) values[i] = values[i] != 0 ? 1 : 0;
}

// Complex values of several words arrive as all words of the real part, then all of the imaginary part; the array has
// the parts of each word side by side.
void interleaveWords(std::uint64_t* values, std::size_t count, std::size_t words) {
  std::vector<std::uint64_t> one(2 * words);
  for (std::size_t i = 0; i < count; ++i, values += 2 * words) {
    std::copy_n(values, 2 * words, one.begin());
    for (std::size_t w = 0; w < words; ++w) {
      values[2 * w] = one[w];
      values[2 * w + 1] = one[words + w];
    }
  }
}

using ChunkShares = std::vector<Ref<RowChunk>>;

void releaseShares(void* shares) { delete static_cast<ChunkShares*>(shares); }

// Values that the array takes as they were recorded need no copy: the array holds shares of the chunks. What is recorded
// later goes behind the rows that are in use, or into copies.
bool canShare(const StoredType& type, std::size_t bytes) {
  constexpr std::size_t kWorthwhile = 2048;
  return bytes >= kWorthwhile && type.id != qxLOGICAL && (!type.isComplex || type.words == 1);
}

vtu::qxArrayWrapper sharedColumn(const SampleStream& stream, std::size_t index, const LeafColumn& column,
                                 const std::vector<std::size_t>& dimensions) {
  auto shares = std::make_unique<ChunkShares>();
  std::vector<qxPiece> pieces;
  const std::size_t rowBytes = column.bytesPerRow();
  stream.visit(index, [&](const std::byte* rows, std::size_t count, RowChunk& chunk) {
    pieces.push_back({rows, count * rowBytes});
    shares->emplace_back(&chunk);
  });
  vtu::qxArrayWrapper array(qxCreateNumericArrayOfPieces(dimensions.size(), dimensions.data(), column.type.id,
                                                         column.type.isComplex, pieces.data(), pieces.size(),
                                                         shares.get(), releaseShares));
  static_cast<void>(shares.release());
  return array;
}

vtu::qxArrayWrapper numericColumn(const SampleStream& stream, std::size_t index, const LeafColumn& column) {
  const std::vector<std::size_t> dimensions = dimensionsOf(stream, column);
  const StoredType& type = column.type;
  if (canShare(type, dimensions.front() * column.bytesPerRow())) return sharedColumn(stream, index, column, dimensions);
  vtu::qxArrayWrapper array(
      qxCreateNumericArrayRowMajor(dimensions.size(), dimensions.data(), type.id, type.isComplex));
  const std::size_t elements = qxGetNumberOfElements(array.get());
  if (elements == 0) return array;
  auto* const values = static_cast<std::byte*>(qxGetRowMajorData(array.get()));
  const std::size_t rowBytes = column.bytesPerRow();
  std::byte* out = values;
  stream.visit(index, [&out, rowBytes](const std::byte* rows, std::size_t count, RowChunk&) {
    std::memcpy(out, rows, count * rowBytes);
    out += count * rowBytes;
  });
  if (type.id == qxLOGICAL) normalizeLogicals(reinterpret_cast<unsigned char*>(values), elements);
  if (type.isComplex && type.words > 1) {
    interleaveWords(reinterpret_cast<std::uint64_t*>(values), elements / type.words, type.words);
  }
  return array;
}

// Cells are column-major: the sample is the fastest index, and the elements of one sample are put in their places.
vtu::qxArrayWrapper textColumn(const SampleStream& stream, std::size_t index, const LeafColumn& column) {
  const std::vector<std::size_t> dimensions = dimensionsOf(stream, column);
  vtu::qxArrayWrapper cells(qxCreateCellArray(dimensions.size(), dimensions.data()));
  const std::size_t texts = column.offsets.size();
  std::vector<std::size_t> strides(dimensions.size(), 1);
  for (std::size_t d = 1; d < dimensions.size(); ++d) strides[d] = strides[d - 1] * dimensions[d - 1];
  std::vector<std::size_t> place(texts);  // of each element of sample 0
  for (std::size_t e = 0; e < texts; ++e) {
    std::size_t rest = e;
    for (std::size_t d = dimensions.size(); d-- > 1; rest /= dimensions[d])
      place[e] += rest % dimensions[d] * strides[d];
  }
  std::size_t sample = 0;
  stream.visit(index, [&](const std::byte* rows, std::size_t count, RowChunk& chunk) {
    for (std::size_t i = 0; i < count * texts; ++i) {
      TextCell cell;
      std::memcpy(&cell, rows + i * sizeof cell, sizeof cell);
      const std::u16string text = chunk.text().read(cell.position, cell.length);
      qxSetCell(cells.get(), place[i % texts] + sample + i / texts, charArray(text).release());
    }
    sample += count;
  });
  return cells;
}

}  // namespace

vtu::qxArrayWrapper columnArray(const SampleStream& stream, std::size_t column) {
  const LeafColumn& description = stream.position().columns[column];
  return description.type.text == StoredType::Text::none ? numericColumn(stream, column, description)
                                                         : textColumn(stream, column, description);
}

}  // namespace vtio::recorders
