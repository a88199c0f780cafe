#include "results/file/array_tables.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <span>
#include <stdexcept>
#include <utility>

#include "results/file/record.hpp"

namespace vtio::results {
namespace {

// The dimensions of one sample.
// @throws std::invalid_argument unless the array has `rows` samples.
std::vector<std::size_t> sampleDimensions(const qxArray* data, std::size_t rows) {
  const std::size_t* dims = qxGetDimensions(data);
  const std::size_t rank = qxGetNumberOfDimensions(data);
  const bool isRow = rank == 2 && dims[0] == 1 && dims[1] == rows;
  const bool isEmpty = rows == 0 && rank == 2 && qxIsEmpty(data);
  if (isRow || isEmpty) return {};
  if (dims[0] != rows) {
    throw std::invalid_argument("Data has " + std::to_string(dims[0]) + " samples, Time " + std::to_string(rows));
  }
  if (rank == 2 && dims[1] == 1) return {};
  return {dims + 1, dims + rank};
}

// For each element of a sample in row-major order, its number in column-major order.
std::vector<std::size_t> columnMajorNumbers(const std::vector<std::size_t>& dimensions) {
  std::vector<std::size_t> numbers{0};
  std::size_t stride = 1;
  for (const std::size_t dimension : dimensions) {
    std::vector<std::size_t> longer;
    longer.reserve(numbers.size() * dimension);
    for (const std::size_t number : numbers) {
      for (std::size_t i = 0; i < dimension; ++i) longer.push_back(number + i * stride);
    }
    numbers = std::move(longer);
    stride *= dimension;
  }
  return numbers;
}

// Calls `copy(from, to)` with the number of each element in the array and row by row.
template <class Copy>
void forEachElement(const std::vector<std::size_t>& dimensions, std::size_t rows, Copy copy) {
  const std::vector<std::size_t> numbers = columnMajorNumbers(dimensions);
  for (std::size_t element = 0; element < numbers.size(); ++element) {
    for (std::size_t row = 0; row < rows; ++row) copy(numbers[element] * rows + row, row * numbers.size() + element);
  }
}

std::string textAt(const qxArray* cells, std::size_t i) {
  const qxArray* cell = qxGetCell(cells, i);
  if (cell != nullptr && qxGetClassID(cell) != qxCHAR) {
    throw std::invalid_argument("cell " + std::to_string(i) + " of Data is no text");
  }
  return textOf(cell);
}

}  // namespace

std::uint32_t ArrayTables::tableOf(const double* times, std::size_t count) {
  const std::span<const double> wanted(times, count);
  const auto isEqual = [&](const Table& table) {
    return std::equal(wanted.begin(), wanted.end(), table.times.begin(), table.times.end());
  };
  // Signals of equal times are usually neighbours.
  const auto found = std::find_if(tables_.rbegin(), tables_.rend(), isEqual);
  if (found != tables_.rend()) return firstTable_ + static_cast<std::uint32_t>(tables_.rend() - found - 1);
  tables_.push_back({{wanted.begin(), wanted.end()}, {}});
  return firstTable_ + static_cast<std::uint32_t>(tables_.size() - 1);
}

void ArrayTables::add(SignalInfo& signal, const qxArray* times, const qxArray* data) {
  if (times == nullptr || qxGetClassID(times) != qxDOUBLE || qxIsComplex(times)) {
    throw std::invalid_argument("Time is no array of real doubles");
  }
  if (data == nullptr) throw std::invalid_argument("there is no Data");
  const std::size_t rows = qxGetNumberOfElements(times);
  const auto type = storedType(data);
  if (!type) throw std::invalid_argument("Data is neither numeric nor logical nor a cell array of texts");
  signal.type = *type;
  signal.dimensions = sampleDimensions(data, rows);
  Column column;
  column.width = signal.width();
  column.rowBytes = column.width * signal.type.bytes();
  if (signal.type.id == ElementClass::text) {
    column.texts.resize(rows * column.width);
    forEachElement(signal.dimensions, rows,
                   [&](std::size_t from, std::size_t to) { column.texts[to] = textAt(data, from); });
  } else {
    const std::size_t size = signal.type.bytes();
    const auto* values = static_cast<const std::byte*>(qxGetConstData(data));
    column.bytes.resize(rows * column.rowBytes);
    forEachElement(signal.dimensions, rows, [&](std::size_t from, std::size_t to) {
      std::memcpy(column.bytes.data() + to * size, values + from * size, size);
    });
  }
  const std::uint32_t number = tableOf(static_cast<const double*>(qxGetConstData(times)), rows);
  Table& table = tables_[number - firstTable_];
  if (!table.columns.empty()) column.first = table.columns.back().first + table.columns.back().width + 1;
  signal.place = {number, static_cast<std::uint32_t>(table.columns.size()), column.first, 0, rows};
  signal.first = rows == 0 ? std::numeric_limits<double>::quiet_NaN() : table.times.front();
  signal.last = rows == 0 ? std::numeric_limits<double>::quiet_NaN() : table.times.back();
  table.columns.push_back(std::move(column));
}

void ArrayTables::readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) const {
  const std::vector<double>& times = at(table).times;
  std::copy_n(times.begin() + static_cast<std::ptrdiff_t>(first), count, out);
}

void ArrayTables::readBlock(std::uint32_t table, std::size_t firstColumn, std::uint64_t firstRow, std::uint64_t count,
                            std::byte* out) const {
  const std::vector<Column>& columns = at(table).columns;
  const auto column =
      std::lower_bound(columns.begin(), columns.end(), firstColumn,
                       [](const Column& candidate, std::size_t first) { return candidate.first < first; });
  const auto begin = column->bytes.begin() + static_cast<std::ptrdiff_t>(firstRow * column->rowBytes);
  std::copy_n(begin, count * column->rowBytes, out);
}

std::vector<std::string> ArrayTables::readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                                std::uint64_t count) const {
  const Column& of = at(table).columns.at(column);
  const auto begin = of.texts.begin() + static_cast<std::ptrdiff_t>(firstRow * of.width);
  return {begin, begin + static_cast<std::ptrdiff_t>(count * of.width)};
}

std::uint64_t ArrayTables::textBytes(std::uint32_t table, std::uint32_t column) const {
  const std::vector<std::string>& texts = at(table).columns.at(column).texts;
  return std::accumulate(texts.begin(), texts.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const std::string& text) { return sum + text.size(); });
}

}  // namespace vtio::results
