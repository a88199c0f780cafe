/// @file
/// The contents of a Qalc array, for the parts of this library that store arrays. Not installed.
///
///     vtu::qalc::ValueView view = vtu::qalc::storedValues(*array);
///     if (view.rowMajor) { ... }                                   // written as it is, without a transposition
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qalc {

/// Destroys arrays that unique_ptr owns.
struct ArrayDeleter {
  void operator()(qxArray* array) const { qxDestroyArray(array); }
};
using ArrayPtr = std::unique_ptr<qxArray, ArrayDeleter>;

/// Zero-filled bytes of a fixed size. Small ones need no allocation of their own, large ones no pass over the memory.
class Buffer final {
 public:
  Buffer() = default;
  explicit Buffer(std::size_t size);
  Buffer(const Buffer& other);
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { std::free(heap_); }

  [[nodiscard]] std::byte* data() { return heap_ != nullptr ? heap_ : inline_; }
  [[nodiscard]] const std::byte* data() const { return heap_ != nullptr ? heap_ : inline_; }
  [[nodiscard]] std::size_t size() const { return size_; }

  void swap(Buffer& other) noexcept;

 private:
  static constexpr std::size_t kInlineSize = 32;

  std::byte* heap_ = nullptr;
  std::size_t size_ = 0;
  alignas(std::max_align_t) std::byte inline_[kInlineSize] = {};
};

/// Extents of an array, normalised. Up to four need no allocation.
class Dimensions final {
 public:
  /// @throws std::invalid_argument if dims is null and ndim is not 0.
  Dimensions(std::size_t ndim, const std::size_t* dims);
  Dimensions(const Dimensions& other) : Dimensions(other.size(), other.data()) {}
  Dimensions& operator=(const Dimensions&) = delete;

  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] const std::size_t* data() const { return more_ ? more_.get() : few_; }
  [[nodiscard]] const std::size_t* begin() const { return data(); }
  [[nodiscard]] const std::size_t* end() const { return data() + count_; }

  /// Product of the extents.
  [[nodiscard]] std::size_t elements() const { return elements_; }

  /// At most one extent differs from 1: row-major and column-major are the same.
  [[nodiscard]] bool isLine() const;

 private:
  static constexpr std::size_t kFew = 4;

  std::size_t count_;
  std::size_t elements_ = 1;
  std::size_t few_[kFew] = {1, 1, 1, 1};
  std::unique_ptr<std::size_t[]> more_;
};

/// A value per element of a structure array. A single one needs no allocation.
class FieldValues final {
 public:
  explicit FieldValues(std::size_t count)
      : count_(count), many_(count == 1 ? nullptr : std::make_unique<ArrayPtr[]>(count)) {}

  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] ArrayPtr* begin() { return many_ ? many_.get() : &one_; }
  [[nodiscard]] ArrayPtr* end() { return begin() + count_; }
  [[nodiscard]] const ArrayPtr* begin() const { return many_ ? many_.get() : &one_; }
  [[nodiscard]] const ArrayPtr* end() const { return begin() + count_; }
  [[nodiscard]] ArrayPtr& operator[](std::size_t index) { return begin()[index]; }
  [[nodiscard]] const ArrayPtr& operator[](std::size_t index) const { return begin()[index]; }
  [[nodiscard]] ArrayPtr& front() { return *begin(); }
  [[nodiscard]] const ArrayPtr& front() const { return *begin(); }

 private:
  std::size_t count_;
  ArrayPtr one_;
  std::unique_ptr<ArrayPtr[]> many_;
};

/// One field of a structure array.
struct Field {
  std::string name;
  FieldValues values;
};

/// Values in a sample table, read on first access. Never changed: writing copies them.
class Samples final {
 public:
  /// @param column Of times only the rows count.
  Samples(std::shared_ptr<const SampleTable> table, SampleColumn column, bool areTimes);

  [[nodiscard]] const std::shared_ptr<const SampleTable>& table() const { return table_; }

  /// What the values are: a column of the table, or its times.
  [[nodiscard]] const SampleColumn& column() const { return column_; }
  [[nodiscard]] bool areTimes() const { return areTimes_; }

