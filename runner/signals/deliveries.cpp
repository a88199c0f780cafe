#include "runner/signals/deliveries.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vtio::runner {

namespace {

void writeHexadecimal(const std::string& bytes, vtu::ustring& digits) {
  static constexpr std::u16string_view kDigits = u"0123456789abcdef";
  digits.clear();
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 15];
  }
}

}  // namespace

void DeliveryList::deliver(double time) {
  const auto update = [&time](const Target& target, const void* data) {
    target.accessor->update(&time, data, target.position);
  };
  for (const Numbers& numbers : numbers_) update(numbers.target, numbers.data);
  for (BlockDelivery& block : blocks_) {
    for (const BlockPiece& piece : block.pieces) {
      std::memcpy(block.block.data() + piece.offset, piece.source, piece.bytes);
    }
    update(block.target, block.block.data());
  }
  for (const Text& text : texts_) update(text.target, text.text->c_str());
  for (BinaryDelivery& binary : binaries_) {
    const std::uint64_t length = std::min(binary.source->size(), binary.bytes.size());
    std::memcpy(binary.bytes.data(), binary.source->data(), length);
    std::fill(binary.bytes.begin() + static_cast<std::ptrdiff_t>(length), binary.bytes.end(), std::byte{0});
    update(binary.data, binary.bytes.data());
    update(binary.length, &length);
  }
  for (HexadecimalDelivery& one : hexadecimals_) {
    const std::uint64_t length = one.source->size();
    writeHexadecimal(*one.source, one.digits);
    update(one.text, one.digits.c_str());
    update(one.length, &length);
  }
}

}  // namespace vtio::runner
