/// @file
/// The page with its data inside, for where there is no server.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "results/export.hpp"
#include "results/file/job.hpp"
#include "results/viewer/viewer.hpp"

namespace vtio::results {

/// Points kept of a trace are those of this many pixels over its whole span, at most four for each; a trace of fewer
/// samples is kept as it is.
inline constexpr std::size_t kStaticPixels = 2000;

/// Elements that are kept of a signal.
inline constexpr std::size_t kMostStaticElements = 64;

/// What a plot shows first.
struct StaticPlot {
  std::vector<TraceId> traces;
  TimeRange range;    ///< of the samples that are kept
  bool isXy = false;  ///< all others over the first trace
};

/// The page with the samples of some traces and nothing else.
/// @param page What the build made of tools/qat/viewer.
/// @throws ResultsError, Interrupted
[[nodiscard]] VTIO_RESULTS_EXPORT std::string plotPage(Viewer& viewer, std::string_view page, const StaticPlot& plot,
                                                       const Job& job = {});

/// Writes `index.html` with the lists of all signals and the samples of the first ones, and `data/a.N.js` with those of
/// any further signal. The page is written last.
/// @param folder Is made if it does not exist.
/// @throws ResultsError, Interrupted
VTIO_RESULTS_EXPORT void exportPage(Viewer& viewer, std::string_view page, const std::string& folder,
                                    const Job& job = {});

/// Base64 with padding.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string base64(std::string_view bytes);

}  // namespace vtio::results
