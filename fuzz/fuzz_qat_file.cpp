// Qat files made of arbitrary bytes: opening, listing, reading and changing them ends with arrays or an error, whatever
// they say. qat_mutator.cpp makes the bytes.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/qat/checksum.hpp"

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
void readAll(QatFile* file) {
  int count = 0;
  char** names = qatGetVariableNames(file, &count);
  for (int i = 0; names != nullptr && i < count; ++i) {
    qxArray* array = qatGetVariable(file, names[i]);
    require(array != nullptr || *qatLastError() != '\0');
    qxDestroyArray(array);
  }
  qxFree(names);
}

void readFile() {
  QatFile* file = qatOpen(scratchFile().c_str(), "r");
  require(file != nullptr || *qatLastError() != '\0');
  if (file == nullptr) return;
  readAll(file);
  require(qatClose(file) == 0);
}

/// One variable is added, one replaced and one deleted.
void changeFile() {
  QatFile* file = qatOpen(scratchFile().c_str(), "u");
  require(file != nullptr || *qatLastError() != '\0');
  if (file == nullptr) return;
  qxArray* text = qxCreateString("new");
  int count = 0;
  char** names = qatGetVariableNames(file, &count);
  qatPutVariable(file, "another", text);
  if (names != nullptr && count > 0) qatPutVariable(file, names[0], text);
  if (names != nullptr && count > 1) qatDeleteVariable(file, names[count - 1]);
  qxFree(names);
  qxDestroyArray(text);
  qatClose(file);
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
