/// @file
/// Accessor of a virtual bus: each leaf arrives separately.
///
///     VirtualBus imu(descriptor, catalogue.disabledLoggingIntervals());
///     imu.update(&time, &gyroscope, 1);   // leaf position 1
#pragma once

#include <memory>
#include <vector>

#include "vtio/core/accessor/accessor.hpp"

namespace vtio::core::utils {
class VtioVBusAccessorSnapshotHandler;
}

namespace vtio::core::accessor {

class CachedVirtualBus;

/// Applies the logging interval, a decimation counted per leaf and the leaf's transformation, then delivers the leaf
/// with its position.
///
/// Positions follow SignalDescriptor::leafNVBusIterator(): a whole non-virtual bus takes one. The counter of a leaf
/// that is not updated in a step stays as it is. Positions are not checked. Allocates nothing per step, except for
/// texts.
class VTIO_EXPORT VirtualBus : public Accessor {
 public:
  /// @param timePointers Bound address of each leaf's time in seconds, by position.
  /// @param dataPointers Bound address of each leaf's data, by position.
  VirtualBus(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval,
             std::vector<const double*> timePointers, std::vector<const void*> dataPointers);

  /// Without bound addresses: only the updates with explicit addresses may be used, for as many positions as the
  /// descriptor has input ports.
  VirtualBus(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval);

  void update(const double* time, const void* data, unsigned long leafIndex) override;
  void update(unsigned long leafIndex) override;
  ~VirtualBus() override;

  [[nodiscard]] std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override;

  /// One step of one leaf with the bound addresses, to one client only. Counts like a delivery to all.
  virtual void update(unsigned long leafIndex, client::Client* client);

  /// One step of one leaf to one client, or to all for null.
  void update(const double* time, const void* data, unsigned long leafIndex, client::Client* client);

  /// As Scalar::followDecimation(), for the counter of each leaf.
  void followDecimation(unsigned long before);

 private:
  friend class utils::VtioVBusAccessorSnapshotHandler;
  friend class CachedVirtualBus;

  VirtualBus(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval,
             std::vector<const double*> timePointers, std::vector<const void*> dataPointers, unsigned long counters);

  std::vector<const double*> timePointers_;
  std::vector<const void*> dataPointers_;
  std::vector<unsigned long> decimationCounters_;  // per leaf position: in-interval calls since the last delivery
  std::vector<const utils::Node*> leaves_;         // by leaf position
};

}  // namespace vtio::core::accessor
