#include "platform/logging_selection.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"

namespace sigstg {

namespace {

constexpr unsigned kOverride = 2;
constexpr const char* kVariable = "loggingSelection";

[[noreturn]] void failMalformed(const std::string& place, const std::string& reason) {
  vtsvThrowIExceptionFromDiagnostic(
      vtsvCreateDiagnostic("Vortan:LoggingSelection", "Malformed", {vtu::to_ustring(place), vtu::to_ustring(reason)}));
}

[[noreturn]] void failFile(const vtu::ustring& fileName) {
  vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic("Vortan:FileIO", "ToFromFileOpenCloseErr", {fileName}));
}

bool isStructure(const qxArray* array) {
  return array != nullptr && qxGetClassID(array) == qxSTRUCT && qxGetNumberOfElements(array) == 1;
}

bool isTextRow(const qxArray* array) {
  return array != nullptr && qxGetClassID(array) == qxCHAR && qxGetNumberOfDimensions(array) == 2 &&
         (qxIsEmpty(array) || qxGetDimensions(array)[0] == 1);
}

vtu::ustring textOf(const qxArray* array, const std::string& place) {
  if (!isTextRow(array)) {
    failMalformed(place, "it is no row of characters");
  }
  return {qxGetChars(array), qxGetNumberOfElements(array)};
}

template <typename T>
T firstValue(const qxArray* array) {
  T value;
  std::memcpy(&value, qxGetConstData(array), sizeof value);
  return value;
}

/// Reads a number that must be whole and not negative, exactly also beyond the range where doubles are exact.
unsigned long countOf(const qxArray* array, const std::string& place) {
  if (array == nullptr) {
    failMalformed(place, "it is missing");
  }
  if (qxGetClassID(array) < qxDOUBLE || qxIsComplex(array) || qxGetNumberOfElements(array) != 1) {
    failMalformed(place, "it is no single real number");
  }
  if (qxGetClassID(array) == qxUINT64) {
    return firstValue<std::uint64_t>(array);
  }
  if (qxGetClassID(array) == qxINT64 && firstValue<std::int64_t>(array) >= 0) {
    return static_cast<unsigned long>(firstValue<std::int64_t>(array));
  }
  const double value = qxGetScalar(array);
  if (value < 0) {
    failMalformed(place, std::to_string(value) + " is negative");
  }
  if (!(value < 0x1p64) || value != std::floor(value)) {
    failMalformed(place, std::to_string(value) + " is not whole, or too large");
  }
  return static_cast<unsigned long>(value);
}

unsigned selectorOf(const qxArray* array, const std::string& place) {
  const unsigned long value = countOf(array, place);
  if (value > kOverride) {
    failMalformed(place, std::to_string(value) + " is neither 0, 1 nor 2");
  }
  return static_cast<unsigned>(value);
}

/// Reads a path: one row of characters, or a cell array of them, top model first.
vtu::FullBlkPathToTopMdl pathOf(const qxArray* array, const std::string& place) {
  if (array == nullptr) {
    failMalformed(place, "it is missing");
  }
  vtu::FullBlkPathToTopMdl path;
  if (qxGetClassID(array) != qxCELL) {
    path.append(vtu::InternedUstring(textOf(array, place)));
  } else if (qxIsEmpty(array)) {
    failMalformed(place, "it has no elements");
  } else {
    for (std::size_t i = 0; i < qxGetNumberOfElements(array); ++i) {
      path.append(vtu::InternedUstring(textOf(qxGetCell(array, i), place + "[" + std::to_string(i) + "]")));
    }
  }
  path.replaceNewlineWithSpace();
  return path;
}

/// Reads the overridden parameters; one that is absent is not used.
LoggingInfo infoOf(const qxArray* signal, const std::string& place) {
  LoggingInfo info;
  if (const qxArray* name = qxGetField(signal, 0, "customName"); name != nullptr) {
    info.setUseCustomSignalName(true);
    info.setCustomSignalName(textOf(name, place + ".customName"));
  }
  if (const qxArray* decimation = qxGetField(signal, 0, "decimation"); decimation != nullptr) {
    info.setDecimateData(true);
    info.setDecimation(countOf(decimation, place + ".decimation"));
    if (info.getDecimation() == 0) {
      failMalformed(place + ".decimation", "it is 0");
    }
  }
  if (const qxArray* maxPoints = qxGetField(signal, 0, "maxPoints"); maxPoints != nullptr) {
    info.setLimitDataPoints(true);
    info.setMaxPoints(countOf(maxPoints, place + ".maxPoints"));
  }
  return info;
}

/// Is the variable in the file? A file whose list of variables cannot be read is refused.
bool holdsSelection(const vtu::QatFileWrapper& file, const vtu::ustring& fileName) {
  const auto names = file.names();
  if (!names) {
    failFile(fileName);
  }
  return std::find(names->begin(), names->end(), kVariable) != names->end();
}

}  // namespace

