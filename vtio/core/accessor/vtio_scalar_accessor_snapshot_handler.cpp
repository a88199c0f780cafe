// In this folder because it reads and writes the accessor's state.
#include "vtio/core/utils/vtio_scalar_accessor_snapshot_handler.hpp"

#include <vector>

#include "vtio/core/accessor/scalar.hpp"

namespace vtio::core::utils {

VtioScalarAccessorSnapshotHandler::VtioScalarAccessorSnapshotHandler(accessor::Scalar& accessor)
    : accessor_(accessor) {}

VtioScalarAccessorSnapshotHandler::~VtioScalarAccessorSnapshotHandler() = default;

std::unique_ptr<VtioAccessorSnapshotElement> VtioScalarAccessorSnapshotHandler::captureSnapshot() {
  return std::make_unique<Element>(std::vector<unsigned long>{accessor_.decimationCounter_});
}

void VtioScalarAccessorSnapshotHandler::rollBack(Element& element) {
  accessor_.decimationCounter_ = element.decimationCounter(0);
}

void VtioScalarAccessorSnapshotHandler::reset(Element& element) { rollBack(element); }

}  // namespace vtio::core::utils
