#include "platform/qat/stream/stream_table.hpp"

#include <algorithm>
#include <cstring>

#include "platform/qat/failure.hpp"
#include "platform/qat/write/sample_table_writer.hpp"

namespace vtu::qat {
namespace {

constexpr std::uint64_t kMostChunkRows = 8192;
constexpr std::size_t kTextChunk = 64U << 10U;

std::uint64_t chunkRows(std::size_t chunkBytes, std::size_t rowBytes) {
  return std::clamp<std::uint64_t>(chunkBytes / std::max<std::size_t>(rowBytes, 1), 1, kMostChunkRows);
}

}  // namespace

StreamedTable::StreamedTable(Kit& kit, const DiskGuard& guard, Handle group, const std::vector<SampleColumn>& leaves,
                             std::size_t chunkBytes, SignalNames& names)
    : group_(std::move(group)) {
  makeParts(leaves);
  times_.emplace(kit, guard, group_.get(), kTimeMember,
                 GrowingDataset::Row{kit.elementType({qxDOUBLE, false}), sizeof(double), 0}, kMostChunkRows);
  for (Part& part : parts_) {
    const GrowingDataset::Row row = rowOf(kit, part);
    part.dataset.emplace(kit, guard, group_.get(), elementClassName(part.kind), row,
                         chunkRows(chunkBytes, row.element * row.columns));
    if (part.kind.id != qxCELL) continue;
    texts_.emplace(kit, guard, group_.get(), kTextBytesMember, GrowingDataset::Row{H5T_STD_U8LE, 1, 0}, kTextChunk);
  }
  SampleSelection selection;
  selection.columns.reserve(leaves.size());
  for (const SampleColumn& leaf : leaves) selection.columns.push_back(&leaf);
  SampleTableWriter(kit, group_.get(), selection).writeRecords(names);
  rowCounts_.emplace(group_.get(), leaves_.size());
  countsChanged_ = true;
}

GrowingDataset::Row StreamedTable::rowOf(Kit& kit, const Part& part) const {
  return {kit.elementType(part.kind), elementBytes(part.kind), part.width};
}

void StreamedTable::makeParts(const std::vector<SampleColumn>& leaves) {
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    const SampleColumn& leaf = leaves[i];
    if (i > 0 && sharesSamples(leaf, leaves[i - 1])) {
      leaves_.push_back(leaves_.back());
      continue;
    }
    const ElementKind kind{leaf.id, leaf.isComplex};
    auto part = std::find_if(parts_.begin(), parts_.end(), [&](const Part& known) { return known.kind == kind; });
    if (part == parts_.end()) {
      part = parts_.emplace(part);
      part->kind = kind;
    }
    const std::size_t bytes = leaf.bytes();
    leaves_.push_back({kind, part->width, leaf.first, {}});
    if (!part->runs.empty() && part->runs.back().offset + part->runs.back().bytes == leaf.offset) {
      part->runs.back().bytes += bytes;
    } else {
      part->runs.push_back({part->width, leaf.offset, bytes});
    }
    part->width += bytes / elementBytes(kind);
  }
  std::erase_if(parts_, [](const Part& part) { return part.width == 0; });
}

void StreamedTable::reopen(Kit& kit, const DiskGuard& guard, Handle group) {
  group_ = std::move(group);
  times_.emplace(guard, group_.get(), kTimeMember,
                 GrowingDataset::Row{kit.elementType({qxDOUBLE, false}), sizeof(double), 0});
  for (Part& part : parts_) {
    part.dataset.emplace(guard, group_.get(), elementClassName(part.kind), rowOf(kit, part));
    if (part.kind.id == qxCELL) {
      texts_.emplace(guard, group_.get(), kTextBytesMember, GrowingDataset::Row{H5T_STD_U8LE, 1, 0});
    }
  }
  rowCounts_.emplace(group_.get(), leaves_.size());
  countsChanged_ = true;
}

void StreamedTable::append(const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  try {
    appendTimes(source, first, count);
    for (Part& part : parts_) appendPart(part, source, first, count);
  } catch (...) {
    rewindDatasets();
    throw;
  }
  rows_ += count;
  countsChanged_ = countsChanged_ || count > 0;
}

void StreamedTable::overwrite(std::uint64_t at, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  keepTexts(at, std::min(count, rows_ - at));
  rows_ = at;
  rewindDatasets();
  countsChanged_ = true;
  append(source, first, count);
  keptTexts_.clear();
}

void StreamedTable::appendTimes(const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  for (std::uint64_t done = 0; done < count;) {
    std::uint64_t here = count - done;
    std::byte* target = times_->room(here);
    source.readTimes(first + done, here, reinterpret_cast<double*>(target));
    times_->commit(here);
    done += here;
  }
}

void StreamedTable::appendPart(Part& part, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  const std::size_t element = elementBytes(part.kind);
  const std::size_t stride = part.dataset->rowBytes();
  for (std::uint64_t done = 0; done < count;) {
    std::uint64_t here = count - done;
    std::byte* target = part.dataset->room(here);
    for (const Run& run : part.runs) {
      source.readRows(first + done, here, run.offset, run.bytes, target + run.column * element, stride);
    }
    if (part.kind.id == qxCELL) takeTexts(source, target, rows_ + done, here, part);
    part.dataset->commit(here);
    done += here;
  }
}

