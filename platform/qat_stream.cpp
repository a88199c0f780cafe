#include "platform/qat_stream.hpp"

#include <stdexcept>
#include <utility>

#include "platform/qat/failure.hpp"
#include "platform/qat/library_call.hpp"
#include "platform/qat/stream/stream_file.hpp"

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

QatStream::QatStream(const std::string& file)
    : implementation_(guarded(file, [&] { return std::make_unique<Implementation>(file); })) {}

QatStream::~QatStream() {
  try {
    close();
  } catch (const std::exception&) {  // nobody is left to be told
  }
  const qat::LibraryCall call;
  implementation_.reset();
}

void QatStream::layOut(std::span<const StreamVariable> variables, std::span<const StreamTable> tables) {
  guarded(file(), [&] { implementation_->file.layOut(variables, tables); });
}

void QatStream::append(std::uint32_t table, const SampleTable& source, std::uint64_t first, std::uint64_t count) {
  guarded(file(), [&] { implementation_->file.append(table, source, first, count); });
}

void QatStream::endLeaf(std::uint32_t table, std::uint32_t leaf) {
  guarded(file(), [&] { implementation_->file.endLeaf(table, leaf); });
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

void QatStream::close() {
  guarded(file(), [&] { implementation_->file.close(); });
}

void QatStream::reopen() {
  guarded(file(), [&] { implementation_->file.reopen(); });
}

const std::string& QatStream::file() const { return implementation_->file.name(); }

}  // namespace vtu
