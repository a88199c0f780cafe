/// @file
/// Sample tables for tests: rows of bytes in memory, and random recordings.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "arrays.hpp"
#include "platform/sample_table.hpp"
#include "platform/text_bytes.hpp"

namespace vtio::tests {

/// A table whose rows are filled by the test.
class RowTable final : public vtu::SampleTable {
 public:
  RowTable(std::size_t rows, std::size_t rowBytes) : rowBytes_(rowBytes), bytes_(rows * rowBytes), times_(rows) {
    for (std::size_t i = 0; i < rows; ++i) times_[i] = 0.125 * static_cast<double>(i);
  }

  std::uint64_t rows() const override { return times_.size(); }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    std::copy_n(times_.begin() + static_cast<std::ptrdiff_t>(first), count, out);
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    for (std::size_t i = 0; i < count; ++i) {
      std::memcpy(out + i * stride, bytes_.data() + (first + i) * rowBytes_ + offset, bytes);
    }
    ++reads;
  }
  void readText(vtu::TextCell cell, std::string& utf8) const override { utf8 = texts_.substr(cell.start, cell.bytes); }

  std::byte* at(std::size_t row, std::size_t offset) { return bytes_.data() + row * rowBytes_ + offset; }

  template <typename Value>
  void set(std::size_t row, std::size_t offset, Value value) {
    std::memcpy(at(row, offset), &value, sizeof value);
  }

  void setText(std::size_t row, std::size_t offset, std::u16string_view text) {
    vtu::TextCell cell{texts_.size(), 0};
    vtu::appendTextBytes(text, texts_);
    cell.bytes = static_cast<std::uint32_t>(texts_.size() - cell.start);
    cell.toRow(at(row, offset));
  }

  mutable std::size_t reads = 0;  ///< calls of readRows()

 private:
  std::size_t rowBytes_;
  std::vector<std::byte> bytes_;
  std::vector<double> times_;
  std::string texts_;
};

/// A leaf of every element class and several shapes in tables with random rows, and arrays over them.
class Recording final {
 public:
  explicit Recording(unsigned seed) : random_(seed) {}

  /// Makes a table; leaf() returns its leaves.
  void addTable(std::size_t rows, std::size_t leaves);

  /// A structure as recorders make them: `Time` and `Data` of one leaf, and a `Unit`.
  Array leaf(std::size_t number) const;

  /// A structure of the same fields with ordinary arrays of the same values.
  Array plainLeaf(std::size_t number) const;

  std::size_t leaves() const { return leaves_.size(); }

 private:
  struct Leaf {
    std::shared_ptr<RowTable> table;
    vtu::SampleColumn column;
  };

  std::size_t below(std::size_t limit) { return random_() % limit; }
  vtu::SampleColumn randomColumn(std::size_t rows);
  void fill(RowTable& table, const vtu::SampleColumn& column);

  std::mt19937 random_;
  std::vector<Leaf> leaves_;
};

/// An ordinary array with the values of another one; sharing inside is lost.
Array plainCopy(const qxArray* array);

}  // namespace vtio::tests
