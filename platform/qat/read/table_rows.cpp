#include "platform/qat/read/table_rows.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/text.hpp"

namespace vtu::qat {

TableRows::TableRows(OpenTable& table, StoredTable stored) : table_(table), stored_(std::move(stored)) {
  std::size_t end = 0;
  std::uint32_t record = 0;
  for (const StoredColumn& column : table.columns()) {
    offsets_.push_back(end);
    const std::size_t bytes = column.width * elementBytes(*elementClassOf(column.elementClass));
    if (bytes > 0) stored_.records.emplace(end, record);
    end += bytes;
    ++record;
  }
  offsets_.push_back(end);
}

SampleColumn TableRows::leaf(std::uint32_t record) const {
  const StoredColumn& column = table_.column(record);
  const ElementKind kind = *elementClassOf(column.elementClass);
  SampleColumn leaf{to_ustring(column.name), to_ustring(column.unit), column.dims, kind.id, kind.complex, 0, 0, 0};
  leaf.offset = offsets_[record];
  leaf.first = column.begin;
  leaf.count = column.count;
  return leaf;
}

void TableRows::readTimes(std::uint64_t first, std::uint64_t count, double* out) const {
  table_.readTimes(first, count, out);
}

void TableRows::readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes,
                         std::byte* out, std::size_t stride) const {
  std::vector<std::byte> values;
  auto record =
      static_cast<std::uint32_t>(std::upper_bound(offsets_.begin(), offsets_.end(), offset) - offsets_.begin() - 1);
  for (std::size_t at = offset; at < offset + bytes; ++record) {
    const StoredColumn& column = table_.column(record);
    const ElementKind kind = *elementClassOf(column.elementClass);
    const std::size_t element = elementBytes(kind);
    const std::size_t end = std::min(offset + bytes, offsets_[record + 1]), part = end - at;
    if (part == 0) continue;
    values.resize(part * count);
    table_.readBlock(kind, column.first + (at - offsets_[record]) / element, part / element, first, count,
                     values.data());
    for (std::uint64_t row = 0; row < count; ++row) {
      std::memcpy(out + row * stride + (at - offset), values.data() + row * part, part);
    }
    at = end;
  }
}

}  // namespace vtu::qat
