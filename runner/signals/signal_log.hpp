/// @file
/// Logs the values of an FMU: one signal per tree, recorded in memory.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "recorders/recording_session.hpp"
#include "runner/export.hpp"
#include "runner/signals/signal_tree.hpp"
#include "runner/signals/value_store.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/catalogue.hpp"

namespace vtio::runner {

/// What holds for every signal.
struct LogLimits {
  unsigned long decimation = 1;
  unsigned long maxPoints = 0;  ///< 0: no limit
};

/// Describes the signals in a catalogue and hands each its values.
///
/// Aliases share one column of samples. Values stay where they are until they are delivered; only those of arrays of
/// buses and binaries are gathered, into memory that is allocated once. All arguments of the constructor must outlive
/// the log.
class VTIO_RUNNER_EXPORT SignalLog final {
 public:
  /// @param running Values that are delivered by log().
  /// @param parameters Values that are delivered by logParameters().
  SignalLog(core::client::Catalogue& catalogue, recorders::RecordingSession& session, const ModelDescription& model,
            const std::vector<SignalTree>& trees, const ValueStore& running, const ValueStore& parameters,
            const LogLimits& limits);
  ~SignalLog();
  SignalLog(const SignalLog&) = delete;
  SignalLog& operator=(const SignalLog&) = delete;

  /// Delivers one sample of everything that is no parameter.
  /// @param time In seconds.
  void log(double time);

  /// Delivers one sample of what may be read within a step: variables, and arrays of buses of nothing else.
  /// @param time In seconds.
  void logIntermediate(double time);

  /// Delivers one sample of every parameter.
  void logParameters(double time);

  /// Signals made.
  [[nodiscard]] std::size_t signals() const { return accessors_.size(); }

 private:
  class Builder;
  struct Deliveries;
  struct Receiver;

  std::vector<std::unique_ptr<core::accessor::Accessor>> accessors_;
  std::unique_ptr<Deliveries> deliveries_;
};

}  // namespace vtio::runner
