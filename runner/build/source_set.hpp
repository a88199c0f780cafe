/// @file
/// Which sources of an FMU make its library, as its description says.
#pragma once

#include <string>
#include <vector>

#include "runner/export.hpp"
#include "runner/fmu/fmu_file.hpp"

namespace vtio::runner {

/// Sources that are compiled alike.
struct SourceSet {
  std::vector<std::string> files;        ///< in `sources/`, all of them in the archive
  std::vector<std::string> folders;      ///< of headers, in `sources/`
  std::vector<std::string> definitions;  ///< NAME or NAME=VALUE
  std::string standard;                  ///< `gnu99`, `gnu++17`; empty: the compiler's own
};

struct BuildPlan {
  std::vector<SourceSet> sets;
  std::vector<std::string> libraries;  ///< of the system, without "lib"
};

/// Reads `SourceFiles` of FMI 2, and `sources/buildDescription.xml` of FMI 3: the first configuration for the interface
/// that is for this machine or for any.
/// @throws RunnerError if there is none, and for what it must not name: files that are not in the archive, folders
///   outside `sources/`, options in place of names.
[[nodiscard]] VTIO_RUNNER_EXPORT BuildPlan planBuild(const FmuFile& fmu, const Interface& way);

}  // namespace vtio::runner
