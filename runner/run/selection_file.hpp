/// @file
/// The logging selection of a run as a JSON file.
#pragma once

#include <filesystem>
#include <vector>

#include "platform/qalc.hpp"
#include "runner/export.hpp"
#include "runner/signals/signal_tree.hpp"

namespace vtio::runner {

/// Reads `{"default": 1, "signals": [{"signal": "wheel*", "selector": 2, "customName": "…", "decimation": 10,
/// "maxPoints": 100}]}`. A name or pattern stands for every signal whose name, or the name of one of whose variables,
/// it matches; the first entry that matches a signal counts.
/// @param trees The signals, in the order in which they are described.
/// @return The selection as Catalogue::setModelLoggingInfo() takes it.
/// @throws RunnerError with the place in the file.
[[nodiscard]] VTIO_RUNNER_EXPORT vtu::qxArrayWrapper readSelection(const std::filesystem::path& file,
                                                                   const ModelDescription& model,
                                                                   const std::vector<SignalTree>& trees);

}  // namespace vtio::runner
