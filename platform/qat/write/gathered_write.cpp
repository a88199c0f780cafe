#include "platform/qat/write/gathered_write.hpp"

#include <cstring>

#include "platform/qat/write/dataset_writer.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kBufferBytes = 1U << 20U;
constexpr std::size_t kLargePiece = 64U << 10U;

}  // namespace

void GatheredWrite::addValues(std::uint64_t address, const qxArray& array) {
  if (array.dims.elements() == 0) return;
  if (array.storage->pieces) {
    for (const qxPiece& piece : array.storage->pieces->list()) {
      add(address, piece.values, piece.bytes);
      address += piece.bytes;
    }
    return;
  }
  const qalc::ValueView view = qalc::storedValues(array);
  if (view.rowMajor || array.dims.isLine()) return add(address, view.data, array.dims.elements() * view.elementBytes);
  writeTransposed(bytes_, address, array);
}

void GatheredWrite::add(std::uint64_t address, const void* data, std::size_t size) {
  if (address != address_ + size_ || size > kBufferBytes - size_) finish();
  if (size >= kLargePiece) return bytes_.write(address, data, size);
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<std::byte[]>(kBufferBytes);
  if (size_ == 0) address_ = address;
  std::memcpy(buffer_.get() + size_, data, size);
  size_ += size;
}

void GatheredWrite::finish() {
  bytes_.write(address_, buffer_.get(), size_);
  size_ = 0;
}

}  // namespace vtu::qat
