/// @file
/// A stream of rows whose values follow from their place, for tests of streamed files.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arrays.hpp"
#include "platform/qat_stream.hpp"
#include "platform/text.hpp"

namespace vtio::tests {

/// Rows of `leaves` doubles, one int32, one logical, a complex single of 2, and a text. Row `k` that was recorded after
/// `way` step backs holds values that tell both.
class StreamRows final : public vtu::SampleTable {
 public:
  StreamRows(std::size_t leaves, std::uint64_t first, std::vector<std::uint64_t> ways)
      : leaves_(leaves), first_(first), ways_(std::move(ways)) {}

  static double timeOf(std::uint64_t row) { return 0.25 * static_cast<double>(row); }
  static double valueOf(std::size_t leaf, std::uint64_t row, std::uint64_t way) {
    return static_cast<double>(row) + 1e-3 * static_cast<double>(leaf) + 1e9 * static_cast<double>(way);
  }
  static std::string textOf(std::uint64_t row, std::uint64_t way) {
    return row % 7 == 0 ? "" : "r" + std::to_string(row) + "/" + std::to_string(way);
  }

  static std::vector<vtu::SampleColumn> columns(std::size_t leaves, std::uint64_t rows) {
    std::vector<vtu::SampleColumn> all;
    for (std::size_t i = 0; i < leaves; ++i) {
      all.push_back({u"d", u"m", {}, qxDOUBLE, false, 8 * i, 0, rows});
    }
    const std::size_t at = 8 * leaves;
    all.push_back({u"i", u"", {}, qxINT32, false, at, 0, rows});
    all.push_back({u"b", u"", {}, qxLOGICAL, false, at + 4, 0, rows});
    all.push_back({u"c", u"", {2}, qxSINGLE, true, at + 5, 0, rows});
    all.push_back({u"t", u"", {}, qxCELL, false, at + 21, 0, rows});
    return all;
  }

  std::uint64_t rows() const override { return ways_.size(); }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    for (std::uint64_t i = 0; i < count; ++i) out[i] = timeOf(first_ + first + i);
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    for (std::uint64_t i = 0; i < count; ++i) {
      std::memcpy(out + i * stride, makeRow(first + i).data() + offset, bytes);
    }
  }
  void readText(vtu::TextCell cell, std::string& utf8) const override {
    utf8 = textOf(first_ + cell.start, ways_[cell.start]);
  }

 private:
  std::vector<std::byte> makeRow(std::uint64_t index) const {
    const std::uint64_t row = first_ + index, way = ways_[index];
    std::vector<std::byte> bytes(8 * leaves_ + 21 + vtu::TextCell::kBytesInRow);
    for (std::size_t i = 0; i < leaves_; ++i) {
      const double value = valueOf(i, row, way);
      std::memcpy(bytes.data() + 8 * i, &value, sizeof value);
    }
    std::byte* at = bytes.data() + 8 * leaves_;
    const auto integer = static_cast<std::int32_t>(row + 1000000 * way);
    std::memcpy(at, &integer, sizeof integer);
    at[4] = static_cast<std::byte>(row % 2);
    const float parts[] = {static_cast<float>(row), static_cast<float>(way), 1.0F, 2.0F};
    std::memcpy(at + 5, parts, sizeof parts);
    vtu::TextCell{index, static_cast<std::uint32_t>(textOf(row, way).size())}.toRow(at + 21);
    return bytes;
  }

  std::size_t leaves_;
  std::uint64_t first_;
  std::vector<std::uint64_t> ways_;  // of each row
};

/// A variable as recorders make them: a structure with `Elements`, one for each column.
inline Array elementsOver(const std::shared_ptr<const StreamRows>& table,
                          const std::vector<vtu::SampleColumn>& columns) {
  std::vector<Array> elements;
  for (const vtu::SampleColumn& column : columns) {
    elements.push_back(structure({{"Name", text(vtu::to_string(column.name).c_str())},
                                  {"Time", vtu::sampledTimes(table, column.first, column.count)},
                                  {"Data", vtu::sampledArray(table, column)}}));
  }
  const std::size_t count = elements.size();
  return structure({{"Elements", cells({1, count}, std::move(elements))}});
}

}  // namespace vtio::tests
