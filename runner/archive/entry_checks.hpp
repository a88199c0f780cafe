/// @file
/// What an entry of an archive must be before anything of the archive is unpacked.
#pragma once

#include <zip.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "runner/archive/archive.hpp"

namespace vtio::runner {

/// "entry 'name'", the name made printable and cut where it is long.
[[nodiscard]] std::string entryPlace(std::string_view name);

/// Checks the entries of one archive, each alone and then all together.
class EntryChecks final {
 public:
  explicit EntryChecks(const ArchiveLimits& limits) : limits_(limits) {}

  /// @throws RunnerError that names the entry.
  [[nodiscard]] ArchiveEntry check(zip_t* archive, std::uint64_t index);

  /// Refuses a file that is also the folder of another.
  void checkTogether(const std::vector<ArchiveEntry>& entries) const;

 private:
  ArchiveLimits limits_;
  std::uint64_t totalBytes_ = 0;
  std::unordered_set<std::string> names_;
};

}  // namespace vtio::runner
