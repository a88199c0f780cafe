#include "vtio/core/accessor/scalar.hpp"

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

std::unique_ptr<vtsim::SnapshotInterface> Scalar::getSnapshotInterface() {
  using Handler = utils::VtioScalarAccessorSnapshotHandler;
  return std::make_unique<vtsim::DefaultSnapshotInterface<Handler>>(std::make_unique<Handler>(*this));
}

}  // namespace vtio::core::accessor
