/// @file
/// Conversion from row-major order, that of elements in files, to column-major order, that of cells in arrays.
///
///     RowMajorOrder order(dims);
///     for (Text& text : rowMajorTexts) cells[order.next()] = text;
#pragma once

#include <cstddef>
#include <vector>

namespace vtu::qat {

/// Visits the elements of an array in row-major order and gives the column-major index of each.
class RowMajorOrder final {
 public:
  /// @param dims Any container of extents.
  template <typename Dims>
  explicit RowMajorOrder(const Dims& dims) : extents_(dims.begin(), dims.end()), index_(extents_.size(), 0) {
    std::size_t step = 1;
    for (const std::size_t extent : extents_) {
      steps_.push_back(step);
      step *= extent;
    }
  }

  /// Column-major index of the next element; may be called once per element.
  std::size_t next() {
    const std::size_t position = position_;
    for (std::size_t axis = extents_.size(); axis-- > 0;) {
      position_ += steps_[axis];
      if (++index_[axis] < extents_[axis]) break;
      position_ -= steps_[axis] * extents_[axis];
      index_[axis] = 0;
    }
    return position;
  }

 private:
  std::vector<std::size_t> extents_, index_, steps_;
  std::size_t position_ = 0;
};

}  // namespace vtu::qat
