#include "platform/qat/equality.hpp"

#include <algorithm>
#include <cstring>

namespace vtu::qat {
namespace {

bool sameList(const std::vector<qalc::ArrayPtr>& a, const std::vector<qalc::ArrayPtr>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& x, const auto& y) { return sameValue(x.get(), y.get()); });
}

bool sameFields(const std::vector<qalc::Field>& a, const std::vector<qalc::Field>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const qalc::Field& x, const qalc::Field& y) {
    return x.name == y.name && sameList(x.values, y.values);
  });
}

bool sameElements(const qxArray& a, const qxArray& b) {
  const qalc::ValueView first = qalc::storedValues(a);
  const qalc::ValueView second = qalc::storedValues(b);
  const std::size_t size = a.dims.elements() * first.elementBytes;
  if (first.rowMajor == second.rowMajor) return std::memcmp(first.data, second.data, size) == 0;
  return std::memcmp(qxGetConstData(&a), qxGetConstData(&b), size) == 0;
}

}  // namespace

bool sameValue(const qxArray* a, const qxArray* b) {
  if (a == nullptr || b == nullptr) return a == b;
  if (a->storage == b->storage) return true;
  if (a->id != b->id || a->complex != b->complex ||
      !std::equal(a->dims.begin(), a->dims.end(), b->dims.begin(), b->dims.end())) {
    return false;
  }
  if (a->id == qxCELL) return sameList(a->storage->cells(), b->storage->cells());
  if (a->id == qxSTRUCT) return sameFields(a->storage->fields, b->storage->fields);
  return sameElements(*a, *b);
}

}  // namespace vtu::qat
