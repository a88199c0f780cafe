#include "vtio/core/utils/string_leaf_node.hpp"

#include <utility>

#include "vtio/core/utils/dynamic_string_policy.hpp"

namespace vtio::core::utils {

StringLeafNode::StringLeafNode(int datatypeTableId, const ustring& name, std::string interpolationMethod,
                               std::vector<long long> dimensions, std::string datatypeClassName, units unit,
                               ustring startDate, unsigned long maxBytes, unsigned long bytesPerCharacter)
    : LeafNode(datatypeTableId, name, false, std::move(interpolationMethod), std::move(dimensions),
               std::move(datatypeClassName), std::move(unit), std::move(startDate), leafSignal),
      maxBytes_(maxBytes),
      bytesPerCharacter_(bytesPerCharacter) {
  LeafNode::addPolicy(std::make_unique<const DynamicStringPolicy>(&stringStore_, maxBytes_));
}

StringLeafNode::~StringLeafNode() = default;

unsigned long StringLeafNode::bytesPerSample() const { return bytesPerCharacter_ * maxBytes_; }

unsigned long StringLeafNode::storedSize() const { return bytesPerCharacter_ * maxBytes_; }

std::unique_ptr<Node> StringLeafNode::getCopy() const {
  auto copy = std::make_unique<StringLeafNode>(datatypeTableId(), signalName(), interpolationMethod(), dataDimensions(),
                                               datatypeClassName(), unit(), startDate(), maxBytes_, bytesPerCharacter_);
  copyParams(*copy);
  for (const auto& text : stringStore_) copy->addStringElement(text.get());
  return copy;
}

ustring* StringLeafNode::addStringElement(const ustring* value) const {
  stringStore_.push_back(std::make_unique<ustring>(*value));
  return stringStore_.back().get();
}

}  // namespace vtio::core::utils