bool ModelLoggingInfo::Key::operator==(const Key& other) const {
  if (port != other.port || path.size() != other.path.size()) {
    return false;
  }
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (!(path.element(i) == other.path.element(i))) {
      return false;
    }
  }
  return true;
}

std::size_t ModelLoggingInfo::KeyHash::operator()(const Key& key) const noexcept {
  // Interned addresses have equal low bits; the multiplication distributes them over the word.
  constexpr std::size_t kOdd = 0x9E3779B97F4A7C15U;
  std::size_t hash = key.port * kOdd;
  for (std::size_t i = 0; i < key.path.size(); ++i) {
    hash = (hash ^ std::hash<vtu::InternedUstring>()(key.path.element(i))) * kOdd;
    hash ^= hash >> 32U;
  }
  return hash;
}

void ModelLoggingInfo::populateFromQatFile(const vtu::ustring& fileName) {
  const vtu::QatFileWrapper file(vtu::to_string(fileName), "r");
  if (!file) {
    failFile(fileName);
  }
  if (!holdsSelection(file, fileName)) {
    *this = ModelLoggingInfo();
    return;
  }
  const vtu::qxArrayWrapper selection = file.variable(kVariable);
  if (!selection) {
    failFile(fileName);
  }
  populateFromQxArray(selection.get());
}

void ModelLoggingInfo::populateFromQxArray(const qxArray* selection) {
  if (!isStructure(selection)) {
    failMalformed(kVariable, "it is no 1-by-1 structure");
  }
  ModelLoggingInfo result;
  if (const qxArray* unlisted = qxGetField(selection, 0, "default"); unlisted != nullptr) {
    result.unlisted_.selector = selectorOf(unlisted, "default");
  }
  if (const qxArray* signals = qxGetField(selection, 0, "signals"); signals != nullptr) {
    if (qxGetClassID(signals) != qxCELL) {
      failMalformed("signals", "it is no cell array");
    }
    for (std::size_t i = 0; i < qxGetNumberOfElements(signals); ++i) {
      result.addSignal(qxGetCell(signals, i), i);
    }
  }
  *this = std::move(result);
}

void ModelLoggingInfo::addSignal(const qxArray* signal, std::size_t index) {
  const std::string place = "signals[" + std::to_string(index) + "]";
  if (!isStructure(signal)) {
    failMalformed(place, "it is no 1-by-1 structure");
  }
  Key key{pathOf(qxGetField(signal, 0, "blockPath"), place + ".blockPath"),
          countOf(qxGetField(signal, 0, "port"), place + ".port")};
  Entry entry;
  entry.selector = selectorOf(qxGetField(signal, 0, "selector"), place + ".selector");
  LoggingInfo info = infoOf(signal, place);
  if (entry.selector == kOverride) {
    entry.info = std::move(info);
  }
  if (!entries_.try_emplace(std::move(key), std::move(entry)).second) {
    failMalformed(place, "the same port is listed twice");
  }
}

const ModelLoggingInfo::Entry* ModelLoggingInfo::find(const vtu::FullBlkPathToTopMdl& path, unsigned long port) const {
  Key key{path, port};
  key.path.replaceNewlineWithSpace();
  const auto found = entries_.find(key);
  return found != entries_.end() ? &found->second : nullptr;
}

unsigned ModelLoggingInfo::getSelectorSetting(const vtu::FullBlkPathToTopMdl& path, unsigned long port) const {
  const Entry* entry = find(path, port);
  return entry != nullptr ? entry->selector : unlisted_.selector;
}

const LoggingInfo& ModelLoggingInfo::getLoggingInfo(const vtu::FullBlkPathToTopMdl& path, unsigned long port) const {
  const Entry* entry = find(path, port);
  return entry != nullptr ? entry->info : unlisted_.info;
}

}  // namespace sigstg
