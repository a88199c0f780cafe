/// @file
/// Which buses and arrays of buses the names of variables make.
///
///     axle.load, wheel[1].speed, wheel[2].speed  ->  bus "axle" of "load"; array of two buses "wheel" of "speed"
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runner/description/model_description.hpp"
#include "runner/export.hpp"

namespace vtio::runner {

/// A leaf, a bus or an array of buses. The children of an array are those of its elements, one after the other: with k
/// members per element, child i * k + j is member j of element i, elements row-major.
struct SignalNode {
  std::string name;
  std::vector<SignalNode> children;
  std::vector<std::uint64_t> busDimensions;  ///< not empty: an array of buses
  std::size_t variable = 0;                  ///< of a leaf: index in the model
  std::uint64_t element = 0;                 ///< of a leaf that is one element of an array of texts or binaries

  [[nodiscard]] bool isLeaf() const { return children.empty(); }
  [[nodiscard]] bool isArray() const { return !busDimensions.empty(); }
};

/// Where a signal stands in the model.
enum class SignalRole : std::uint8_t { input, output, internal };

[[nodiscard]] VTIO_RUNNER_EXPORT SignalRole roleOf(const Variable& variable);

/// One signal to be logged.
struct SignalTree {
  SignalRole role = SignalRole::internal;
  SignalNode root;
};

/// Groups variables into signals: in the order of the first variable of each, one role per signal. Families of like
/// members become arrays of buses; names that contradict each other stay signals of their own.
/// @param chosen Indices in the model, ascending.
[[nodiscard]] VTIO_RUNNER_EXPORT std::vector<SignalTree> makeSignalTrees(const ModelDescription& model,
                                                                         const std::vector<std::size_t>& chosen);

}  // namespace vtio::runner
