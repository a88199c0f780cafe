#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"

#include <utility>

namespace vtio::core::utils {

InportOutportSignalDescriptor::InportOutportSignalDescriptor(
    unsigned long catalogueIndex, std::unique_ptr<Node> root, unsigned long numberOfInputPorts, enum portType kind,
    unsigned long maxPoints, unsigned long decimation, const ustring& signalName, const ustring& propagatedName,
    vtu::FullBlkPathToTopMdl blockPath, unsigned long connectedPortIndex,
    const std::vector<unsigned long>& foreachDimensions, const std::vector<int>& foreachIterationIndices)
    : SignalDescriptor(catalogueIndex, std::move(root), numberOfInputPorts, maxPoints, decimation, signalName,
                       propagatedName, blockPath, connectedPortIndex, foreachDimensions, foreachIterationIndices),
      portType_(kind),
      inportOrder_(0) {}

InportOutportSignalDescriptor::InportOutportSignalDescriptor(
    unsigned long catalogueIndex, std::unique_ptr<Node> root, unsigned long numberOfInputPorts, unsigned long maxPoints,
    unsigned long decimation, const ustring& signalName, const ustring& propagatedName,
    vtu::FullBlkPathToTopMdl blockPath, unsigned long connectedPortIndex,
    const std::vector<unsigned long>& foreachDimensions, const std::vector<int>& foreachIterationIndices,
    unsigned long inportOrder)
    : SignalDescriptor(catalogueIndex, std::move(root), numberOfInputPorts, maxPoints, decimation, signalName,
                       propagatedName, blockPath, connectedPortIndex, foreachDimensions, foreachIterationIndices),
      portType_(inport),
      inportOrder_(inportOrder) {}

InportOutportSignalDescriptor::~InportOutportSignalDescriptor() = default;

int InportOutportSignalDescriptor::operator<(const SignalDescriptor& other) const {
  if (this == &other) return -1;
  const unsigned long otherOrder = other.inportOrder();
  if (inportOrder_ != otherOrder) return inportOrder_ < otherOrder ? 1 : -1;
  return compareByPathNamePort(other);
}

unsigned long InportOutportSignalDescriptor::inportOrder() const { return inportOrder_; }

}  // namespace vtio::core::utils
