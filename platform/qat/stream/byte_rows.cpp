#include "platform/qat/stream/byte_rows.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/qat/failure.hpp"
#include "platform/qat/stream/growing_dataset.hpp"

namespace vtu::qat {
namespace {

using Pair = std::array<hsize_t, 2>;

}  // namespace

ByteRows::ByteRows(Kit& kit, const DiskGuard& guard, hid_t group, const std::string& name, std::uint64_t width,
                   std::uint64_t chunkRows)
    : guard_(&guard),
      dataset_(makeGrowingDataset(kit, group, name, H5T_STD_U8LE, width, chunkRows)),
      width_(width),
      chunkRows_(chunkRows) {}

void ByteRows::growTo(std::uint64_t rows) {
  if (rows <= extent_) return;
  const std::uint64_t wanted = (rows + chunkRows_ - 1) / chunkRows_ * chunkRows_;
  guard_->require((wanted - extent_) * std::max<std::uint64_t>(width_, 1));
  const Pair extents{wanted, width_};
  checked(H5Dset_extent(dataset_.get(), extents.data()), kStorage, "a dataset cannot grow");
  extent_ = wanted;
  hasGrown_ = true;
}

void ByteRows::write(std::uint64_t first, std::uint64_t count, std::uint64_t column, std::uint64_t bytes,
                     const std::byte* from) {
  if (count == 0 || bytes == 0) return;
  growTo(first + count);
  const Pair at{first, column}, counts{count, bytes};
  const Handle space(checked(H5Dget_space(dataset_.get()), kStorage, "a dataset has no dataspace"));
  checked(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, at.data(), nullptr, counts.data(), nullptr), kStorage,
          "rows cannot be selected");
  const int rank = width_ == 0 ? 1 : 2;
  const Handle memory(checked(H5Screate_simple(rank, counts.data(), nullptr), kStorage, "cannot make a dataspace"));
  checked(H5Dwrite(dataset_.get(), H5T_NATIVE_UINT8, memory.get(), space.get(), H5P_DEFAULT, from), kStorage,
          "samples cannot be written");
}

bool ByteRows::takeGrown() { return std::exchange(hasGrown_, false); }

}  // namespace vtu::qat
