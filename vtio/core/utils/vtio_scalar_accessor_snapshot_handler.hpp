/// @file
/// Saves and restores the decimation state of a Scalar accessor.
#pragma once

#include <memory>

#include "platform/snapshot.hpp"
#include "vtio/core/utils/vtio_accessor_snapshot_element.hpp"
#include "vtio/export.hpp"

namespace vtio::core::accessor {
class Scalar;
}

namespace vtio::core::utils {

/// Captures the one counter of a Scalar. The accessor is borrowed and must outlive the handler.
class VTIO_EXPORT VtioScalarAccessorSnapshotHandler : public vtsim::SnapshotHandler<VtioAccessorSnapshotElement> {
 public:
  using Element = VtioAccessorSnapshotElement;

  explicit VtioScalarAccessorSnapshotHandler(accessor::Scalar& accessor);

  [[nodiscard]] std::unique_ptr<Element> captureSnapshot() override;
  void rollBack(Element& element) override;
  /// The same as rollBack().
  void reset(Element& element) override;
  ~VtioScalarAccessorSnapshotHandler() override;

 private:
  accessor::Scalar& accessor_;
};

}  // namespace vtio::core::utils
