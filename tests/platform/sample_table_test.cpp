// Arrays over sample tables: what they read as, when they read, and what they share.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/sample_table.hpp"
#include "tests/platform/diagnostic_matcher.hpp"

namespace {

using vtu::qxArrayWrapper;
using vtu::SampleColumn;
using vtu::TextCell;

/// Rows of 40 bytes: double, 2-by-3 uint16, two texts; the texts are the ones given.
class FakeTable final : public vtu::SampleTable {
 public:
  static constexpr std::size_t kRow = 8 + 12 + 2 * TextCell::kBytesInRow;

  explicit FakeTable(std::size_t rows) : rows_(rows), bytes_(rows * kRow) {
    for (std::size_t i = 0; i < rows; ++i) {
      std::byte* row = bytes_.data() + i * kRow;
      const double number = 100.0 + static_cast<double>(i);
      std::memcpy(row, &number, 8);
      for (std::uint16_t e = 0; e < 6; ++e) {
        const auto value = static_cast<std::uint16_t>(10 * i + e);
        std::memcpy(row + 8 + 2 * e, &value, 2);
      }
      for (std::size_t e = 0; e < 2; ++e) {
        const std::string text = std::string(i, 'x') + (e == 0 ? "\xED\xA0\x80" : "");
        TextCell{texts_.size(), static_cast<std::uint32_t>(text.size())}.toRow(row + 20 + e * TextCell::kBytesInRow);
        texts_ += text;
      }
    }
  }

  std::uint64_t rows() const override { return rows_; }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    ++reads;
    for (std::uint64_t i = 0; i < count; ++i) out[i] = 0.5 * static_cast<double>(first + i);
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    ++reads;
    for (std::uint64_t i = 0; i < count; ++i) {
      std::memcpy(out + i * stride, bytes_.data() + (first + i) * kRow + offset, bytes);
    }
  }
  void readText(TextCell cell, std::string& utf8) const override { utf8 = texts_.substr(cell.start, cell.bytes); }

  mutable std::atomic<int> reads{0};

 private:
  std::size_t rows_;
  std::vector<std::byte> bytes_;
  std::string texts_;
};

class SampleTables : public ::testing::Test {
 protected:
  static SampleColumn column(qxClassID id, std::size_t offset, std::vector<std::size_t> dims, std::uint64_t first,
                             std::uint64_t count) {
    SampleColumn result;
    result.name = u"x";
    result.id = id;
    result.offset = offset;
    result.dims = std::move(dims);
    result.first = first;
    result.count = count;
    return result;
  }

  template <typename T>
  static std::vector<T> values(const qxArray* array) {
    const auto* data = static_cast<const T*>(qxGetConstData(array));
    return {data, data + qxGetNumberOfElements(array) * (qxIsComplex(array) ? 2 : 1)};
  }

  static std::vector<std::size_t> dims(const qxArray* array) {
    return {qxGetDimensions(array), qxGetDimensions(array) + qxGetNumberOfDimensions(array)};
  }

  static std::u16string text(const qxArray* array) { return {qxGetChars(array), qxGetNumberOfElements(array)}; }

  std::shared_ptr<FakeTable> table_ = std::make_shared<FakeTable>(5);
};

TEST_F(SampleTables, ScalarsAreOneColumn) {
  const qxArrayWrapper array = vtu::sampledArray(table_, column(qxDOUBLE, 0, {}, 1, 3));
  EXPECT_EQ(dims(array.get()), (std::vector<std::size_t>{3, 1}));
  EXPECT_EQ(values<double>(array.get()), (std::vector<double>{101, 102, 103}));
  EXPECT_EQ(qxGetScalar(array.get()), 101);
}

TEST_F(SampleTables, MatricesHaveTheSampleFirst) {
  const qxArrayWrapper array = vtu::sampledArray(table_, column(qxUINT16, 8, {2, 3}, 0, 2));
  EXPECT_EQ(dims(array.get()), (std::vector<std::size_t>{2, 2, 3}));
  EXPECT_EQ(values<std::uint16_t>(array.get()), (std::vector<std::uint16_t>{0, 10, 3, 13, 1, 11, 4, 14, 2, 12, 5, 15}));
}

TEST_F(SampleTables, ComplexValuesAreInterleaved) {
  SampleColumn complex = column(qxUINT16, 8, {3}, 4, 1);
  complex.isComplex = true;
  const qxArrayWrapper array = vtu::sampledArray(table_, complex);
  EXPECT_TRUE(qxIsComplex(array.get()));
  EXPECT_EQ(values<std::uint16_t>(array.get()), (std::vector<std::uint16_t>{40, 41, 42, 43, 44, 45}));
}