  /// The values in one run, row-major; none for texts. The first caller reads them; callers may race for that.
  [[nodiscard]] const Buffer& flat() const {
    readOnce();
    return flat_;
  }

  /// The texts, column-major; none for numbers. The first caller reads them; callers may race for that.
  [[nodiscard]] const std::vector<ArrayPtr>& cells() const {
    readOnce();
    return cells_;
  }

 private:
  void readOnce() const;
  [[nodiscard]] Buffer readValues() const;
  [[nodiscard]] std::vector<ArrayPtr> readTexts() const;

  std::shared_ptr<const SampleTable> table_;
  SampleColumn column_;
  bool areTimes_;
  mutable std::once_flag read_;
  mutable Buffer flat_;
  mutable std::vector<ArrayPtr> cells_;
};

/// What shared copies of an array share.
struct Storage {
  Storage() = default;
  explicit Storage(std::size_t bytes) : values(bytes) {}
  explicit Storage(const Buffer& source) : values(source) {}
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage() { delete columnMajorCopy.load(); }

  /// The values in one run.
  [[nodiscard]] const Buffer& flat() const { return samples ? samples->flat() : values; }

  /// The cells of a cell array.
  [[nodiscard]] const std::vector<ArrayPtr>& cells() const { return samples ? samples->cells() : ownCells; }

  Buffer values;                                                // numeric, logical and char arrays
  std::unique_ptr<const Samples> samples;                       // instead of values or ownCells
  bool rowMajor = false;                                        // order of values; false where both orders are the same
  mutable std::atomic<const Buffer*> columnMajorCopy{nullptr};  // made by the first reader; owned; only if rowMajor
  std::vector<ArrayPtr> ownCells;
  std::vector<Field> fields;
};

/// Values as they are stored.
struct ValueView {
  const std::byte* data;
  std::size_t elementBytes;  // a complex element counts once
  bool rowMajor;             // otherwise column-major; false for a line (all extents but one are 1)
};

/// Name of a class in words.
[[nodiscard]] const char* className(qxClassID id);

/// Throws the diagnostic "Vortan:Qalc".
[[noreturn]] void fail(const char* key, std::initializer_list<std::string> arguments);

/// Size of one real element in bytes; 0 for a class without values.
[[nodiscard]] std::size_t elementSize(qxClassID id);

/// Copies values from one order to the other.
/// @param elementBytes Size of one element, 1 to 16 bytes, a power of two.
/// @param toColumnMajor True if source is row-major and target column-major, false for the reverse.
void reorder(const std::byte* source, std::byte* target, const Dimensions& dims, std::size_t elementBytes,
             bool toColumnMajor);

/// A view of the values in their stored order, valid until the array is written or destroyed.
/// @param array A numeric, logical or char array.
[[nodiscard]] ValueView storedValues(const qxArray& array);

/// Arrays with the same identity share their storage, so their contents are equal as long as both exist.
[[nodiscard]] const void* storageIdentity(const qxArray& array);

}  // namespace vtu::qalc

struct qxArray {
  qxArray(std::size_t ndim, const std::size_t* extents, qxClassID classId, bool isComplex)
      : id(classId), complex(isComplex), dims(ndim, extents) {}
  qxArray(const qxArray&) = default;  // a shared copy
  qxArray& operator=(const qxArray&) = delete;

  qxClassID id;
  bool complex;
  bool madeRowMajor = false;
  vtu::qalc::Dimensions dims;
  std::shared_ptr<vtu::qalc::Storage> storage;
};

namespace vtu::qalc {

inline ValueView storedValues(const qxArray& array) {
  return {array.storage->flat().data(), elementSize(array.id) * (array.complex ? 2 : 1), array.storage->rowMajor};
}

/// The samples of an array over a sample table; null for any other array. Valid as long as the array.
[[nodiscard]] inline const Samples* samplesOf(const qxArray& array) { return array.storage->samples.get(); }

inline const void* storageIdentity(const qxArray& array) { return array.storage.get(); }

}  // namespace vtu::qalc
