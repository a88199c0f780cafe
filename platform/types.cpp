#include "platform/types.hpp"

namespace VTTypeSys {

vtu::ustring StringDataType::getUStringScalarFromVoidPtrInput(const void* data) {
  return data != nullptr ? vtu::ustring(static_cast<const char16_t*>(data)) : vtu::ustring();
}

}  // namespace VTTypeSys

namespace {

/// Bytes of a fixed-point number of so many bits.
unsigned fixedPointSize(std::int32_t wordLength) {
  if (wordLength < 1) {
    return 0;
  }
  const auto bits = static_cast<unsigned>(wordLength);
  for (const unsigned width : {8U, 16U, 32U, 64U}) {
    if (bits <= width) {
      return width / 8;
    }
  }
  return (bits + 63) / 64 * 8;
}

}  // namespace

unsigned fxpDataTypeProp_GetSize(const fxpDataTypeProp* properties) {
  if (properties == nullptr) {
    return 0;
  }
  switch (properties->dataTypeKind) {
    case 0:
      return fixedPointSize(properties->wordLength);
    case 1:
    case 2:
      return 8;
    case 3:
      return 4;
    case 4:
      return 1;
    default:
      return 0;
  }
}
