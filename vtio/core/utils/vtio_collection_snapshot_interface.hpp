/// @file
/// Forwards every snapshot command to a list of snapshot interfaces.
#pragma once

#include <memory>
#include <vector>

#include "platform/snapshot.hpp"
#include "vtio/export.hpp"

namespace vtio::core::utils {

/// Captures and rolls back all clients of a catalogue at once. Stores nothing itself.
class VTIO_EXPORT VtioCollectionSnapshotInterface : public vtsim::SnapshotInterface {
 public:
  /// @param interfaces Borrowed; must outlive this object, and may grow meanwhile.
  explicit VtioCollectionSnapshotInterface(std::vector<std::unique_ptr<vtsim::SnapshotInterface>>& interfaces);
  ~VtioCollectionSnapshotInterface() override;

  void captureSnapshot(bool initial) override;
  void rollBack() override;
  void reset() override;
  void clear() override;
  void popLatest(int n) override;
  void popOldest(int n) override;
  void size(int n) override;

 private:
  std::vector<std::unique_ptr<vtsim::SnapshotInterface>>& interfaces_;
};

}  // namespace vtio::core::utils
