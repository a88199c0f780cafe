/// @file
/// Reads what a run saved.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/text.hpp"

namespace runner_test {

inline std::string text(const qxArray* array) {
  return vtu::to_string(std::u16string_view(qxGetChars(array), qxGetNumberOfElements(array)));
}

/// The variables of a results file.
class Results {
 public:
  explicit Results(const std::filesystem::path& file) : file_(qatOpen(file.c_str(), "r")) {
    if (file_ == nullptr) throw std::runtime_error(std::string("cannot open results: ") + qatLastError());
  }
  ~Results() { qatClose(file_); }
  Results(const Results&) = delete;
  Results& operator=(const Results&) = delete;

  [[nodiscard]] vtu::qxArrayWrapper variable(const char* name) const {
    vtu::qxArrayWrapper value(qatGetVariable(file_, name));
    if (!value) throw std::runtime_error(std::string("no variable ") + name);
    return value;
  }

  /// What an element says of itself: `PortKind` and the like.
  [[nodiscard]] vtu::qxArrayWrapper attribute(const char* variableName, const std::string& element,
                                              const char* name) const {
    const vtu::qxArrayWrapper dataset = variable(variableName);
    const qxArray* elements = qxGetField(qxGetField(dataset.get(), 0, "Dataset"), 0, "Elements");
    for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
      const qxArray* one = qxGetCell(elements, i);
      if (text(qxGetField(one, 0, "Name")) == element)
        return vtu::qxArrayWrapper(qxShareArray(qxGetField(one, 0, name)));
    }
    throw std::runtime_error("no element " + element);
  }

  /// A leaf's field: the element of the name, then the levels below it.
  template <typename... Levels>
  [[nodiscard]] vtu::qxArrayWrapper field(const char* variableName, const std::string& element,
                                          Levels... levels) const {
    const vtu::qxArrayWrapper dataset = variable(variableName);
    const qxArray* elements = qxGetField(qxGetField(dataset.get(), 0, "Dataset"), 0, "Elements");
    for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
      const qxArray* one = qxGetCell(elements, i);
      if (text(qxGetField(one, 0, "Name")) != element) continue;
      const qxArray* at = qxGetField(one, 0, "Values");
      ((at = at != nullptr ? qxGetField(at, 0, levels) : nullptr), ...);
      if (at == nullptr) break;
      return vtu::qxArrayWrapper(qxShareArray(at));
    }
    throw std::runtime_error("no such field of " + element);
  }

 private:
  QatFile* file_;
};

template <typename T>
std::vector<T> numbers(const vtu::qxArrayWrapper& array) {
  const auto* data = static_cast<const T*>(qxGetConstData(array.get()));
  return std::vector<T>(data, data + qxGetNumberOfElements(array.get()));
}

inline std::vector<std::size_t> dimensions(const vtu::qxArrayWrapper& array) {
  const std::size_t* first = qxGetDimensions(array.get());
  return {first, first + qxGetNumberOfDimensions(array.get())};
}

inline std::vector<std::string> texts(const vtu::qxArrayWrapper& array) {
  std::vector<std::string> result;
  for (std::size_t i = 0; i < qxGetNumberOfElements(array.get()); ++i)
    result.push_back(text(qxGetCell(array.get(), i)));
  return result;
}

inline constexpr const char* kOutputs = "DATASET_OUTPORT_LOGGING";
inline constexpr const char* kSignals = "DATASET_SIGNAL_LOGGING";

}  // namespace runner_test
