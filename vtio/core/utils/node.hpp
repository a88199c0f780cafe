/// @file
/// Base of the typed tree that describes a logged signal. Start at signal_descriptor.hpp.
///
///     auto bus = std::make_unique<TopBusNode>(-1, u"imu", 2);
///     bus->addChild(std::make_unique<LeafNode>(...));
///
/// Inner nodes are buses (bus_node.hpp, nv_bus_node.hpp), leaves typed elements (leaf_node.hpp).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/types.hpp"
#include "vtio/core/utils/leaf_iterator.hpp"
#include "vtio/core/utils/signal_descriptor_node_policy.hpp"
#include "vtio/core/utils/signal_type.hpp"
#include "vtio/export.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::utils {

class TransformationPolicy;

/// One node of a signal tree.
///
/// Built bottom-up on one thread and owned by its parent or by a SignalDescriptor; read-only from then on, except that
/// policies may still be added. Returned references are valid as long as the node.
class VTIO_EXPORT Node {
 public:
  /// A node of type `unspecified`, 0 bytes, no children, data type table id 0.
  explicit Node(const ustring& name);

  /// @param datatypeTableId Id of the data type in the environment's table.
  /// @param numberOfChildren Children announced; they are attached later.
  Node(int datatypeTableId, const ustring& name, unsigned long numberOfChildren, SignalType type);

  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  /// Bytes that one sample takes in the buffer that accessors are handed.
  [[nodiscard]] virtual unsigned long bytesPerSample() const;

  /// Bytes that one sample takes where it is stored; differs from bytesPerSample() only for a root non-virtual bus and
  /// for strings.
  [[nodiscard]] virtual unsigned long storedSize() const;

  virtual ~Node();

  /// A deep copy without parent and with child order -2; empty for a node of class Node itself.
  [[nodiscard]] virtual std::unique_ptr<Node> getCopy() const;

  /// Indices of the transformation policies among all policies of this node; null when there are none.
  [[nodiscard]] virtual const std::vector<unsigned long>* transformationPolicies() const;

  /// @param index An entry of transformationPolicies(); not checked.
  /// @return The policy; null if it does not transform.
  [[nodiscard]] virtual const TransformationPolicy* transformationPolicy(unsigned long index) const;

  /// Whether any policy of this node has the type.
  [[nodiscard]] virtual bool hasNodePolicy(SignalDescriptorNodePolicy::policyType type) const;

  /// The first policy of the type, in order of addition; null if there is none.
  [[nodiscard]] virtual const SignalDescriptorNodePolicy* policy(SignalDescriptorNodePolicy::policyType type) const;

  /// Sets the parent; borrowed.
  virtual void parent(const Node& node);

  /// Attaches a policy. Const, because trees are shared as const once built. A node that carries none destroys it.
  virtual void addPolicy(std::unique_ptr<const SignalDescriptorNodePolicy> policy) const;

  /// The parent; null until attached.
  [[nodiscard]] const Node* parent() const { return parent_; }
  /// Index among the parent's children; -2 until attached.
  [[nodiscard]] int childOrderInParent() const { return childOrderInParent_; }
  /// Sets the index among the parent's children.
  void childOrderInParent(int order) { childOrderInParent_ = order; }
  [[nodiscard]] int datatypeTableId() const { return datatypeTableId_; }
  [[nodiscard]] const ustring& signalName() const { return signalName_; }
  [[nodiscard]] SignalType getSignalType() const { return signalType_; }
  /// Children announced; see BusNode::overrideNumberOfChildren().
  [[nodiscard]] unsigned long numberOfChildren() const { return numberOfChildren_; }

  /// The leaves below this node, every bus entered once.
  [[nodiscard]] LeafIterator leafIterator() const;
  /// The leaves below this node, arrays of buses visited once per element.
  [[nodiscard]] LeafIterator leafIteratorAobLoop() const;

  /// Properties of a built-in class name ("double", "int8", "string", ...).
  /// @throws vtsv::IException "Vortan:logLoadBlocks" / "UnhandledDatatype" with the name for any other name.
  [[nodiscard]] static fxpDataTypeProp getFxpDataTypeProperties(std::string datatypeClassName);

 protected:
  /// The bytes kept on the node itself, whatever bytesPerSample() is overridden with.
  [[nodiscard]] unsigned long ownBytes() const { return bytesPerSample_; }
  void ownBytes(unsigned long bytes) { bytesPerSample_ = bytes; }
  void numberOfChildren(unsigned long count) { numberOfChildren_ = count; }

 private:
  unsigned long bytesPerSample_ = 0;
  SignalType signalType_;
  unsigned long numberOfChildren_;
  const Node* parent_ = nullptr;
  std::int32_t childOrderInParent_ = -2;
  std::int32_t datatypeTableId_;
  ustring signalName_;
};

}  // namespace vtio::core::utils
