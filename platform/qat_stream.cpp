#include "platform/qat_stream.hpp"

#include <fcntl.h>

#include <cstdint>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "platform/qat/failure.hpp"
#include "platform/qat/library_call.hpp"
#include "platform/qat/stream/description.hpp"
#include "platform/qat/stream/stream_file.hpp"
#include "platform/qat/stream/stream_lock.hpp"
#include "platform/qat/superblock.hpp"

namespace vtu {
namespace {

/// Runs `work` with HDF5 silent and locked; a Failure becomes an error that names the file.
template <typename Work>
decltype(auto) guarded(const std::string& file, Work&& work) {
  const qat::LibraryCall call;
  try {
    return std::forward<Work>(work)();
  } catch (const qat::Failure& failure) {
    throw std::runtime_error("'" + file + "': " + failure.message());
  }
}

}  // namespace

class QatStream::Implementation final {
 public:
  explicit Implementation(const std::string& name) : file(name) {}
  qat::StreamFile file;
};

/// The rows of one table.
class QatStream::Rows final : public SampleTable {
 public:
  Rows(std::shared_ptr<Implementation> stream, std::uint32_t table) : stream_(std::move(stream)), table_(table) {}
  ~Rows() override {
    const qat::LibraryCall call;
    stream_.reset();
  }

  [[nodiscard]] std::uint64_t rows() const override { return stream_->file.rows(table_); }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    guarded(stream_->file.name(), [&] { stream_->file.readTimes(table_, first, count, out); });
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    guarded(stream_->file.name(),
            [&] { stream_->file.readRows(table_, first, count, offset, bytes, out, stride, texts_); });
  }
  void readText(TextCell cell, std::string& utf8) const override {
    // A cell holds the address of its text. NOLINTNEXTLINE(performance-no-int-to-ptr)
    utf8.assign(reinterpret_cast<const char*>(static_cast<std::uintptr_t>(cell.start)), cell.bytes);
  }

 private:
  std::shared_ptr<Implementation> stream_;
  std::uint32_t table_;
  mutable std::unordered_set<std::string> texts_;  // under the lock of HDF5 calls
};

/// The samples of leaves with strays.
class QatStream::LeafRows final : public SampleTable {
 public:
  LeafRows(std::shared_ptr<Implementation> stream, std::shared_ptr<qat::StreamedLeaves> leaves)
      : stream_(std::move(stream)), leaves_(std::move(leaves)) {}
  ~LeafRows() override {
    const qat::LibraryCall call;
    stream_.reset();
  }

  [[nodiscard]] std::uint64_t rows() const override { return leaves_->rows(); }
  void readTimes(std::uint64_t first, std::uint64_t count, double* out) const override {
    guarded(stream_->file.name(), [&] { stream_->file.readTimes(*leaves_, first, count, out); });
  }
  void readRows(std::uint64_t first, std::uint64_t count, std::size_t offset, std::size_t bytes, std::byte* out,
                std::size_t stride) const override {
    guarded(stream_->file.name(),
            [&] { stream_->file.readRows(*leaves_, first, count, offset, bytes, out, stride, texts_); });
  }
  void readText(TextCell cell, std::string& utf8) const override {
    // A cell holds the address of its text. NOLINTNEXTLINE(performance-no-int-to-ptr)
    utf8.assign(reinterpret_cast<const char*>(static_cast<std::uintptr_t>(cell.start)), cell.bytes);
  }
  [[nodiscard]] const StoredTable* stored() const override { return leaves_->stored(); }

  [[nodiscard]] std::optional<qat::LeafPlace> placeOf(const qalc::Samples& samples) const {
    return samples.areTimes() ? std::nullopt : leaves_->placeAt(samples.column().offset);
  }

 private:
  std::shared_ptr<Implementation> stream_;
  std::shared_ptr<qat::StreamedLeaves> leaves_;
  mutable std::unordered_set<std::string> texts_;  // under the lock of HDF5 calls
};

void StrayBuffer::cutTo(const Size& size) {
  entries_.resize(size.entries);
  bytes_.resize(size.bytes);
  cells_.resize(size.cells);
}

void StrayBuffer::add(const StreamLeaf& leaf, double time, const std::byte* values) {
  const Size before = size();
  const std::size_t bytes = before.bytes;
  try {
    entries_.push_back({leaf, time, bytes, leaf.bytes});
    bytes_.insert(bytes_.end(), values, values + leaf.bytes);
    if (leaf.id != qxCELL) return;
    for (std::size_t at = bytes; at < bytes + leaf.bytes; at += TextCell::kBytesInRow) {
      TextCell cell = TextCell::fromRow(bytes_.data() + at);
      // NOLINTNEXTLINE(performance-no-int-to-ptr)
      const auto* text = reinterpret_cast<const std::byte*>(static_cast<std::uintptr_t>(cell.start));
      cell.start = cell.bytes > 0 ? bytes_.size() : 0;
      if (cell.bytes > 0) bytes_.insert(bytes_.end(), text, text + cell.bytes);
      cell.toRow(bytes_.data() + at);
      cells_.push_back(at);
    }
  } catch (...) {
    cutTo(before);
    throw;
  }
}

