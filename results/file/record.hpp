/// @file
/// A structure as the file service returns it: alone, or as one row of columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "results/values/element_type.hpp"

namespace vtio::results {

/// A reference into a sample table.
struct SampleReference {
  std::uint32_t table = 0;
  std::uint32_t column = 0;
  std::uint32_t part = 0;
};

/// Reads fields of one structure. Valid as long as the array. A field that is absent or of another kind reads as empty.
class Record final {
 public:
  /// A 1-by-1 structure.
  explicit Record(const qxArray* structure) : structure_(structure) {}

  /// Row `row` of a structure of columns with `rows` rows.
  Record(const qxArray* columns, std::size_t row, std::size_t rows)
      : structure_(columns), row_(row), rows_(rows), isColumns_(true) {}

  [[nodiscard]] bool has(const char* field) const;
  [[nodiscard]] std::string text(const char* field) const;
  [[nodiscard]] double number(const char* field, double absent = 0) const;
  [[nodiscard]] std::vector<std::string> texts(const char* field) const;
  /// Numbers that are no integers are cut; NaN is 0, one beyond 64 bits the nearest that there is.
  [[nodiscard]] std::vector<std::int64_t> integers(const char* field) const;
  [[nodiscard]] std::optional<SampleReference> reference(const char* field) const;

  /// The array in a field; empty if it is absent.
  [[nodiscard]] vtu::qxArrayWrapper array(const char* field) const;

  /// The structures in a field: one, or those of a cell array.
  [[nodiscard]] std::vector<Record> records(const char* field) const;

  /// Names of the fields, in order.
  [[nodiscard]] std::vector<std::string> fields() const;

 private:
  [[nodiscard]] const qxArray* field(const char* name) const;
  [[nodiscard]] const qxArray* value(const char* name) const;

  const qxArray* structure_;
  std::size_t row_ = 0;
  std::size_t rows_ = 1;
  bool isColumns_ = false;
};

/// The type of the elements of an array, a cell array's being texts; none for any other array.
[[nodiscard]] std::optional<ElementType> storedType(const qxArray* array);

/// UTF-8 of a char array; empty for anything else.
[[nodiscard]] std::string textOf(const qxArray* array);

}  // namespace vtio::results
