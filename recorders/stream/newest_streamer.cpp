#include "recorders/stream/newest_streamer.hpp"

#include <algorithm>
#include <memory>
#include <utility>

#include "recorders/dataset/node_structure.hpp"

namespace vtio::recorders {

std::vector<vtu::StreamRing> NewestStreamer::rings(std::span<const MemoryRecorder* const> recorders) {
  const std::size_t first = rings_.size();
  std::vector<const vtu::SampleTable*> tables;  // of the rings from the first new one on
  for (const MemoryRecorder* recorder : recorders) add(*recorder, tables, first);
  std::vector<vtu::StreamRing> described;
  described.reserve(rings_.size());
  for (const Ring& ring : rings_) {
    described.push_back(this->described(ring));
    constexpr std::uint64_t kBegun = 4;  // samples that may be recorded before the next row begins
    due_ = std::min(due_, vtu::QatStream::mostAtOnce(ring.limit) - kBegun);
  }
  return described;
}

/// Adds the recorder's positions that are new, those of a table to one ring.
void NewestStreamer::add(const MemoryRecorder& recorder, std::vector<const vtu::SampleTable*>& tables,
                         std::size_t first) {
  std::vector<Position> positions;
  std::size_t offset = 0;
  for (const LeafRun& run : recorder.runs()) {
    const std::uint32_t number = run.position;
    if (builder_.maxPoints(number) == 0 || builder_.sourceOf(number) != number || known_.count(number) != 0) continue;
    if (positions.empty() || positions.back().number != number) {
      positions.push_back({number, {}});
      offset = 0;
    }
    if (offset == builder_.bytes(number)) continue;  // the same leaves in another table
    const auto bytes = static_cast<std::uint32_t>(run.column.bytes());
    if (bytes > 0) positions.back().leaves.push_back({offset, bytes, run.column.id == qxCELL});
    offset += bytes;
  }
  for (Position& position : positions) {
    known_.insert(position.number);
    if (position.leaves.empty()) continue;
    const std::uint64_t limit = builder_.maxPoints(position.number);
    const vtu::SampleTable* table = builder_.samples(position.number).table.get();
    std::size_t at = first;
    while (at < rings_.size() && (rings_[at].limit != limit || tables[at - first] != table)) ++at;
    if (at == rings_.size()) {
      rings_.push_back({limit, {}});
      tables.push_back(table);
    }
    rings_[at].positions.push_back(std::move(position));
  }
}

vtu::StreamRing NewestStreamer::described(const Ring& ring) {
  vtu::StreamRing found{ring.limit, {}};
  for (std::uint32_t k = 0; k < ring.positions.size(); ++k) {
    const TableBuilder::Samples samples = builder_.samples(ring.positions[k].number);
    const std::vector<std::size_t> offsets = offsetsOf(samples, ring.positions[k].number);
    for (const Leaf& leaf : ring.positions[k].leaves) {
      auto& described = found.leaves.emplace_back(vtu::StreamRing::Leaf{k, samples.table, {}, leaf.bytes, leaf.isText});
      for (const std::size_t offset : offsets) described.offsets.push_back(offset + leaf.offset);
    }
  }
  return found;
}

/// Where the samples of a position are in a row, and those of its aliases: elsewhere as long as there are none.
std::vector<std::size_t> NewestStreamer::offsetsOf(const TableBuilder::Samples& samples, std::uint32_t position) {
  std::vector<std::size_t> offsets{samples.offset};
  for (std::uint32_t alias = 0; samples.count == 0 && alias < builder_.size(); ++alias) {
    if (alias != position && builder_.sourceOf(alias) == position) {
      offsets.push_back(builder_.samples(alias).offset);
    }
  }
  return offsets;
}

void NewestStreamer::push(vtu::QatStream& stream) {
  for (std::uint32_t number = 0; number < rings_.size(); ++number) pushRing(stream, number);
}

void NewestStreamer::pushRing(vtu::QatStream& stream, std::uint32_t number) {
  std::vector<vtu::RingSamples> missing, next;
  std::vector<std::shared_ptr<const vtu::SampleTable>> tables;  // of these, until they are put
  const std::vector<Position>& positions = rings_[number].positions;
  for (std::uint32_t k = 0; k < positions.size(); ++k) {
    const std::uint64_t end = builder_.recorded(positions[k].number);
    const std::uint64_t first = end - builder_.held(positions[k].number);
    const auto [low, inFile] = stream.newest(number, k);
    if (inFile == end && low <= first) continue;
    TableBuilder::Samples samples = builder_.samples(positions[k].number);
    const auto part = [&](std::uint64_t from, std::uint64_t to) {
      return vtu::RingSamples{k, from, samples.table.get(), samples.first + from - first, to - from, samples.offset};
    };
    const bool goesOn = low < inFile && inFile >= first;
    if (goesOn && first < low) missing.push_back(part(first, low));
    if (!goesOn || inFile < end) next.push_back(part(goesOn ? inFile : first, end));
    tables.push_back(std::move(samples.table));
  }
  if (!missing.empty()) stream.putNewest(number, missing);
  if (!next.empty()) stream.putNewest(number, next);
}

void NewestStreamer::stepBack(vtu::QatStream& stream, const RowSink::Left& left) const {
  for (std::uint32_t number = 0; number < rings_.size(); ++number) {
    const std::vector<Position>& positions = rings_[number].positions;
    stream.cutNewest(number, [&](std::uint32_t k) { return left(positions[k].number); });
  }
}

}  // namespace vtio::recorders
