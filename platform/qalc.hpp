/// @file
/// Arrays of the Qalc numeric workspace.
///
///     vtu::qxStructWrapper point({"Name", "Data"});
///     point.set("Name", vtu::qxArrayWrapper(qxCreateString("speed")));
///     const std::size_t dims[] = {3, 2};
///     vtu::qxArrayWrapper data(qxCreateNumericArray(2, dims, qxDOUBLE, false));
///     static_cast<double*>(qxGetData(data.get()))[3] = 7.0;        // element (0, 1): values are column-major
///     point.set("Data", std::move(data));
///
/// Conventions:
///  1. Dimensions: at least two. One dimension N makes an N-by-1 array, none a 1-by-1 array, and trailing dimensions
///     of 1 beyond the second are dropped. Values are column-major, indices start at 0.
///  2. Ownership: whoever creates, shares or duplicates an array destroys it with qxDestroyArray() or an owner from
///     namespace vtu below. What qxGetCell() and qxGetField() return is owned by the container.
///  3. Sharing: a shared copy shares its storage until one side is written. Pointers to values are valid until the
///     array is written through another function, or destroyed. A pointer for writing is taken anew after sharing.
///  4. Errors: a null array, an array of the wrong class, an index outside the array, or an empty array where an
///     element is needed throws vtsv::IException "Vortan:Qalc" with the key "NullArray", "WrongClass",
///     "IndexOutOfRange" or "EmptyArray". Whatever else is wrong with an argument throws std::invalid_argument or
///     std::length_error. A setter that throws leaves the value with the caller.
///  5. Threads: reading arrays that share storage from several threads is safe; writing one is not.
///
/// See also qat.hpp, which stores arrays in files.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>

#include "platform/export.hpp"

/// Class of an array's elements.
enum qxClassID : int {
  qxUNKNOWN = 0,
  qxCELL = 1,
  qxSTRUCT = 2,
  qxLOGICAL = 3,
  qxCHAR = 4,
  qxDOUBLE = 6,
  qxSINGLE = 7,
  qxINT8 = 8,
  qxUINT8 = 9,
  qxINT16 = 10,
  qxUINT16 = 11,
  qxINT32 = 12,
  qxUINT32 = 13,
  qxINT64 = 14,
  qxUINT64 = 15
};

/// An array; opaque.
struct qxArray;

/// A zero-filled array. Complex values are interleaved: real part, imaginary part.
/// @param dims ndim extents.
/// @param id A numeric class, or qxLOGICAL or qxCHAR (these two never complex).
VTIO_PLATFORM_EXPORT qxArray* qxCreateNumericArray(std::size_t ndim, const std::size_t* dims, qxClassID id,
                                                   bool isComplex);

/// The same, stored row-major (last index fastest) so that samples may arrive one after another along the first
/// dimension. Readers still see column-major values, converted once; a Qat file takes the storage as it is.
VTIO_PLATFORM_EXPORT qxArray* qxCreateNumericArrayRowMajor(std::size_t ndim, const std::size_t* dims, qxClassID id,
                                                           bool isComplex);

/// The row-major storage of an array made row-major, for writing; unshares. nullptr for any other array.
/// Pointers from qxGetData() and qxGetConstData() of this array are no longer valid afterwards.
VTIO_PLATFORM_EXPORT void* qxGetRowMajorData(qxArray*);

/// An array of booleans, all false.
VTIO_PLATFORM_EXPORT qxArray* qxCreateLogicalArray(std::size_t ndim, const std::size_t* dims);
VTIO_PLATFORM_EXPORT qxArray* qxCreateDoubleScalar(double value);
VTIO_PLATFORM_EXPORT qxArray* qxCreateLogicalScalar(bool value);

/// A 1-by-N char array from null-terminated UTF-8; nullptr counts as empty.
VTIO_PLATFORM_EXPORT qxArray* qxCreateString(const char* utf8);

/// A 1-by-N char array, kept unit by unit.
/// @param text length code units; may be nullptr if length is 0.
VTIO_PLATFORM_EXPORT qxArray* qxCreateUString(const char16_t* text, std::size_t length);

/// A cell array whose cells are all empty.
VTIO_PLATFORM_EXPORT qxArray* qxCreateCellArray(std::size_t ndim, const std::size_t* dims);

/// A structure array whose fields are all empty.
/// @param names numFields null-terminated names, all different.
VTIO_PLATFORM_EXPORT qxArray* qxCreateStructArray(std::size_t ndim, const std::size_t* dims, int numFields,
                                                  const char* const* names);

VTIO_PLATFORM_EXPORT qxClassID qxGetClassID(const qxArray*);
VTIO_PLATFORM_EXPORT bool qxIsComplex(const qxArray*);

/// True if any dimension is 0, and for nullptr.
VTIO_PLATFORM_EXPORT bool qxIsEmpty(const qxArray*);
VTIO_PLATFORM_EXPORT std::size_t qxGetNumberOfDimensions(const qxArray*);

