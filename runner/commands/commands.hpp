/// @file
/// The commands of `vtio-run`, each as a function that prints and returns how the program ends.
#pragma once

#include <filesystem>
#include <iosfwd>

#include "runner/error.hpp"
#include "runner/export.hpp"
#include "runner/fmu/fmu_file.hpp"

namespace vtio::runner {

/// Prints what the FMU is and its variables as a tree.
/// @param model The FMU's; its arrays may have other sizes by now.
VTIO_RUNNER_EXPORT void printInfo(const FmuFile& fmu, const ModelDescription& model, std::ostream& out);

/// The same as one JSON object.
VTIO_RUNNER_EXPORT void printInfoAsJson(const FmuFile& fmu, const ModelDescription& model, std::ostream& out);

/// Prints each mistake of the FMU in a line that begins with the file's name.
/// @return failed if there is one.
VTIO_RUNNER_EXPORT ExitStatus printMistakes(const FmuFile& fmu, std::ostream& out);

/// The program: parses the arguments, runs the command, prints errors as one line.
/// @return The exit status.
VTIO_RUNNER_EXPORT int runProgram(int argc, const char* const* argv);

}  // namespace vtio::runner
