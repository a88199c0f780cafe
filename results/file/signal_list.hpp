/// @file
/// The signals of a Qat file.
#pragma once

#include <vector>

#include "results/file/qat_source.hpp"
#include "results/file/results_file.hpp"
#include "results/signals/signal_info.hpp"

namespace vtio::results {

/// Reads the descriptions of all recorded leaves, in the order of datasets, elements and leaves; then the columns of
/// sample tables that no dataset refers to. Samples stay in the file.
/// @throws the file service's diagnostics, ResultsError for a description that contradicts itself.
[[nodiscard]] std::vector<SignalInfo> readSignalList(QatSource& source, const std::string& path);

/// Sets the number of samples, first and last time of signals of that source to what the file has now.
/// @return Whether one changed, and whether one got fewer samples.
Refresh readLengthsAgain(QatSource& source, std::vector<SignalInfo>& signals);

}  // namespace vtio::results
