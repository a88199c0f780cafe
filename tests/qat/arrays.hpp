/// @file
/// Arrays for the tests of Qat files: comparison in depth, short makers and a random generator. Public functions only.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "platform/qalc.hpp"

namespace vtio::tests {

using Array = vtu::qxArrayWrapper;
using Dims = std::vector<std::size_t>;

/// A description of where two arrays differ; empty if they are the same bit by bit.
std::string difference(const qxArray* a, const qxArray* b, const std::string& place = "value");

Array doubles(const Dims& dims, const std::vector<double>& columnMajor);
Array rowMajorDoubles(const Dims& dims, const std::vector<double>& rowMajor);
Array text(const char* utf8);
Array units(std::u16string_view text);
Array cells(const Dims& dims, std::vector<Array> values);

/// A field to be moved out of an initialiser list.
struct FieldValue {
  const char* name;
  mutable Array value;
};

/// A 1-by-1 structure; the values may be empty wrappers for fields that were never set.
Array structure(std::span<const FieldValue> fields);
inline Array structure(std::initializer_list<FieldValue> fields) {
  return structure(std::span<const FieldValue>(fields.begin(), fields.size()));
}

/// Random arrays of every kind, nested a few levels deep.
class ArrayGenerator final {
 public:
  explicit ArrayGenerator(unsigned seed) : random_(seed) {}

  Array any(int depth);

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  Dims dims();
  Array numeric();
  Array chars();
  Array textRow();
  Array cellArray(int depth);
  Array structArray(int depth);
  Array likeStructures(int depth);
  Array fieldLike(int form, int depth);

  std::mt19937 random_;
};

}  // namespace vtio::tests
