#include "recorders/layout/stored_type.hpp"

#include <string>

#include "recorders/layout/refusal.hpp"
#include "vtio/core/utils/string_leaf_node.hpp"

namespace vtio::recorders {
namespace {

using core::utils::LeafNode;
using core::utils::StringLeafNode;

// The kinds of fxpDataTypeProp::dataTypeKind.
enum Kind : std::int32_t { kInteger = 0, kScaledDouble = 1, kDouble = 2, kSingle = 3, kBoolean = 4 };

qxClassID integerClass(const LeafNode& leaf, std::size_t bytes) {
  const bool isSigned = leaf.fxpDataTypeProperties().isSigned != 0;
  switch (bytes) {
    case 1:
      return isSigned ? qxINT8 : qxUINT8;
    case 2:
      return isSigned ? qxINT16 : qxUINT16;
    case 4:
      return isSigned ? qxINT32 : qxUINT32;
    case 8:
      return isSigned ? qxINT64 : qxUINT64;
    default:
      return qxUINT64;
  }
}

StoredType textType(const StringLeafNode& leaf, bool insideNonVirtualBus) {
  StoredType type;
  type.text = insideNonVirtualBus ? StoredType::Text::inPlace : StoredType::Text::address;
  type.id = qxCELL;
  if (!insideNonVirtualBus && leaf.maxBytes() < sizeof(void*)) {
    refuse(leaf, "a text of at most " + std::to_string(leaf.maxBytes()) + " bytes cannot be delivered by address");
  }
  return type;
}

StoredType numberType(const LeafNode& leaf) {
  StoredType type;
  type.isComplex = leaf.isComplexDataType();
  const fxpDataTypeProp& properties = leaf.fxpDataTypeProperties();
  type.elementBytes = fxpDataTypeProp_GetSize(&properties);
  switch (properties.dataTypeKind) {
    case kInteger:
      type.id = integerClass(leaf, type.elementBytes);
      if (type.elementBytes > 8) type.words = type.elementBytes / 8;
      break;
    case kScaledDouble:
    case kDouble:
      type.id = qxDOUBLE;
      break;
    case kSingle:
      type.id = qxSINGLE;
      break;
    case kBoolean:
      type.id = type.isComplex ? qxUINT8 : qxLOGICAL;
      break;
    default:
      refuse(leaf, "unknown kind of data type " + std::to_string(properties.dataTypeKind));
  }
  if (type.elementBytes == 0) {
    refuse(leaf, "a word length of " + std::to_string(properties.wordLength) + " bits holds no values");
  }
  return type;
}

// A leaf class of another library may return any size: the bytes to copy must follow from type and dimensions.
void checkBytes(const LeafNode& leaf, const StoredType& type) {
  std::size_t bytes = type.elementBytes * (type.isComplex ? 2 : 1);
  for (const long long dimension : leaf.dataDimensions()) {
    if (dimension < 0) refuse(leaf, "it has the dimension " + std::to_string(dimension));
    if (__builtin_mul_overflow(bytes, static_cast<std::size_t>(dimension), &bytes)) {
      refuse(leaf, "its dimensions are too large");
    }
  }
  if (leaf.bytesPerSample() != bytes) {
    refuse(leaf, "it says that a sample has " + std::to_string(leaf.bytesPerSample()) +
                     " bytes, but its type and dimensions make " + std::to_string(bytes));
  }
}

}  // namespace

StoredType storedType(const LeafNode& leaf, bool insideNonVirtualBus) {
  if (const auto* text = dynamic_cast<const StringLeafNode*>(&leaf)) return textType(*text, insideNonVirtualBus);
  const StoredType type = numberType(leaf);
  checkBytes(leaf, type);
  return type;
}

}  // namespace vtio::recorders
