/// @file
/// Accessor of a signal that arrives as one unit: a leaf, or a non-virtual bus as one block.
///
///     Scalar speed(descriptor, catalogue.disabledLoggingIntervals());
///     speed.addClient(recorder);
///     speed.update(&time, &value, 0);   // at each step
#pragma once

#include <memory>

#include "vtio/core/accessor/accessor.hpp"

namespace vtio::core::utils {
class VtioScalarAccessorSnapshotHandler;
}

namespace vtio::core::accessor {

class CachedScalar;

/// Applies the logging interval, the decimation and the root's transformation, then delivers to the clients.
///
/// The in-interval calls 0, d, 2d, ... are delivered for a decimation of d; calls outside the interval do not count.
/// Exceptions of a client pass through. Allocates nothing per step, except for texts.
class VTIO_EXPORT Scalar : public Accessor {
 public:
  /// @param time Bound address of the time in seconds, read at each step.
  /// @param data Bound address of the data.
  Scalar(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval,
         const double* time, const void* data);

  /// Without bound addresses: only the updates with explicit addresses may be used.
  Scalar(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval);

  /// @param index Ignored.
  void update(const double* time, const void* data, unsigned long index) override;
  /// @param index Ignored.
  void update(unsigned long index) override;
  ~Scalar() override;

  [[nodiscard]] std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override;

  /// One step with the bound addresses, to one client only. Counts like a delivery to all.
  virtual void update(unsigned long index, client::Client* client);

  /// One step with the bound addresses, to all clients.
  void update();

  /// One step to one client, or to all for null.
  void update(const double* time, const void* data, unsigned long index, client::Client* client);

  /// To be called after the descriptor's decimation was changed while this accessor exists: the sample that was due
  /// stays due, and no counter is left above the new decimation.
  /// @param before The decimation before the change.
  void followDecimation(unsigned long before);

 private:
  friend class utils::VtioScalarAccessorSnapshotHandler;
  friend class CachedScalar;

  const double* timePointer_;
  const void* dataPointer_;
  unsigned long decimationCounter_;  // in-interval calls since the last delivery
};

}  // namespace vtio::core::accessor
