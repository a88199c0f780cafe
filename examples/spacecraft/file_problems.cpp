#include "file_problems.h"

#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "platform/logging_selection.hpp"
#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/text.hpp"

namespace {

struct CloseQatFile {
  void operator()(QatFile* file) const { qatClose(file); }
};
using OpenFile = std::unique_ptr<QatFile, CloseQatFile>;

/// A switch of the configuration and how it is read.
struct Variable {
  const char* name;
  enum class Form { number, logical, text } form;
};

constexpr Variable kVariables[] = {{"signalLoggingToPersistentStorage", Variable::Form::number},
                                   {"signalLogging", Variable::Form::logical},
                                   {"signalStorageParameters", Variable::Form::text},
                                   {"outputLogging", Variable::Form::number},
                                   {"DSMLogging", Variable::Form::logical},
                                   {"disableSignalLoggingToR2forXIL", Variable::Form::number}};

/// Reads a variable as the catalogue does; throws when it cannot.
void read(const qxArray* value, Variable::Form form) {
  switch (form) {
    case Variable::Form::number:
      static_cast<void>(qxGetScalar(value));
      break;
    case Variable::Form::logical:
      static_cast<void>(qxGetLogicals(value));
      break;
    case Variable::Form::text:
      qxFree(qxArrayToString(value));
      break;
  }
}

/// What is wrong with the six switches; empty if nothing is.
std::string switchesProblem(const std::string& fileName) {
  const OpenFile file(qatOpen(fileName.c_str(), "r"));
  if (file == nullptr) {
    return std::string("cannot be read: ") + qatLastError();
  }
  for (const Variable& variable : kVariables) {
    const vtu::qxArrayWrapper value(qatGetVariable(file.get(), variable.name));
    if (!value) {
      return std::string("has no readable variable '") + variable.name + "': " + qatLastError();
    }
    try {
      read(value.get(), variable.form);
    } catch (const std::exception& error) {
      return std::string("has an unfit variable '") + variable.name + "': " + error.what();
    }
  }
  return {};
}

bool holds(QatFile* file, std::string_view variable) {
  int count = 0;
  const std::unique_ptr<char*, void (*)(void*)> names(qatGetVariableNames(file, &count), qxFree);
  for (int i = 0; i < count; ++i) {
    if (names.get()[i] == variable) {
      return true;
    }
  }
  return false;
}

/// What is wrong with the logging selection; empty if nothing is.
std::string selectionProblem(const std::string& fileName) {
  constexpr const char* kSelection = "loggingSelection";
  const OpenFile file(qatOpen(fileName.c_str(), "r"));
  if (holds(file.get(), kSelection) && !vtu::qxArrayWrapper(qatGetVariable(file.get(), kSelection))) {
    return std::string("has no readable variable '") + kSelection + "': " + qatLastError();
  }
  try {
    sigstg::ModelLoggingInfo().populateFromQatFile(vtu::to_ustring(fileName));
    return {};
  } catch (const std::exception& error) {
    return std::string("has an unfit logging selection: ") + error.what();
  }
}

bool tell(const std::string& text, char* message, std::size_t size) {
  std::snprintf(message, size, "%s", text.c_str());
  return false;
}

}  // namespace

void describeConfigurationProblem(const char* fileName, char* message, size_t messageSize) {
  std::string problem = switchesProblem(fileName);
  if (problem.empty()) {
    problem = selectionProblem(fileName);
  }
  if (problem.empty()) {
    problem = "was refused, although nothing is wrong with it now";
  }
  tell("'" + std::string(fileName) + "' " + problem, message, messageSize);
}

bool checkResultsFile(const char* fileName, bool outports, char* message, size_t messageSize) {
  const OpenFile file(qatOpen(fileName, "r"));
  if (file == nullptr) {
    return tell("'" + std::string(fileName) + "' was not saved: " + qatLastError(), message, messageSize);
  }
  for (const char* variable : {"DATASET_SIGNAL_LOGGING", "DATASET_OUTPORT_LOGGING"}) {
    if ((outports || variable != std::string_view("DATASET_OUTPORT_LOGGING")) && !holds(file.get(), variable)) {
      return tell("'" + std::string(fileName) + "' was not saved whole: it lacks " + variable, message, messageSize);
    }
  }
  return true;
}
