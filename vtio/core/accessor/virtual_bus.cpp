#include "vtio/core/accessor/virtual_bus.hpp"

#include <utility>

#include "vtio/core/accessor/delivery.hpp"
#include "vtio/core/client/client.hpp"
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

// The per-step path, in one function because it runs once per leaf and step.
void VirtualBus::update(const double* time, const void* data, unsigned long leafIndex, client::Client* client) {
  if (!loggingInterval().timeInLoggingInterval(*time)) return;
  unsigned long& counter = decimationCounters_[leafIndex];
  if (counter == signalDescriptor().decimation()) {
    counter = 0;
    if (indirectData) {
      data = *static_cast<const void* const*>(data);
      if (data == nullptr) return;  // the counter stays at 0: the next delivery comes one call late
    }
    data = delivered(*leaves_[leafIndex], data, client != nullptr || hasSubscribedClients());
    if (client != nullptr) {
      client->update(leafIndex, time, data);
    } else {
      for (client::Client* each : std::as_const(*this).clients()) each->update(leafIndex, time, data);
    }
  }
  ++counter;
}

void VirtualBus::update(const double* time, const void* data, unsigned long leafIndex) {
  update(time, data, leafIndex, nullptr);
}

void VirtualBus::update(unsigned long leafIndex) {
  update(timePointers_[leafIndex], dataPointers_[leafIndex], leafIndex, nullptr);
}

void VirtualBus::update(unsigned long leafIndex, client::Client* client) {
  update(timePointers_[leafIndex], dataPointers_[leafIndex], leafIndex, client);
}

void VirtualBus::followDecimation(unsigned long before) {
  const unsigned long now = signalDescriptor().decimation();
  for (unsigned long& counter : decimationCounters_) counter = counterAfterChange(counter, before, now);
}

std::unique_ptr<vtsim::SnapshotInterface> VirtualBus::getSnapshotInterface() {
  using Handler = utils::VtioVBusAccessorSnapshotHandler;
  return std::make_unique<vtsim::DefaultSnapshotInterface<Handler>>(std::make_unique<Handler>(*this));
}

}  // namespace vtio::core::accessor
