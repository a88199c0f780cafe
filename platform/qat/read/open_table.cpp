#include "platform/qat/read/open_table.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform/qat/failure.hpp"
#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/structures.hpp"
#include "platform/qat/sample_records.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kBlockBytes = 1U << 20U;

bool isTextCellType(hid_t type) {
  return H5Tget_class(type) == H5T_COMPOUND && H5Tget_nmembers(type) == 2 && H5Tget_member_index(type, "start") >= 0 &&
         H5Tget_member_index(type, "bytes") >= 0;
}

bool holds(hid_t dataset, ElementKind kind) {
  const Handle type = typeOf(dataset);
  return kind.id == qxCELL ? isTextCellType(type.get()) : elementKindOf(type.get()) == kind;
}

void requireRange(std::uint64_t first, std::uint64_t count, std::uint64_t limit, const char* what) {
  if (first > limit || count > limit - first) {
    throw Failure(kDamaged, std::string(what) + " " + std::to_string(first) + " to " + std::to_string(first + count) +
                                " of " + std::to_string(limit));
  }
}

void setBlocks(OpenTable::Values& values, std::size_t elementSize) {
  auto chunk = chunkOf(values.dataset.get());
  chunk.resize(2, 1);
  const auto [rows, columns] = std::pair(chunk[0], chunk[1]);
  const auto times = [&](std::uint64_t a, std::uint64_t b) {
    return std::max<std::uint64_t>(kBlockBytes / elementSize / std::max<std::uint64_t>(a * b, 1), 1);
  };
  values.blockColumns =
      std::min<std::uint64_t>(columns * times(rows, columns), std::max<std::uint64_t>(values.columns, 1));
  values.blockRows = rows * times(rows, values.blockColumns);
}

/// Stored bytes of a dataset per byte of its elements; 1 unless they are compressed.
double storedPart(hid_t dataset, double elements, double elementBytes) {
  if (elements == 0) return 1;
  return std::min(static_cast<double>(H5Dget_storage_size(dataset)) / (elements * elementBytes), 1.0);
}

}  // namespace

OpenTable::~OpenTable() = default;

OpenTable::Storage OpenTable::storage(ElementKind /*kind*/) { return {}; }

std::uint64_t OpenTable::storedBytes(std::uint32_t number) {
  const StoredColumn& leaf = column(number);
  const ElementKind kind = *elementClassOf(leaf.elementClass);
  const double elements = static_cast<double>(leaf.count) * static_cast<double>(leaf.width);
  if (elements == 0) return 0;
  const Storage stored = storage(kind);
  double bytes = elements * static_cast<double>(elementBytes(kind)) * stored.part;
  if (kind.id == qxCELL) {
    bytes += stored.textPart * (stored.bytesPerText ? elements * *stored.bytesPerText : textBytes(leaf));
  }
  return static_cast<std::uint64_t>(std::llround(bytes));
}

/// The bytes of a leaf's texts. A text that repeats the one of the row before is stored once.
double OpenTable::textBytes(const StoredColumn& leaf) {
  std::vector<TextCell> last(leaf.width);
  std::uint64_t number = 0;
  double sum = 0;
  forEachCell(leaf, leaf.begin, leaf.count, [&](TextCell cell) {
    TextCell& before = last[number++ % leaf.width];
    if (cell.start != before.start || cell.bytes != before.bytes) sum += cell.bytes;
    before = cell;
  });
  return sum;
}

const StoredColumn& OpenTable::column(std::uint32_t number) {
  const auto& all = columns();
  atPlace(path_, [&] { atPlace(kColumnsMember, [&] { requireRange(number, 1, all.size(), "columns"); }); });
  return all[number];
}

/// Opens a dataset; what HDF5 remembers of a file that has grown is read again.
Handle FileTable::open(const std::string& name) const {
  Handle dataset = openDataset(source_, group_.get(), name);
  if (refreshed_) checked(H5Drefresh(dataset.get()), kDamaged, "a dataset cannot be read again");
  requireChunks(dataset.get(), MemoryBudget(source_.bytes.size()));
  return dataset;
}

void FileTable::openTimes() {
  if (times_) return;
  onMember(kTimeMember, [this] {
    times_ = open(kTimeMember);
    rows_ = extentsOfRank(times_.get(), 1).front();
  });
}

std::uint64_t FileTable::rows() {
  openTimes();
  return rows_;
}

bool FileTable::isComplete() {
  return atPlace(path(), [this] { return !hasMember(group_.get(), kRowsMember); });
}

const std::vector<StoredColumn>& FileTable::columns() {
  if (!columns_) {
    auto columns = onMember(kColumnsMember, [this] { return readRecords(); });
    takeValidRows(columns);
    for (const StoredColumn& column : columns) {
      onMember(kColumnsMember, [&] { requireRange(column.begin, column.count, rows(), "rows"); });
    }
    columns_ = std::move(columns);
  }
  return *columns_;
}

std::vector<StoredColumn> FileTable::readRecords() {
  const Handle dataset = open(kColumnsMember);
  const std::size_t count = extentsOfRank(dataset.get(), 1).front();
  const RecordLayout layout(typeOf(dataset.get()).get());
  MemoryBudget(source_.bytes.size()).take(count, layout.size() + sizeof(StoredColumn));
  std::vector<char> block(count * layout.size());
  readRectangle<1>(dataset.get(), layout.type(), {0}, {count}, block.data());
  std::vector<StoredColumn> columns;
  columns.reserve(count);
  for (std::size_t i = 0; i < count; ++i) columns.push_back(layout.get(block.data() + i * layout.size()));
  return columns;
}