void StrayBuffer::describe(const std::string& json) {
  const StreamLeaf leaf{StreamLeaf::kLate, qat::kDescriptionColumn, qxUINT8, false,
                        static_cast<std::uint32_t>(json.size())};
  add(leaf, 0, reinterpret_cast<const std::byte*>(json.data()));
}

QatStream::QatStream(const std::string& file)
    : implementation_(guarded(file, [&] { return std::make_shared<Implementation>(file); })) {}

QatStream::~QatStream() {
  try {
    close();
  } catch (const std::exception&) {  // nobody is left to be told
  }
  const qat::LibraryCall call;
  implementation_->file.release();
  implementation_.reset();
}

void QatStream::layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables,
                       std::span<const StreamRing> rings) {
  guarded(file(), [&] { implementation_->file.layOut(variables, tables, rings); });
}

QatStream::Newest QatStream::newest(std::uint32_t ring, std::uint32_t position) const {
  return implementation_->file.newest(ring, position);
}

void QatStream::putNewest(std::uint32_t ring, std::span<const RingSamples> samples) {
  guarded(file(), [&] { implementation_->file.putNewest(ring, samples); });
}

std::uint64_t QatStream::mostAtOnce(std::uint64_t limit) { return qat::Ring::mostAtOnce(limit); }

void QatStream::cutNewest(std::uint32_t ring, const std::function<std::uint64_t(std::uint32_t)>& endOf) {
  guarded(file(), [&] { implementation_->file.cutNewest(ring, endOf); });
}

void QatStream::append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  guarded(file(), [&] { implementation_->file.append(table, source, first, count); });
}

void QatStream::overwrite(std::uint32_t table, std::uint64_t at, const SampleTable& source, std::uint64_t first,
                          std::uint64_t count) {
  guarded(file(), [&] { implementation_->file.overwrite(table, at, source, first, count); });
}

std::uint64_t QatStream::count(std::uint32_t table, std::uint32_t leaf) const {
  return implementation_->file.count(table, leaf);
}

void QatStream::append(const StrayBuffer& strays) {
  guarded(file(), [&] { implementation_->file.append(strays); });
}

std::vector<std::string> QatStream::describe(const std::string& variable, const std::string& dataset,
                                             const qxArray& element) const {
  return qat::describeElement(variable, dataset, element,
                              [](const qalc::Samples& samples) -> std::optional<qat::LeafPlace> {
                                const auto* rows = dynamic_cast<const LeafRows*>(samples.table().get());
                                return rows != nullptr ? rows->placeOf(samples) : std::nullopt;
                              });
}

void QatStream::keep(const StreamLeaf& leaf, std::uint64_t samples) {
  guarded(file(), [&] { implementation_->file.keep({leaf.table, leaf.column}, samples); });
}

void QatStream::endLeaf(std::uint32_t table, std::uint32_t leaf, std::optional<std::uint64_t> row) {
  guarded(file(), [&] { implementation_->file.endLeaf(table, leaf, row); });
}

void QatStream::flush(bool toDisk) {
  guarded(file(), [&] { implementation_->file.flush(toDisk); });
}

QatStream::Mark QatStream::mark() const {
  return guarded(file(), [&] { return implementation_->file.mark(); });
}

void QatStream::stepBack(const Mark& mark) {
  guarded(file(), [&] { implementation_->file.stepBack(mark); });
}

void QatStream::close(std::span<const StreamVariable> variables, std::span<const StreamRing> rings) {
  guarded(file(), [&] { implementation_->file.close(variables, rings); });
}

void QatStream::reopen() {
  guarded(file(), [&] { implementation_->file.reopen(); });
}

std::shared_ptr<const SampleTable> QatStream::rows(std::uint32_t table) const {
  return std::make_shared<const Rows>(implementation_, table);
}

std::shared_ptr<const SampleTable> QatStream::rows(std::span<const StreamLeaf> leaves, std::uint64_t count) const {
  auto streamed = std::make_shared<qat::StreamedLeaves>(leaves, count);
  auto rows = std::make_shared<const LeafRows>(implementation_, streamed);
  implementation_->file.keepPlaces(*rows, streamed);
  return rows;
}

std::optional<std::uint32_t> QatStream::tableOf(const StreamLeaf& leaf) const {
  const auto place = implementation_->file.placeOf({leaf.table, leaf.column});
  return place ? std::optional(place->first) : std::nullopt;
}

const std::string& QatStream::file() const { return implementation_->file.name(); }

bool isStreamed(const std::string& file) {
  qat::Descriptor descriptor;
  try {
    descriptor = qat::Descriptor(file, O_RDONLY, false);
  } catch (const qat::Failure&) {
    return false;
  }
  try {
    qat::requireNotStreamed(descriptor.get());
    return false;
  } catch (const qat::Failure&) {
    return true;
  }
}

bool isGrowing(const std::string& file) {
  if (!isStreamed(file)) return false;
  try {
    const qat::Descriptor descriptor(file, O_RDONLY, false);
    return qat::readSuperblock(qat::FileBytes(descriptor.get())).markedAsStreamed();
  } catch (const qat::Failure&) {
    return false;
  }
}

}  // namespace vtu
