#include "platform/qat/write/text_heap_image.hpp"

namespace vtu::qat {

TextPlace TextHeapImage::add(std::string_view text) {
  const std::size_t padding = (8 - text.size() % 8) % 8;
  if (image_.size() + kPrefix + text.size() + padding > size()) {
    close();
    ++collections_;
    texts_ = 0;
    image_.putText("GCOL");
    image_.put(std::uint32_t{1});  // version
    image_.put(std::uint64_t{kCollection});
  }
  ++texts_;
  image_.put(static_cast<std::uint16_t>(texts_));
  image_.put(std::uint16_t{0});  // references are not counted
  image_.put(std::uint32_t{0});
  image_.put(std::uint64_t{text.size()});
  image_.putText(text);
  image_.putZeros(padding);
  return {(collections_ - 1) * kCollection, texts_, static_cast<std::uint32_t>(text.size())};
}

void TextHeapImage::close() {
  std::size_t left = size() - image_.size();
  if (left >= kPrefix) {
    image_.put(std::uint64_t{0});  // number 0: what is free
    image_.put(std::uint64_t{left});
    left -= kPrefix;
  }
  image_.putZeros(left);
}

const ByteImage& TextHeapImage::finished() {
  close();
  return image_;
}

}  // namespace vtu::qat
