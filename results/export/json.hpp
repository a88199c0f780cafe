/// @file
/// Signals and their samples as JSON. Numbers that JSON cannot hold are null.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/export/series_batches.hpp"
#include "results/export/target_file.hpp"
#include "results/file/job.hpp"

namespace vtio::results {

/// What is known about a signal, in the order of the fields that people read first.
[[nodiscard]] VTIO_RESULTS_EXPORT nlohmann::ordered_json signalRecord(const SignalInfo& signal);

/// Serialises in one line; what is not UTF-8 becomes U+FFFD.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string jsonText(const nlohmann::ordered_json& value);

/// A number, or null where JSON cannot hold it.
[[nodiscard]] VTIO_RESULTS_EXPORT nlohmann::ordered_json finiteOrNull(double value);

/// {"file", "complete", "signals": [records]}, a line per signal.
/// @param signals Null where a signal is no longer there: so is its record.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string signalListJson(const ResultsFile& file,
                                                             const std::vector<const SignalInfo*>& signals);

/// Appends the record of a signal with `time` and `values`: a scalar's value is a number, a text, a label or true and
/// false; an array's is nested lists, the last index innermost; a complex number is {"re": …, "im": …}.
VTIO_RESULTS_EXPORT void appendJsonSignal(std::string& out, const SignalInfo& signal, const SeriesView& series,
                                          bool raw);

/// Writes {"signals": [...]}, a line per signal.
/// @throws Interrupted, ResultsError
VTIO_RESULTS_EXPORT void writeJson(SeriesBatches& signals, bool raw, TextOutput& out, const Job& job = {});

}  // namespace vtio::results
