#include "vtio/core/utils/fxp_properties.hpp"

#include <cmath>
#include <string>
#include <string_view>

#include "platform/diagnostics.hpp"
#include "platform/text.hpp"
#include "vtio/core/utils/built_in_properties.hpp"
#include "vtio/core/utils/node.hpp"

namespace vtio::core::utils {
namespace {

constexpr int kKindDouble = 2;
constexpr int kKindSingle = 3;
constexpr int kKindBoolean = 4;

struct NamedProperties {
  std::string_view className;
  fxpDataTypeProp properties;
};

fxpDataTypeProp integerProperties(bool isSigned, int wordLength) {
  return fxpPropertiesFromScaling(isSigned, wordLength, 1.0, 0.0);
}

}  // namespace

const fxpDataTypeProp* builtInProperties(std::string_view className) {
  static const fxpDataTypeProp doubleProperties{kKindDouble, 1, 64, 11, 0, 1.0, 0.0, 0};
  static const fxpDataTypeProp booleanProperties{kKindBoolean, 0, 8, 0, 0, 1.0, 0.0, 0};
  static const NamedProperties table[] = {
      {"double", doubleProperties},
      {"single", {kKindSingle, 1, 32, 8, 0, 1.0, 0.0, 0}},
      {"boolean", booleanProperties},
      {"logical", booleanProperties},
      {"int8", integerProperties(true, 8)},
      {"uint8", integerProperties(false, 8)},
      {"int16", integerProperties(true, 16)},
      {"uint16", integerProperties(false, 16)},
      {"int32", integerProperties(true, 32)},
      {"uint32", integerProperties(false, 32)},
      {"int64", integerProperties(true, 64)},
      {"uint64", integerProperties(false, 64)},
      {"string", integerProperties(false, 8)},
      {"action", doubleProperties},
      {"fcn_call", doubleProperties},
  };
  for (const NamedProperties& row : table) {
    if (row.className == className) return &row.properties;
  }
  return nullptr;
}

fxpDataTypeProp fxpPropertiesFromScaling(bool isSigned, int wordLength, double slope, double bias) {
  int exponent = 0;
  const double fraction = std::frexp(slope, &exponent);  // slope = fraction * 2^exponent, fraction in [0.5, 1)
  return {0, isSigned ? 1 : 0, wordLength, 0, exponent - 1, 2.0 * fraction, bias, 0};
}

fxpDataTypeProp Node::getFxpDataTypeProperties(std::string datatypeClassName) {
  if (const fxpDataTypeProp* properties = builtInProperties(datatypeClassName)) return *properties;
  vtsvThrowIExceptionFromDiagnostic(
      vtsvCreateDiagnostic("Vortan:logLoadBlocks", "UnhandledDatatype", {vtu::to_ustring(datatypeClassName)}));
}

}  // namespace vtio::core::utils
