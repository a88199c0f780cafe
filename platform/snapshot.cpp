#include "platform/snapshot.hpp"

namespace vtsim {

SnapshotInterface::~SnapshotInterface() = default;

}  // namespace vtsim
