#include <memory>
#include <string>
#include <utility>

#include "platform/qat_stream.hpp"
#include "results/file/qat_source.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/file/signal_list.hpp"

namespace vtio::results {

ResultsFile::ResultsFile(const std::string& path) : path_(path) { open(); }

void ResultsFile::release() const {
  if (qat_ != nullptr && !isGrowing_) qat_->release();
}

std::uint64_t ResultsFile::storedBytes(const SignalInfo& signal) const {
  return qat_ == nullptr ? signal.valueBytes() : qat_->storedBytes(signal);
}

void ResultsFile::open() {
  state_ = stateOfFile(path_);
  auto source = std::make_unique<QatSource>(path_);
  try {
    signals_ = readSignalList(*source, path_);
    complete_ = source->samples().isComplete();
  } catch (const ResultsError&) {
    throw;
  } catch (const std::exception& error) {
    throw ResultsError::ofService(path_, error.what());
  }
  isGrowing_ = !complete_ && vtu::isGrowing(path_);
  qat_ = source.get();
  source_ = std::move(source);
  indexNames();
}

Refresh ResultsFile::reopen() {
  // The old one first: as long as it is open, the library has the file as it was.
  qat_ = nullptr;
  source_.reset();
  byName_.clear();
  signals_.clear();
  state_.clear();
  open();
  return {true, false, true};
}

Refresh ResultsFile::readLengths() {
  qat_->refresh();
  try {
    return readLengthsAgain(*qat_, signals_);
  } catch (const ResultsError&) {
    throw;
  } catch (const std::exception& error) {
    throw ResultsError::ofService(path_, error.what());
  }
}

Refresh ResultsFile::refresh() {
  if (qat_ == nullptr && source_ != nullptr) return {};  // results that are no file
  if (qat_ == nullptr || !isGrowing_) return stateOfFile(path_) == state_ && !state_.empty() ? Refresh() : reopen();
  if (!vtu::isGrowing(path_)) return reopen();
  try {
    return readLengths();
  } catch (const ResultsError&) {
    return reopen();  // it was closed in between
  }
}

}  // namespace vtio::results
