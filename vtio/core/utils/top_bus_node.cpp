#include "vtio/core/utils/top_bus_node.hpp"

namespace vtio::core::utils {

TopBusNode::TopBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren)
    : TopBusNode(datatypeTableId, name, numberOfChildren, virtualBus) {}

TopBusNode::TopBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren, SignalType type)
    : BusNode(datatypeTableId, name, numberOfChildren, type) {}

TopBusNode::~TopBusNode() = default;

std::unique_ptr<Node> TopBusNode::getCopy() const {
  auto copy = std::make_unique<TopBusNode>(datatypeTableId(), signalName(), numberOfChildren());
  copyChildrenTo(*copy);
  return copy;
}

}  // namespace vtio::core::utils
