/// @file
/// What is wrong with a description, each mistake with its place.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "runner/export.hpp"

namespace vtio::runner {

/// One mistake of a model description.
struct Mistake {
  int line = 0;           ///< from 1; 0 if it belongs to no line
  std::string element;    ///< XML element, or empty
  std::string attribute;  ///< XML attribute, or empty
  std::string what;
  bool preventsRun = false;  ///< the FMU cannot be run with it

  /// "what, line 12, element <ScalarVariable>, attribute 'unit'".
  [[nodiscard]] VTIO_RUNNER_EXPORT std::string text() const;
};

/// Collects mistakes, up to a number beyond which only their count grows.
class VTIO_RUNNER_EXPORT Mistakes final {
 public:
  static constexpr std::size_t kMostKept = 1000;

  void add(Mistake mistake);

  /// In the order of the checks; the first kMostKept, and in any case the first that prevents a run.
  [[nodiscard]] const std::vector<Mistake>& kept() const { return kept_; }

  /// Of all that were added.
  [[nodiscard]] std::size_t count() const { return count_; }

  /// The first that prevents a run; null if there is none. Valid until the next add().
  [[nodiscard]] const Mistake* firstThatPreventsRun() const;

 private:
  std::vector<Mistake> kept_;
  std::size_t count_ = 0;
};

}  // namespace vtio::runner
