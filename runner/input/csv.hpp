/// @file
/// Comma-separated tables (RFC 4180).
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "runner/export.hpp"

namespace vtio::runner {

/// Takes one row. @param row Counted from 1, the header included.
using CsvRow = std::function<void(std::vector<std::string>& cells, std::size_t row)>;

/// Reads a file row by row; empty lines are skipped.
/// @throws RunnerError if the file cannot be read or is malformed, with the row; whatever `take` throws passes through.
VTIO_RUNNER_EXPORT void readCsv(const std::filesystem::path& file, const CsvRow& take);

}  // namespace vtio::runner
