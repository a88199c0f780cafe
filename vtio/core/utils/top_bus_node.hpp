/// @file
/// Root of a virtual bus signal: each leaf arrives separately. See bus_node.hpp.
#pragma once

#include "vtio/core/utils/bus_node.hpp"

namespace vtio::core::utils {

/// A virtual bus that is the root of its tree.
class VTIO_EXPORT TopBusNode : public BusNode {
 public:
  /// A root of type `virtualBus`.
  TopBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren);
  TopBusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren, SignalType type);
  ~TopBusNode() override;

  /// A deep copy that is always of type `virtualBus`, whatever type this root has.
  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;
};

}  // namespace vtio::core::utils