TEST_F(SampleTables, TextsAreCells) {
  qxArrayWrapper array = vtu::sampledArray(table_, column(qxCELL, 20, {2}, 1, 3));
  EXPECT_EQ(dims(array.get()), (std::vector<std::size_t>{3, 2}));
  EXPECT_EQ(text(qxGetCell(array.get(), 1)), std::u16string(u"xx") + char16_t(0xD800));
  EXPECT_EQ(text(qxGetCell(array.get(), 5)), u"xxx");
  const qxArrayWrapper share(qxShareArray(array.get()));
  qxSetCell(array.get(), 1, qxCreateString("mine"));
  EXPECT_EQ(text(qxGetCell(array.get(), 1)), u"mine");
  EXPECT_EQ(text(qxGetCell(array.get(), 2)), std::u16string(u"xxx") + char16_t(0xD800));
  EXPECT_EQ(text(qxGetCell(share.get(), 1)), std::u16string(u"xx") + char16_t(0xD800));
}

TEST_F(SampleTables, NothingIsReadBeforeSomebodyAsks) {
  const qxArrayWrapper data = vtu::sampledArray(table_, column(qxDOUBLE, 0, {}, 0, 5));
  const qxArrayWrapper time = vtu::sampledTimes(table_, 0, 5);
  const qxArrayWrapper share(qxShareArray(data.get()));
  EXPECT_EQ(table_->reads, 0);
  EXPECT_EQ(qxGetScalar(share.get()), 100);
  EXPECT_EQ(table_->reads, 1);
  static_cast<void>(values<double>(data.get()));
  EXPECT_EQ(table_->reads, 1);
}

TEST_F(SampleTables, EqualTimesAreShared) {
  qxArrayWrapper one = vtu::sampledTimes(table_, 1, 3);
  const qxArrayWrapper two = vtu::sampledTimes(table_, 1, 3);
  const qxArrayWrapper other = vtu::sampledTimes(table_, 1, 2);
  EXPECT_EQ(qxGetConstData(one.get()), qxGetConstData(two.get()));
  EXPECT_EQ(table_->reads, 1);
  EXPECT_NE(qxGetConstData(one.get()), qxGetConstData(other.get()));
  EXPECT_EQ(values<double>(two.get()), (std::vector<double>{0.5, 1, 1.5}));
  static_cast<double*>(qxGetData(one.get()))[0] = -1;
  EXPECT_EQ(values<double>(two.get())[0], 0.5);
}

TEST_F(SampleTables, WritingTheOnlyArrayOfTimesLeavesTheTable) {
  qxArrayWrapper one = vtu::sampledTimes(table_, 0, 2);
  static_cast<double*>(qxGetData(one.get()))[0] = -1;
  EXPECT_EQ(values<double>(vtu::sampledTimes(table_, 0, 2).get())[0], 0.0);
  EXPECT_EQ(values<double>(one.get()), (std::vector<double>{-1, 0.5}));
}

TEST_F(SampleTables, ArraysHoldTheTableAndGiveItUp) {
  const std::weak_ptr<FakeTable> watched = table_;
  qxArrayWrapper data = vtu::sampledArray(table_, column(qxDOUBLE, 0, {}, 0, 5));
  qxArrayWrapper time = vtu::sampledTimes(table_, 0, 5);
  table_.reset();
  EXPECT_EQ(qxGetScalar(data.get()), 100);
  data.reset();
  EXPECT_FALSE(watched.expired());
  EXPECT_EQ(values<double>(time.get()).size(), 5U);
  static_cast<void>(qxGetData(time.get()));  // has values of its own from here on
  EXPECT_TRUE(watched.expired());
}

TEST_F(SampleTables, ManyRangesOfTimesAreNotKept) {
  const auto wide = std::make_shared<FakeTable>(1000);
  for (std::uint64_t i = 0; i < 1000; ++i) {
    const qxArrayWrapper time = vtu::sampledTimes(wide, i, 1);
    EXPECT_EQ(qxGetScalar(time.get()), 0.5 * static_cast<double>(i));
  }
}

TEST_F(SampleTables, WrittenRowByRow) {
  qxArrayWrapper array = vtu::sampledArray(table_, column(qxUINT16, 8, {2, 3}, 0, 2));
  auto* rows = static_cast<std::uint16_t*>(qxGetRowMajorData(array.get()));
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(rows[7], 11);
  rows[7] = 99;
  EXPECT_EQ(values<std::uint16_t>(array.get())[5], 99);
}

