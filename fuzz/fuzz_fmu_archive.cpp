/// @file
/// Archives of FMUs: what is taken has safe names, and unpacks to what its directory says, inside the folder.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "fuzz/require.hpp"
#include "runner/archive/archive.hpp"
#include "runner/error.hpp"

namespace {

using vtio::fuzz::require;
using vtio::runner::Archive;
using vtio::runner::ArchiveEntry;
using vtio::runner::ArchiveLimits;
using vtio::runner::RunnerError;
namespace fs = std::filesystem;

void checkName(const std::string& name) {
  require(!name.empty() && name[0] != '/', "a name is relative");
  const fs::path normal = fs::path(name).lexically_normal();
  require(normal == fs::path(name), "a name has no way round");
  require(*normal.begin() != "..", "a name stays in the folder");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ArchiveLimits limits;
  limits.entries = 100;
  limits.totalBytes = 1 << 22;
  limits.unpackedFreely = 1 << 20;
  try {
    const Archive archive(std::span(reinterpret_cast<const std::byte*>(data), size), limits);
    std::uint64_t total = 0;
    for (const ArchiveEntry& entry : archive.entries()) {
      checkName(entry.name);
      total += entry.size;
      if (entry.isFolder) continue;
      try {
        require(archive.read(entry.name).size() == entry.size, "a file is as long as the directory says");
      } catch (const RunnerError&) {
      }
    }
    require(total <= limits.totalBytes, "all files stay below the limit");
  } catch (const RunnerError& error) {
    require(error.what()[0] != '\0', "an error says what is wrong");
  }
  return 0;
}
