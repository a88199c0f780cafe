/// @file
/// Numbers of valid rows, which change while readers are let in.
#pragma once

#include <cstdint>
#include <span>

#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// The dataset kRowsMember of a group: one chunk, there from the start, so that its bytes are written in place.
///
/// It is made outside of the group: a link is in the file only after what it leads to. Functions throw Failure.
class RowCounts final {
 public:
  /// @param file Any object of the file.
  RowCounts(hid_t file, std::size_t numbers);

  /// Makes it a member of the group; to be called after it was flushed.
  void link(hid_t group) const;

  /// @param numbers As many as it was made for.
  void write(std::span<const std::uint64_t> numbers);

 private:
  Handle dataset_;
};

}  // namespace vtu::qat
