// Arrays over values in pieces: what they read as, when they copy, and when their owner is released.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/qalc_pieces.hpp"

namespace {

using vtu::qxArrayWrapper;

class QalcPieces : public ::testing::Test {
 protected:
  QalcPieces() { std::iota(values_.begin(), values_.end(), 1.0); }

  /// The values as 4 by 3, in runs of 5, 0 and 7 elements.
  qxArrayWrapper make() {
    const std::size_t dims[] = {4, 3};
    const qxPiece pieces[] = {
        {values_.data(), 5 * sizeof(double)}, {values_.data() + 5, 0}, {values_.data() + 5, 7 * sizeof(double)}};
    return qxArrayWrapper(qxCreateNumericArrayOfPieces(2, dims, qxDOUBLE, false, pieces, 3, &released_, &release));
  }

  static void release(void* owner) { ++*static_cast<int*>(owner); }

  static std::vector<double> read(const qxArray* array) {
    const auto* data = static_cast<const double*>(qxGetConstData(array));
    return {data, data + qxGetNumberOfElements(array)};
  }

  std::array<double, 12> values_{};
  int released_ = 0;
  const std::vector<double> columnMajor_{1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12};
};

TEST_F(QalcPieces, ReadAsAnyRowMajorArray) {
  const qxArrayWrapper array = make();
  EXPECT_EQ(qxGetClassID(array.get()), qxDOUBLE);
  EXPECT_EQ(qxGetNumberOfElements(array.get()), 12U);
  EXPECT_EQ(qxGetScalar(array.get()), 1.0);
  EXPECT_EQ(read(array.get()), columnMajor_);
  EXPECT_EQ(released_, 0);
}

TEST_F(QalcPieces, NothingIsCopiedBeforeSomebodyReads) {
  const qxArrayWrapper array = make();
  values_[0] = 100;  // not allowed to others; shows here when the copy is made
  EXPECT_EQ(read(array.get())[0], 100);
  values_[0] = 200;
  EXPECT_EQ(read(array.get())[0], 100);
}

TEST_F(QalcPieces, TheLastShareReleasesTheOwnerOnce) {
  qxArrayWrapper array = make();
  qxArrayWrapper share(qxShareArray(array.get()));
  array.reset();
  EXPECT_EQ(released_, 0);
  EXPECT_EQ(read(share.get()), columnMajor_);
  share.reset();
  EXPECT_EQ(released_, 1);
}

TEST_F(QalcPieces, WritingTakesACopyAndLeavesTheValuesAlone) {
  qxArrayWrapper array = make();
  auto* rows = static_cast<double*>(qxGetRowMajorData(array.get()));
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(released_, 1);
  EXPECT_EQ(std::vector<double>(rows, rows + 12), std::vector<double>(values_.begin(), values_.end()));
  rows[1] = -2;
  EXPECT_EQ(values_[1], 2);
  static_cast<double*>(qxGetData(array.get()))[0] = -1;
  std::vector<double> expected = columnMajor_;
  expected[0] = -1;
  expected[4] = -2;
  EXPECT_EQ(read(array.get()), expected);
  array.reset();
  EXPECT_EQ(released_, 1);
}

TEST_F(QalcPieces, WritingOneShareLeavesTheOther) {
  qxArrayWrapper array = make();
  const qxArrayWrapper share(qxShareArray(array.get()));
  static_cast<double*>(qxGetData(array.get()))[0] = -1;
  EXPECT_EQ(read(share.get()), columnMajor_);
  EXPECT_EQ(read(array.get())[0], -1);
  EXPECT_EQ(released_, 0);
}

TEST_F(QalcPieces, ADuplicateNeedsNoOwner) {
  qxArrayWrapper array = make();
  const qxArrayWrapper copy(qxDuplicateArray(array.get()));
  array.reset();
  EXPECT_EQ(released_, 1);
  values_.fill(0);
  EXPECT_EQ(read(copy.get()), columnMajor_);
}

TEST_F(QalcPieces, ReadersMayRace) {
  const qxArrayWrapper array = make();
  std::array<std::vector<double>, 4> seen;
  std::vector<std::thread> threads;
  for (std::vector<double>& mine : seen) threads.emplace_back([&array, &mine] { mine = read(array.get()); });
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<double>& values : seen) EXPECT_EQ(values, columnMajor_);
}

TEST_F(QalcPieces, EmptyArrayHasNoPieces) {
  const std::size_t dims[] = {0, 3};
  const qxArrayWrapper array(qxCreateNumericArrayOfPieces(2, dims, qxINT8, true, nullptr, 0, &released_, &release));
  EXPECT_TRUE(qxIsEmpty(array.get()));
  EXPECT_TRUE(qxIsComplex(array.get()));
}

TEST_F(QalcPieces, PiecesOfAnotherSizeAreRefusedAndTheOwnerStaysWithTheCaller) {
  const std::size_t dims[] = {3};
  const qxPiece wrong[] = {{values_.data(), 3 * sizeof(double) + 1}};
  const qxPiece missing[] = {{nullptr, 3 * sizeof(double)}};
  const auto make = [&](qxClassID id, const qxPiece* pieces) {
    return qxCreateNumericArrayOfPieces(1, dims, id, false, pieces, 1, &released_, &release);
  };
  EXPECT_THROW(make(qxDOUBLE, wrong), std::invalid_argument);
  EXPECT_THROW(make(qxDOUBLE, missing), std::invalid_argument);
  EXPECT_THROW(make(qxDOUBLE, nullptr), std::invalid_argument);
  EXPECT_ANY_THROW(make(qxCELL, wrong));
  EXPECT_EQ(released_, 0);
}

}  // namespace
