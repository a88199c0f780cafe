#include "vtio/core/utils/bus_node.hpp"

#include <algorithm>
#include <utility>

namespace vtio::core::utils {
namespace {

// An announced count comes from outside and may be anything: it is a hint, so it never reserves more than this.
constexpr unsigned long kMostReserved = 4096;

}  // namespace

BusNode::BusNode(int datatypeTableId, const ustring& name, unsigned long numberOfChildren, SignalType type)
    : Node(datatypeTableId, name, numberOfChildren, type) {
  children_.reserve(std::min(numberOfChildren, kMostReserved));
}

BusNode::~BusNode() {
  while (!children_.empty()) children_.pop_back();
}

std::unique_ptr<Node> BusNode::getCopy() const {
  auto copy = std::make_unique<BusNode>(datatypeTableId(), signalName(), numberOfChildren(), getSignalType());
  copyChildrenTo(*copy);
  return copy;
}

void BusNode::addChild(std::unique_ptr<Node> child) {
  ownBytes(ownBytes() + child->bytesPerSample());
  attach(std::move(child));
}

void BusNode::overrideNumberOfChildren() { numberOfChildren(children_.size()); }

void BusNode::attach(std::unique_ptr<Node> child) {
  child->childOrderInParent(static_cast<int>(children_.size()));
  child->parent(*this);
  children_.push_back(std::move(child));
}

void BusNode::copyChildrenTo(BusNode& target) const {
  const std::size_t count = std::min<std::size_t>(numberOfChildren(), children_.size());
  for (std::size_t i = 0; i < count; ++i) {
    target.children_.push_back(children_[i] ? children_[i]->getCopy() : nullptr);
  }
  target.ownBytes(ownBytes());
}

}  // namespace vtio::core::utils
