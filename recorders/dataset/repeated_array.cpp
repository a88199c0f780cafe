#include "recorders/dataset/repeated_array.hpp"

#include "platform/text.hpp"
#include "recorders/dataset/dataset_element.hpp"

namespace vtio::recorders {
namespace {

vtu::qxArrayWrapper shared(const vtu::qxArrayWrapper& array) { return vtu::qxArrayWrapper(qxShareArray(array.get())); }

}  // namespace

vtu::qxArrayWrapper RepeatedText::array(std::u16string_view text) {
  if (!array_ || text != text_) {
    array_ = charArray(text);
    text_ = text;
  }
  return shared(array_);
}

vtu::qxArrayWrapper RepeatedText::array(const std::string& utf8) {
  if (!array_ || utf8 != utf8_) {
    array_ = charArray(vtu::to_ustring(utf8));
    utf8_ = utf8;
  }
  return shared(array_);
}

vtu::qxArrayWrapper RepeatedNumber::array(std::uint64_t value) {
  if (!array_ || value != value_) {
    array_ = uint64Array({value});
    value_ = value;
  }
  return shared(array_);
}

}  // namespace vtio::recorders
