/// @file
/// Saves and restores the decimation state of a VirtualBus accessor.
#pragma once

#include <memory>

#include "platform/snapshot.hpp"
#include "vtio/core/utils/vtio_accessor_snapshot_element.hpp"
#include "vtio/export.hpp"

namespace vtio::core::accessor {
class VirtualBus;
}

namespace vtio::core::utils {

/// Captures the counters of a VirtualBus, in leaf order. The accessor is borrowed and must outlive the handler.
class VTIO_EXPORT VtioVBusAccessorSnapshotHandler : public vtsim::SnapshotHandler<VtioAccessorSnapshotElement> {
 public:
  using Element = VtioAccessorSnapshotElement;

  explicit VtioVBusAccessorSnapshotHandler(accessor::VirtualBus& accessor);

  [[nodiscard]] std::unique_ptr<Element> captureSnapshot() override;
  void rollBack(Element& element) override;
  /// The same as rollBack().
  void reset(Element& element) override;
  ~VtioVBusAccessorSnapshotHandler() override;

 private:
  accessor::VirtualBus& accessor_;
};

}  // namespace vtio::core::utils
