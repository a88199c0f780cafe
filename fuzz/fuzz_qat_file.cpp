// Qat files made of arbitrary bytes: opening, listing, reading and changing them ends with arrays or an error, whatever
// they say. qat_mutator.cpp makes the bytes.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/diagnostics.hpp"
#include "platform/qalc.hpp"
#include "platform/qat/checksum.hpp"
#include "platform/qat_parts.hpp"

namespace {

const std::string& scratchFile() {
  static const std::string path = [] {
    const char* folder = std::getenv("TMPDIR");
    return std::string(folder != nullptr ? folder : "/tmp") + "/fuzz_qat_file_" + std::to_string(getpid()) + ".qat";
  }();
  return path;
}

void require(bool condition) {
  if (!condition) std::abort();
}

/// Every variable is read; what cannot be read must say why.
void readAll(const vtu::QatFileWrapper& file) {
  for (const std::string& name : file.names().value_or(std::vector<std::string>())) {
    require(file.variable(name.c_str()) || *qatLastError() != '\0');
  }
}

void readTable(const vtu::QatSamples& samples, std::uint32_t table) {
  std::vector<char> row;
  const auto& columns = samples.columns(table);
  for (std::uint32_t c = 0; c < columns.size() && samples.rows(table) > 0; ++c) {
    if (columns[c].elementClass == "text") {
      static_cast<void>(samples.readTexts(table, c, 0, 1));
    } else if (columns[c].width < 1000) {
      row.resize(columns[c].width * 16U);
      samples.readColumn(table, c, samples.rows(table) - 1, 1, row.data());
    }
  }
}

/// A row of every column of samples is read; what cannot be read must say why.
void readSamples(const vtu::QatFileWrapper& file) {
  try {
    const vtu::QatSamples samples(*file.get());
    for (const std::uint32_t table : samples.tables()) readTable(samples, table);
  } catch (const vtsv::IException& failure) {
    require(*failure.what() != '\0');
  }
}

void readFile() {
  vtu::QatFileWrapper file(scratchFile(), "r");
  require(file || *qatLastError() != '\0');
  if (!file) return;
  readAll(file);
  readSamples(file);
  require(file.close() == 0);
}

/// One variable is added, one replaced and one deleted.
void changeFile() {
  vtu::QatFileWrapper file(scratchFile(), "u");
  require(file || *qatLastError() != '\0');
  if (!file) return;
  const vtu::qxArrayWrapper text(qxCreateString("new"));
  const auto names = file.names().value_or(std::vector<std::string>());
  static_cast<void>(file.put("another", text.get()));
  if (!names.empty()) static_cast<void>(file.put(names.front().c_str(), text.get()));
  if (names.size() > 1) static_cast<void>(file.remove(names.back().c_str()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::ofstream(scratchFile(), std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  readFile();
  if (vtu::qat::metadataChecksum(data, size) % 4 == 0) changeFile();
  unlink(scratchFile().c_str());
  return 0;
}
