#include "platform/qat/stream/growing_dataset.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

using Pair = std::array<hsize_t, 2>;

int rankOf(std::uint64_t columns) { return columns == 0 ? 1 : 2; }

}  // namespace

Handle makeGrowingDataset(Kit& kit, hid_t group, const std::string& name, hid_t type, std::uint64_t columns,
                          std::uint64_t chunkRows) {
  const Handle list(checked(H5Pcopy(kit.chunkedList()), kStorage, "cannot make a property list"));
  const Pair chunk{chunkRows, columns}, empty{0, columns}, most{H5S_UNLIMITED, columns};
  checked(H5Pset_chunk(list.get(), rankOf(columns), chunk.data()), kStorage, "cannot set up chunks");
  const Handle space(
      checked(H5Screate_simple(rankOf(columns), empty.data(), most.data()), kStorage, "cannot make a dataspace"));
  return Handle(checked(H5Dcreate2(group, name.c_str(), type, space.get(), H5P_DEFAULT, list.get(), H5P_DEFAULT),
                        kStorage, "cannot make a dataset"));
}

GrowingDataset::GrowingDataset(Kit& kit, const DiskGuard& guard, hid_t group, const std::string& name, Row row,
                               std::uint64_t chunkRows)
    : guard_(&guard),
      row_(row),
      dataset_(makeGrowingDataset(kit, group, name, row.type, row.columns, chunkRows)),
      rowBytes_(row.element * std::max<std::uint64_t>(row.columns, 1)),
      chunkRows_(chunkRows) {}

GrowingDataset::GrowingDataset(const DiskGuard& guard, hid_t group, const std::string& name, Row row)
    : guard_(&guard),
      row_(row),
      dataset_(checked(H5Dopen2(group, name.c_str(), H5P_DEFAULT), kDamaged, "cannot open a dataset")),
      rowBytes_(row.element * std::max<std::uint64_t>(row.columns, 1)) {
  const Handle list(checked(H5Dget_create_plist(dataset_.get()), kDamaged, "a dataset has no layout"));
  const Handle space(checked(H5Dget_space(dataset_.get()), kDamaged, "a dataset has no dataspace"));
  Pair chunk{}, extents{};
  if (H5Pget_layout(list.get()) != H5D_CHUNKED || H5Sget_simple_extent_ndims(space.get()) != rankOf(row.columns) ||
      H5Pget_chunk(list.get(), rankOf(row.columns), chunk.data()) < 0 ||
      H5Sget_simple_extent_dims(space.get(), extents.data(), nullptr) < 0 ||
      (rankOf(row.columns) == 2 && chunk[1] != row.columns)) {
    throw Failure(kUnsupported, "a dataset to which no rows can be appended");
  }
  chunkRows_ = chunk[0];
  extent_ = rows_ = written_ = extents[0];
  chunkStart_ = rows_ / chunkRows_ * chunkRows_;
  stored_ = rows_ > chunkStart_;
}

std::byte* GrowingDataset::room(std::uint64_t& count) {
  if (chunk_.empty()) chunk_.resize(chunkRows_ * rowBytes_);
  count = std::min(count, chunkRows_ - inChunk());
  return chunk_.data() + inChunk() * rowBytes_;
}

void GrowingDataset::commit(std::uint64_t count) {
  rows_ += count;
  if (inChunk() < chunkRows_) return;
  flush();
  chunkStart_ = written_ = rows_;
  stored_ = false;
}

void GrowingDataset::append(const void* bytes, std::uint64_t count) {
  const auto* from = static_cast<const std::byte*>(bytes);
  while (count > 0) {
    std::uint64_t here = count;
    std::byte* target = room(here);
    std::memcpy(target, from, here * rowBytes_);
    from += here * rowBytes_;
    count -= here;
    commit(here);
  }
}

void GrowingDataset::flush() {
  if (written_ == rows_) return;
  guard_->require(stored_ ? 0 : chunkRows_ * rowBytes_);
  grow();
  if (stored_ && written_ > chunkStart_) {
    writeNew();
  } else {
    writeChunk();
  }
  written_ = rows_;
  stored_ = true;
}

void GrowingDataset::read(std::uint64_t first, std::uint64_t count, std::uint64_t column, std::uint64_t width,
                          void* out) {
  if (count == 0 || width == 0) return;
  if (first > rows_ || count > rows_ - first)
    throw Failure(kDamaged, "there are only " + std::to_string(rows_) + " rows");
  flush();
  const Pair from{first, column}, counts{count, width};
  const Handle space(checked(H5Dget_space(dataset_.get()), kStorage, "a dataset has no dataspace"));
  checked(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, from.data(), nullptr, counts.data(), nullptr), kStorage,
          "rows cannot be selected");
  const Handle memory(
      checked(H5Screate_simple(rankOf(row_.columns), counts.data(), nullptr), kStorage, "cannot make a dataspace"));
  checked(H5Dread(dataset_.get(), row_.type, memory.get(), space.get(), H5P_DEFAULT, out), kStorage,
          "samples cannot be read");
}

void GrowingDataset::rewind(std::uint64_t rows) {
  if (rows < chunkStart_) {  // the chunk with the last row that stays is in the file, and full
    chunkStart_ = rows / chunkRows_ * chunkRows_;
    written_ = rows;
    stored_ = true;
  }
  written_ = std::min(written_, rows);
  rows_ = rows;
}

void GrowingDataset::grow() {
  if (chunkStart_ + chunkRows_ > extent_) setExtent(chunkStart_ + chunkRows_);
}

void GrowingDataset::setExtent(std::uint64_t rows) {
  const Pair extents{rows, row_.columns};
  checked(H5Dset_extent(dataset_.get(), extents.data()), kStorage, "a dataset cannot grow");
  extent_ = rows;
}

void GrowingDataset::writeChunk() {
  std::fill(chunk_.begin() + static_cast<std::ptrdiff_t>(inChunk() * rowBytes_), chunk_.end(), std::byte{0});
  const Pair at{chunkStart_, 0};
  checked(H5Dwrite_chunk(dataset_.get(), H5P_DEFAULT, 0, at.data(), chunk_.size(), chunk_.data()), kStorage,
          "samples cannot be written");
}

void GrowingDataset::writeNew() {
  const Pair first{written_, 0}, count{rows_ - written_, row_.columns};
  const Handle space(checked(H5Dget_space(dataset_.get()), kStorage, "cannot make a dataspace"));
  checked(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, first.data(), nullptr, count.data(), nullptr), kStorage,
          "rows cannot be selected");
  const Handle memory(
      checked(H5Screate_simple(rankOf(row_.columns), count.data(), nullptr), kStorage, "cannot make a dataspace"));
  checked(H5Dwrite(dataset_.get(), row_.type, memory.get(), space.get(), H5P_DEFAULT,
                   chunk_.data() + (written_ - chunkStart_) * rowBytes_),
          kStorage, "samples cannot be written");
}

}  // namespace vtu::qat
