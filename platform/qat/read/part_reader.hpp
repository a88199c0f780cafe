/// @file
/// Reads a part of a variable.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "platform/qat/read/reader.hpp"
#include "platform/qat_parts.hpp"

namespace vtu::qat {

/// Follows a path through the objects of the file as far as it can, then in the array in memory. See qatGetPart().
class PartReader final : private Reader {
 public:
  PartReader(const Source& source, QatPartSamples samples);

  /// The elements of datasets that came late. @throws Failure
  [[nodiscard]] std::vector<LateElement> lateElements() { return readLateElements(); }

  /// @param link Of the variable. @throws Failure
  [[nodiscard]] qalc::ArrayPtr read(const std::string& link, const std::vector<std::string>& path);

 private:
  using Path = std::span<const std::string>;

  qalc::ArrayPtr member(hid_t group, const std::string& link, Path path);
  qalc::ArrayPtr structure(hid_t group, Path path);
  qalc::ArrayPtr table(hid_t group, Path path);
  qalc::ArrayPtr column(hid_t group, const std::string& link, std::size_t rows, Path path);
  qalc::ArrayPtr members(const Column& column, std::size_t rows, Path path);
  qalc::ArrayPtr wholeColumn(const Column& column, std::size_t rows);
  qalc::ArrayPtr cellsOfColumn(const Column& column, std::size_t rows);
};

}  // namespace vtu::qat
