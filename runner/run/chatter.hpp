/// @file
/// Notices events that follow one another ever so closely.
#pragma once

#include <limits>
#include <string>

#include "runner/export.hpp"

namespace vtio::runner {

/// Counts events. More than kMany within one communication step are chattering, which is remarked on; kMostStandstills
/// in a row that are not apart are the end of the run.
class VTIO_RUNNER_EXPORT Chatter final {
 public:
  static constexpr int kMany = 100;
  static constexpr int kMostStandstills = 1000;

  /// @param step Communication step in seconds, > 0.
  explicit Chatter(double step) : step_(step) {}

  /// Takes an event at a time in seconds; times do not descend.
  /// @throws RunnerError of status failed if there is no progress any more.
  void add(double time);

  /// What the user should know; empty if nothing.
  [[nodiscard]] std::string remark() const;

 private:
  double step_;
  double last_ = -std::numeric_limits<double>::infinity();
  double windowBegin_ = -std::numeric_limits<double>::infinity();
  int inWindow_ = 0;
  int standstills_ = 0;
  int most_ = 0;          // in one communication step
  double mostSince_ = 0;  // and when that began
};

}  // namespace vtio::runner
