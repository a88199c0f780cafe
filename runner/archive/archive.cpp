#include "runner/archive/archive.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <system_error>
#include <utility>

#include "runner/archive/entry_checks.hpp"
#include "runner/error.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;

std::string errorText(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

using Sink = std::function<void(const char* data, std::size_t bytes)>;

// Unpacks one entry; no byte beyond the size that was checked when the archive was opened.
void unpack(zip_t* archive, const ArchiveEntry& entry, const Sink& sink) {
  const auto close = [](zip_file_t* open) { zip_fclose(open); };
  const std::unique_ptr<zip_file_t, decltype(close)> file(zip_fopen_index(archive, entry.index, 0), close);
  if (!file) throw RunnerError(std::string("cannot be unpacked: ") + zip_strerror(archive), entryPlace(entry.name));
  std::array<char, 65536> buffer;
  std::uint64_t total = 0;
  while (true) {
    const zip_int64_t got = zip_fread(file.get(), buffer.data(), buffer.size());
    if (got < 0) throw RunnerError(std::string("damaged: ") + zip_file_strerror(file.get()), entryPlace(entry.name));
    if (got == 0) break;
    total += static_cast<std::uint64_t>(got);
    if (total > entry.size) throw RunnerError("longer than the archive says", entryPlace(entry.name));
    sink(buffer.data(), static_cast<std::size_t>(got));
  }
  if (total != entry.size) throw RunnerError("shorter than the archive says", entryPlace(entry.name));
}

// A file that did not exist before, closed when it goes.
class NewFile {
 public:
  explicit NewFile(const fs::path& path)
      : path_(path), descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0700)) {
    if (descriptor_ < 0) fail();
  }
  ~NewFile() { close(descriptor_); }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void write(const char* data, std::size_t bytes) {
    while (bytes > 0) {
      const ssize_t written = ::write(descriptor_, data, bytes);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) fail();
      data += written;
      bytes -= static_cast<std::size_t>(written);
    }
  }

 private:
  [[noreturn]] void fail() const {
    throw RunnerError(std::string("cannot write: ") + std::strerror(errno), path_.string());
  }

  const fs::path& path_;
  int descriptor_;
};

}  // namespace

struct Archive::Zip {
  zip_t* handle = nullptr;
  ~Zip() {
    if (handle != nullptr) zip_discard(handle);
  }
};

Archive::Archive(const fs::path& file, const ArchiveLimits& limits) : zip_(std::make_unique<Zip>()) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) throw RunnerError(std::string("cannot open: ") + std::strerror(errno));
  if (!S_ISREG(status.st_mode)) throw RunnerError("not a file");
  int code = 0;
  zip_->handle = zip_open(file.c_str(), ZIP_RDONLY, &code);
  if (zip_->handle == nullptr) {
    throw RunnerError(code == ZIP_ER_NOZIP ? "not a zip archive" : "not a readable zip archive: " + errorText(code));
  }
  checkEntries(limits);
}

Archive::Archive(std::span<const std::byte> bytes, const ArchiveLimits& limits) : zip_(std::make_unique<Zip>()) {
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  if (source != nullptr) zip_->handle = zip_open_from_source(source, ZIP_RDONLY, &error);
  if (zip_->handle == nullptr) {
    if (source != nullptr) zip_source_free(source);
    const std::string text = zip_error_strerror(&error);
    zip_error_fini(&error);
    throw RunnerError("not a zip archive: " + text);
  }
  zip_error_fini(&error);
  checkEntries(limits);
}

Archive::~Archive() = default;

void Archive::checkEntries(const ArchiveLimits& limits) {
  const auto count = static_cast<std::uint64_t>(std::max<zip_int64_t>(zip_get_num_entries(zip_->handle, 0), 0));
  if (count > limits.entries) {
    throw RunnerError("the archive has " + std::to_string(count) + " entries, at most " +
                      std::to_string(limits.entries) + " are taken");
  }
  EntryChecks checks(limits);
  entries_.reserve(count);
  for (std::uint64_t index = 0; index < count; ++index) entries_.push_back(checks.check(zip_->handle, index));
  checks.checkTogether(entries_);
}

const ArchiveEntry* Archive::find(std::string_view name) const {
  const auto is = [name](const ArchiveEntry& entry) { return !entry.isFolder && entry.name == name; };
  const auto found = std::find_if(entries_.begin(), entries_.end(), is);
  return found != entries_.end() ? &*found : nullptr;
}

std::string Archive::read(std::string_view name) const {
  const ArchiveEntry* entry = find(name);
  if (entry == nullptr) throw RunnerError("the archive has no " + std::string(name));
  std::string content;
  unpack(zip_->handle, *entry, [&content](const char* data, std::size_t bytes) { content.append(data, bytes); });
  return content;
}

void Archive::extract(std::string_view prefix, const fs::path& folder) const {
  for (const ArchiveEntry& entry : entries_) {
    if (!std::string_view(entry.name).starts_with(prefix)) continue;
    const fs::path target = folder / entry.name;
    std::error_code error;
    fs::create_directories(entry.isFolder ? target : target.parent_path(), error);
    if (error) throw RunnerError("cannot make its folder: " + error.message(), entryPlace(entry.name));
    if (entry.isFolder) continue;
    NewFile file(target);
    unpack(zip_->handle, entry, [&file](const char* data, std::size_t bytes) { file.write(data, bytes); });
  }
}

}  // namespace vtio::runner
