// Reading and writing arrays.

#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/qalc_internal.hpp"
#include "platform/qalc_values.hpp"
#include "platform/text.hpp"

namespace vtu::qalc {

namespace {

const qxArray& nonNull(const char* function, const qxArray* array) {
  if (array == nullptr) {
    fail("NullArray", {function});
  }
  return *array;
}

const qxArray& ofClass(const char* function, const qxArray* array, qxClassID id) {
  if (nonNull(function, array).id != id) {
    fail("WrongClass", {function, className(array->id), className(id)});
  }
  return *array;
}

const qxArray& withValues(const char* function, const qxArray* array) {
  if (elementSize(nonNull(function, array).id) == 0) {
    fail("WrongClass", {function, className(array->id), "a numeric, logical or char class"});
  }
  return *array;
}

const qxArray& notEmpty(const char* function, const qxArray& array) {
  if (array.dims.elements() == 0) {
    fail("EmptyArray", {function});
  }
  return array;
}

void checkIndex(const char* function, std::size_t index, std::size_t count) {
  if (index >= count) {
    fail("IndexOutOfRange", {function, std::to_string(index), std::to_string(count)});
  }
}

std::size_t elementBytes(const qxArray& array) { return elementSize(array.id) * (array.complex ? 2 : 1); }

template <typename Values>
Values sharedCopies(const Values& values) {
  Values result(values.size());
  std::transform(values.begin(), values.end(), result.begin(),
                 [](const ArrayPtr& value) { return ArrayPtr(value ? qxShareArray(value.get()) : nullptr); });
  return result;
}

/// Gives the array storage of its own, so that writing it leaves its shared copies alone.
Storage& unshare(qxArray& array) {
  if (array.storage.use_count() > 1 || array.storage->samples) {
    auto own = std::make_shared<Storage>(array.storage->flat());
    own->rowMajor = array.storage->rowMajor;
    own->ownCells = sharedCopies(array.storage->cells());
    own->fields.reserve(array.storage->fields.size());
    for (const Field& field : array.storage->fields) {
      own->fields.push_back({field.name, sharedCopies(field.values)});
    }
    array.storage = std::move(own);
  }
  return *array.storage;
}

/// Brings the values of unshared storage into the wanted order.
void setOrder(Storage& storage, const qxArray& array, bool rowMajor) {
  if (storage.rowMajor != rowMajor && !array.dims.isLine()) {
    Buffer reordered(storage.values.size());
    reorder(storage.values.data(), reordered.data(), array.dims, elementBytes(array), !rowMajor);
    storage.values.swap(reordered);
    storage.rowMajor = rowMajor;
  }
  delete storage.columnMajorCopy.exchange(nullptr);
}

/// The column-major values. The first reader of row-major storage converts them; readers may race for that.
const std::byte* columnMajorValues(const qxArray& array) {
  const Storage& storage = *array.storage;
  const Buffer& values = storage.flat();
  if (!storage.rowMajor) {
    return values.data();
  }
  const Buffer* known = storage.columnMajorCopy.load();
  if (known == nullptr) {
    auto converted = std::make_unique<Buffer>(values.size());
    reorder(values.data(), converted->data(), array.dims, elementBytes(array), true);
    if (storage.columnMajorCopy.compare_exchange_strong(known, converted.get())) {
      known = converted.release();
    }
  }
  return known->data();
}

Field* findField(Storage& storage, std::string_view name) {
  const auto found = std::find_if(storage.fields.begin(), storage.fields.end(),
                                  [&](const Field& field) { return field.name == name; });
  return found != storage.fields.end() ? &*found : nullptr;
}

}  // namespace

}  // namespace vtu::qalc

using vtu::qalc::Field;
using vtu::qalc::Storage;

qxClassID qxGetClassID(const qxArray* array) { return vtu::qalc::nonNull(__func__, array).id; }

bool qxIsComplex(const qxArray* array) { return vtu::qalc::nonNull(__func__, array).complex; }

bool qxIsEmpty(const qxArray* array) { return array == nullptr || array->dims.elements() == 0; }

std::size_t qxGetNumberOfDimensions(const qxArray* array) { return vtu::qalc::nonNull(__func__, array).dims.size(); }

const std::size_t* qxGetDimensions(const qxArray* array) { return vtu::qalc::nonNull(__func__, array).dims.data(); }

std::size_t qxGetNumberOfElements(const qxArray* array) { return vtu::qalc::nonNull(__func__, array).dims.elements(); }

void* qxGetData(qxArray* array) {
  vtu::qalc::withValues(__func__, array);
  Storage& storage = vtu::qalc::unshare(*array);
  vtu::qalc::setOrder(storage, *array, false);
  return storage.values.data();
}

void* qxGetRowMajorData(qxArray* array) {
  if (!vtu::qalc::nonNull(__func__, array).madeRowMajor) {
    return nullptr;
  }
  Storage& storage = vtu::qalc::unshare(*array);
  vtu::qalc::setOrder(storage, *array, true);
  return storage.values.data();
}

