#include "platform/qat/read/ring_table.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

RingTable::RingTable(const Rings& rings, const Rings::Leaf& leaf, const StoredColumn& column)
    : OneLeafTable(std::string(kRingsGroup) + "/" + leaf.ring, column) {
  if (leaf.in.bytes != std::uint64_t{column.width} * elementBytes(kind())) {
    throw Failure(kDamaged, path() + ": samples of " + std::to_string(leaf.in.bytes) + " bytes of \"" + column.name +
                                "\" with " + std::to_string(column.width) + " elements");
  }
  samples_ = rings.read(leaf, kind().id == qxCELL);
  setRows(samples_.times.size(), samples_.times.size());
}

void RingTable::readTimes(std::uint64_t first, std::uint64_t count, double* out) {
  requireRows(first, count);
  std::copy_n(samples_.times.begin() + static_cast<std::ptrdiff_t>(first), count, out);
}

void RingTable::readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                          std::uint64_t count, void* out) {
  requireRows(firstRow, count);
  requireColumns(kind, firstColumn, width);
  const std::uint64_t all = columns().front().width;
  const std::size_t element = elementBytes(kind), part = width * element;
  auto* to = static_cast<std::byte*>(out);
  for (std::uint64_t row = 0; row < count && part > 0; ++row) {
    std::memcpy(to + row * part, samples_.bytes.data() + ((firstRow + row) * all + firstColumn) * element, part);
  }
  if (kind.id != qxLOGICAL) return;
  for (std::byte* at = to; at != to + count * part; ++at) *at = std::byte{*at != std::byte{0}};
}

std::string_view RingTable::text(TextCell cell) {
  if (cell.bytes == 0) return {};
  return {reinterpret_cast<const char*>(samples_.texts.data()) + cell.start, cell.bytes};
}

}  // namespace vtu::qat
