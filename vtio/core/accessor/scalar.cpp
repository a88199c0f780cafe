#include "vtio/core/accessor/scalar.hpp"

#include <utility>

#include "vtio/core/accessor/delivery.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/vtio_scalar_accessor_snapshot_handler.hpp"

namespace vtio::core::accessor {

Scalar::Scalar(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval,
               const double* time, const void* data)
    : Accessor(signalDescriptor, loggingInterval),
      timePointer_(time),
      dataPointer_(data),
      decimationCounter_(signalDescriptor.decimation()) {}

Scalar::Scalar(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval)
    : Scalar(signalDescriptor, loggingInterval, nullptr, nullptr) {}

Scalar::~Scalar() = default;

// The per-step path, in one function because it runs once per signal and step.
void Scalar::update(const double* time, const void* data, unsigned long /*index*/, client::Client* client) {
  if (!loggingInterval().timeInLoggingInterval(*time)) return;
  if (decimationCounter_ == signalDescriptor().decimation()) {
    decimationCounter_ = 0;
    data = delivered(*signalDescriptor().root(), data, client != nullptr || hasSubscribedClients());
    if (client != nullptr) {
      client->update(time, data);
    } else {
      for (client::Client* each : std::as_const(*this).clients()) each->update(time, data);
    }
  }
  ++decimationCounter_;
}

void Scalar::update(const double* time, const void* data, unsigned long index) { update(time, data, index, nullptr); }

void Scalar::update(unsigned long index) { update(timePointer_, dataPointer_, index, nullptr); }

void Scalar::update() { update(timePointer_, dataPointer_, 0); }

void Scalar::update(unsigned long index, client::Client* client) { update(timePointer_, dataPointer_, index, client); }

void Scalar::followDecimation(unsigned long before) {
  decimationCounter_ = counterAfterChange(decimationCounter_, before, signalDescriptor().decimation());
}

std::unique_ptr<vtsim::SnapshotInterface> Scalar::getSnapshotInterface() {
  using Handler = utils::VtioScalarAccessorSnapshotHandler;
  return std::make_unique<vtsim::DefaultSnapshotInterface<Handler>>(std::make_unique<Handler>(*this));
}

}  // namespace vtio::core::accessor
