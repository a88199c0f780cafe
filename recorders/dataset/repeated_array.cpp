#include "recorders/dataset/repeated_array.hpp"

#include <cstdint>
#include <string>
#include <utility>

#include "platform/text.hpp"
#include "recorders/dataset/dataset_element.hpp"

namespace vtio::recorders {
namespace {

vtu::qxArrayWrapper makeArray(const std::u16string& text) { return charArray(text); }
vtu::qxArrayWrapper makeArray(const std::string& utf8) { return charArray(vtu::to_ustring(utf8)); }
vtu::qxArrayWrapper makeArray(std::uint64_t number) { return uint64Array({number}); }

}  // namespace

template <typename Value>
vtu::qxArrayWrapper RepeatedArray<Value>::of(const Value& value) {
  if (!array_ || value != value_) {
    vtu::qxArrayWrapper made = makeArray(value);
    value_ = value;  // may fail, and then nothing has changed
    array_ = std::move(made);
  }
  return vtu::qxArrayWrapper(qxShareArray(array_.get()));
}

template class RepeatedArray<std::u16string>;
template class RepeatedArray<std::string>;
template class RepeatedArray<std::uint64_t>;

}  // namespace vtio::recorders
