// Creation, configuration, saving and destruction of a catalogue from generated code.
#include <memory>
#include <utility>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/mdlref_simtarget/generated_code.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace mdlref_simtarget {
namespace {

using vtio::core::client::Catalogue;
using vtio::core::utils::SignalDescriptor;

struct FileCloser {
  void operator()(QatFile* file) const { qatClose(file); }
};

// The configuration variables, in the order in which they are read.
struct Configuration {
  vtu::qxArrayWrapper signalLoggingToPersistentStorage;
  vtu::qxArrayWrapper signalLogging;
  vtu::qxArrayWrapper signalStorageParameters;
  vtu::qxArrayWrapper outputLogging;
  vtu::qxArrayWrapper dsmLogging;
  vtu::qxArrayWrapper disableSignalLoggingToR2forXIL;
};

Configuration readConfiguration(const char* fileName) {
  const std::unique_ptr<QatFile, FileCloser> file(qatOpen(fileName, "r"));
  const auto read = [&file](const char* name) { return vtu::qxArrayWrapper(qatGetVariable(file.get(), name)); };
  return {read("signalLoggingToPersistentStorage"),
          read("signalLogging"),
          read("signalStorageParameters"),
          read("outputLogging"),
          read("DSMLogging"),
          read("disableSignalLoggingToR2forXIL")};
}

ustring onOff(bool on) { return on ? u"on" : u"off"; }

bool firstLogical(const vtu::qxArrayWrapper& value) { return *qxGetLogicals(value.get()); }

ustring characters(const vtu::qxArrayWrapper& value) {
  const std::unique_ptr<char, void (*)(void*)> utf8(qxArrayToString(value.get()), qxFree);
  return plainText(utf8.get());
}

// The thresholds differ: storage is on for any positive value, the other two numbers need more than a half.
void applyConfiguration(Catalogue& catalogue, const Configuration& read) {
  catalogue.settings(Catalogue::SignalLogging, onOff(firstLogical(read.signalLogging)));
  catalogue.settings(Catalogue::DSMLogging, onOff(firstLogical(read.dsmLogging)));
  const double storage = qxGetScalar(read.signalLoggingToPersistentStorage.get());
  ustring parameters = characters(read.signalStorageParameters);
  catalogue.settings(Catalogue::SignalLoggingToPersistentStorage, onOff(storage > 0.0));
  catalogue.settings(Catalogue::SignalStorageParameters, std::move(parameters));
  catalogue.settings(Catalogue::OutputLogging, onOff(qxGetScalar(read.outputLogging.get()) > 0.5));
  catalogue.settings(Catalogue::DisableSignalLoggingToR2forXIL,
                     onOff(qxGetScalar(read.disableSignalLoggingToR2forXIL.get()) > 0.5));
}

}  // namespace

extern "C" {

void* zetGetNewVtioCatalogue(const char* fileName) {
  try {
    // Not freed when a later step fails: a catalogue that was once constructed is destroyed by its handle only.
    auto* catalogue = new Catalogue();
    catalogue->setModelLoggingInfo(plainText(fileName));
    applyConfiguration(*catalogue, readConfiguration(fileName));
    return newHandle(catalogue);
  } catch (...) {
    return nullptr;
  }
}

void zetTerminateVtioCatalogue(void** handle) {
  delete static_cast<Catalogue*>(std::exchange(*static_cast<void**>(*handle), nullptr));
  *handle = nullptr;  // the cell itself is left behind: generated code may still hold its address elsewhere
}

void zetSaveDatasetsToQatFile(void* catalogue, const char* fileName) {
  try {
    static_cast<Catalogue*>(catalogue)->saveDatasetsToQatFile(plainText(fileName));
  } catch (...) {
    // Generated code has no way to be told.
  }
}

void zetLoggingOverride(const void* descriptor, void* catalogue) {
  static_cast<Catalogue*>(catalogue)->signalLoggingOverride(*static_cast<const SignalDescriptor*>(descriptor));
}

}  // extern "C"
}  // namespace mdlref_simtarget
