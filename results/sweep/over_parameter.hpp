/// @file
/// Final values of the runs of a sweep over a parameter.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "results/export.hpp"
#include "results/plot/figure.hpp"
#include "results/sweep/run_table.hpp"

namespace vtio::results {

/// Number columns over a parameter: a panel per column, and in it, where a grid has other parameters, a curve for each
/// of their combinations.
/// @param patterns Names of columns, at least one.
/// @throws ResultsError for a column of texts, and for a pattern that matches nothing.
[[nodiscard]] VTIO_RESULTS_EXPORT Figure figureOver(const RunTable& table, std::span<const std::size_t> runs,
                                                    const std::string& parameter,
                                                    std::span<const std::string> patterns);

}  // namespace vtio::results
