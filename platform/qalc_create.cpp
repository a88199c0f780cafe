// Making, copying and destroying arrays.

#include <cstring>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qalc_internal.hpp"
#include "platform/text.hpp"

namespace vtu::qalc {

namespace {

ArrayPtr makeArray(std::size_t ndim, const std::size_t* dims, qxClassID id, bool isComplex) {
  return ArrayPtr(new qxArray(ndim, dims, id, isComplex));
}

/// An array of values without its storage.
ArrayPtr makeShape(const char* function, std::size_t ndim, const std::size_t* dims, qxClassID id, bool isComplex) {
  if (elementSize(id) == 0) {
    fail("WrongClass", {function, className(id), "a numeric, logical or char class"});
  }
  if (isComplex && (id == qxLOGICAL || id == qxCHAR)) {
    fail("WrongClass", {function, std::string("complex ") + className(id), "a numeric class"});
  }
  return makeArray(ndim, dims, id, isComplex);
}

/// Bytes of all values.
std::size_t valueBytes(const char* function, const qxArray& array) {
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(array.dims.elements(), elementSize(array.id) * (array.complex ? 2 : 1), &bytes)) {
    throw std::length_error(std::string(function) + ": " + std::to_string(array.dims.elements()) +
                            " elements are too many");
  }
  return bytes;
}

/// A zero-filled array of values.
ArrayPtr makeValues(const char* function, std::size_t ndim, const std::size_t* dims, qxClassID id, bool isComplex) {
  ArrayPtr array = makeShape(function, ndim, dims, id, isComplex);
  array->storage = std::make_shared<Storage>(valueBytes(function, *array));
  return array;
}

/// Marks the array as made row-major.
void setRowMajor(qxArray& array) {
  array.madeRowMajor = true;
  array.storage->rowMajor = !array.dims.isLine();
}

ArrayPtr makeScalar(const char* function, qxClassID id) {
  const std::size_t dims[] = {1, 1};
  return makeValues(function, 2, dims, id, false);
}

/// Tells names apart: pairwise as long as there are few, which needs no memory.
class DifferentNames final {
 public:
  explicit DifferentNames(const std::vector<Field>& fields) : fields_(fields) {}

  /// @return False for a name that one of the fields has already.
  bool take(std::string_view name) {
    constexpr std::size_t kFew = 32;
    if (fields_.size() < kFew) {
      return std::none_of(fields_.begin(), fields_.end(), [name](const Field& field) { return field.name == name; });
    }
    for (; known_ < fields_.size(); ++known_) taken_.insert(fields_[known_].name);
    return taken_.count(name) == 0;
  }

 private:
  const std::vector<Field>& fields_;
  std::size_t known_ = 0;
  std::unordered_set<std::string_view> taken_;
};

void addFields(Storage& storage, std::size_t elements, int numFields, const char* const* names) {
  storage.fields.reserve(static_cast<std::size_t>(numFields));  // the names stay where they are
  DifferentNames different(storage.fields);
  for (int i = 0; i < numFields; ++i) {
    if (names == nullptr || names[i] == nullptr) {
      throw std::invalid_argument("qxCreateStructArray: field " + std::to_string(i) + " has no name");
    }
    if (!different.take(names[i])) {
      throw std::invalid_argument("qxCreateStructArray: the field '" + std::string(names[i]) + "' is named twice");
    }
    storage.fields.push_back({names[i], FieldValues(elements)});
  }
}

template <typename Values>
Values duplicates(const Values& values) {
  Values result(values.size());
  std::transform(values.begin(), values.end(), result.begin(),
                 [](const ArrayPtr& value) { return ArrayPtr(value ? qxDuplicateArray(value.get()) : nullptr); });
  return result;
}

}  // namespace

const char* className(qxClassID id) {
  switch (id) {
    case qxCELL:
      return "cell";
    case qxSTRUCT:
      return "struct";
    case qxLOGICAL:
      return "logical";
    case qxCHAR:
      return "char";
    case qxDOUBLE:
      return "double";
    case qxSINGLE:
      return "single";
    case qxINT8:
      return "int8";
    case qxUINT8:
      return "uint8";
    case qxINT16:
      return "int16";
    case qxUINT16:
      return "uint16";
    case qxINT32:
      return "int32";
    case qxUINT32:
      return "uint32";
    case qxINT64:
      return "int64";
    case qxUINT64:
      return "uint64";
    case qxUNKNOWN:
      break;
  }
  return "unknown";
}

