#include "platform/qat/stream/stray_log.hpp"

#include <algorithm>
#include <array>

#include "platform/qat/failure.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kChunkStrays = 8192;
constexpr std::uint64_t kChunkBytes = 256U << 10U;

}  // namespace

StrayLog::StrayLog(Kit& kit, const DiskGuard& guard, hid_t root)
    : strayType_(makeStrayType()),
      group_(checked(H5Gcreate_anon(root, kit.groupList(), H5P_DEFAULT), kStorage, "cannot make the log of strays")) {
  samples_.emplace(kit, guard, group_.get(), kStraySamplesMember,
                   GrowingDataset::Row{strayType_.get(), Stray::kBytesInFile, 0}, kChunkStrays);
  bytes_.emplace(kit, guard, group_.get(), kStrayBytesMember, GrowingDataset::Row{H5T_STD_U8LE, 1, 0}, kChunkBytes);
  rows_.emplace(group_.get(), 1);
  rows_->link(group_.get());
  writeCounts();
}

void StrayLog::link(hid_t root) const {
  checked(H5Olink(group_.get(), root, kStraysGroup, H5P_DEFAULT, H5P_DEFAULT), kStorage,
          "the log of strays cannot be linked");
  keepWithoutLink(root, kStraysGroup);
}

void StrayLog::append(const StrayBuffer& strays, const LeafPlaces& places) {
  const QatStream::StrayMark before = mark();
  try {
    strays.forBytes(before.bytes, [this](const std::byte* bytes, std::size_t count) { bytes_->append(bytes, count); });
    std::array<std::byte, Stray::kBytesInFile> packed{};
    for (const StrayBuffer::Entry& entry : strays.entries()) {
      const LeafPlace leaf{entry.leaf.table, entry.leaf.column};
      const auto [table, column] = places.isEmpty() ? leaf : places.find(leaf).value_or(leaf);
      Stray{table, column, entry.time, before.bytes + entry.start, entry.bytes}.toBytes(packed.data());
      samples_->append(packed.data(), 1);
    }
  } catch (...) {
    rewind(before);
    throw;
  }
}

void StrayLog::rewind(const QatStream::StrayMark& mark) {
  forgetIndex();
  samples_->rewind(std::min(mark.strays, samples_->rows()));
  bytes_->rewind(std::min(mark.bytes, bytes_->rows()));
}

void StrayLog::forgetIndex() {
  numbers_.clear();
  window_.clear();
  indexed_ = 0;
}

Stray StrayLog::read(std::uint64_t number) {
  const std::uint64_t held = window_.size() / Stray::kBytesInFile;
  if (number < windowFirst_ || number >= windowFirst_ + held) {
    const std::uint64_t count = std::min(kChunkStrays, samples_->rows() - number);
    window_.resize(count * Stray::kBytesInFile);
    windowFirst_ = number;
    samples_->read(number, count, 0, 1, window_.data());
  }
  return Stray::fromBytes(window_.data() + (number - windowFirst_) * Stray::kBytesInFile);
}

void StrayLog::index() {
  if (indexed_ < samples_->rows()) window_.clear();
  for (; indexed_ < samples_->rows(); ++indexed_) {
    const Stray stray = read(indexed_);
    numbers_[{stray.table, stray.column}].push_back(indexed_);
  }
}

template <typename Use>
void StrayLog::forEach(LeafPlace leaf, std::uint64_t first, std::uint64_t count, const Use& use) {
  if (count == 0) return;
  index();
  const std::vector<std::uint64_t>& numbers = numbers_[leaf];
  if (first > numbers.size() || count > numbers.size() - first) {
    throw Failure(kDamaged, "there are only " + std::to_string(numbers.size()) + " strays");
  }
  for (std::uint64_t i = first; i < first + count; ++i) use(read(numbers[i]));
}

void StrayLog::readTimes(LeafPlace leaf, std::uint64_t first, std::uint64_t count, double* out) {
  forEach(leaf, first, count, [&out](const Stray& stray) { *out++ = stray.time; });
}

void StrayLog::readValues(LeafPlace leaf, std::uint64_t first, std::uint64_t count, std::size_t offset,
                          std::size_t bytes, std::byte* out) {
  forEach(leaf, first, count, [&](const Stray& stray) {
    bytes_->read(stray.start + offset, bytes, 0, 1, out);
    out += bytes;
  });
}

const std::string& StrayLog::readText(TextCell cell, std::string& utf8) {
  utf8.resize(cell.bytes);
  bytes_->read(cell.start, cell.bytes, 0, 1, utf8.data());
  return utf8;
}

void StrayLog::flushRows() {
  forgetIndex();
  bytes_->flush();
  samples_->flush();
}

void StrayLog::writeCounts() {
  const std::uint64_t strays = samples_->rows();
  if (counted_ == strays) return;
  rows_->write({&strays, 1});
  counted_ = strays;
}

}  // namespace vtu::qat
