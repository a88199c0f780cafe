#include "platform/qat/read/one_leaf_table.hpp"

#include <algorithm>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

OneLeafTable::OneLeafTable(const std::string& path, const StoredColumn& column)
    : OpenTable(path), kind_(*elementClassOf(column.elementClass)), columns_{column} {
  columns_.front().first = 0;
  columns_.front().begin = 0;
  values_.columns = column.width;
  values_.blockColumns = std::max<std::uint64_t>(column.width, 1);
}

void OneLeafTable::setRows(std::uint64_t rows, std::uint64_t blockRows) {
  columns_.front().count = rows;
  values_.rows = rows;
  values_.blockRows = std::max<std::uint64_t>(blockRows, 1);
}

const OpenTable::Values& OneLeafTable::values(ElementKind kind) {
  if (!(kind == kind_)) throw Failure(kAbsent, "there are no samples of that class");
  return values_;
}

void OneLeafTable::requireRows(std::uint64_t first, std::uint64_t count) const {
  const std::uint64_t all = columns_.front().count;
  if (first <= all && count <= all - first) return;
  throw Failure(kDamaged, "rows " + std::to_string(first) + " to " + std::to_string(first + count) + " of " +
                              std::to_string(all));
}

void OneLeafTable::requireColumns(ElementKind kind, std::uint64_t first, std::uint64_t width) const {
  const std::uint64_t all = columns_.front().width;
  if (kind == kind_ && first <= all && width <= all - first) return;
  throw Failure(kDamaged, "columns that the signal does not have");
}

}  // namespace vtu::qat
