/// @file
/// Reads the zip archive of an FMU and trusts nothing in it.
///
///     Archive archive("BouncingBall.fmu");
///     std::string xml = archive.read("modelDescription.xml");
///     archive.extract("resources/", folder);
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runner/export.hpp"

namespace vtio::runner {

/// A file in an archive.
struct ArchiveEntry {
  std::string name;         ///< '/' between the parts, relative, without "." and ".."
  std::uint64_t index = 0;  ///< in the archive
  std::uint64_t size = 0;   ///< bytes, not compressed
  bool isFolder = false;
};

/// What an archive may hold at most.
struct ArchiveLimits {
  std::uint64_t entries = 100'000;
  std::uint64_t totalBytes = std::uint64_t{8} << 30;       ///< of all files, not compressed
  std::uint64_t unpackedFreely = std::uint64_t{64} << 20;  ///< a file up to this size may be compressed by any factor
  std::uint64_t factor = 200;                              ///< a larger one by this factor at most
};

/// An open archive. Every entry is checked when it is opened, before anything is unpacked: names that leave the folder,
/// links, special files, names that stand twice, a file that is also a folder, encryption, sizes beyond the limits.
class VTIO_RUNNER_EXPORT Archive final {
 public:
  /// @throws RunnerError that names the entry and what is wrong with it.
  explicit Archive(const std::filesystem::path& file, const ArchiveLimits& limits = ArchiveLimits());

  /// An archive in memory; the bytes must outlive it.
  explicit Archive(std::span<const std::byte> bytes, const ArchiveLimits& limits = ArchiveLimits());

  ~Archive();
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  /// In the order of the archive; valid as long as it.
  [[nodiscard]] const std::vector<ArchiveEntry>& entries() const { return entries_; }

  /// The file of that name; null if there is none.
  [[nodiscard]] const ArchiveEntry* find(std::string_view name) const;

  /// The content of a file.
  /// @throws RunnerError if there is none of the name, or if it is damaged.
  [[nodiscard]] std::string read(std::string_view name) const;

  /// Unpacks all files whose names begin with the prefix, with the folders above them. Files are made new: a file that
  /// is there already, or a link, is an error.
  /// @param folder Of the caller alone.
  /// @throws RunnerError for a damaged file or one that cannot be written.
  void extract(std::string_view prefix, const std::filesystem::path& folder) const;

 private:
  struct Zip;

  void checkEntries(const ArchiveLimits& limits);

  std::unique_ptr<Zip> zip_;
  std::vector<ArchiveEntry> entries_;
};

}  // namespace vtio::runner
