/// @file
/// Makes the shared library of an FMU from its sources.
#pragma once

#include <filesystem>

#include "runner/export.hpp"
#include "runner/fmu/fmu_file.hpp"

namespace vtio::runner {

/// Unpacks `sources/` and compiles what planBuild() says, with the compilers that CC and CXX name (cc, c++). Nothing is
/// written outside the folder. Headers of FMI that the sources lack are found where CPATH says.
/// @param folder Of the caller alone.
/// @return The library.
/// @throws RunnerError with the compiler's first error, and what planBuild() throws.
[[nodiscard]] VTIO_RUNNER_EXPORT std::filesystem::path buildLibrary(const FmuFile& fmu, const Interface& way,
                                                                    const std::filesystem::path& folder);

}  // namespace vtio::runner
