#include "tests/python/dump_signals.hpp"

#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"

namespace pythontest {
namespace {

std::string charsOf(const qxArray* array) {
  char* utf8 = array != nullptr && qxGetClassID(array) == qxCHAR ? qxArrayToString(array) : nullptr;
  std::string text = utf8 != nullptr ? utf8 : "";
  qxFree(utf8);
  return text;
}

void printText(const qxArray* array) {
  std::putchar('"');
  for (std::size_t i = 0; array != nullptr && i < qxGetNumberOfElements(array); ++i) {
    std::printf("\\u%04x", static_cast<unsigned>(qxGetChars(array)[i]));
  }
  std::putchar('"');
}

void printReal(double value) {
  if (std::isnan(value)) {
    std::printf("NaN");
  } else if (std::isinf(value)) {
    std::printf(value > 0 ? "Infinity" : "-Infinity");
  } else {
    std::printf("%.17g", value);
  }
}

void printNumber(const void* data, qxClassID id, std::size_t i) {
  switch (id) {
    case qxDOUBLE:
      return printReal(static_cast<const double*>(data)[i]);
    case qxSINGLE:
      return printReal(static_cast<double>(static_cast<const float*>(data)[i]));
    case qxINT8:
      std::printf("%d", static_cast<const std::int8_t*>(data)[i]);
      return;
    case qxINT16:
      std::printf("%d", static_cast<const std::int16_t*>(data)[i]);
      return;
    case qxINT32:
      std::printf("%" PRId32, static_cast<const std::int32_t*>(data)[i]);
      return;
    case qxINT64:
      std::printf("%" PRId64, static_cast<const std::int64_t*>(data)[i]);
      return;
    case qxUINT16:
      std::printf("%u", static_cast<const std::uint16_t*>(data)[i]);
      return;
    case qxUINT32:
      std::printf("%" PRIu32, static_cast<const std::uint32_t*>(data)[i]);
      return;
    case qxUINT64:
      std::printf("%" PRIu64, static_cast<const std::uint64_t*>(data)[i]);
      return;
    default:
      std::printf("%u", static_cast<const std::uint8_t*>(data)[i]);
      return;
  }
}

void printValues(const qxArray* array) {
  const bool isText = qxGetClassID(array) == qxCELL;
  const std::size_t count = qxGetNumberOfElements(array) * (qxIsComplex(array) ? 2 : 1);
  std::putchar('[');
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) std::putchar(',');
    isText ? printText(qxGetCell(array, i)) : printNumber(qxGetConstData(array), qxGetClassID(array), i);
  }
  std::putchar(']');
}

void printLeaf(const std::string& name, const qxArray* leaf) {
  const qxArray* data = qxGetField(leaf, 0, "Data");
  std::printf("{\"name\": \"%s\", \"class\": %d, \"complex\": %s, \"dims\": [", name.c_str(), qxGetClassID(data),
              qxIsComplex(data) ? "true" : "false");
  for (std::size_t d = 0; d < qxGetNumberOfDimensions(data); ++d) {
    std::printf(d == 0 ? "%zu" : ",%zu", qxGetDimensions(data)[d]);
  }
  std::printf("], \"unit\": ");
  printText(qxGetField(leaf, 0, "Unit"));
  std::printf(", \"time\": ");
  printValues(qxGetField(leaf, 0, "Time"));
  std::printf(", \"data\": ");
  printValues(data);
  std::printf("}\n");
}

void printNode(const std::string& name, const qxArray* node) {
  if (charsOf(qxGetField(node, 0, "Kind")) == "leaf") return printLeaf(name, node);
  for (int i = 0; i < qxGetNumberOfFields(node); ++i) {
    const std::string_view field = qxGetFieldName(node, i);
    if (field != "Kind") printNode(name + "." + std::string(field), qxGetField(node, 0, qxGetFieldName(node, i)));
  }
}

/// The name of the k-th iteration of a for-each signal: [k] behind the element's name.
void printElement(const qxArray* element) {
  const std::string name = charsOf(qxGetField(element, 0, "Name"));
  const qxArray* values = qxGetField(element, 0, "Values");
  if (qxGetClassID(values) != qxCELL) return printNode(name, values);
  for (std::size_t k = 0; k < qxGetNumberOfElements(values); ++k) {
    printNode(name + "[" + std::to_string(k) + "]", qxGetCell(values, k));
  }
}

}  // namespace

int dumpSignals(const char* name) {
  QatFile* file = qatOpen(name, "r");
  if (file == nullptr) return std::fprintf(stderr, "%s\n", qatLastError()), 1;
  const vtu::qxArrayWrapper variable(qatGetVariable(file, "DATASET_SIGNAL_LOGGING"));
  if (!variable) return std::fprintf(stderr, "%s\n", qatLastError()), 1;
  const qxArray* elements = qxGetField(qxGetField(variable.get(), 0, "Dataset"), 0, "Elements");
  for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) printElement(qxGetCell(elements, i));
  return qatClose(file) == 0 ? 0 : 1;
}

}  // namespace pythontest
