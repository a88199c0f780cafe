#include "results/file/results_file.hpp"

#include <utility>

#include "results/file/results_error.hpp"
#include "results/signals/glob.hpp"
#include "results/signals/near_names.hpp"

namespace vtio::results {

SampleSource::~SampleSource() = default;

ResultsFile::ResultsFile(std::string path, std::vector<SignalInfo> signals, std::unique_ptr<SampleSource> source,
                         bool isComplete, Axis axis)
    : path_(std::move(path)),
      axis_(std::move(axis)),
      complete_(isComplete),
      signals_(std::move(signals)),
      source_(std::move(source)) {
  indexNames();
}

void ResultsFile::indexNames() {
  byName_.reserve(signals_.size());
  for (std::size_t i = 0; i < signals_.size(); ++i) byName_.emplace(signals_[i].name, i);
}

const SignalInfo* ResultsFile::lookUp(std::string_view name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : &signals_[found->second];
}

std::string ResultsFile::noSignal(const std::string& what, std::string_view name) const {
  std::vector<std::string> names;
  names.reserve(signals_.size());
  for (const SignalInfo& signal : signals_) names.push_back(signal.name);
  return what + " '" + std::string(name) + "'" + didYouMean(name, names);
}

const SignalInfo& ResultsFile::find(std::string_view name) const {
  if (const SignalInfo* signal = lookUp(name)) return *signal;
  throw ResultsError(path_, noSignal("no signal", name));
}

std::vector<const SignalInfo*> ResultsFile::selectAny(std::span<const std::string> patterns) const {
  std::vector<const SignalInfo*> chosen;
  for (const SignalInfo& signal : signals_) {
    bool wanted = patterns.empty();
    for (std::size_t i = 0; i < patterns.size() && !wanted; ++i) wanted = matchesGlob(patterns[i], signal.name);
    if (wanted) chosen.push_back(&signal);
  }
  return chosen;
}

std::vector<const SignalInfo*> ResultsFile::select(std::span<const std::string> patterns) const {
  for (const std::string& pattern : patterns) {
    if (lookUp(pattern) != nullptr) continue;
    bool found = false;
    for (std::size_t i = 0; i < signals_.size() && !found; ++i) found = matchesGlob(pattern, signals_[i].name);
    if (found) continue;
    const bool isPattern = pattern.find_first_of("*?") != std::string::npos;
    throw ResultsError(path_, noSignal(isPattern ? "no signal matches" : "no signal", pattern));
  }
  return selectAny(patterns);
}

}  // namespace vtio::results
