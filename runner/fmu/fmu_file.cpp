#include "runner/fmu/fmu_file.hpp"

#include <set>
#include <utility>

namespace vtio::runner {
namespace {

constexpr std::string_view kBinaries = "binaries/";

bool hasSources(const Archive& archive) {
  for (const ArchiveEntry& entry : archive.entries()) {
    if (std::string_view(entry.name).starts_with("sources/")) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> ownPlatforms() {
#if defined(__x86_64__)
  return {"x86_64-linux", "linux64"};
#elif defined(__aarch64__)
  return {"aarch64-linux", "linux-aarch64"};
#else
  return {};
#endif
}

FmuFile::FmuFile(std::filesystem::path file)
    : path_(std::move(file)),
      archive_(path_),
      model_(readModelDescription(archive_.read("modelDescription.xml"), mistakes_)) {
  checkBinaries();
}

std::vector<std::string> FmuFile::platforms() const {
  std::set<std::string> found;
  for (const ArchiveEntry& entry : archive_.entries()) {
    const std::string_view name = entry.name;
    if (!name.starts_with(kBinaries)) continue;
    const std::string_view rest = name.substr(kBinaries.size());
    const std::size_t end = rest.find('/');
    if (end != std::string_view::npos || entry.isFolder) found.emplace(rest.substr(0, end));
  }
  return {found.begin(), found.end()};
}

std::string FmuFile::binaryFor(const Interface& way) const {
  for (const std::string& platform : ownPlatforms()) {
    std::string name = std::string(kBinaries) + platform + "/" + way.modelIdentifier + ".so";
    if (archive_.find(name) != nullptr) return name;
  }
  return {};
}

void FmuFile::checkBinaries() {
  for (const Interface& way : model_.interfaces) {
    if (!binaryFor(way).empty()) continue;
    std::string others;
    for (const std::string& platform : platforms()) others += (others.empty() ? "" : ", ") + platform;
    std::string what = "no binary '" + way.modelIdentifier + ".so' for this machine";
    if (!ownPlatforms().empty()) what += " in binaries/" + ownPlatforms().front();
    what += others.empty() ? "; the archive has no binaries" : "; it has binaries for " + others;
    if (hasSources(archive_)) what += "; it has sources";
    mistakes_.add({0, "", "", std::move(what), false});
  }
}

}  // namespace vtio::runner
