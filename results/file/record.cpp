#include "results/file/record.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "platform/qalc_values.hpp"
#include "platform/text.hpp"

namespace vtio::results {
namespace {

bool isOf(const qxArray* array, qxClassID id) { return array != nullptr && qxGetClassID(array) == id; }

bool isNumeric(const qxArray* array) {
  return array != nullptr && (qxGetClassID(array) >= qxDOUBLE || qxGetClassID(array) == qxLOGICAL);
}

double numberAt(const qxArray* array, std::size_t i) {
  return vtu::withValueType(qxGetClassID(array), [&](auto type) {
    return static_cast<double>(static_cast<const decltype(type)*>(qxGetConstData(array))[i]);
  });
}

// A number without an integer is the nearest one that there is; NaN is 0.
std::int64_t integerAt(const qxArray* array, std::size_t i) {
  return vtu::withValueType(qxGetClassID(array), [&](auto type) {
    const auto value = static_cast<const decltype(type)*>(qxGetConstData(array))[i];
    if constexpr (std::is_floating_point_v<decltype(type)>) {
      if (std::isnan(value)) return std::int64_t{0};
      if (value >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
      if (value < -0x1p63) return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(value);
  });
}

}  // namespace

std::optional<ElementType> storedType(const qxArray* array) {
  const qxClassID id = qxGetClassID(array);
  if (id == qxLOGICAL) return ElementType{ElementClass::logical, false};
  if (id == qxCELL) return ElementType{ElementClass::text, false};
  if (id < qxDOUBLE || id > qxUINT64) return std::nullopt;
  // Both list the numeric classes in the same order.
  static_assert(qxUINT64 - qxDOUBLE == static_cast<int>(ElementClass::uint64));
  return ElementType{static_cast<ElementClass>(id - qxDOUBLE), qxIsComplex(array)};
}

std::string textOf(const qxArray* array) {
  if (!isOf(array, qxCHAR)) return "";
  return vtu::to_string(std::u16string_view(qxGetChars(array), qxGetNumberOfElements(array)));
}

const qxArray* Record::field(const char* name) const {
  return isOf(structure_, qxSTRUCT) ? qxGetField(structure_, 0, name) : nullptr;
}

// What the field holds in this row, where the column is a cell array; else the column itself.
const qxArray* Record::value(const char* name) const {
  const qxArray* column = field(name);
  if (!isColumns_ || !isOf(column, qxCELL)) return column;
  return row_ < qxGetNumberOfElements(column) ? qxGetCell(column, row_) : nullptr;
}

bool Record::has(const char* name) const { return value(name) != nullptr; }

std::string Record::text(const char* name) const { return textOf(value(name)); }

double Record::number(const char* name, double absent) const {
  const qxArray* found = value(name);
  const bool isColumn = isColumns_ && found == field(name);
  const std::size_t i = isColumn ? row_ : 0;
  return isNumeric(found) && i < qxGetNumberOfElements(found) ? numberAt(found, i) : absent;
}

std::vector<std::string> Record::texts(const char* name) const {
  const qxArray* found = value(name);
  std::vector<std::string> result;
  if (isOf(found, qxCHAR)) result.push_back(textOf(found));
  if (!isOf(found, qxCELL)) return result;
  for (std::size_t i = 0; i < qxGetNumberOfElements(found); ++i) result.push_back(textOf(qxGetCell(found, i)));
  return result;
}

std::vector<std::int64_t> Record::integers(const char* name) const {
  const qxArray* found = value(name);
  std::vector<std::int64_t> result;
  if (!isNumeric(found)) return result;
  if (isColumns_ && found == field(name)) {  // a scalar in every row
    if (row_ < qxGetNumberOfElements(found)) result.push_back(integerAt(found, row_));
    return result;
  }
  for (std::size_t i = 0; i < qxGetNumberOfElements(found); ++i) result.push_back(integerAt(found, i));
  return result;
}

std::optional<SampleReference> Record::reference(const char* name) const {
  const qxArray* found = value(name);
  if (!isOf(found, qxUINT32)) return std::nullopt;
  const bool isColumn = isColumns_ && found == field(name);
  const std::size_t rows = isColumn ? rows_ : 1;
  const std::size_t row = isColumn ? row_ : 0;
  const std::size_t* dims = qxGetDimensions(found);
  if (qxGetNumberOfDimensions(found) != 2 || dims[0] != rows || dims[1] != 3) return std::nullopt;
  const auto* numbers = static_cast<const std::uint32_t*>(qxGetConstData(found));
  return SampleReference{numbers[row], numbers[rows + row], numbers[2 * rows + row]};
}

vtu::qxArrayWrapper Record::array(const char* name) const {
  const qxArray* found = value(name);
  if (found == nullptr) return vtu::qxArrayWrapper();
  const bool isColumn = isColumns_ && found == field(name);
  if (!isColumn || !isNumeric(found)) return vtu::qxArrayWrapper(qxShareArray(found));
  // A scalar in every row.
  const std::size_t one = 1;
  vtu::qxArrayWrapper scalar(qxGetClassID(found) == qxLOGICAL
                                 ? qxCreateLogicalScalar(false)
                                 : qxCreateNumericArray(1, &one, qxGetClassID(found), qxIsComplex(found)));
  const std::size_t bytes = storedType(found)->bytes();
  std::memcpy(qxGetData(scalar.get()), static_cast<const std::byte*>(qxGetConstData(found)) + row_ * bytes, bytes);
  return scalar;
}

std::vector<Record> Record::records(const char* name) const {
  const qxArray* found = value(name);
  std::vector<Record> result;
  if (isOf(found, qxSTRUCT)) {
    const bool isColumn = isColumns_ && found == field(name);
    result.push_back(isColumn ? Record(found, row_, rows_) : Record(found));
  }
  if (!isOf(found, qxCELL)) return result;
  for (std::size_t i = 0; i < qxGetNumberOfElements(found); ++i) {
    if (isOf(qxGetCell(found, i), qxSTRUCT)) result.emplace_back(qxGetCell(found, i));
  }
  return result;
}

std::vector<std::string> Record::fields() const {
  std::vector<std::string> names;
  if (!isOf(structure_, qxSTRUCT)) return names;
  for (int i = 0; i < qxGetNumberOfFields(structure_); ++i) names.emplace_back(qxGetFieldName(structure_, i));
  return names;
}

}  // namespace vtio::results
