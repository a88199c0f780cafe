#include "results/commands/complete.hpp"

#include <ostream>

#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"

namespace vtio::results {

int completeSignals(const CompleteSettings& settings, const Console& console) {
  try {
    const ResultsFile file(settings.file);
    for (const SignalInfo& signal : file.signals()) {
      if (signal.name.starts_with(settings.beginning)) console.out << printable(signal.name) << '\n';
    }
  } catch (const ResultsError&) {
    return kDone;  // a word that is no results file has no completions
  }
  return kDone;
}

}  // namespace vtio::results
