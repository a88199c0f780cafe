/// @file
/// Small parts of reading that several of its files use.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/attributes.hpp"
#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {

/// Memory of a field in addition to its values.
inline constexpr std::uint64_t kFieldBytes = 96;

/// Counts levels of nesting while it exists. @throws Failure when they are too many
class Deeper final {
 public:
  explicit Deeper(int& depth) : depth_(depth) {
    if (depth_ >= kDeepestNesting + 2) throw Failure(kDamaged, "nested deeper than any Qat file");
    ++depth_;
  }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;
  ~Deeper() { --depth_; }

 private:
  int& depth_;
};

/// Product of extents. @throws Failure when it cannot be counted
inline std::size_t checkedElements(const std::vector<std::size_t>& dims) {
  std::size_t elements = 1;
  bool overflow = false;
  for (const std::size_t extent : dims) overflow = __builtin_mul_overflow(elements, extent, &elements) || overflow;
  if (std::find(dims.begin(), dims.end(), std::size_t{0}) != dims.end()) return 0;
  if (overflow) throw Failure(kDamaged, "more elements than can be counted");
  return elements;
}

/// An empty structure array. @param names All different.
inline qalc::ArrayPtr makeStructures(const std::vector<std::size_t>& dims, const std::vector<std::string>& names) {
  qalc::ArrayPtr array(new qxArray(dims.size(), dims.data(), qxSTRUCT, false));
  array->storage = std::make_shared<qalc::Storage>();
  array->storage->fields.reserve(names.size());
  for (const std::string& name : names) {
    array->storage->fields.push_back({name, qalc::FieldValues(array->dims.elements())});
  }
  return array;
}

/// Makes truth values 0 or 1: any other would be undefined behaviour for who reads them as bool.
inline void normaliseLogicals(qxArray& array) {
  auto* values = reinterpret_cast<unsigned char*>(array.storage->values.data());
  std::transform(values, values + array.dims.elements(), values,
                 [](unsigned char value) -> unsigned char { return value != 0; });
}

/// References as rows of an n-by-3 uint32 array.
inline qalc::ArrayPtr referenceRows(const std::vector<Reference>& references) {
  const std::size_t rows = references.size();
  const std::size_t dims[] = {rows, 3};
  qalc::ArrayPtr array(qxCreateNumericArray(2, dims, qxUINT32, false));
  auto* values = reinterpret_cast<std::uint32_t*>(array->storage->values.data());
  for (std::size_t i = 0; i < rows; ++i) {
    values[i] = references[i].table;
    values[i + rows] = references[i].column;
    values[i + 2 * rows] = references[i].part;
  }
  return array;
}

}  // namespace vtu::qat
