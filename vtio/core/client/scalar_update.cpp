// Scalar's per-step path. Stands here because it calls the clients, which the accessor folder must not include, and in
// one piece because it runs once per signal and step.
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/utilities.hpp"

namespace vtio::core::accessor {

void Scalar::update(const double* time, const void* data, unsigned long /*index*/, client::Client* client) {
  if (!loggingInterval().timeInLoggingInterval(*time)) return;
  if (decimationCounter_ == signalDescriptor().decimation()) {
    decimationCounter_ = 0;
    const utils::Node& root = *signalDescriptor().root();
    if (root.transformationPolicies() != nullptr) data = utils::Utilities::policyDataTransformations(root, data);
    if (client != nullptr) {
      client->update(time, data);
    } else {
      for (client::Client* each : clients()) each->update(time, data);
    }
  }
  ++decimationCounter_;
}

void Scalar::update(const double* time, const void* data, unsigned long index) { update(time, data, index, nullptr); }

void Scalar::update(unsigned long index) { update(timePointer_, dataPointer_, index, nullptr); }

void Scalar::update() { update(timePointer_, dataPointer_, 0); }

void Scalar::update(unsigned long index, client::Client* client) { update(timePointer_, dataPointer_, index, client); }

}  // namespace vtio::core::accessor
