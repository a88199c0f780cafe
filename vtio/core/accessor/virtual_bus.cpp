#include "vtio/core/accessor/virtual_bus.hpp"

#include <utility>

#include "vtio/core/utils/vtio_vbus_accessor_snapshot_handler.hpp"

namespace vtio::core::accessor {

VirtualBus::VirtualBus(const utils::SignalDescriptor& signalDescriptor,
                       const smartlog::LoggingInterval& loggingInterval, std::vector<const double*> timePointers,
                       std::vector<const void*> dataPointers, unsigned long counters)
    : Accessor(signalDescriptor, loggingInterval),
      timePointers_(std::move(timePointers)),
      dataPointers_(std::move(dataPointers)),
      decimationCounters_(counters, signalDescriptor.decimation()) {
  for (auto leaves = signalDescriptor.leafNVBusIterator(); *leaves != nullptr; ++leaves) leaves_.push_back(*leaves);
}

VirtualBus::VirtualBus(const utils::SignalDescriptor& signalDescriptor,
                       const smartlog::LoggingInterval& loggingInterval, std::vector<const double*> timePointers,
                       std::vector<const void*> dataPointers)
    : VirtualBus(signalDescriptor, loggingInterval, std::move(timePointers), dataPointers, dataPointers.size()) {}

VirtualBus::VirtualBus(const utils::SignalDescriptor& signalDescriptor,
                       const smartlog::LoggingInterval& loggingInterval)
    : VirtualBus(signalDescriptor, loggingInterval, {}, {}, signalDescriptor.numberOfInputPorts()) {}

VirtualBus::~VirtualBus() = default;

std::unique_ptr<vtsim::SnapshotInterface> VirtualBus::getSnapshotInterface() {
  using Handler = utils::VtioVBusAccessorSnapshotHandler;
  return std::make_unique<vtsim::DefaultSnapshotInterface<Handler>>(std::make_unique<Handler>(*this));
}

}  // namespace vtio::core::accessor
