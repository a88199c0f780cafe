/// @file
/// Rows as CSV (RFC 4180, lines end in CR LF).
#pragma once

#include <string>
#include <string_view>

#include "results/export.hpp"
#include "results/export/target_file.hpp"
#include "results/file/job.hpp"
#include "results/rows/row_source.hpp"

namespace vtio::results {

/// Appends a field, in quotation marks if it needs them; an empty text is `""`.
VTIO_RESULTS_EXPORT void appendCsvField(std::string& out, std::string_view text);

/// Writes the header, `axis` and one column per number or text of each signal, then all rows. A cell is empty where a
/// signal has no sample.
/// @param raw Stored integers in place of labels and real values.
/// @throws Interrupted, ResultsError
VTIO_RESULTS_EXPORT void writeCsv(RowSource& rows, bool raw, TextOutput& out, const Job& job = {},
                                  const std::string& axis = "time");

}  // namespace vtio::results
