#include "platform/qat/read/sample_loader.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "platform/qat/failure.hpp"
#include "platform/qat/row_major_order.hpp"
#include "platform/text_bytes.hpp"

namespace vtu::qat {
namespace {

/// An array of samples without values.
qalc::ArrayPtr emptyArray(std::uint64_t rows, const std::vector<std::size_t>& sampleDims, ElementKind kind) {
  std::vector<std::size_t> dims{rows};
  dims.insert(dims.end(), sampleDims.begin(), sampleDims.end());
  qalc::ArrayPtr array(new qxArray(dims.size(), dims.data(), kind.id, kind.complex));
  array->storage = std::make_shared<qalc::Storage>();
  if (kind.id != qxCELL) {
    array->madeRowMajor = true;
    array->storage->rowMajor = !array->dims.isLine();
  }
  return array;
}

void makeRoom(const qxArray& array) {
  qalc::Buffer values(array.dims.elements() * elementBytes({array.id, array.complex}));
  array.storage->values.swap(values);
}

bool isUsed(const qalc::ArrayPtr& array) { return array->storage.use_count() > 1; }

/// A rectangle of a dataset in memory.
struct Rectangle {
  std::uint64_t firstRow = 0, endRow = 0;
  std::uint64_t firstColumn = 0, endColumn = 0;
  std::size_t element = 0;  // bytes
  std::vector<std::byte> bytes;

