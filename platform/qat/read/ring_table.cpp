#include "platform/qat/read/ring_table.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

RingTable::RingTable(const Rings& rings, const Rings::Leaf& leaf, const StoredColumn& column)
    : OpenTable(std::string(kRingsGroup) + "/" + leaf.ring), kind_(*elementClassOf(column.elementClass)) {
  if (leaf.in.bytes != std::uint64_t{column.width} * elementBytes(kind_)) {
    throw Failure(kDamaged, path() + ": samples of " + std::to_string(leaf.in.bytes) + " bytes of \"" + column.name +
                                "\" with " + std::to_string(column.width) + " elements");
  }
  samples_ = rings.read(leaf, kind_.id == qxCELL);
  StoredColumn one = column;
  one.first = 0;
  one.begin = 0;
  one.count = samples_.times.size();
  values_.rows = one.count;
  values_.columns = one.width;
  values_.blockColumns = std::max<std::uint64_t>(one.width, 1);
  values_.blockRows = std::max<std::uint64_t>(one.count, 1);
  columns_.push_back(std::move(one));
}

const OpenTable::Values& RingTable::values(ElementKind kind) {
  if (!(kind == kind_)) throw Failure(kAbsent, "there are no samples of that class");
  return values_;
}

void RingTable::requireRows(std::uint64_t first, std::uint64_t count) const {
  const std::uint64_t all = samples_.times.size();
  if (first <= all && count <= all - first) return;
  throw Failure(kDamaged, "rows " + std::to_string(first) + " to " + std::to_string(first + count) + " of " +
                              std::to_string(all));
}

void RingTable::readTimes(std::uint64_t first, std::uint64_t count, double* out) {
  requireRows(first, count);
  std::copy_n(samples_.times.begin() + static_cast<std::ptrdiff_t>(first), count, out);
}

void RingTable::readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                          std::uint64_t count, void* out) {
  requireRows(firstRow, count);
  const std::uint64_t all = columns_.front().width;
  if (!(kind == kind_) || firstColumn > all || width > all - firstColumn) {
    throw Failure(kDamaged, "columns that the signal does not have");
  }
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