void fail(const char* key, std::initializer_list<std::string> arguments) {
  std::vector<ustring> texts;
  for (const std::string& argument : arguments) {
    texts.push_back(to_ustring(argument));
  }
  vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic("Vortan:Qalc", key, std::move(texts)));
}

}  // namespace vtu::qalc

using vtu::qalc::ArrayPtr;
using vtu::qalc::fail;
using vtu::qalc::Storage;

qxArray* qxCreateNumericArray(std::size_t ndim, const std::size_t* dims, qxClassID id, bool isComplex) {
  return vtu::qalc::makeValues(__func__, ndim, dims, id, isComplex).release();
}

qxArray* qxCreateNumericArrayRowMajor(std::size_t ndim, const std::size_t* dims, qxClassID id, bool isComplex) {
  ArrayPtr array = vtu::qalc::makeValues(__func__, ndim, dims, id, isComplex);
  vtu::qalc::setRowMajor(*array);
  return array.release();
}

qxArray* qxCreateLogicalArray(std::size_t ndim, const std::size_t* dims) {
  return vtu::qalc::makeValues(__func__, ndim, dims, qxLOGICAL, false).release();
}

qxArray* qxCreateDoubleScalar(double value) {
  ArrayPtr array = vtu::qalc::makeScalar(__func__, qxDOUBLE);
  std::memcpy(array->storage->values.data(), &value, sizeof value);
  return array.release();
}

qxArray* qxCreateLogicalScalar(bool value) {
  ArrayPtr array = vtu::qalc::makeScalar(__func__, qxLOGICAL);
  std::memcpy(array->storage->values.data(), &value, sizeof value);
  return array.release();
}

qxArray* qxCreateString(const char* utf8) {
  const vtu::ustring text = vtu::to_ustring(utf8 != nullptr ? utf8 : "");
  return qxCreateUString(text.data(), text.size());
}

qxArray* qxCreateUString(const char16_t* text, std::size_t length) {
  if (text == nullptr && length != 0) {
    throw std::invalid_argument("qxCreateUString: no text given for " + std::to_string(length) + " code units");
  }
  const std::size_t dims[] = {1, length};
  ArrayPtr array = vtu::qalc::makeValues(__func__, 2, dims, qxCHAR, false);
  if (length != 0) {
    std::memcpy(array->storage->values.data(), text, length * sizeof *text);
  }
  return array.release();
}

qxArray* qxCreateCellArray(std::size_t ndim, const std::size_t* dims) {
  ArrayPtr array = vtu::qalc::makeArray(ndim, dims, qxCELL, false);
  array->storage = std::make_shared<Storage>();
  array->storage->ownCells.resize(array->dims.elements());
  return array.release();
}

qxArray* qxCreateStructArray(std::size_t ndim, const std::size_t* dims, int numFields, const char* const* names) {
  if (numFields < 0) {
    throw std::invalid_argument("qxCreateStructArray: the number of fields is negative: " + std::to_string(numFields));
  }
  ArrayPtr array = vtu::qalc::makeArray(ndim, dims, qxSTRUCT, false);
  array->storage = std::make_shared<Storage>();
  vtu::qalc::addFields(*array->storage, array->dims.elements(), numFields, names);
  return array.release();
}

qxArray* qxShareArray(const qxArray* array) {
  if (array == nullptr) {
    fail("NullArray", {__func__});
  }
  return new qxArray(*array);
}

qxArray* qxDuplicateArray(const qxArray* array) {
  if (array == nullptr) {
    fail("NullArray", {__func__});
  }
  ArrayPtr copy(new qxArray(*array));
  auto storage = std::make_shared<Storage>(array->storage->flat());
  storage->rowMajor = array->storage->rowMajor;
  storage->ownCells = vtu::qalc::duplicates(array->storage->cells());
  for (const vtu::qalc::Field& field : array->storage->fields) {
    storage->fields.push_back({field.name, vtu::qalc::duplicates(field.values)});
  }
  copy->storage = std::move(storage);
  return copy.release();
}

void qxDestroyArray(qxArray* array) { delete array; }

void qxFree(void* memory) { std::free(memory); }
