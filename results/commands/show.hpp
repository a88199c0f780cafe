/// @file
/// `qat show`: the values of one signal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "results/commands/command.hpp"
#include "results/export.hpp"
#include "results/sweep/run_files.hpp"

namespace vtio::results {

struct ShowSettings {
  std::string file;
  std::string signal;
  std::optional<std::uint64_t> head;  ///< first samples
  std::optional<std::uint64_t> tail;  ///< last samples
  TimeOptions time;
  bool json = false;
  RunChoice runs = {};
};

/// Prints what is known about the signal, statistics, a sparkline on a terminal, and values; the first and the last
/// ten if no number is given. As JSON: the record of the signal with all chosen times and values.
/// @throws ResultsError
VTIO_RESULTS_EXPORT int showSignal(const ShowSettings& settings, const Console& console);

}  // namespace vtio::results
