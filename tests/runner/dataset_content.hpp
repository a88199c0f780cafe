/// @file
/// What two datasets are compared by.
#pragma once

#include <string>
#include <vector>

#include "tests/runner/results_reader.hpp"

namespace runner_test {

/// Every array of the datasets, depth first.
inline void collect(const qxArray* array, std::vector<std::string>& found) {
  if (array == nullptr) return;
  if (qxGetClassID(array) == qxCELL) {
    for (std::size_t i = 0; i < qxGetNumberOfElements(array); ++i) collect(qxGetCell(array, i), found);
  } else if (qxGetClassID(array) == qxSTRUCT) {
    for (int i = 0; i < qxGetNumberOfFields(array); ++i) collect(qxGetField(array, 0, qxGetFieldName(array, i)), found);
  } else if (qxGetClassID(array) == qxDOUBLE) {
    const auto* bytes = static_cast<const char*>(qxGetConstData(array));
    found.emplace_back(bytes, qxGetNumberOfElements(array) * sizeof(double));
  } else if (qxGetClassID(array) == qxCHAR) {
    found.push_back(text(array));
  } else {
    found.push_back(std::to_string(qxGetNumberOfElements(array)));
  }
}

}  // namespace runner_test
