#include "configuration.hpp"

#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <utility>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"

namespace spacecraft {
namespace {

using vtu::qxArrayWrapper;
using vtu::qxCellArrayWrapper;
using vtu::qxStructWrapper;

qxArrayWrapper number(double value) { return qxArrayWrapper(qxCreateDoubleScalar(value)); }
qxArrayWrapper logical(bool value) { return qxArrayWrapper(qxCreateLogicalScalar(value)); }
qxArrayWrapper text(const char* value) { return qxArrayWrapper(qxCreateString(value)); }

/// Entry of the selection that switches a port off.
qxStructWrapper switchedOff(const char* blockPath, double port) {
  qxStructWrapper entry({"blockPath", "port", "selector"});
  entry.set("blockPath", text(blockPath));
  entry.set("port", number(port));
  entry.set("selector", number(0));
  return entry;
}

/// Entry that logs every n-th sample of a port under another name.
qxStructWrapper renamedAndDecimated(const char* blockPath, double port, const char* name, double decimation) {
  qxStructWrapper entry({"blockPath", "port", "selector", "customName", "decimation"});
  entry.set("blockPath", text(blockPath));
  entry.set("port", number(port));
  entry.set("selector", number(2));
  entry.set("customName", text(name));
  entry.set("decimation", number(decimation));
  return entry;
}

/// Entry that logs a port of a block in a referenced model as it is.
qxStructWrapper asItIs(std::initializer_list<const char*> blockPath, double port) {
  qxCellArrayWrapper path(1, blockPath.size());
  std::size_t level = 0;
  for (const char* element : blockPath) {
    path.set(level++, text(element));
  }
  qxStructWrapper entry({"blockPath", "port", "selector"});
  entry.set("blockPath", std::move(path));
  entry.set("port", number(port));
  entry.set("selector", number(1));
  return entry;
}

qxStructWrapper loggingSelection() {
  qxCellArrayWrapper signals(1, 3);
  signals.set(0, renamedAndDecimated("spacecraft/Thrusters", 0, "thrusterForce_every4th", 4));
  signals.set(1, switchedOff("spacecraft/Thrusters", 1));
  signals.set(2, asItIs({"spacecraft/Power System", "power/Battery"}, 0));
  qxStructWrapper selection({"default", "signals"});
  selection.set("default", number(1));
  selection.set("signals", std::move(signals));
  return selection;
}

[[noreturn]] void failWith(const std::string& fileName) {
  throw std::runtime_error("cannot write '" + fileName + "': " + qatLastError());
}

}  // namespace

void writeConfiguration(const std::string& fileName) {
  vtu::QatFileWrapper file(fileName, "w7.3");
  if (!file) {
    failWith(fileName);
  }
  const auto put = [&](const char* name, const qxArrayWrapper& value) {
    if (file.put(name, value.get()) != 0) {
      failWith(fileName);
    }
  };
  put("signalLoggingToPersistentStorage", number(0));
  put("signalLogging", logical(true));
  put("signalStorageParameters", text(""));
  put("outputLogging", number(1));
  put("DSMLogging", logical(false));
  put("disableSignalLoggingToR2forXIL", number(0));
  put("loggingSelection", loggingSelection());
  if (file.close() != 0) {
    failWith(fileName);
  }
}

}  // namespace spacecraft
