/// @file
/// Reads texts from attributes and datasets, of fixed and of variable length.
///
/// HDF5 keeps text of variable length in heaps without checksums and does not check what it reads there. Here
/// HDF5 only reads the references; the heaps are parsed with every length checked, so that a damaged file does no harm.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/qat/file_bytes.hpp"
#include "platform/qat/hdf5.hpp"
#include "platform/qat/read/memory_budget.hpp"

namespace vtu::qat {

/// Texts in memory, one after another.
class Texts final {
 public:
  [[nodiscard]] std::size_t size() const { return runs_.size(); }

  /// Valid until the object changes.
  [[nodiscard]] std::string_view operator[](std::size_t index) const {
    return std::string_view(bytes_).substr(runs_[index].first, runs_[index].second);
  }

  /// Takes a block of texts of `size` bytes each.
  void assign(std::string block, std::size_t size, H5T_str_t padding);

  void append(std::string_view text) {
    runs_.emplace_back(bytes_.size(), text.size());
    bytes_ += text;
  }

 private:
  std::string bytes_;
  std::vector<std::pair<std::size_t, std::size_t>> runs_;  // offset and size
};

/// Reads texts of one file. Caches heaps, up to a limit. Does not own its arguments.
class TextReader final {
 public:
  TextReader(const FileBytes& bytes, MemoryBudget& budget) : bytes_(bytes), fileSize_(bytes.size()), budget_(budget) {}

  /// All texts of an attribute, in storage order. @throws Failure
  [[nodiscard]] Texts attributeTexts(hid_t attribute);

  /// All texts of a dataset, in storage order.
  [[nodiscard]] Texts datasetTexts(hid_t dataset);

 private:
  struct Heap {
    std::vector<char> bytes;
    std::unordered_map<std::uint32_t, std::pair<std::size_t, std::size_t>> objects;  // index: offset and size
  };
  using ReadCall = herr_t (*)(hid_t object, hid_t type, void* target);

  Texts texts(hid_t object, hid_t type, hid_t space, ReadCall read);
  Texts fixedTexts(hid_t object, hid_t type, std::size_t count, ReadCall read);
  Texts variableTexts(hid_t object, std::size_t count, ReadCall read);
  const Heap& heapAt(std::uint64_t address);
  [[nodiscard]] Heap loadHeap(std::uint64_t address) const;

  FileBytes bytes_;
  std::uint64_t fileSize_;
  MemoryBudget& budget_;
  std::unordered_map<std::uint64_t, Heap> heaps_;
  std::size_t heapBytes_ = 0;
};

}  // namespace vtu::qat
