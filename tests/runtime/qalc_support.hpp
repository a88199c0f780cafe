/// @file
/// Helpers that make and read workspace arrays and files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/diagnostics.hpp"
#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/text.hpp"

namespace vtio::testing {

/// A folder of its own, removed with everything in it at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    static int counter = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("vtio-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::u16string charsOf(const qxArray* array) {
  if (array == nullptr || qxGetClassID(array) != qxCHAR) {
    ADD_FAILURE() << "not a char array";
    return {};
  }
  const std::size_t length = qxGetNumberOfElements(array);
  return length == 0 ? std::u16string() : std::u16string(qxGetChars(array), length);
}

inline std::vector<std::size_t> dimensionsOf(const qxArray* array) {
  const std::size_t* dimensions = qxGetDimensions(array);
  return {dimensions, dimensions + qxGetNumberOfDimensions(array)};
}

inline std::vector<std::string> fieldsOf(const qxArray* array) {
  std::vector<std::string> result;
  for (int i = 0; i < qxGetNumberOfFields(array); ++i) {
    result.emplace_back(qxGetFieldName(array, i));
  }
  return result;
}

inline qxArray* makeLogicals(const std::vector<bool>& values) {
  const std::size_t dimensions[2] = {1, values.size()};
  qxArray* array = qxCreateLogicalArray(2, dimensions);
  bool* data = values.empty() ? nullptr : static_cast<bool*>(qxGetData(array));
  for (std::size_t i = 0; i < values.size(); ++i) {
    data[i] = values[i];
  }
  return array;
}

inline qxArray* makeEmptyDoubles() {
  const std::size_t dimensions[2] = {0, 0};
  return qxCreateNumericArray(2, dimensions, qxDOUBLE, false);
}

/// One port of a logging selection.
struct SelectedPort {
  std::vector<std::u16string> path;
  double port = 0;
  double selector = 1;
  std::optional<std::u16string> customName = std::nullopt;
  std::optional<double> decimation = std::nullopt;
  std::optional<double> maxPoints = std::nullopt;
};

inline qxArray* makeSelectedPort(const SelectedPort& selected) {
  const std::size_t one[2] = {1, 1};
  qxArray* result = qxCreateStructArray(2, one, 0, nullptr);
  const std::size_t cells[2] = {1, selected.path.size()};
  qxArray* path = qxCreateCellArray(2, cells);
  for (std::size_t i = 0; i < selected.path.size(); ++i) {
    qxSetCell(path, i, qxCreateUString(selected.path[i].data(), selected.path[i].size()));
  }
  qxSetField(result, 0, "blockPath", path);
  qxSetField(result, 0, "port", qxCreateDoubleScalar(selected.port));
  qxSetField(result, 0, "selector", qxCreateDoubleScalar(selected.selector));
  if (selected.customName) {
    qxSetField(result, 0, "customName", qxCreateUString(selected.customName->data(), selected.customName->size()));
  }
  if (selected.decimation) {
    qxSetField(result, 0, "decimation", qxCreateDoubleScalar(*selected.decimation));
  }
  if (selected.maxPoints) {
    qxSetField(result, 0, "maxPoints", qxCreateDoubleScalar(*selected.maxPoints));
  }
  return result;
}

/// A logging selection as the environment writes it.
inline vtu::qxArrayWrapper makeSelection(std::optional<double> defaultSelector,
                                         const std::vector<SelectedPort>& ports = {}) {
  const std::size_t one[2] = {1, 1};
  vtu::qxArrayWrapper result(qxCreateStructArray(2, one, 0, nullptr));
  if (defaultSelector) {
    qxSetField(result.get(), 0, "default", qxCreateDoubleScalar(*defaultSelector));
  }
  const std::size_t cells[2] = {1, ports.size()};
  qxArray* list = qxCreateCellArray(2, cells);
  for (std::size_t i = 0; i < ports.size(); ++i) {
    qxSetCell(list, i, makeSelectedPort(ports[i]));
  }
  qxSetField(result.get(), 0, "signals", list);
  return result;
}

/// The configuration file of a simulation, with a default for every variable that a test neither sets nor drops.
class Configuration {
 public:
  Configuration() {
    set("signalLoggingToPersistentStorage", qxCreateDoubleScalar(0));
    set("signalLogging", qxCreateLogicalScalar(true));
    set("signalStorageParameters", qxCreateString("storage"));
    set("outputLogging", qxCreateDoubleScalar(1));
    set("DSMLogging", qxCreateLogicalScalar(false));
    set("disableSignalLoggingToR2forXIL", qxCreateDoubleScalar(0));
  }
  Configuration& set(const std::string& name, qxArray* value) {
    variables_[name].reset(value);
    return *this;
  }
  Configuration& drop(const std::string& name) {
    variables_.erase(name);
    return *this;
  }
  void write(const std::string& fileName) const {
    vtu::QatFileWrapper file(fileName, "w7.3");
    ASSERT_TRUE(file) << fileName;
    for (const auto& [name, value] : variables_) {
      ASSERT_EQ(file.put(name.c_str(), value.get()), 0) << name;
    }
    ASSERT_EQ(file.close(), 0);
  }

 private:
  std::map<std::string, vtu::qxArrayWrapper> variables_;
};

inline std::vector<std::string> variableNames(const std::string& fileName) {
  const auto names = vtu::QatFileWrapper(fileName, "r").names();
  if (!names) {
    ADD_FAILURE() << fileName << ": " << qatLastError();
    return {};
  }
  return *names;
}

inline vtu::qxArrayWrapper readVariable(const std::string& fileName, const std::string& variable) {
  const vtu::QatFileWrapper file(fileName, "r");
  if (!file) {
    ADD_FAILURE() << "cannot open " << fileName;
  }
  return file.variable(variable.c_str());
}

/// Runs `action` and expects exactly this diagnostic.
template <typename Action>
void expectDiagnostic(Action action, const std::string& identifier, const std::string& key,
                      const std::vector<std::u16string>& arguments) {
  try {
    action();
    FAIL() << "nothing was thrown, expected " << identifier << " / " << key;
  } catch (const vtsv::IException& error) {
    EXPECT_EQ(error.diagnostic().identifier, identifier);
    EXPECT_EQ(error.diagnostic().key, key);
    EXPECT_EQ(error.diagnostic().arguments, arguments);
  }
}

/// Runs `action` and expects a diagnostic with this identifier and key, whatever its arguments.
template <typename Action>
void expectDiagnostic(Action action, const std::string& identifier, const std::string& key) {
  try {
    action();
    FAIL() << "nothing was thrown, expected " << identifier << " / " << key;
  } catch (const vtsv::IException& error) {
    EXPECT_EQ(error.diagnostic().identifier, identifier);
    EXPECT_EQ(error.diagnostic().key, key);
  }
}

}  // namespace vtio::testing