const void* qxGetConstData(const qxArray* array) {
  return vtu::qalc::columnMajorValues(vtu::qalc::withValues(__func__, array));
}

double qxGetScalar(const qxArray* array) {
  const qxArray& checked = vtu::qalc::notEmpty(__func__, vtu::qalc::withValues(__func__, array));
  return vtu::withValueType(checked.id, [&](auto value) {
    std::memcpy(&value, checked.storage->flat().data(), sizeof value);
    return static_cast<double>(value);
  });
}

const bool* qxGetLogicals(const qxArray* array) {
  const qxArray& checked = vtu::qalc::notEmpty(__func__, vtu::qalc::ofClass(__func__, array, qxLOGICAL));
  return reinterpret_cast<const bool*>(vtu::qalc::columnMajorValues(checked));
}

const char16_t* qxGetChars(const qxArray* array) {
  const qxArray& checked = vtu::qalc::ofClass(__func__, array, qxCHAR);
  return reinterpret_cast<const char16_t*>(vtu::qalc::columnMajorValues(checked));
}

char* qxArrayToString(const qxArray* array) {
  const qxArray& checked = vtu::qalc::ofClass(__func__, array, qxCHAR);
  const auto* units = reinterpret_cast<const char16_t*>(vtu::qalc::columnMajorValues(checked));
  const std::string utf8 = vtu::to_string(std::u16string_view(units, checked.dims.elements()));
  auto* result = static_cast<char*>(std::malloc(utf8.size() + 1));
  if (result == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(result, utf8.c_str(), utf8.size() + 1);
  return result;
}

const qxArray* qxGetCell(const qxArray* array, std::size_t index) {
  const qxArray& checked = vtu::qalc::ofClass(__func__, array, qxCELL);
  vtu::qalc::checkIndex(__func__, index, checked.dims.elements());
  return checked.storage->cells()[index].get();
}

void qxSetCell(qxArray* array, std::size_t index, qxArray* value) {
  vtu::qalc::checkIndex(__func__, index, vtu::qalc::ofClass(__func__, array, qxCELL).dims.elements());
  if (value == array) {
    throw std::invalid_argument("qxSetCell: a cell array cannot contain itself");
  }
  vtu::qalc::unshare(*array).ownCells[index].reset(value);
}

int qxGetNumberOfFields(const qxArray* array) {
  return static_cast<int>(vtu::qalc::ofClass(__func__, array, qxSTRUCT).storage->fields.size());
}

const char* qxGetFieldName(const qxArray* array, int field) {
  const qxArray& checked = vtu::qalc::ofClass(__func__, array, qxSTRUCT);
  const std::vector<Field>& fields = checked.storage->fields;
  if (field < 0 || static_cast<std::size_t>(field) >= fields.size()) {
    vtu::qalc::fail("IndexOutOfRange", {__func__, std::to_string(field), std::to_string(fields.size())});
  }
  return fields[static_cast<std::size_t>(field)].name.c_str();
}

const qxArray* qxGetField(const qxArray* array, std::size_t index, const char* name) {
  const qxArray& checked = vtu::qalc::ofClass(__func__, array, qxSTRUCT);
  vtu::qalc::checkIndex(__func__, index, checked.dims.elements());
  const Field* field = name != nullptr ? vtu::qalc::findField(*checked.storage, name) : nullptr;
  return field != nullptr ? field->values[index].get() : nullptr;
}

void qxSetField(qxArray* array, std::size_t index, const char* name, qxArray* value) {
  vtu::qalc::checkIndex(__func__, index, vtu::qalc::ofClass(__func__, array, qxSTRUCT).dims.elements());
  if (name == nullptr || value == array) {
    throw std::invalid_argument(name == nullptr ? "qxSetField: the field has no name"
                                                : "qxSetField: a structure cannot contain itself");
  }
  Storage& storage = vtu::qalc::unshare(*array);
  Field* field = vtu::qalc::findField(storage, name);
  if (field == nullptr) {
    storage.fields.push_back({name, vtu::qalc::FieldValues(array->dims.elements())});
    field = &storage.fields.back();
  }
  field->values[index].reset(value);
}

namespace vtu {

qxStructWrapper::qxStructWrapper(std::initializer_list<const char*> fieldNames) {
  const std::size_t dims[] = {1, 1};
  reset(qxCreateStructArray(2, dims, static_cast<int>(fieldNames.size()), fieldNames.begin()));
}

void qxStructWrapper::set(const char* field, qxArrayWrapper value) {
  qxSetField(get(), 0, field, value.get());
  static_cast<void>(value.release());
}

qxCellArrayWrapper::qxCellArrayWrapper(std::size_t rows, std::size_t columns) {
  const std::size_t dims[] = {rows, columns};
  reset(qxCreateCellArray(2, dims));
}

void qxCellArrayWrapper::set(std::size_t index, qxArrayWrapper value) {
  qxSetCell(get(), index, value.get());
  static_cast<void>(value.release());
}

}  // namespace vtu
