#include <array>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/qalc_internal.hpp"

namespace vtu::qalc {

namespace {

/// Byte distance between consecutive elements along each dimension, first dimension first.
std::vector<std::size_t> strides(const Dimensions& dims, std::size_t elementBytes, bool rowMajor) {
  const std::size_t n = dims.size();
  std::vector<std::size_t> result(n);
  std::size_t stride = elementBytes;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t k = rowMajor ? n - 1 - i : i;
    result[k] = stride;
    stride *= dims.data()[k];
  }
  return result;
}

/// Copies a plane of rows by columns elements in blocks that fit the cache.
template <std::size_t kBytes>
void copyPlane(const std::byte* source, std::byte* target, std::size_t rows, std::size_t columns,
               const std::array<std::size_t, 2>& sourceStrides, const std::array<std::size_t, 2>& targetStrides) {
  constexpr std::size_t kTile = 32;
  for (std::size_t row0 = 0; row0 < rows; row0 += kTile) {
    for (std::size_t column0 = 0; column0 < columns; column0 += kTile) {
      const std::size_t rowEnd = std::min(rows, row0 + kTile);
      const std::size_t columnEnd = std::min(columns, column0 + kTile);
      for (std::size_t row = row0; row < rowEnd; ++row) {
        for (std::size_t column = column0; column < columnEnd; ++column) {
          std::memcpy(target + row * targetStrides[0] + column * targetStrides[1],
                      source + row * sourceStrides[0] + column * sourceStrides[1], kBytes);
        }
      }
    }
  }
}

/// Visits all planes of the first and the last dimension.
template <std::size_t kBytes>
void reorderElements(const std::byte* source, std::byte* target, const Dimensions& dims, bool toColumnMajor) {
  const std::vector<std::size_t> from = strides(dims, kBytes, toColumnMajor);
  const std::vector<std::size_t> to = strides(dims, kBytes, !toColumnMajor);
  const std::size_t last = dims.size() - 1;
  std::vector<std::size_t> index(dims.size(), 0);
  while (true) {
    copyPlane<kBytes>(source, target, dims.data()[0], dims.data()[last], {from[0], from[last]}, {to[0], to[last]});
    std::size_t k = 1;
    while (k < last && ++index[k] == dims.data()[k]) {
      source -= from[k] * (index[k] - 1);
      target -= to[k] * (index[k] - 1);
      index[k++] = 0;
    }
    if (k >= last) {
      return;
    }
    source += from[k];
    target += to[k];
  }
}

}  // namespace

Buffer::Buffer(std::size_t size) : size_(size) {
  if (size > kInlineSize) {
    heap_ = static_cast<std::byte*>(std::calloc(size, 1));
    if (heap_ == nullptr) {
      throw std::bad_alloc();
    }
  }
}

Buffer::Buffer(const Buffer& other) : size_(other.size_) {
  if (size_ > kInlineSize) {
    heap_ = static_cast<std::byte*>(std::malloc(size_));
    if (heap_ == nullptr) {
      throw std::bad_alloc();
    }
  }
  std::memcpy(data(), other.data(), size_);
}

void Buffer::swap(Buffer& other) noexcept {
  std::swap(heap_, other.heap_);
  std::swap(size_, other.size_);
  std::swap(inline_, other.inline_);
}

Dimensions::Dimensions(std::size_t ndim, const std::size_t* dims) {
  if (dims == nullptr && ndim != 0) {
    throw std::invalid_argument("Qalc array: " + std::to_string(ndim) + " dimensions asked for, but no extents given");
  }
  while (ndim > 2 && dims[ndim - 1] == 1) {
    --ndim;
  }
  count_ = ndim;
  std::size_t* target = few_;
  if (count_ > kFew) {
    more_ = std::make_unique<std::size_t[]>(count_);
    target = more_.get();
  }
  std::copy_n(dims, count_, target);
  count_ = std::max<std::size_t>(count_, 2);
  if (std::find(begin(), end(), std::size_t{0}) != end()) {
    elements_ = 0;
    return;
  }
  for (const std::size_t extent : *this) {
    if (__builtin_mul_overflow(elements_, extent, &elements_)) {
      throw std::length_error("Qalc array: the product of the dimensions is too large");
    }
  }
}

bool Dimensions::isLine() const {
  return std::count_if(begin(), end(), [](std::size_t extent) { return extent != 1; }) <= 1;
}

std::size_t elementSize(qxClassID id) {
  switch (id) {
    case qxLOGICAL:
    case qxINT8:
    case qxUINT8:
      return 1;
    case qxCHAR:
    case qxINT16:
    case qxUINT16:
      return 2;
    case qxSINGLE:
    case qxINT32:
    case qxUINT32:
      return 4;
    case qxDOUBLE:
    case qxINT64:
    case qxUINT64:
      return 8;
    case qxUNKNOWN:
    case qxCELL:
    case qxSTRUCT:
      break;
  }
  return 0;
}

void reorder(const std::byte* source, std::byte* target, const Dimensions& dims, std::size_t elementBytes,
             bool toColumnMajor) {
  if (dims.elements() == 0) {
    return;
  }
  switch (elementBytes) {
    case 1:
      return reorderElements<1>(source, target, dims, toColumnMajor);
    case 2:
      return reorderElements<2>(source, target, dims, toColumnMajor);
    case 4:
      return reorderElements<4>(source, target, dims, toColumnMajor);
    case 8:
      return reorderElements<8>(source, target, dims, toColumnMajor);
    default:
      return reorderElements<16>(source, target, dims, toColumnMajor);
  }
}

}  // namespace vtu::qalc
