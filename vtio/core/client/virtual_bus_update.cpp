// VirtualBus's per-step path. Stands here because it calls the clients, which the accessor folder must not include, and
// in one piece because it runs once per leaf and step.
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/utilities.hpp"

namespace vtio::core::accessor {

void VirtualBus::update(const double* time, const void* data, unsigned long leafIndex, client::Client* client) {
  if (!loggingInterval().timeInLoggingInterval(*time)) return;
  unsigned long& counter = decimationCounters_[leafIndex];
  if (counter == signalDescriptor().decimation()) {
    counter = 0;
    if (indirectData) {
      data = *static_cast<const void* const*>(data);
      if (data == nullptr) return;  // the counter stays at 0: the next delivery comes one call late
    }
    const utils::Node& leaf = *leaves_[leafIndex];
    if (leaf.transformationPolicies() != nullptr) data = utils::Utilities::policyDataTransformations(leaf, data);
    if (client != nullptr) {
      client->update(leafIndex, time, data);
    } else {
      for (client::Client* each : clients()) each->update(leafIndex, time, data);
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

}  // namespace vtio::core::accessor