/// Copies the bytes of texts and lets their cells point to the copies. @param first Number of the first row.
void StreamedTable::takeTexts(const SampleTable& source, std::byte* rows, std::uint64_t first, std::uint64_t count,
                              const Part& part) {
  for (std::uint64_t i = 0; i < count * part.width; ++i) {
    std::byte* cell = rows + i * TextCell::kBytesInRow;
    TextCell text = TextCell::fromRow(cell);
    if (text.bytes > 0) {
      source.readText(text, text_);
      text = keptText(first + i / part.width, i % part.width, part.width);
      if (text.bytes == 0) {
        text = {texts_->rows(), static_cast<std::uint32_t>(text_.size())};
        texts_->append(text_.data(), text_.size());
      }
    }
    text.toRow(cell);
  }
}

/// Remembers where the texts of rows are that are going to be overwritten.
void StreamedTable::keepTexts(std::uint64_t first, std::uint64_t count) {
  firstKept_ = first;
  for (Part& part : parts_) {
    if (part.kind.id != qxCELL) continue;
    keptTexts_.resize(count * part.width * TextCell::kBytesInRow);
    part.dataset->read(first, count, 0, part.width, keptTexts_.data());
  }
}

/// The cell that a row had before; an empty one if that was another text than text_.
TextCell StreamedTable::keptText(std::uint64_t row, std::uint64_t column, std::uint64_t width) {
  const std::uint64_t at = ((row - firstKept_) * width + column) * TextCell::kBytesInRow;
  if (keptTexts_.empty() || at >= keptTexts_.size()) return {};
  const TextCell cell = TextCell::fromRow(keptTexts_.data() + at);
  return cell.bytes == text_.size() && readText(cell, keptText_) == text_ ? cell : TextCell{};
}

void StreamedTable::endLeaf(std::uint32_t leaf, std::optional<std::uint64_t> row) {
  std::optional<std::uint64_t>& end = leaves_.at(leaf).end;
  if (end == row) return;
  end = row;
  countsChanged_ = true;
}

void StreamedTable::rewind(std::uint64_t rows) {
  if (rows == rows_) return;
  rows_ = rows;
  rewindDatasets();
  for (Leaf& leaf : leaves_) {
    if (leaf.end && *leaf.end >= rows) leaf.end.reset();
  }
  countsChanged_ = true;
}

void StreamedTable::rewindDatasets() {
  times_->rewind(rows_);
  for (Part& part : parts_) part.dataset->rewind(rows_);
}

void StreamedTable::flushRows() {
  if (texts_) texts_->flush();
  times_->flush();
  for (Part& part : parts_) part.dataset->flush();
}

std::uint64_t StreamedTable::count(std::uint32_t number) const {
  const Leaf& leaf = leaves_.at(number);
  const std::uint64_t end = std::min(leaf.end.value_or(rows_), rows_);
  return end > leaf.begin ? end - leaf.begin : 0;
}

std::vector<std::uint64_t> StreamedTable::counts() const {
  std::vector<std::uint64_t> counts;
  counts.reserve(leaves_.size());
  for (std::uint32_t leaf = 0; leaf < leaves_.size(); ++leaf) counts.push_back(count(leaf));
  return counts;
}

void StreamedTable::writeCounts() {
  if (!countsChanged_) return;
  counted_ = counts();
  rowCounts_->write(counted_);
  countsChanged_ = false;
}

void StreamedTable::takeBackCounts() {
  if (!mustTakeBack()) return;
  for (std::uint32_t leaf = 0; leaf < counted_.size(); ++leaf) counted_[leaf] = std::min(counted_[leaf], count(leaf));
  rowCounts_->write(counted_);
}

bool StreamedTable::mustTakeBack() const {
  if (!countsChanged_) return false;
  for (std::uint32_t leaf = 0; leaf < counted_.size(); ++leaf) {
    if (counted_[leaf] > count(leaf)) return true;
  }
  return false;
}

void StreamedTable::read(const Block& block, void* out) {
  for (Part& part : parts_) {
    if (part.kind == block.kind) part.dataset->read(block.first, block.count, block.column, block.width, out);
  }
}

const std::string& StreamedTable::readText(TextCell cell, std::string& utf8) {
  utf8.resize(cell.bytes);
  if (cell.bytes > 0) texts_->read(cell.start, cell.bytes, 0, 1, utf8.data());
  return utf8;
}

void StreamedTable::readLeaf(std::uint32_t leaf, std::uint64_t first, std::uint64_t count, std::size_t offset,
                             std::size_t bytes, std::byte* out) {
  const Leaf& of = leaves_.at(leaf);
  const std::size_t element = elementBytes(of.kind);
  read({of.kind, of.column + offset / element, bytes / element, of.begin + first, count}, out);
}

void StreamedTable::close() {
  times_.reset();
  texts_.reset();
  for (Part& part : parts_) part.dataset.reset();
  rowCounts_.reset();
  group_.reset();
}

}  // namespace vtu::qat
