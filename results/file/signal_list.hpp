/// @file
/// The signals of a Qat file.
#pragma once

#include <vector>

#include "results/file/qat_source.hpp"
#include "results/signals/signal_info.hpp"

namespace vtio::results {

/// Reads the descriptions of all recorded leaves, in the order of datasets, elements and leaves; then the columns of
/// sample tables that no dataset refers to. Samples stay in the file.
/// @throws the file service's diagnostics, ResultsError for a description that contradicts itself.
[[nodiscard]] std::vector<SignalInfo> readSignalList(QatSource& source, const std::string& path);

}  // namespace vtio::results
