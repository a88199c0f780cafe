/// @file
/// `qat check`: whether a file is whole.
#pragma once

#include <string>

#include "results/commands/command.hpp"
#include "results/export.hpp"

namespace vtio::results {

struct CheckSettings {
  std::string file;
  bool mend = false;  ///< first closes a file whose writer ended before it did
};

/// Reads every signal once and prints what it found; of a sweep those of all its runs.
/// @return kDone if the file is complete and sound, kNo if it is incomplete or a signal is not sound.
/// @throws ResultsError if the file cannot be read or mended, Interrupted
VTIO_RESULTS_EXPORT int checkFile(const CheckSettings& settings, const Console& console);

}  // namespace vtio::results
