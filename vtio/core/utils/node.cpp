#include "vtio/core/utils/node.hpp"

namespace vtio::core::utils {

Node::Node(const ustring& name) : Node(0, name, 0, unspecified) {}

Node::Node(int datatypeTableId, const ustring& name, unsigned long numberOfChildren, SignalType type)
    : signalType_(type), numberOfChildren_(numberOfChildren), datatypeTableId_(datatypeTableId), signalName_(name) {}

unsigned long Node::bytesPerSample() const { return bytesPerSample_; }

unsigned long Node::storedSize() const { return bytesPerSample_; }

Node::~Node() = default;

std::unique_ptr<Node> Node::getCopy() const { return nullptr; }

const std::vector<unsigned long>* Node::transformationPolicies() const { return nullptr; }

const TransformationPolicy* Node::transformationPolicy(unsigned long) const { return nullptr; }

bool Node::hasNodePolicy(SignalDescriptorNodePolicy::policyType) const { return false; }

const SignalDescriptorNodePolicy* Node::policy(SignalDescriptorNodePolicy::policyType) const { return nullptr; }

void Node::parent(const Node& node) { parent_ = &node; }

void Node::addPolicy(std::unique_ptr<const SignalDescriptorNodePolicy>) const {}

LeafIterator Node::leafIterator() const { return LeafIterator(*this); }

LeafIterator Node::leafIteratorAobLoop() const { return LeafIterator(*this, false, true); }

}  // namespace vtio::core::utils
