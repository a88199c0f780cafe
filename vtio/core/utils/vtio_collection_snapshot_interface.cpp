#include "vtio/core/utils/vtio_collection_snapshot_interface.hpp"

namespace vtio::core::utils {

VtioCollectionSnapshotInterface::VtioCollectionSnapshotInterface(
    std::vector<std::unique_ptr<vtsim::SnapshotInterface>>& interfaces)
    : interfaces_(interfaces) {}

VtioCollectionSnapshotInterface::~VtioCollectionSnapshotInterface() = default;

void VtioCollectionSnapshotInterface::captureSnapshot(bool initial) {
  for (auto& each : interfaces_) each->captureSnapshot(initial);
}

void VtioCollectionSnapshotInterface::rollBack() {
  for (auto& each : interfaces_) each->rollBack();
}

void VtioCollectionSnapshotInterface::reset() {
  for (auto& each : interfaces_) each->reset();
}

void VtioCollectionSnapshotInterface::clear() {
  for (auto& each : interfaces_) each->clear();
}

void VtioCollectionSnapshotInterface::popLatest(int n) {
  for (auto& each : interfaces_) each->popLatest(n);
}

void VtioCollectionSnapshotInterface::popOldest(int n) {
  for (auto& each : interfaces_) each->popOldest(n);
}

void VtioCollectionSnapshotInterface::size(int n) {
  for (auto& each : interfaces_) each->size(n);
}

}  // namespace vtio::core::utils
