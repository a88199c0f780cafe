/// @file
/// The records that describe the columns of a sample table, as stored in a file.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "platform/qat/hdf5.hpp"
#include "platform/qat_parts.hpp"

namespace vtu::qat {

/// Offsets of the parts of a record in its bytes: four texts of fixed length, then four numbers.
class RecordLayout final {
 public:
  /// With room for the texts of these records.
  explicit RecordLayout(const std::vector<StoredColumn>& records);

  /// With the texts as they are stored. @param stored The type of records in a file. @throws Failure if it is of others
  explicit RecordLayout(hid_t stored);

  /// The type in memory and, for writing, in the file.
  [[nodiscard]] hid_t type() const { return type_.get(); }
  [[nodiscard]] std::size_t size() const { return textBytes_ + kNumberBytes; }

  /// @param bytes size() zeros.
  void put(const StoredColumn& record, char* bytes) const;

  /// @throws Failure if class, dimensions and width do not fit
  [[nodiscard]] StoredColumn get(const char* bytes) const;

 private:
  static constexpr std::size_t kTexts = 4;
  static constexpr std::size_t kNumberBytes = 24;

  void makeType(const std::array<Handle, kTexts>& texts);

  std::array<std::size_t, kTexts> sizes_{1, 1, 1, 1};
  std::array<H5T_str_t, kTexts> paddings_{};
  std::size_t textBytes_ = 0;
  Handle type_;
};

}  // namespace vtu::qat
