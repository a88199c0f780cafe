/// @file
/// The HDF5 types and property lists for writing and reading, made once per open file.
#pragma once

#include <array>
#include <string_view>

#include "platform/qalc.hpp"
#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// Class and complexity of elements; the id qxCELL means texts of a sample table.
struct ElementKind {
  qxClassID id = qxUNKNOWN;
  bool complex = false;

  friend bool operator==(ElementKind, ElementKind) = default;
};

/// Types and lists. Not synchronised; used under the lock of the open file.
class Kit final {
 public:
  Kit();

  /// The HDF5 type of the elements, the same in memory and in the file. Owned by the kit.
  [[nodiscard]] hid_t elementType(ElementKind kind);

  /// The type of references to sample tables in memory, as struct Reference.
  [[nodiscard]] hid_t referenceType() const { return referenceType_.get(); }

  /// The type of references in the file; see packed().
  [[nodiscard]] hid_t storedReferenceType() const { return storedReferenceType_.get(); }

  [[nodiscard]] hid_t datasetList() const { return datasetList_.get(); }            ///< contiguous, never filled
  [[nodiscard]] hid_t chunkedList() const { return chunkedList_.get(); }            ///< never filled
  [[nodiscard]] hid_t groupList() const { return groupList_.get(); }                ///< plain
  [[nodiscard]] hid_t orderedGroupList() const { return orderedGroupList_.get(); }  ///< keeps the creation order
  [[nodiscard]] hid_t variableText() const { return variableText_.get(); }          ///< UTF-8 of any length
  [[nodiscard]] hid_t scalarSpace() const { return scalarSpace_.get(); }

 private:
  Handle datasetList_, chunkedList_, groupList_, orderedGroupList_, variableText_, scalarSpace_;
  Handle logicalType_, textCellType_, referenceType_, storedReferenceType_;
  std::array<Handle, 16> complexTypes_;
};

/// Fixed-length UTF-8 text of `size` bytes, padded with zeros.
[[nodiscard]] Handle fixedTextType(std::size_t size);

/// Bytes of a text of fixed length that are not padding.
[[nodiscard]] std::size_t sizeWithoutPadding(std::string_view text, H5T_str_t padding);

/// What elements of an HDF5 type become in memory; `id` is qxUNKNOWN for a type that arrays do not have.
[[nodiscard]] ElementKind elementKindOf(hid_t type);

}  // namespace vtu::qat
