/// @file
/// Reads texts from attributes and datasets, of fixed and of variable length.
///
/// HDF5 keeps text of variable length in heaps that carry no checksum and trusts what it finds there. Here the references
/// are taken as they stand and the heaps are read with every length checked, so that a damaged file cannot do harm.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/qat/file_bytes.hpp"
#include "platform/qat/hdf5.hpp"

namespace vtu::qat {

/// Reads texts of one file. Keeps the heaps that it has seen, within a limit. Borrows the file's descriptor.
class TextReader final {
 public:
  TextReader(FileBytes bytes, std::uint64_t fileSize) : bytes_(bytes), fileSize_(fileSize) {}

  /// All texts of an attribute, in storage order. @throws Failure
  [[nodiscard]] std::vector<std::string> attributeTexts(hid_t attribute);

  /// All texts of a dataset, in storage order. The caller has checked that its storage justifies its size.
  [[nodiscard]] std::vector<std::string> datasetTexts(hid_t dataset);

 private:
  struct Heap {
    std::vector<char> bytes;
    std::unordered_map<std::uint32_t, std::pair<std::size_t, std::size_t>> objects;  // index: offset and size
  };
  using ReadCall = herr_t (*)(hid_t object, hid_t type, void* target);

  std::vector<std::string> texts(hid_t object, hid_t type, hid_t space, ReadCall read);
  std::vector<std::string> fixedTexts(hid_t object, hid_t type, std::size_t count, ReadCall read) const;
  std::vector<std::string> variableTexts(hid_t object, std::size_t count, ReadCall read);
  const Heap& heapAt(std::uint64_t address);
  [[nodiscard]] Heap loadHeap(std::uint64_t address) const;

  FileBytes bytes_;
  std::uint64_t fileSize_;
  std::unordered_map<std::uint64_t, Heap> heaps_;
  std::size_t heapBytes_ = 0;
};

}  // namespace vtu::qat
