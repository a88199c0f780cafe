#include "vtio/core/accessor/accessor.hpp"

namespace vtio::core::accessor {

Accessor::Accessor(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval)
    : signalDescriptor_(signalDescriptor), loggingInterval_(loggingInterval) {}

Accessor::~Accessor() = default;

}  // namespace vtio::core::accessor
