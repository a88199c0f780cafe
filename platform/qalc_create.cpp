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

void addFields(Storage& storage, std::size_t elements, int numFields, const char* const* names) {
  storage.fields.reserve(static_cast<std::size_t>(numFields));
  std::unordered_set<std::string_view> taken;
  for (int i = 0; i < numFields; ++i) {
    if (names == nullptr || names[i] == nullptr) {
      throw std::invalid_argument("qxCreateStructArray: field " + std::to_string(i) + " has no name");
    }
    if (!taken.insert(names[i]).second) {
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

qxArray* qxCreateNumericArrayOfPieces(std::size_t ndim, const std::size_t* dims, qxClassID id, bool isComplex,
                                      const qxPiece* pieces, std::size_t count, void* owner,
                                      void (*release)(void* owner)) {
  ArrayPtr array = vtu::qalc::makeShape(__func__, ndim, dims, id, isComplex);
  const std::size_t expected = vtu::qalc::valueBytes(__func__, *array);
  if (pieces == nullptr && count != 0) {
    throw std::invalid_argument(std::string(__func__) + ": no list given for " + std::to_string(count) + " pieces");
  }
  std::size_t given = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (pieces[i].values == nullptr || __builtin_add_overflow(given, pieces[i].bytes, &given)) {
      throw std::invalid_argument(std::string(__func__) + ": piece " + std::to_string(i) + " is null or too large");
    }
  }
  if (given != expected) {
    throw std::invalid_argument(std::string(__func__) + ": the pieces have " + std::to_string(given) + " bytes, the " +
                                std::to_string(array->dims.elements()) + " elements " + std::to_string(expected));
  }
  array->storage = std::make_shared<Storage>();
  array->storage->pieces = std::make_unique<vtu::qalc::Pieces>(pieces, count, expected);
  vtu::qalc::setRowMajor(*array);
  array->storage->pieces->take(owner, release);  // last: nothing throws from here on
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
