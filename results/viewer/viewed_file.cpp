#include "results/viewer/viewed_file.hpp"

#include <sys/stat.h>

#include <cstdint>
#include <utility>

#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

// What grows: rows of all signals, and their number.
std::pair<std::size_t, std::uint64_t> extentOf(const ResultsFile& file) {
  std::uint64_t samples = 0;
  for (const SignalInfo& signal : file.signals()) samples += signal.place.count;
  return {file.signals().size(), samples};
}

/// The samples of a file that cannot be opened at the moment.
class AbsentSource final : public SampleSource {
 public:
  explicit AbsentSource(std::string path) : path_(std::move(path)) {}

  void readTimes(std::uint32_t /*table*/, std::uint64_t /*first*/, std::uint64_t /*count*/, double* /*out*/) override {
    refuse();
  }
  void readBlock(std::uint32_t /*table*/, ElementType /*type*/, std::size_t /*firstColumn*/, std::size_t /*width*/,
                 std::uint64_t /*firstRow*/, std::uint64_t /*count*/, std::byte* /*out*/) override {
    refuse();
  }
  std::vector<std::string> readTexts(std::uint32_t /*table*/, std::uint32_t /*column*/, std::uint64_t /*firstRow*/,
                                     std::uint64_t /*count*/) override {
    refuse();
  }

 private:
  [[noreturn]] void refuse() const { throw ResultsError(path_, "cannot be read at the moment"); }

  std::string path_;
};

}  // namespace

ViewedFile::Open ViewedFile::opener(const std::string& path) {
  if (path.empty()) return {};
  return [path] { return std::make_unique<ResultsFile>(path); };
}

ViewedFile::ViewedFile(Open open) : open_(std::move(open)), file_(open_()), stamp_(stamp()) { number(); }

ViewedFile::Stamp ViewedFile::stamp() const {
  struct stat found {};
  if (::stat(file_->path().c_str(), &found) != 0) return {};
  constexpr std::int64_t kPerSecond = 1'000'000'000;
  return {found.st_dev, found.st_ino, found.st_size,
          std::int64_t{found.st_mtim.tv_sec} * kPerSecond + found.st_mtim.tv_nsec};
}

const SignalInfo& ViewedFile::signal(std::size_t number) const {
  if (number < signals_.size() && signals_[number] != nullptr) return *signals_[number];
  throw ResultsError(file_->path(), "no signal number " + std::to_string(number));
}

std::size_t ViewedFile::numberOf(const std::string& name) const {
  const auto found = numbers_.find(name);
  return found == numbers_.end() ? npos : found->second;
}

void ViewedFile::number() {
  signals_.assign(names_.size(), nullptr);
  for (const SignalInfo& signal : file_->signals()) {
    const auto [entry, isNew] = numbers_.emplace(signal.name, names_.size());
    if (isNew) {
      names_.push_back(signal.name);
      signals_.push_back(nullptr);
    }
    signals_[entry->second] = &signal;
  }
}

ViewedFile::Change ViewedFile::refresh() {
  const Stamp now = stamp();
  const bool wasComplete = file_->isComplete();
  if (wasComplete && now == stamp_) return Change::none;
  const auto extent = extentOf(*file_);
  const bool isOther = wasComplete || !now.isOf(stamp_);
  if (!reopen()) {
    stamp_ = {};
    return Change::none;
  }
  stamp_ = now;
  if (isOther || file_->isComplete()) return Change::anew;
  return extentOf(*file_) != extent ? Change::grown : Change::none;
}

// Two openings of one file in a process share what HDF5 has read of it, which would be old: one is closed first.
bool ViewedFile::reopen() {
  const std::string path = file_->path();
  const bool wasComplete = file_->isComplete();
  std::vector<SignalInfo> known(file_->signals().begin(), file_->signals().end());
  file_.reset();
  try {
    file_ = open_();
  } catch (const ResultsError&) {  // as when it is being replaced
    file_ = std::make_unique<ResultsFile>(path, std::move(known), std::make_unique<AbsentSource>(path), wasComplete);
  }
  number();
  return dynamic_cast<const AbsentSource*>(&file_->source()) == nullptr;
}

}  // namespace vtio::results
