#include "platform/qat/equality.hpp"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

namespace vtu::qat {
namespace {

/// Compares in depth. Storage that was found equal once is not compared again, however often it is shared.
class Comparison final {
 public:
  bool same(const qxArray* a, const qxArray* b) {
    if (a == nullptr || b == nullptr) return a == b;
    if (a->id != b->id || a->complex != b->complex ||
        !std::equal(a->dims.begin(), a->dims.end(), b->dims.begin(), b->dims.end())) {
      return false;
    }
    if (a->storage == b->storage) return true;
    if (a->id != qxCELL && a->id != qxSTRUCT) return sameElements(*a, *b);
    if (!compared_.insert({a->storage.get(), b->storage.get()}).second) return true;  // a difference ends all
    return a->id == qxCELL ? sameList(a->storage->cells(), b->storage->cells()) : sameFields(*a->storage, *b->storage);
  }

 private:
  template <typename Values>
  bool sameList(const Values& a, const Values& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [this](const auto& x, const auto& y) { return same(x.get(), y.get()); });
  }

  bool sameFields(const qalc::Storage& a, const qalc::Storage& b) {
    return std::equal(
        a.fields.begin(), a.fields.end(), b.fields.begin(), b.fields.end(),
        [this](const auto& x, const auto& y) { return x.name == y.name && sameList(x.values, y.values); });
  }

  static bool sameElements(const qxArray& a, const qxArray& b) {
    const qalc::ValueView first = qalc::storedValues(a);
    const qalc::ValueView second = qalc::storedValues(b);
    const std::size_t size = a.dims.elements() * first.elementBytes;
    if (first.rowMajor == second.rowMajor) return std::memcmp(first.data, second.data, size) == 0;
    return std::memcmp(qxGetConstData(&a), qxGetConstData(&b), size) == 0;
  }

  std::set<std::pair<const qalc::Storage*, const qalc::Storage*>> compared_;
};

}  // namespace

bool sameValue(const qxArray* a, const qxArray* b) { return Comparison().same(a, b); }

}  // namespace vtu::qat
