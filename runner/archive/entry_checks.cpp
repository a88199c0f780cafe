#include "runner/archive/entry_checks.hpp"

#include <sys/stat.h>

#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr std::size_t kLongestPart = 255;   // of a file name, as file systems have it
constexpr std::size_t kLongestName = 4000;  // leaves room for the folder before it

[[noreturn]] void refuse(const std::string& what, std::string_view name) { throw RunnerError(what, entryPlace(name)); }

void checkPart(std::string_view part, std::string_view name) {
  if (part.empty()) refuse("its name has an empty part", name);
  if (part == ".." || part == ".") refuse("its name leads out of the archive's folder", name);
  if (part.size() > kLongestPart) refuse("a part of its name is longer than 255 bytes", name);
}

void checkName(std::string_view name) {
  if (name.empty()) refuse("it has no name", name);
  if (name.size() > kLongestName) refuse("its name is longer than 4000 bytes", name);
  if (name.front() == '/' || (name.size() > 1 && name[1] == ':')) refuse("its name is an absolute path", name);
  if (name.find('\\') != std::string_view::npos) refuse("its name has a backslash", name);
  std::string_view rest = name.back() == '/' ? name.substr(0, name.size() - 1) : name;
  while (true) {
    const std::size_t end = rest.find('/');
    checkPart(rest.substr(0, end), name);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
}

// Links, devices and the like are told by the Unix mode in the upper half of the attributes.
void checkKind(zip_t* archive, std::uint64_t index, std::string_view name) {
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0) return;
  const mode_t kind = static_cast<mode_t>(attributes >> 16) & S_IFMT;
  if (kind == S_IFLNK) refuse("it is a symbolic link", name);
  if (kind != 0 && kind != S_IFREG && kind != S_IFDIR) refuse("it is neither a file nor a folder", name);
}

void checkSize(const zip_stat_t& status, const ArchiveLimits& limits, std::string_view name) {
  if (status.size <= limits.unpackedFreely) return;
  const std::uint64_t packed = status.comp_size > 0 ? status.comp_size : 1;
  if (status.size / packed > limits.factor) {
    refuse("it would unpack " + std::to_string(packed) + " bytes to " + std::to_string(status.size), name);
  }
}

}  // namespace

std::string entryPlace(std::string_view name) { return "entry '" + printable(name) + "'"; }

ArchiveEntry EntryChecks::check(zip_t* archive, std::uint64_t index) {
  zip_stat_t status;
  zip_stat_init(&status);
  constexpr zip_uint64_t kNeeded = ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE;
  if (zip_stat_index(archive, index, ZIP_FL_ENC_RAW, &status) != 0 || (status.valid & kNeeded) != kNeeded) {
    throw RunnerError("damaged: " + std::string(zip_strerror(archive)), "entry " + std::to_string(index));
  }
  const std::string_view name = status.name;
  checkName(name);
  checkKind(archive, index, name);
  if ((status.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && status.encryption_method != ZIP_EM_NONE) {
    refuse("it is encrypted", name);
  }
  checkSize(status, limits_, name);
  if (status.size > limits_.totalBytes - totalBytes_) {
    refuse("the archive would unpack to more than " + std::to_string(limits_.totalBytes) + " bytes", name);
  }
  totalBytes_ += status.size;

  ArchiveEntry entry;
  entry.isFolder = name.back() == '/';
  entry.name = entry.isFolder ? name.substr(0, name.size() - 1) : name;
  entry.index = index;
  entry.size = status.size;
  if (!names_.insert(entry.name).second) refuse("the name stands twice in the archive", name);
  return entry;
}

void EntryChecks::checkTogether(const std::vector<ArchiveEntry>& entries) const {
  std::unordered_set<std::string_view> files;
  for (const ArchiveEntry& entry : entries) {
    if (!entry.isFolder) files.insert(entry.name);
  }
  for (const ArchiveEntry& entry : entries) {
    const std::string_view name = entry.name;
    for (std::size_t slash = name.find('/'); slash != std::string_view::npos; slash = name.find('/', slash + 1)) {
      if (files.contains(name.substr(0, slash))) refuse("a file of the archive is its folder", name);
    }
  }
}

}  // namespace vtio::runner
