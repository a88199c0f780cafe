/// @file
/// A table's group and rows as ready-made bytes in one piece of the file. What HDF5 makes for the same table, the columns
/// and the rows that hold more than numeric arrays, is taken over by its address.
#pragma once

#include <string>
#include <vector>

#include "platform/qat/write/link_index_image.hpp"
#include "platform/qat/write/row_images.hpp"

namespace vtu::qat {

/// One table while it is written: first writeRows(), then the other rows through HDF5, then writeTable().
class TableImages final {
 public:
  /// Plans the rows. @param levels Levels of groups still allowed below the table.
  TableImages(Kit& kit, SharedObjects& shared, const std::vector<FieldPlan>& plan, std::size_t rows, int levels);

  /// False: nothing would be gained.
  [[nodiscard]] bool any() const { return any_; }

  /// The rows that are left to HDF5.
  [[nodiscard]] const std::vector<std::size_t>& otherRows() const { return otherRows_; }

  /// Asks for the piece of the file and writes all rows but the other ones.
  /// @param parts The group that has the columns.
  void writeRows(hid_t file, hid_t parts, const FileBytes& bytes);

  /// Writes the table's group and links it; it also gets the members of `parts`.
  /// @return The open group.
  [[nodiscard]] Handle writeTable(hid_t file, hid_t parts, hid_t group, const std::string& link,
                                  const FileBytes& bytes);

 private:
  [[nodiscard]] std::vector<LinkImage> linksWith(hid_t parts, const std::vector<std::string>& members) const;
  [[nodiscard]] std::size_t headerBytes() const;

  Kit& kit_;
  RowImages rows_;
  std::vector<std::string> rowNames_;  // of the rows in rows_
  std::vector<std::size_t> otherRows_;
  bool any_ = false;
  LinkIndexLayout layout_;
  std::uint64_t address_ = 0;
};

}  // namespace vtu::qat
