// Creation, configuration, saving and destruction of a catalogue from generated code.
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/client/results_file.hpp"
#include "vtio/mdlref_simtarget/generated_code.hpp"
#include "vtio/mdlref_simtarget/last_error.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace mdlref_simtarget {
namespace {

using vtio::core::client::Catalogue;
using vtio::core::client::writeResults;
using vtio::core::utils::SignalDescriptor;

void readSelection(Catalogue& catalogue, const char* fileName) {
  try {
    catalogue.setModelLoggingInfo(plainText(fileName));
  } catch (const vtsv::IException& error) {
    const bool isFileError = error.diagnostic().identifier == "Vortan:FileIO";
    throw std::runtime_error(isFileError ? qatLastError()
                                         : "'" + std::string(textOrEmpty(fileName)) + "': " + error.what());
  }
}

// The configuration variables of an open file.
class Configuration {
 public:
  explicit Configuration(const char* fileName) : fileName_(textOrEmpty(fileName)), file_(fileName, "r") {
    if (!file_) throw std::runtime_error(qatLastError());
  }

  // What a qx function takes from a variable, with the variable named in its failure.
  template <typename Reader>
  auto read(const char* variable, Reader&& reader) const {
    const vtu::qxArrayWrapper value = file_.variable(variable);
    if (!value) throw std::runtime_error(about(variable) + "cannot be read: " + qatLastError());
    try {
      return reader(value.get());
    } catch (const std::exception& error) {
      throw std::runtime_error(about(variable) + "is unfit: " + error.what());
    }
  }

 private:
  [[nodiscard]] std::string about(const char* variable) const {
    return "the variable '" + std::string(variable) + "' of '" + fileName_ + "' ";
  }

  std::string fileName_;
  vtu::QatFileWrapper file_;
};

// What the six configuration variables hold, in the order in which they are read.
struct Settings {
  double signalLoggingToPersistentStorage;
  bool signalLogging;
  ustring signalStorageParameters;
  double outputLogging;
  bool dsmLogging;
  double disableSignalLoggingToR2forXIL;
};

ustring characters(const qxArray* value) {
  const std::unique_ptr<char, void (*)(void*)> utf8(qxArrayToString(value), qxFree);
  return plainText(utf8.get());
}

Settings readSettings(const char* fileName) {
  const Configuration file(fileName);
  const auto firstLogical = [](const qxArray* value) { return *qxGetLogicals(value); };
  return {file.read("signalLoggingToPersistentStorage", qxGetScalar),
          file.read("signalLogging", firstLogical),
          file.read("signalStorageParameters", characters),
          file.read("outputLogging", qxGetScalar),
          file.read("DSMLogging", firstLogical),
          file.read("disableSignalLoggingToR2forXIL", qxGetScalar)};
}

ustring onOff(bool on) { return on ? u"on" : u"off"; }

// The thresholds differ: storage is on for any positive value, the other two numbers need more than a half.
void apply(Catalogue& catalogue, Settings read) {
  catalogue.settings(Catalogue::SignalLogging, onOff(read.signalLogging));
  catalogue.settings(Catalogue::DSMLogging, onOff(read.dsmLogging));
  catalogue.settings(Catalogue::SignalLoggingToPersistentStorage, onOff(read.signalLoggingToPersistentStorage > 0.0));
  catalogue.settings(Catalogue::SignalStorageParameters, std::move(read.signalStorageParameters));
  catalogue.settings(Catalogue::OutputLogging, onOff(read.outputLogging > 0.5));
  catalogue.settings(Catalogue::DisableSignalLoggingToR2forXIL, onOff(read.disableSignalLoggingToR2forXIL > 0.5));
}

}  // namespace

extern "C" {

void* zetGetNewVtioCatalogue(const char* fileName) {
  clearLastError();
  try {
    // Not freed when a later step fails: a catalogue that was once constructed is destroyed by its handle only.
    auto* catalogue = new Catalogue();
    readSelection(*catalogue, fileName);
    apply(*catalogue, readSettings(fileName));
    return newHandle(catalogue);
  } catch (...) {
    noteException("zetGetNewVtioCatalogue");
    return nullptr;
  }
}

void zetTerminateVtioCatalogue(void** handle) {
  delete static_cast<Catalogue*>(std::exchange(*static_cast<void**>(*handle), nullptr));
  *handle = nullptr;  // the cell is not freed: generated code may still hold its address elsewhere
}

void zetSaveDatasetsToQatFile(void* catalogue, const char* fileName) {
  clearLastError();
  try {
    // As Catalogue::saveDatasetsToQatFile(), which ignores what is noted here.
    const std::string failure = writeResults(required<Catalogue>(catalogue, "catalogue"), plainText(fileName));
    if (!failure.empty()) noteFailure("zetSaveDatasetsToQatFile", failure);
  } catch (...) {
    noteException("zetSaveDatasetsToQatFile");
  }
}

void zetLoggingOverride(const void* descriptor, void* catalogue) {
  static_cast<Catalogue*>(catalogue)->signalLoggingOverride(*static_cast<const SignalDescriptor*>(descriptor));
}

}  // extern "C"
}  // namespace mdlref_simtarget
