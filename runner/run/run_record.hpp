/// @file
/// The variable `fmu` of a results file: the run, and what the description says of each logged variable.
#pragma once

#include "platform/qalc.hpp"
#include "runner/run/fmu_run.hpp"
#include "runner/run/run_plan.hpp"

namespace vtio::runner {

/// A 1-by-1 structure: `ModelName`, `FmiVersion`, `GenerationTool`, `Kind`, `Start`, `Stop`, `Step`, `Status`,
/// `Message`, `LastTime`, and `Variables`, a cell array of one structure per logged variable: `Name`, `ValueReference`,
/// `Type`, `Causality`, `Variability`, `Initial`, `Unit`, `DisplayUnit`, `Quantity`, `RelativeQuantity`, `Min`, `Max`,
/// `Nominal`, `Start`, `Description`, `AliasOf`. What the description does not say is an empty text.
[[nodiscard]] vtu::qxArrayWrapper runRecord(const RunPlan& plan, const RunEnd& end);

}  // namespace vtio::runner