  [[nodiscard]] std::uint64_t width() const { return endColumn - firstColumn; }
};

/// Copies the part of a leaf that is in a block into its array.
void scatter(const Rectangle& block, const StoredColumn& leaf, std::byte* values) {
  const std::uint64_t from = std::max<std::uint64_t>(leaf.first, block.firstColumn);
  const std::uint64_t to = std::min(std::uint64_t{leaf.first} + leaf.width, block.endColumn);
  const std::uint64_t begin = std::max(leaf.begin, block.firstRow);
  const std::uint64_t end = std::min(leaf.begin + leaf.count, block.endRow);
  if (from >= to || begin >= end) return;
  const std::size_t bytes = (to - from) * block.element;
  const std::size_t sourceStep = block.width() * block.element;
  const std::size_t targetStep = leaf.width * block.element;
  const std::byte* source =
      block.bytes.data() + (begin - block.firstRow) * sourceStep + (from - block.firstColumn) * block.element;
  std::byte* target = values + (begin - leaf.begin) * targetStep + (from - leaf.first) * block.element;
  for (std::uint64_t row = begin; row < end; ++row, source += sourceStep, target += targetStep) {
    std::memcpy(target, source, bytes);
  }
}

}  // namespace

qalc::ArrayPtr SampleLoader::array(const Reference& stored) {
  if (stored.part > kTimesPart) throw Failure(kDamaged, "part " + std::to_string(stored.part) + " of a record");
  const Reference reference = tables_.resolve(stored);
  const qalc::ArrayPtr& known = reference.part == kTimesPart ? timesArray(reference) : valuesArray(reference);
  return qalc::ArrayPtr(qxShareArray(known.get()));
}

qalc::ArrayPtr SampleLoader::lazyArray(const Reference& stored) {
  if (stored.part > kTimesPart) throw Failure(kDamaged, "part " + std::to_string(stored.part) + " of a record");
  const Reference reference = tables_.resolve(stored);
  hasStrays_ = hasStrays_ || reference.table >= OpenTables::kFirstMerged;
  std::shared_ptr<const TableRows>& rows = rows_[reference.table];
  if (!rows) {
    StoredTable place;
    if (reference.table < OpenTables::kFirstMerged) place = {path_, reference.table, {}};
    rows = std::make_shared<const TableRows>(tables_.table(reference.table), std::move(place));
  }
  const SampleColumn leaf = rows->leaf(reference.column);
  qxArrayWrapper array =
      reference.part == kTimesPart ? sampledTimes(rows, leaf.first, leaf.count) : sampledArray(rows, leaf);
  return qalc::ArrayPtr(array.release());
}

void SampleLoader::load() {
  loadTimes();
  for (auto& [number, leaves] : values_) {
    std::vector<Wanted*> wanted;
    for (auto& [column, leaf] : leaves) {
      if (isUsed(leaf.array)) wanted.push_back(&leaf);
    }
    loadTable(tables_.table(number), wanted);
  }
}

qalc::ArrayPtr& SampleLoader::valuesArray(const Reference& reference) {
  Wanted& wanted = values_[reference.table][reference.column];
  if (!wanted.array) {
    const StoredColumn& column = tables_.table(reference.table).column(reference.column);
    const ElementKind kind = *elementClassOf(column.elementClass);
    budget_.take(column.count * column.width, elementBytes(kind));
    budget_.take(1, kArrayBytes);
    wanted.column = &column;
    wanted.kind = kind;
    wanted.array = emptyArray(column.count, column.dims, kind);
  }
  return wanted.array;
}

qalc::ArrayPtr& SampleLoader::timesArray(const Reference& reference) {
  const StoredColumn& column = tables_.table(reference.table).column(reference.column);
  qalc::ArrayPtr& times = times_[{reference.table, column.begin, column.count}];
  if (!times) {
    budget_.take(column.count, sizeof(double));
    times = emptyArray(column.count, {}, {qxDOUBLE, false});
  }
  return times;
}

void SampleLoader::loadTimes() {
  for (auto& [rows, array] : times_) {
    const auto& [table, first, count] = rows;
    if (!isUsed(array)) continue;
    makeRoom(*array);
    tables_.table(table).readTimes(first, count, reinterpret_cast<double*>(array->storage->values.data()));
  }
}

void SampleLoader::loadTable(OpenTable& table, std::vector<Wanted*>& wanted) {
  std::map<std::string, std::vector<Wanted*>> byClass;
  for (Wanted* leaf : wanted) byClass[leaf->column->elementClass].push_back(leaf);
  for (const auto& [name, leaves] : byClass) {
    if (leaves.front()->kind.id != qxCELL) {
      loadNumbers(table, leaves.front()->kind, leaves);
    } else {
      for (const Wanted* leaf : leaves) loadTexts(table, *leaf);
    }
  }
}

void SampleLoader::loadNumbers(OpenTable& table, ElementKind kind, const std::vector<Wanted*>& leaves) {
  const OpenTable::Values& values = table.values(kind);
  for (const Wanted* leaf : leaves) {
    const StoredColumn& column = *leaf->column;
    if (column.count > 0 &&
        (column.begin + column.count > values.rows || column.first + std::uint64_t{column.width} > values.columns)) {
      throw Failure(kDamaged, "\"" + column.name + "\" is not in the dataset " + column.elementClass);
    }
    makeRoom(*leaf->array);
  }
  for (std::uint64_t first = 0; first < values.columns; first += values.blockColumns) {
    const std::uint64_t end = std::min(values.columns, first + values.blockColumns);
    std::vector<const Wanted*> here;
    std::copy_if(leaves.begin(), leaves.end(), std::back_inserter(here), [&](const Wanted* leaf) {
      return leaf->column->first < end && leaf->column->first + std::uint64_t{leaf->column->width} > first;
    });
    if (!here.empty()) loadBlocks(table, values, first, end, here);
  }
}

/// Loads leaves from columns [firstColumn, endColumn) of a dataset.
void SampleLoader::loadBlocks(OpenTable& table, const OpenTable::Values& values, std::uint64_t firstColumn,
                              std::uint64_t endColumn, const std::vector<const Wanted*>& leaves) {
  std::uint64_t begin = values.rows, end = 0;
  for (const Wanted* leaf : leaves) {
    begin = std::min(begin, leaf->column->begin);
    end = std::max(end, leaf->column->begin + leaf->column->count);
  }
  const ElementKind kind = leaves.front()->kind;
  Rectangle block{0, 0, firstColumn, endColumn, elementBytes(kind), {}};
  for (std::uint64_t row = begin / values.blockRows * values.blockRows; row < end; row = block.endRow) {
    block.firstRow = row;
    block.endRow = std::min(end, row + values.blockRows);
    block.bytes.resize((block.endRow - row) * block.width() * block.element);
    table.readBlock(kind, firstColumn, block.width(), row, block.endRow - row, block.bytes.data());
    for (const Wanted* leaf : leaves) scatter(block, *leaf->column, leaf->array->storage->values.data());
  }
}

void SampleLoader::loadTexts(OpenTable& table, const Wanted& leaf) {
  auto& cells = leaf.array->storage->ownCells;
  cells.resize(leaf.array->dims.elements());
  budget_.take(cells.size(), kArrayBytes);
  RowMajorOrder order(leaf.array->dims);
  table.forEachText(*leaf.column, leaf.column->begin, leaf.column->count, [&](std::string_view bytes) {
    budget_.take(bytes.size(), sizeof(char16_t));
    const std::u16string text = textFromBytes(bytes);
    cells[order.next()].reset(qxCreateUString(text.data(), text.size()));
  });
}

}  // namespace vtu::qat
