/// @file
/// Inputs that are taken from a results file.
#pragma once

#include <filesystem>

#include "runner/description/model_description.hpp"
#include "runner/input/csv.hpp"

namespace vtio::runner {

/// Reads a table of inputs: CSV, or a results file (.qat).
///
/// Of a results file the signals that are called as inputs of the model become columns, and there is a row for each
/// time of any of them; where one has no sample, it is held or interpolated as it says. Other signals are left out.
/// @throws RunnerError if the file cannot be read or has no such signal; whatever `take` throws passes through.
void readInputRows(const std::filesystem::path& file, const ModelDescription& model, const CsvRow& take);

}  // namespace vtio::runner