/// The extents, valid as long as the array.
VTIO_PLATFORM_EXPORT const std::size_t* qxGetDimensions(const qxArray*);

/// Product of the extents.
VTIO_PLATFORM_EXPORT std::size_t qxGetNumberOfElements(const qxArray*);

/// The column-major values for writing; unshares. Numeric, logical and char arrays only.
VTIO_PLATFORM_EXPORT void* qxGetData(qxArray*);

/// The column-major values for reading. Numeric, logical and char arrays only.
VTIO_PLATFORM_EXPORT const void* qxGetConstData(const qxArray*);

/// First element of a numeric, logical or char array as a double; the real part of a complex one.
VTIO_PLATFORM_EXPORT double qxGetScalar(const qxArray*);

/// The column-major values of a logical array that is not empty.
VTIO_PLATFORM_EXPORT const bool* qxGetLogicals(const qxArray*);

/// The column-major code units of a char array; not terminated.
VTIO_PLATFORM_EXPORT const char16_t* qxGetChars(const qxArray*);

/// The column-major text of a char array as null-terminated UTF-8; release with qxFree().
VTIO_PLATFORM_EXPORT char* qxArrayToString(const qxArray*);

/// Cell of a cell array, valid until the cell array is written or destroyed; nullptr for an empty cell.
VTIO_PLATFORM_EXPORT const qxArray* qxGetCell(const qxArray*, std::size_t index);

/// Puts a value into a cell, taking ownership; nullptr empties the cell.
VTIO_PLATFORM_EXPORT void qxSetCell(qxArray*, std::size_t index, qxArray* value);

/// Number of fields of a structure array.
VTIO_PLATFORM_EXPORT int qxGetNumberOfFields(const qxArray*);

/// Name of a field, valid until a field is added or the structure is destroyed.
VTIO_PLATFORM_EXPORT const char* qxGetFieldName(const qxArray*, int field);

/// Field of one element, valid until the structure is written or destroyed; nullptr if there is no such field or it was
/// never set.
VTIO_PLATFORM_EXPORT const qxArray* qxGetField(const qxArray*, std::size_t index, const char* name);

/// Puts a value into a field of one element, taking ownership; adds the field if it is new; nullptr empties it.
VTIO_PLATFORM_EXPORT void qxSetField(qxArray*, std::size_t index, const char* name, qxArray* value);

/// A shared copy: same values, same storage until one side is written.
VTIO_PLATFORM_EXPORT qxArray* qxShareArray(const qxArray*);

/// A deep copy that shares nothing.
VTIO_PLATFORM_EXPORT qxArray* qxDuplicateArray(const qxArray*);

/// Destroys an array and what it contains; nullptr is allowed.
VTIO_PLATFORM_EXPORT void qxDestroyArray(qxArray*);

/// Releases text and lists that these services return; nullptr is allowed.
VTIO_PLATFORM_EXPORT void qxFree(void*);

namespace vtu {

/// Sole owner of an array; empty by default.
class VTIO_PLATFORM_EXPORT qxArrayWrapper {
 public:
  /// @param taken The array to own, or nullptr.
  explicit qxArrayWrapper(qxArray* taken = nullptr) noexcept : array_(taken) {}
  qxArrayWrapper(qxArrayWrapper&& other) noexcept : array_(other.release()) {}
  qxArrayWrapper& operator=(qxArrayWrapper&& other) noexcept {
    if (this != &other) {
      reset(other.release());
    }
    return *this;
  }
  qxArrayWrapper(const qxArrayWrapper&) = delete;
  qxArrayWrapper& operator=(const qxArrayWrapper&) = delete;
  ~qxArrayWrapper() { qxDestroyArray(array_); }

  /// The array, still owned; nullptr if empty.
  [[nodiscard]] qxArray* get() const noexcept { return array_; }

  /// Gives the array to the caller and becomes empty.
  [[nodiscard]] qxArray* release() noexcept { return std::exchange(array_, nullptr); }

  /// Destroys the array and takes another one.
  void reset(qxArray* taken = nullptr) noexcept {
    if (taken != array_) {
      qxDestroyArray(std::exchange(array_, taken));
    }
  }

  explicit operator bool() const noexcept { return array_ != nullptr; }

 private:
  qxArray* array_;
};

/// Sole owner of a 1-by-1 structure.
class VTIO_PLATFORM_EXPORT qxStructWrapper : public qxArrayWrapper {
 public:
  /// Makes the structure; all fields empty.
  explicit qxStructWrapper(std::initializer_list<const char*> fieldNames);

  /// Puts a value into a field; adds the field if it is new.
  void set(const char* field, qxArrayWrapper value);
};

/// Sole owner of a cell array.
class VTIO_PLATFORM_EXPORT qxCellArrayWrapper : public qxArrayWrapper {
 public:
  /// Makes the cell array; all cells empty.
  qxCellArrayWrapper(std::size_t rows, std::size_t columns);

  /// Puts a value into a cell.
  void set(std::size_t index, qxArrayWrapper value);
};

}  // namespace vtu
