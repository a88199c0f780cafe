#include "platform/qat/gathered_write.hpp"

#include <climits>

#include "platform/qat/dataset_writer.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kMostBytes = 8U << 20U;

}  // namespace

void GatheredWrite::addValues(std::uint64_t address, const qxArray& array) {
  if (array.dims.elements() == 0) return;
  const qalc::ValueView view = qalc::storedValues(array);
  if (view.rowMajor || array.dims.isLine()) return add(address, view.data, array.dims.elements() * view.elementBytes);
  writeTransposed(bytes_, address, array);
}

void GatheredWrite::add(std::uint64_t address, const void* data, std::size_t size) {
  if (address != address_ + size_ || size_ >= kMostBytes || pieces_.size() == IOV_MAX) finish();
  if (pieces_.empty()) address_ = address;
  pieces_.push_back({const_cast<void*>(data), size});
  size_ += size;
}

void GatheredWrite::finish() {
  bytes_.writeGathered(address_, pieces_);
  pieces_.clear();
  size_ = 0;
}

}  // namespace vtu::qat
