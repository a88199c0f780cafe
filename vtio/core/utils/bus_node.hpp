/// @file
/// Virtual buses: children without a memory layout of their own.
///
///     auto bus = std::make_unique<BusNode>(-1, u"imu", 2, virtualBus);
///     bus->addChild(std::move(accelerometer));
///     bus->addChild(std::move(gyroscope));
#pragma once

#include <memory>
#include <vector>

#include "vtio/core/utils/node.hpp"

namespace vtio::core::utils {

/// An inner node that owns its children and destroys them last to first.
///
/// Its bytes are the sum of its children's. A bus whose announced number of children is not the number attached must
/// have overrideNumberOfChildren() called before it is copied or traversed.
class VTIO_EXPORT BusNode : public Node {
 public:
  BusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren, SignalType type);
  ~BusNode() override;

  /// A deep copy: the copied children have no parent and child order -2.
  [[nodiscard]] std::unique_ptr<Node> getCopy() const override;

  /// Adds the child's bytes, numbers the child, makes this bus its parent and takes ownership.
  virtual void addChild(std::unique_ptr<Node> child);

  /// Sets the number of children to the number attached.
  void overrideNumberOfChildren();

  /// The attached children, in order.
  [[nodiscard]] const std::vector<std::unique_ptr<Node>>& children() const { return children_; }

 protected:
  /// Numbers the child, makes this bus its parent and takes ownership; leaves the bytes alone.
  void attach(std::unique_ptr<Node> child);

  /// Appends copies of the announced children to target and gives it this bus's bytes.
  void copyChildrenTo(BusNode& target) const;

 private:
  std::vector<std::unique_ptr<Node>> children_;
};

}  // namespace vtio::core::utils