/// While a file is written, the number of valid rows is in a dataset of its own.
void FileTable::takeValidRows(std::vector<StoredColumn>& columns) {
  if (!hasMember(group_.get(), kRowsMember)) return;
  onMember(kRowsMember, [&] {
    const Handle rows = open(kRowsMember);
    std::vector<std::uint64_t> counts(columns.size());
    if (extentsOfRank(rows.get(), 1).front() != counts.size()) throw Failure(kDamaged, "not one number per column");
    readRectangle<1>(rows.get(), H5T_NATIVE_UINT64, {0}, {counts.size()}, counts.data());
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i].count = counts[i];
  });
}

const OpenTable::Values& FileTable::values(ElementKind kind) {
  const std::string name = elementClassName(kind);
  const auto known = values_.find(name);
  if (known != values_.end()) return known->second;
  return onMember(name, [&]() -> const Values& {
    Values values;
    if (!hasMember(group_.get(), name)) throw Failure(kAbsent, "there are no samples of that class");
    values.dataset = open(name);
    const auto extents = extentsOfRank(values.dataset.get(), 2);
    if (!holds(values.dataset.get(), kind)) throw Failure(kDamaged, "a dataset of another type");
    values.rows = extents[0];
    values.columns = extents[1];
    setBlocks(values, elementBytes(kind));
    return values_.emplace(name, std::move(values)).first->second;
  });
}

void FileTable::readTimes(std::uint64_t first, std::uint64_t count, double* out) {
  onMember(kTimeMember, [&] {
    requireRange(first, count, rows(), "rows");
    readRectangle<1>(times_.get(), H5T_NATIVE_DOUBLE, {first}, {count}, out);
  });
}

void FileTable::readBlock(ElementKind kind, std::uint64_t firstColumn, std::uint64_t width, std::uint64_t firstRow,
                          std::uint64_t count, void* out) {
  if (width == 0 || count == 0) return;
  const Values& from = values(kind);
  onMember(elementClassName(kind), [&] {
    requireRange(firstRow, count, from.rows, "rows");
    requireRange(firstColumn, width, from.columns, "columns");
    readRectangle<2>(from.dataset.get(), source_.kit.elementType(kind), {firstRow, firstColumn}, {count, width}, out);
  });
  if (kind.id != qxLOGICAL) return;
  auto* flags = static_cast<unsigned char*>(out);
  std::transform(flags, flags + width * count, flags, [](unsigned char c) -> unsigned char { return c != 0; });
}

std::string_view FileTable::text(TextCell cell) {
  if (cell.bytes == 0) return {};
  return onMember(kTextBytesMember, [&] {
    openTexts();
    requireRange(cell.start, cell.bytes, texts_->size, "bytes");
    const std::uint64_t end = texts_->first + texts_->bytes.size();
    if (cell.start < texts_->first || cell.start + cell.bytes > end) moveWindow(cell.start, cell.bytes);
    return std::string_view(texts_->bytes).substr(cell.start - texts_->first, cell.bytes);
  });
}

FileTable::Window& FileTable::openTexts() {
  if (!texts_) {
    texts_ = Window();  // Clang 14 cannot emplace() it within its class
    texts_->dataset = open(kTextBytesMember);
    texts_->size = extentsOfRank(texts_->dataset.get(), 1).front();
  }
  return *texts_;
}

OpenTable::Storage FileTable::storage(ElementKind kind) {
  constexpr double kMostTextsRead = 1U << 20U;
  const std::string name = elementClassName(kind);
  const auto known = storage_.find(name);
  if (known != storage_.end()) return known->second;
  const Values& from = values(kind);
  const double elements = static_cast<double>(from.rows) * static_cast<double>(from.columns);
  Storage stored;
  stored.part = storedPart(from.dataset.get(), elements, static_cast<double>(elementBytes(kind)));
  if (kind.id == qxCELL && hasMember(group_.get(), kTextBytesMember)) {
    const Window& texts = onMember(kTextBytesMember, [this]() -> const Window& { return openTexts(); });
    stored.textPart = storedPart(texts.dataset.get(), static_cast<double>(texts.size), 1);
    if (elements > kMostTextsRead) stored.bytesPerText = static_cast<double>(texts.size) / elements;
  }
  return storage_.emplace(name, stored).first->second;
}

void FileTable::moveWindow(std::uint64_t first, std::uint64_t count) {
  constexpr std::uint64_t kWindow = 64U << 10U;
  const std::uint64_t bytes = std::min(std::max(count, kWindow), texts_->size - first);
  MemoryBudget(source_.bytes.size()).require(bytes, 1);
  texts_->bytes.resize(bytes);
  texts_->first = first;
  readRectangle<1>(texts_->dataset.get(), H5T_NATIVE_UINT8, {first}, {bytes}, texts_->bytes.data());
}

void FileTable::refresh() {
  refreshed_ = true;
  times_.reset();
  columns_.reset();
  values_.clear();
  storage_.clear();
  texts_.reset();
}

}  // namespace vtu::qat
