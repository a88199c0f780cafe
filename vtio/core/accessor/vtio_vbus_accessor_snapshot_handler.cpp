// In this folder because it reads and writes the accessor's state.
#include "vtio/core/utils/vtio_vbus_accessor_snapshot_handler.hpp"

#include <algorithm>
#include <cstddef>

#include "vtio/core/accessor/virtual_bus.hpp"

namespace vtio::core::utils {

VtioVBusAccessorSnapshotHandler::VtioVBusAccessorSnapshotHandler(accessor::VirtualBus& accessor)
    : accessor_(accessor) {}

VtioVBusAccessorSnapshotHandler::~VtioVBusAccessorSnapshotHandler() = default;

std::unique_ptr<VtioAccessorSnapshotElement> VtioVBusAccessorSnapshotHandler::captureSnapshot() {
  return std::make_unique<Element>(accessor_.decimationCounters_);
}

void VtioVBusAccessorSnapshotHandler::rollBack(Element& element) {
  // A descriptor may announce fewer input ports than its tree has leaves: there are fewer counters then.
  const std::size_t count = std::min(accessor_.leaves_.size(), accessor_.decimationCounters_.size());
  for (std::size_t i = 0; i < count; ++i) accessor_.decimationCounters_[i] = element.decimationCounter(i);
}

void VtioVBusAccessorSnapshotHandler::reset(Element& element) { rollBack(element); }

}  // namespace vtio::core::utils
