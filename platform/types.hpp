/// @file
/// Data types of signals: strings, dates and fixed-point numbers.
#pragma once

#include <cstdint>
#include <string>

#include "platform/export.hpp"
#include "platform/text.hpp"

namespace VTTypeSys {

/// The string data type.
struct VTIO_PLATFORM_EXPORT StringDataType {
  /// Text of a string signal.
  /// @param data Address of null-terminated UTF-16 text; nullptr counts as empty.
  static vtu::ustring getUStringScalarFromVoidPtrInput(const void* data);
};

}  // namespace VTTypeSys

namespace VTDateTime {

/// How a date-time signal is shown.
struct DateTimeTypeAttribs {
  std::string format;
  std::string timeZone;
};

}  // namespace VTDateTime

/// Numeric type of a signal. The value is storedInteger * slopeAdjustmentFactor * 2^fixedExponent + bias.
struct fxpDataTypeProp {
  std::int32_t dataTypeKind;  ///< 0 fixed-point or integer, 1 scaled double, 2 double, 3 single, 4 boolean
  std::int32_t isSigned;      ///< 0 or 1
  std::int32_t wordLength;    ///< bits
  std::int32_t exponentWidth;
  std::int32_t fixedExponent;
  double slopeAdjustmentFactor;
  double bias;
  std::int32_t reserved;  ///< 0
};

/// Storage of one element in bytes.
///
/// Double and scaled double 8, single 4, boolean 1; fixed-point the word length rounded up to 8, 16, 32 or 64 bits, and
/// beyond that to a multiple of 64 bits. 0 for nullptr, an unknown kind, or a fixed-point word length below 1.
VTIO_PLATFORM_EXPORT unsigned fxpDataTypeProp_GetSize(const fxpDataTypeProp*);
