/// @file
/// Where samples are read from: tables with a row per time and columns of elements.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/values/element_type.hpp"

namespace vtio::results {

/// Reads parts of sample tables. Used by one thread at a time.
class VTIO_RESULTS_EXPORT SampleSource {
 public:
  SampleSource() = default;
  SampleSource(const SampleSource&) = delete;
  SampleSource& operator=(const SampleSource&) = delete;
  virtual ~SampleSource();

  /// Copies the times in seconds of rows [first, first + count).
  virtual void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) = 0;

  /// Copies `width` adjacent elements of one class from column `firstColumn` on (a column per word of an
  /// element), count rows one after another: count x width elements.
  virtual void readBlock(std::uint32_t table, ElementType type, std::size_t firstColumn, std::size_t width,
                         std::uint64_t firstRow, std::uint64_t count, std::byte* out) = 0;

  /// The texts of leaf `column`, count rows one after another, in UTF-8.
  virtual std::vector<std::string> readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                             std::uint64_t count) = 0;
};

}  // namespace vtio::results
