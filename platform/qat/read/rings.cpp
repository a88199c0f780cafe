#include "platform/qat/read/rings.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/sample_table.hpp"

namespace vtu::qat {

Rings::Rings(const Source& source) : source_(source), budget_(source.bytes.size()) {
  if (!hasMember(source.root, kRingsGroup)) return;
  atPlace(kRingsGroup, [this] {
    const Handle group = openGroup(source_, source_.root, kRingsGroup);
    for (const std::string& name : memberNames(group.get())) {
      atPlace(name, [&] { addRing(openGroup(source_, group.get(), name).get(), name); });
    }
  });
}

/// The dataset as it is now, also in a file that grows.
Handle Rings::open(hid_t group, const char* name) const {
  Handle dataset = openDataset(source_, group, name);
  requireChunks(dataset.get(), budget_);
  return dataset;
}

void Rings::addRing(hid_t group, const std::string& name) {
  const std::vector<std::uint64_t> ranges = this->ranges(group);
  atPlace(kRingLeavesMember, [&] {
    const Handle dataset = open(group, kRingLeavesMember);
    const auto extents = extentsOfRank(dataset.get(), 1);
    const Handle type = makeRingLeafType();
    if (H5Tequal(typeOf(dataset.get()).get(), type.get()) <= 0) throw Failure(kDamaged, "leaves of another type");
    budget_.take(extents[0], RingLeaf::kBytesInFile + sizeof(Leaf) + 64);
    std::vector<std::byte> records(extents[0] * RingLeaf::kBytesInFile);
    checked(H5Dread(dataset.get(), type.get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, records.data()), kDamaged,
            "leaves cannot be read");
    for (std::size_t at = 0; at < records.size(); at += RingLeaf::kBytesInFile) {
      const RingLeaf leaf = RingLeaf::fromBytes(records.data() + at);
      if (leaf.number >= ranges.size() / 2 || leaf.capacity == 0) throw Failure(kDamaged, "a leaf without a place");
      if (ranges[std::size_t{leaf.number} * 2] == kNotInRing) continue;
      if (known_.try_emplace(leaf.place, leaves_.size()).second) leaves_.push_back({name, leaf});
    }
  });
}

std::optional<std::size_t> Rings::find(LeafPlace place) const {
  const auto known = known_.find(place);
  return known == known_.end() ? std::nullopt : std::optional(known->second);
}

std::vector<std::uint64_t> Rings::ranges(hid_t group) const {
  return atPlace(kRowsMember, [&] {
    const Handle dataset = open(group, kRowsMember);
    const auto extents = extentsOfRank(dataset.get(), 1);
    budget_.require(extents[0], sizeof(std::uint64_t));
    std::vector<std::uint64_t> numbers(extents[0]);
    checked(H5Dread(dataset.get(), H5T_NATIVE_UINT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers.data()), kDamaged,
            "the numbers of samples cannot be read");
    return numbers;
  });
}

Rings::Range Rings::range(const Leaf& leaf, hid_t group) const {
  const std::vector<std::uint64_t> all = ranges(group);
  const std::size_t at = std::size_t{leaf.in.number} * 2;
  if (at + 1 >= all.size()) throw Failure(kDamaged, "a leaf without a place");
  const Range range{all[at], all[at + 1]};
  if (range.begin > range.end || range.end - range.begin > leaf.in.capacity) {
    throw Failure(kDamaged, "samples " + std::to_string(range.begin) + " to " + std::to_string(range.end) +
                                " in room for " + std::to_string(leaf.in.capacity));
  }
  return range;
}

/// While samples are read the writer goes on: those that readers do not know any more may be others by now.
Rings::Samples Rings::read(const Leaf& leaf, bool areTexts) const {
  return atPlace(std::string(kRingsGroup) + "/" + leaf.ring, [&] {
    const Handle rings = openGroup(source_, source_.root, kRingsGroup);
    const Handle group = openGroup(source_, rings.get(), leaf.ring);
    constexpr int kMostTries = 10;
    Range wanted = range(leaf, group.get());
    for (int tries = 1;; ++tries) {
      Samples samples = readRange(leaf, group.get(), wanted, areTexts);
      if (!source_.live) return samples;
      const Range now = range(leaf, group.get());
      if (now.begin <= wanted.begin && now.end >= wanted.end) return samples;
      wanted = now;
      if (tries < kMostTries) continue;
      throw Failure(kDamaged, "the samples are overwritten faster than they can be read");
    }
  });
}

Rings::Samples Rings::readRange(const Leaf& leaf, hid_t group, Range range, bool areTexts) const {
  Samples samples;
  const std::uint64_t count = range.end - range.begin;
  budget_.require(count, std::uint64_t{leaf.in.bytes} + sizeof(double));
  samples.times.resize(count);
  samples.bytes.resize(count * leaf.in.bytes);
  atPlace(kRingSamplesMember, [&] {
    const Handle dataset = open(group, kRingSamplesMember);
    readColumns(dataset.get(), leaf, range, leaf.in.time, sizeof(double),
                reinterpret_cast<std::byte*>(samples.times.data()));
    readColumns(dataset.get(), leaf, range, leaf.in.start, leaf.in.bytes, samples.bytes.data());
  });
  if (areTexts) atPlace(kRingTextsMember, [&] { readTexts(group, samples); });
  return samples;
}

/// Reads bytes [first, first + width) of the rows of samples.
void Rings::readColumns(hid_t dataset, const Leaf& leaf, Range range, std::uint64_t first, std::uint64_t width,
                        std::byte* out) const {
  const auto extents = extentsOfRank(dataset, 2);
  if (first + width > extents[1]) throw Failure(kDamaged, "a leaf that is not in the rows");
  for (std::uint64_t number = range.begin; number < range.end && width > 0;) {
    const std::uint64_t row = number % leaf.in.capacity;
    const std::uint64_t count = std::min(range.end - number, leaf.in.capacity - row);
    if (row + count > extents[0]) throw Failure(kDamaged, "samples that are not in the rows");
    readRectangle<2>(dataset, H5T_NATIVE_UINT8, {row, first}, {count, width}, out);
    out += count * width;
    number += count;
  }
}

void Rings::readTexts(hid_t group, Samples& samples) const {
  const Handle dataset = open(group, kRingTextsMember);
  const auto extents = extentsOfRank(dataset.get(), 1);
  for (std::size_t at = 0; at + TextCell::kBytesInRow <= samples.bytes.size(); at += TextCell::kBytesInRow) {
    TextCell cell = TextCell::fromRow(samples.bytes.data() + at);
    if (cell.bytes == 0) continue;
    if (cell.start > extents[0] || cell.bytes > extents[0] - cell.start) {
      throw Failure(kDamaged, "a text up to byte " + std::to_string(cell.start + cell.bytes) + " of " +
                                  std::to_string(extents[0]));
    }
    const std::size_t end = samples.texts.size();
    budget_.require(end + cell.bytes, 1);
    samples.texts.resize(end + cell.bytes);
    readRectangle<1>(dataset.get(), H5T_NATIVE_UINT8, {cell.start}, {cell.bytes}, samples.texts.data() + end);
    cell.start = end;
    cell.toRow(samples.bytes.data() + at);
  }
}

}  // namespace vtu::qat
