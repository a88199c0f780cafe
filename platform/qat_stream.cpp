#include "platform/qat_stream.hpp"

#include <fcntl.h>

#include <cstdint>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "platform/qat/failure.hpp"
#include "platform/qat/library_call.hpp"
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

void QatStream::layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables) {
  guarded(file(), [&] { implementation_->file.layOut(variables, tables); });
}

void QatStream::append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  guarded(file(), [&] { implementation_->file.append(table, source, first, count); });
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

void QatStream::close(std::span<const StreamVariable> variables) {
  guarded(file(), [&] { implementation_->file.close(variables); });
}

void QatStream::reopen() {
  guarded(file(), [&] { implementation_->file.reopen(); });
}

std::shared_ptr<const SampleTable> QatStream::rows(std::uint32_t table) const {
  return std::make_shared<const Rows>(implementation_, table);
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
