#include "results/commands/complete.hpp"

#include <filesystem>
#include <ostream>

#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/sweep/run_table.hpp"

namespace vtio::results {

int completeSignals(const CompleteSettings& settings, const Console& console) {
  try {
    // Of a sweep those of its first run that left results; their names are those of all.
    std::string path = settings.file;
    if (RunTable::isSweep(path)) {
      const RunTable table(path);
      for (std::size_t run = 0; run < table.runs() && path == settings.file; ++run) {
        if (std::filesystem::exists(table.fileOf(run))) path = table.fileOf(run);
      }
    }
    const ResultsFile file(path);
    for (const SignalInfo& signal : file.signals()) {
      if (signal.name.starts_with(settings.beginning)) console.out << printable(signal.name) << '\n';
    }
  } catch (const ResultsError&) {
    return kDone;  // a word that is no results file has no completions
  }
  return kDone;
}

}  // namespace vtio::results
