/// @file
/// A model as generated code describes it: a catalogue and logged signals of doubles, described through the entry
/// functions.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/logging_interval.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"

namespace vtio::benchmarks {

/// One logged signal: its description and the handle of its accessor.
struct LoggedSignal {
  const core::utils::SignalDescriptor* descriptor;
  void* handle;
  core::accessor::Accessor* accessor;
};

/// Owns everything; signals are released before the catalogue.
class LoggedModel final {
 public:
  LoggedModel() = default;
  explicit LoggedModel(smartlog::LoggingInterval interval) : interval_(std::move(interval)) {}
  LoggedModel(const LoggedModel&) = delete;
  LoggedModel& operator=(const LoggedModel&) = delete;
  ~LoggedModel();

  /// A signal of one scalar double.
  const LoggedSignal& addScalar(unsigned decimation);

  /// A virtual bus of `leaves` scalar doubles.
  const LoggedSignal& addVirtualBus(unsigned leaves, unsigned decimation);

  /// A bus laid out as a structure of 40 bytes: double[3], int32, bool, float.
  const LoggedSignal& addStructure(unsigned decimation);

  [[nodiscard]] core::client::Catalogue& catalogue() { return catalogue_; }
  [[nodiscard]] const std::vector<LoggedSignal>& signals() const { return signals_; }

 private:
  const LoggedSignal& finish(void* treeVector, unsigned inputPorts, unsigned decimation);

  smartlog::LoggingInterval interval_;
  core::client::Catalogue catalogue_;
  std::vector<LoggedSignal> signals_;
};

}  // namespace vtio::benchmarks
