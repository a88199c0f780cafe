#include "platform/sample_table.hpp"

#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "platform/qalc_internal.hpp"
#include "platform/text_bytes.hpp"

namespace vtu {
namespace {

using qalc::ArrayPtr;
using qalc::Samples;
using qalc::Storage;

const SampleTable& checked(const char* function, const std::shared_ptr<const SampleTable>& table, std::uint64_t first,
                           std::uint64_t count) {
  if (!table) throw std::invalid_argument(std::string(function) + ": the table is null");
  const std::uint64_t rows = table->rows();
  if (first > rows || count > rows - first) {
    throw std::out_of_range(std::string(function) + ": rows " + std::to_string(first) + " to " +
                            std::to_string(first + count) + " of a table of " + std::to_string(rows) + " rows");
  }
  return *table;
}

std::size_t elementBytes(const SampleColumn& column) {
  if (column.id == qxCELL) return TextCell::kBytesInRow;
  return qalc::elementSize(column.id) * (column.isComplex ? 2 : 1);
}

std::vector<std::size_t> arrayDimensions(const SampleColumn& column) {
  std::vector<std::size_t> dims{static_cast<std::size_t>(column.count)};
  dims.insert(dims.end(), column.dims.begin(), column.dims.end());
  return dims;
}

void checkClass(const char* function, const SampleColumn& column) {
  const bool isText = column.id == qxCELL;
  const bool isReal = isText || column.id == qxLOGICAL;
  if (column.id == qxCHAR || (!isText && qalc::elementSize(column.id) == 0) || (isReal && column.isComplex)) {
    qalc::fail("WrongClass", {function, std::string(column.isComplex ? "complex " : "") + qalc::className(column.id),
                              "a numeric or logical class, or cell for texts"});
  }
}

// Column-major indices of the elements of one sample, in row-major order; the sample is the first index.
std::vector<std::size_t> placesOfElements(const std::vector<std::size_t>& dims) {
  std::vector<std::size_t> places{0};
  std::size_t stride = dims.front();
  for (std::size_t d = 1; d < dims.size(); ++d) {
    std::vector<std::size_t> next;
    next.reserve(places.size() * dims[d]);
    for (const std::size_t place : places) {
      for (std::size_t i = 0; i < dims[d]; ++i) next.push_back(place + i * stride);
    }
    places = std::move(next);
    stride *= dims[d];
  }
  return places;
}

ArrayPtr textRow(const std::u16string& text) { return ArrayPtr(qxCreateUString(text.data(), text.size())); }

}  // namespace

// Storage that is still in use, by first row and number of rows.
struct SampleTable::KnownTimes {
  using Rows = std::pair<std::uint64_t, std::uint64_t>;

  void dropUnused() {
    std::erase_if(known, [](const auto& entry) { return entry.second.expired(); });
    swept = known.size();
  }

  std::mutex mutex;
  std::map<Rows, std::weak_ptr<Storage>> known;
  std::size_t swept = 0;  // entries that were in use when unused ones were last removed
};

SampleTable::SampleTable() : knownTimes_(std::make_unique<KnownTimes>()) {}

SampleTable::~SampleTable() = default;

void SampleTable::readText(TextCell cell, std::string& /*utf8*/) const {
  throw std::logic_error("Sample table: it has no texts, so none of " + std::to_string(cell.bytes) + " bytes");
}

std::size_t SampleColumn::bytes() const {
  std::size_t size = elementBytes(*this);
  for (const std::size_t dim : dims) {
    if (__builtin_mul_overflow(size, dim, &size))
      throw std::length_error("Sample column: its dimensions are too large");
  }
  return size;
}

qxArrayWrapper sampledArray(std::shared_ptr<const SampleTable> table, const SampleColumn& column) {
  checked(__func__, table, column.first, column.count);
  checkClass(__func__, column);
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(column.bytes(), column.count, &bytes)) {
    throw std::length_error(std::string(__func__) + ": " + std::to_string(column.count) + " samples are too many");
  }
  const std::vector<std::size_t> dims = arrayDimensions(column);
  ArrayPtr array(new qxArray(dims.size(), dims.data(), column.id, column.isComplex));
  array->storage = std::make_shared<Storage>();
  array->storage->samples = std::make_unique<Samples>(std::move(table), column, false);
  if (column.id != qxCELL) {
    array->madeRowMajor = true;
    array->storage->rowMajor = !array->dims.isLine();
  }
  return qxArrayWrapper(array.release());
}

qxArrayWrapper sampledTimes(std::shared_ptr<const SampleTable> table, std::uint64_t first, std::uint64_t count) {
  SampleTable::KnownTimes& times = *checked(__func__, table, first, count).knownTimes_;
  const std::size_t dims[] = {static_cast<std::size_t>(count)};
  ArrayPtr array(new qxArray(1, dims, qxDOUBLE, false));
  array->madeRowMajor = true;
  const std::lock_guard lock(times.mutex);
  if (times.known.size() > 2 * times.swept + 16) times.dropUnused();
  std::weak_ptr<Storage>& known = times.known[{first, count}];
  array->storage = known.lock();
  if (!array->storage) {
    SampleColumn column;
    column.first = first;
    column.count = count;
    array->storage = std::make_shared<Storage>();
    array->storage->samples = std::make_unique<Samples>(std::move(table), std::move(column), true);
    known = array->storage;
  }
  return qxArrayWrapper(array.release());
}

namespace qalc {

Samples::Samples(std::shared_ptr<const SampleTable> table, SampleColumn column, bool areTimes)
    : table_(std::move(table)), column_(std::move(column)), areTimes_(areTimes) {}

void Samples::readOnce() const {
  std::call_once(read_, [this] {
    if (column_.id == qxCELL) {
      cells_ = readTexts();
    } else {
      Buffer values = readValues();
      flat_.swap(values);
    }
  });
}

Buffer Samples::readValues() const {
  const std::size_t sample = column_.bytes();
  Buffer values(sample * column_.count);
  if (areTimes_) {
    table_->readTimes(column_.first, column_.count, reinterpret_cast<double*>(values.data()));
  } else if (values.size() != 0) {
    table_->readRows(column_.first, column_.count, column_.offset, sample, values.data(), sample);
  }
  return values;
}

std::vector<ArrayPtr> Samples::readTexts() const {
  const std::vector<std::size_t> places = placesOfElements(arrayDimensions(column_));
  std::vector<ArrayPtr> cells(places.size() * column_.count);
  std::vector<std::byte> row(column_.bytes());
  std::string utf8;
  for (std::uint64_t i = 0; i < column_.count && !row.empty(); ++i) {
    table_->readRows(column_.first + i, 1, column_.offset, row.size(), row.data(), row.size());
    for (std::size_t e = 0; e < places.size(); ++e) {
      table_->readText(TextCell::fromRow(row.data() + e * TextCell::kBytesInRow), utf8);
      cells[places[e] + i] = textRow(textFromBytes(utf8));
    }
  }
  return cells;
}

}  // namespace qalc
}  // namespace vtu
