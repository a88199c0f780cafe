#include "platform/qat/read/merged_table.hpp"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kMergedBytes = 1U << 20U;
constexpr std::uint64_t kTextOfStray = std::uint64_t{1} << 63U;  // in the start of a cell

}  // namespace

MergedTable::MergedTable(Strays& strays, const Strays::Leaf& leaf, OpenTable* table, const StoredColumn& column)
    : OneLeafTable(kStraysGroup, column), strays_(strays), leaf_(leaf), table_(table), inTable_(column) {
  const std::uint64_t rowBytes = std::max<std::uint64_t>(column.width, 1) * elementBytes(kind());
  setRows(column.count + leaf.strays.size(), kMergedBytes / rowBytes);
}

std::uint64_t MergedTable::rowsInTable(std::uint64_t first, std::uint64_t count) const {
  return first < inTable_.count ? std::min(count, inTable_.count - first) : 0;
}

void MergedTable::readTimes(std::uint64_t first, std::uint64_t count, double* out) {
  requireRows(first, count);
  const std::uint64_t rows = rowsInTable(first, count);
  if (rows > 0) table_->readTimes(inTable_.begin + first, rows, out);
  if (rows < count) strays_.readTimes(leaf_, first + rows - inTable_.count, count - rows, out + rows);
}

void MergedTable::readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                            std::uint64_t count, void* out) {
  requireRows(firstRow, count);
  requireColumns(kind, firstColumn, width);
  if (width == 0 || count == 0) return;
  auto* to = static_cast<std::byte*>(out);
  const std::uint64_t rows = rowsInTable(firstRow, count);
  if (rows > 0) {
    table_->readBlock(kind, inTable_.first + firstColumn, width, inTable_.begin + firstRow, rows, to);
  }
  if (rows == count) return;
  readStrays(kind, firstColumn, width, firstRow + rows - inTable_.count, count - rows,
             to + rows * width * elementBytes(kind));
}

void MergedTable::readStrays(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t first,
                             std::uint64_t count, std::byte* out) {
  const std::size_t element = elementBytes(kind), size = inTable_.width * element, part = width * element;
  std::vector<std::byte> whole(size * std::min<std::uint64_t>(count, std::max<std::uint64_t>(kMergedBytes / size, 1)));
  for (std::uint64_t done = 0; done < count;) {
    const std::uint64_t here = std::min<std::uint64_t>(count - done, whole.size() / size);
    strays_.readValues(leaf_, size, first + done, here, whole.data());
    for (std::uint64_t row = 0; row < here; ++row) {
      std::memcpy(out + (done + row) * part, whole.data() + row * size + firstColumn * element, part);
    }
    done += here;
  }
  for (std::byte* at = out; at != out + count * part; at += element) {
    if (kind.id == qxLOGICAL) *at = std::byte{*at != std::byte{0}};
    if (kind.id != qxCELL) continue;
    TextCell cell = TextCell::fromRow(at);
    cell.start |= kTextOfStray;
    cell.toRow(at);
  }
}

std::string_view MergedTable::text(TextCell cell) {
  if (cell.bytes == 0) return {};
  if ((cell.start & kTextOfStray) == 0) {
    if (table_ == nullptr) throw Failure(kDamaged, "a text that is nowhere");
    return table_->text(cell);
  }
  cell.start &= ~kTextOfStray;
  return strays_.text(cell);
}

}  // namespace vtu::qat
