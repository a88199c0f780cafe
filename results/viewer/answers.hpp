/// @file
/// The page's questions as names and parameters, and the answers as bytes: what a server passes on.
#pragma once

#include <map>
#include <string>

#include "results/export.hpp"
#include "results/viewer/viewer.hpp"

namespace vtio::results {

/// Parameters of a question.
using Query = std::map<std::string, std::string>;

struct Answer {
  int status = 200;  ///< as in HTTP: 400 for a question that cannot be answered, 404 for one that does not exist
  std::string type;  ///< media type
  std::string body;
};

/// Answers one question; an error is {"error": text}. Traces are written `a.3.0`: file (a, b, d), signal, element.
///
/// - `files`: {"version", "files": [what `qat ls --json` prints]}
/// - `state`: takes in what is new; {"version", "files": [{"complete", "signals", "last"}]}
/// - `series` (traces, from, to, pixels): per trace u32 count, u32 1 if samples were left out, f64 times, f64 values
/// - `over` (x, traces, from, to, pixels): the same with the values of x in place of times
/// - `texts` (trace): the texts of a text signal, by value
/// - `values` (traces, times): per time a list of {"time", "value", "text"} or null
/// - `statistics` (traces, from, to): per trace {"samples", "nans", "min", "max", "mean"}
[[nodiscard]] VTIO_RESULTS_EXPORT Answer answer(Viewer& viewer, const std::string& question, const Query& query);

/// {"version", "files": […]} as the question `files` gives it.
[[nodiscard]] VTIO_RESULTS_EXPORT std::string filesJson(const Viewer& viewer, std::uint64_t version);

/// Points as the question `series` gives them.
VTIO_RESULTS_EXPORT void appendPoints(std::string& out, const std::vector<Point>& points, bool isReduced);

}  // namespace vtio::results
