/// @file
/// Signals as a NumPy archive (.npz).
#pragma once

#include "results/export.hpp"
#include "results/export/series_batches.hpp"
#include "results/export/target_file.hpp"
#include "results/file/job.hpp"

namespace vtio::results {

/// Writes the arrays `NAME` and `NAME.time` for each signal, which numpy.load() reads without pickle. A time of which
/// a signal's name is taken (`x.time` beside `x`) is left out in favour of the signal.
/// @throws Interrupted, ResultsError
VTIO_RESULTS_EXPORT void writeNpz(SeriesBatches& signals, bool raw, TargetFile& target, const Job& job = {});

}  // namespace vtio::results
