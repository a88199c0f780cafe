#include <gtest/gtest.h>

#include <atomic>
#include <complex>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/qalc_internal.hpp"

namespace {

using vtu::qxArrayWrapper;
using Extents = std::vector<std::size_t>;

qxArrayWrapper rowMajor(const Extents& dims, qxClassID id, bool isComplex = false) {
  return qxArrayWrapper(qxCreateNumericArrayRowMajor(dims.size(), dims.data(), id, isComplex));
}

std::size_t product(const Extents& dims) {
  std::size_t result = 1;
  for (const std::size_t extent : dims) result *= extent;
  return result;
}

/// Position in row-major order of the element at a position in column-major order.
std::size_t rowMajorPosition(std::size_t columnMajorPosition, const Extents& dims) {
  Extents index(dims.size());
  for (std::size_t k = 0; k < dims.size(); ++k) {
    index[k] = columnMajorPosition % dims[k];
    columnMajorPosition /= dims[k];
  }
  std::size_t result = 0;
  for (std::size_t k = 0; k < dims.size(); ++k) result = result * dims[k] + index[k];
  return result;
}

template <typename T>
void checkConversion(const Extents& dims, qxClassID id, bool isComplex = false) {
  const qxArrayWrapper array = rowMajor(dims, id, isComplex);
  const std::size_t n = product(dims);
  auto* samples = static_cast<T*>(qxGetRowMajorData(array.get()));
  ASSERT_NE(samples, nullptr);
  for (std::size_t i = 0; i < n; ++i) samples[i] = static_cast<T>(static_cast<std::int8_t>(i % 120));
  const auto* values = static_cast<const T*>(qxGetConstData(array.get()));
  for (std::size_t i = 0; i < n; ++i) {
    ASSERT_EQ(values[i], static_cast<T>(static_cast<std::int8_t>(rowMajorPosition(i, dims) % 120)))
        << testing::PrintToString(dims) << " at " << i;
  }
  EXPECT_EQ(qxGetRowMajorData(array.get()), static_cast<void*>(samples)) << "reading does not move the storage";
  const auto* written = static_cast<const T*>(qxGetData(array.get()));
  for (std::size_t i = 0; i < n; ++i) {
    ASSERT_EQ(written[i], static_cast<T>(static_cast<std::int8_t>(rowMajorPosition(i, dims) % 120)));
  }
  const auto* back = static_cast<const T*>(qxGetRowMajorData(array.get()));
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(back[i], static_cast<T>(static_cast<std::int8_t>(i % 120)));
}

TEST(QalcRowMajor, isReadColumnMajorForEveryShape) {
  for (const Extents& dims : std::vector<Extents>{{5, 1},
                                                  {1, 5},
                                                  {2, 3},
                                                  {3, 2},
                                                  {40, 70},
                                                  {33, 65},
                                                  {1, 1},
                                                  {2, 3, 4},
                                                  {4, 1, 3},
                                                  {1, 2, 3},
                                                  {2, 3, 1, 4},
                                                  {3, 2, 2, 2, 3},
                                                  {7, 2, 1, 1, 2},
                                                  {1, 1, 6},
                                                  {100, 3, 3}}) {
    checkConversion<double>(dims, qxDOUBLE);
  }
}

TEST(QalcRowMajor, isReadColumnMajorForEveryElementSize) {
  const Extents dims = {6, 2, 5};
  checkConversion<std::int8_t>(dims, qxINT8);
  checkConversion<bool>(dims, qxLOGICAL);
  checkConversion<char16_t>(dims, qxCHAR);
  checkConversion<std::int16_t>(dims, qxINT16);
  checkConversion<float>(dims, qxSINGLE);
  checkConversion<std::uint32_t>(dims, qxUINT32);
  checkConversion<std::uint64_t>(dims, qxUINT64);
  checkConversion<std::complex<double>>(dims, qxDOUBLE, true);
  checkConversion<std::complex<float>>(dims, qxSINGLE, true);
}

TEST(QalcRowMajor, isReadColumnMajorForRandomShapes) {
  std::mt19937 random(10);
  for (int round = 0; round < 300; ++round) {
    Extents dims(2 + random() % 4);
    for (std::size_t& extent : dims) extent = 1 + random() % 5;
    checkConversion<std::int32_t>(dims, qxINT32);
    if (HasFatalFailure()) return;
  }
}

TEST(QalcRowMajor, mayBeEmpty) {
  const qxArrayWrapper array = rowMajor({0, 3, 2}, qxDOUBLE);
  EXPECT_NE(qxGetRowMajorData(array.get()), nullptr);
  EXPECT_NE(qxGetConstData(array.get()), nullptr);
  EXPECT_NE(qxGetData(array.get()), nullptr);
  EXPECT_TRUE(qxIsEmpty(array.get()));
}

TEST(QalcRowMajor, storageIsOfArraysMadeSoOnly) {
  const std::size_t dims[] = {2, 3};
  const qxArrayWrapper columnMajor(qxCreateNumericArray(2, dims, qxDOUBLE, false));
  EXPECT_EQ(qxGetRowMajorData(columnMajor.get()), nullptr);
  const qxArrayWrapper cells(qxCreateCellArray(2, dims));
  EXPECT_EQ(qxGetRowMajorData(cells.get()), nullptr);
  const qxArrayWrapper array = rowMajor({2, 3}, qxDOUBLE);
  const qxArrayWrapper shared(qxShareArray(array.get()));
  EXPECT_NE(qxGetRowMajorData(shared.get()), nullptr);
  const qxArrayWrapper duplicate(qxDuplicateArray(array.get()));
  EXPECT_NE(qxGetRowMajorData(duplicate.get()), nullptr);
}

TEST(QalcRowMajor, isConvertedOnceForReaders) {
  const qxArrayWrapper array = rowMajor({30, 3}, qxDOUBLE);
  const void* first = qxGetConstData(array.get());
  EXPECT_EQ(qxGetConstData(array.get()), first);
  const qxArrayWrapper shared(qxShareArray(array.get()));
  EXPECT_EQ(qxGetConstData(shared.get()), first) << "shared copies share the conversion";
}

TEST(QalcRowMajor, aWriteIsSeenByTheNextReader) {
  const qxArrayWrapper array = rowMajor({2, 3}, qxDOUBLE);
  static_cast<double*>(qxGetRowMajorData(array.get()))[1] = 1.0;  // (0, 1)
  EXPECT_EQ(static_cast<const double*>(qxGetConstData(array.get()))[2], 1.0);
  static_cast<double*>(qxGetRowMajorData(array.get()))[1] = 2.0;
  EXPECT_EQ(static_cast<const double*>(qxGetConstData(array.get()))[2], 2.0);
  static_cast<double*>(qxGetData(array.get()))[2] = 3.0;
  EXPECT_EQ(static_cast<const double*>(qxGetConstData(array.get()))[2], 3.0);
  EXPECT_EQ(static_cast<double*>(qxGetRowMajorData(array.get()))[1], 3.0);
}

TEST(QalcRowMajor, writingOneCopyLeavesTheOther) {
  for (const bool asRowMajor : {false, true}) {
    const qxArrayWrapper array = rowMajor({2, 3}, qxDOUBLE);
    static_cast<double*>(qxGetRowMajorData(array.get()))[1] = 1.0;
    const qxArrayWrapper shared(qxShareArray(array.get()));
    EXPECT_EQ(static_cast<const double*>(qxGetConstData(shared.get()))[2], 1.0);
    if (asRowMajor) {
      static_cast<double*>(qxGetRowMajorData(shared.get()))[1] = 9.0;
    } else {
      static_cast<double*>(qxGetData(shared.get()))[2] = 9.0;
    }
    EXPECT_EQ(static_cast<const double*>(qxGetConstData(array.get()))[2], 1.0);
    EXPECT_EQ(static_cast<const double*>(qxGetConstData(shared.get()))[2], 9.0);
  }
}

TEST(QalcRowMajor, givesItsFirstElementAsScalar) {
  const qxArrayWrapper array = rowMajor({2, 3}, qxINT16);
  static_cast<std::int16_t*>(qxGetRowMajorData(array.get()))[0] = -5;
  EXPECT_EQ(qxGetScalar(array.get()), -5.0);
}

TEST(QalcRowMajor, columnsAreStoredInBothOrdersAtOnce) {
  const qxArrayWrapper array = rowMajor({1000, 1}, qxDOUBLE);
  EXPECT_FALSE(array.get()->storage->rowMajor);
  const void* storage = qxGetRowMajorData(array.get());
  EXPECT_EQ(qxGetConstData(array.get()), storage) << "not copied";
  EXPECT_EQ(qxGetData(array.get()), storage);
}

TEST(QalcRowMajor, stayStoredSoWhileTheyAreOnlyRead) {
  const qxArrayWrapper array = rowMajor({30, 3}, qxDOUBLE);
  static_cast<void>(qxGetConstData(array.get()));
  EXPECT_TRUE(array.get()->storage->rowMajor);
  static_cast<void>(qxGetData(array.get()));
  EXPECT_FALSE(array.get()->storage->rowMajor);
}

TEST(QalcRowMajor, mayBeReadFromSeveralThreads) {
  for (int round = 0; round < 50; ++round) {
    const qxArrayWrapper array = rowMajor({50, 7}, qxDOUBLE);
    static_cast<double*>(qxGetRowMajorData(array.get()))[1] = 4.0;
    std::vector<const double*> seen(4);
    std::vector<std::thread> threads;
    for (const double*& pointer : seen) {
      threads.emplace_back([&pointer, &array] { pointer = static_cast<const double*>(qxGetConstData(array.get())); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const double* pointer : seen) ASSERT_EQ(pointer, seen[0]);
    ASSERT_EQ(seen[0][50], 4.0);
  }
}

}  // namespace
