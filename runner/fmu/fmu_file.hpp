/// @file
/// An `.fmu` file: its archive and its description. No binary of it is loaded here.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "runner/archive/archive.hpp"
#include "runner/description/mistakes.hpp"
#include "runner/description/model_description.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

/// Opens an FMU and reads its description.
class VTIO_RUNNER_EXPORT FmuFile final {
 public:
  /// @throws RunnerError for what is no archive, an archive that is refused, or no description.
  explicit FmuFile(std::filesystem::path file);

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] const Archive& archive() const { return archive_; }
  [[nodiscard]] const ModelDescription& model() const { return model_; }

  /// Those of the description and of the archive: missing binaries.
  [[nodiscard]] const Mistakes& mistakes() const { return mistakes_; }

  /// Names of the folders below `binaries/`, sorted.
  [[nodiscard]] std::vector<std::string> platforms() const;

  /// The shared library of an interface for this machine, as a name in the archive; empty if there is none.
  [[nodiscard]] std::string binaryFor(const Interface& way) const;

 private:
  void checkBinaries();

  std::filesystem::path path_;
  Archive archive_;
  Mistakes mistakes_;
  ModelDescription model_;
};

/// The folders below `binaries/` that hold what this machine runs, best first.
[[nodiscard]] VTIO_RUNNER_EXPORT std::vector<std::string> ownPlatforms();

}  // namespace vtio::runner