TEST_F(SampleTables, DuplicatesNeedNoTable) {
  const std::weak_ptr<FakeTable> watched = table_;
  qxArrayWrapper data = vtu::sampledArray(table_, column(qxDOUBLE, 0, {}, 0, 5));
  qxArrayWrapper texts = vtu::sampledArray(table_, column(qxCELL, 20, {}, 2, 1));
  const qxArrayWrapper numbers(qxDuplicateArray(data.get()));
  const qxArrayWrapper cells(qxDuplicateArray(texts.get()));
  table_.reset();
  data.reset();
  texts.reset();
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(values<double>(numbers.get())[4], 104);
  EXPECT_EQ(text(qxGetCell(cells.get(), 0)), std::u16string(u"xx") + char16_t(0xD800));
}

TEST_F(SampleTables, NoRowsOrNoElementsGiveEmptyArrays) {
  const qxArrayWrapper rows = vtu::sampledArray(table_, column(qxDOUBLE, 0, {2}, 5, 0));
  EXPECT_EQ(dims(rows.get()), (std::vector<std::size_t>{0, 2}));
  EXPECT_TRUE(values<double>(rows.get()).empty());
  const qxArrayWrapper elements = vtu::sampledArray(table_, column(qxINT8, 0, {0}, 0, 5));
  EXPECT_EQ(dims(elements.get()), (std::vector<std::size_t>{5, 0}));
  EXPECT_TRUE(values<std::int8_t>(elements.get()).empty());
  const qxArrayWrapper texts = vtu::sampledArray(table_, column(qxCELL, 20, {0}, 0, 5));
  EXPECT_TRUE(qxIsEmpty(texts.get()));
  static_cast<void>(qxArrayWrapper(qxDuplicateArray(texts.get())));
  EXPECT_TRUE(values<double>(vtu::sampledTimes(table_, 5, 0).get()).empty());
}

TEST_F(SampleTables, ReadersMayRace) {
  const qxArrayWrapper data = vtu::sampledArray(table_, column(qxUINT16, 8, {2, 3}, 0, 5));
  const qxArrayWrapper texts = vtu::sampledArray(table_, column(qxCELL, 20, {2}, 0, 5));
  std::vector<std::thread> threads;
  std::array<std::vector<std::uint16_t>, 4> seen;
  for (std::vector<std::uint16_t>& mine : seen) {
    threads.emplace_back([&] {
      mine = values<std::uint16_t>(data.get());
      EXPECT_EQ(text(qxGetCell(texts.get(), 8)), u"xxx");
      static_cast<void>(values<double>(vtu::sampledTimes(table_, 0, 5).get()));
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& mine : seen) EXPECT_EQ(mine, values<std::uint16_t>(data.get()));
}

TEST_F(SampleTables, RowsOutsideTheTableAreRefused) {
  EXPECT_THROW(static_cast<void>(vtu::sampledTimes(table_, 3, 3)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(vtu::sampledTimes(table_, 6, 0)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(vtu::sampledArray(table_, column(qxDOUBLE, 0, {}, 1, UINT64_MAX))), std::out_of_range);
  EXPECT_THROW(static_cast<void>(vtu::sampledArray(nullptr, column(qxDOUBLE, 0, {}, 0, 0))), std::invalid_argument);
  const std::size_t huge = std::numeric_limits<std::size_t>::max() / 4;
  EXPECT_THROW(static_cast<void>(vtu::sampledArray(table_, column(qxDOUBLE, 0, {huge}, 0, 1))), std::length_error);
}

TEST_F(SampleTables, ClassesWithoutSamplesAreRefused) {
  for (const qxClassID id : {qxSTRUCT, qxCHAR, qxUNKNOWN}) {
    EXPECT_THROW(static_cast<void>(vtu::sampledArray(table_, column(id, 0, {}, 0, 1))), vtsv::IException) << id;
  }
  SampleColumn logical = column(qxLOGICAL, 0, {}, 0, 1);
  logical.isComplex = true;
  EXPECT_THROW(static_cast<void>(vtu::sampledArray(table_, logical)), vtsv::IException);
}

TEST_F(SampleTables, ATableWithoutTextsSaysSo) {
  class Numbers final : public vtu::SampleTable {
    std::uint64_t rows() const override { return 1; }
    void readTimes(std::uint64_t, std::uint64_t, double*) const override {}
    void readRows(std::uint64_t, std::uint64_t, std::size_t, std::size_t, std::byte*, std::size_t) const override {}
  };
  const qxArrayWrapper array = vtu::sampledArray(std::make_shared<Numbers>(), column(qxCELL, 0, {}, 0, 1));
  EXPECT_THROW(static_cast<void>(qxGetCell(array.get(), 0)), std::logic_error);
}

}  // namespace
