#include "tests/utils/test_nodes.hpp"

#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "platform/diagnostics.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::test {

namespace utils = core::utils;

std::unique_ptr<utils::LeafNode> makeLeaf(const std::u16string& name, const std::string& className, const Dims& dims,
                                          bool isComplex) {
  return std::make_unique<utils::LeafNode>(1, name, isComplex, "linear", dims, className, utils::units(u"m"), u"now",
                                           utils::leafSignal);
}

std::unique_ptr<utils::BusNode> makeBus(const std::u16string& name, unsigned long announced) {
  return std::make_unique<utils::BusNode>(-1, name, announced, utils::virtualBus);
}

std::unique_ptr<utils::NVBusNode> makeNVBus(const std::u16string& name, const Dims& dims,
                                            const std::vector<std::u16string>& leafNames) {
  Dims offsets;
  for (std::size_t i = 0; i < leafNames.size(); ++i) {
    offsets.push_back(static_cast<long long>(8 * i));
  }
  auto bus = std::make_unique<utils::NVBusNode>(-1, name, leafNames.size(), dims, offsets, 8 * leafNames.size());
  for (const std::u16string& leafName : leafNames) {
    bus->addChild(makeLeaf(leafName));
  }
  return bus;
}

PolicyPointer makeSplit(unsigned long elementSize, std::vector<unsigned long> offsets) {
  return std::make_unique<const utils::SplitBufferPolicy>(elementSize, std::move(offsets));
}

PolicyPointer makeVisualization(const std::string& alias) {
  return std::make_unique<const utils::VisualizationMetadataPolicy>(u"0.1", 0.25, 10.0, alias);
}

vtu::FullBlkPathToTopMdl makePath(const std::vector<std::u16string>& elements, const std::u16string& subPath,
                                  std::int32_t subPathType) {
  vtu::FullBlkPathToTopMdl path;
  for (const std::u16string& element : elements) {
    path.append(vtu::InternedUstring(element));
  }
  path.subPath(subPath);
  path.subPathType(subPathType);
  return path;
}

std::vector<std::u16string> elementsOf(const vtu::FullBlkPathToTopMdl& path) {
  std::vector<std::u16string> elements;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char16_t* text = path.element(i).c_str();
    elements.emplace_back(text == nullptr ? u"" : text);
  }
  return elements;
}

std::unique_ptr<utils::SignalDescriptor> makeDescriptor(const DescriptorArguments& a,
                                                        std::unique_ptr<utils::Node> root) {
  if (root == nullptr) {
    root = makeLeaf();
  }
  return std::make_unique<utils::SignalDescriptor>(
      a.catalogueIndex, std::move(root), a.numberOfInputPorts, a.maxPoints, a.decimation, a.signalName,
      a.propagatedName, a.blockPath, a.connectedPortIndex, a.foreachDimensions, a.foreachIterationIndices);
}

std::unique_ptr<utils::InportOutportSignalDescriptor> makeInport(const DescriptorArguments& a,
                                                                 unsigned long inportOrder) {
  return std::make_unique<utils::InportOutportSignalDescriptor>(
      a.catalogueIndex, makeLeaf(), a.numberOfInputPorts, a.maxPoints, a.decimation, a.signalName, a.propagatedName,
      a.blockPath, a.connectedPortIndex, a.foreachDimensions, a.foreachIterationIndices, inportOrder);
}

std::unique_ptr<utils::InportOutportSignalDescriptor> makePort(
    const DescriptorArguments& a, enum utils::InportOutportSignalDescriptor::portType kind) {
  return std::make_unique<utils::InportOutportSignalDescriptor>(
      a.catalogueIndex, makeLeaf(), a.numberOfInputPorts, kind, a.maxPoints, a.decimation, a.signalName,
      a.propagatedName, a.blockPath, a.connectedPortIndex, a.foreachDimensions, a.foreachIterationIndices);
}

namespace {

template <typename Iterator>
std::vector<std::u16string> walkAny(Iterator& iterator, std::size_t steps) {
  std::vector<std::u16string> names;
  for (std::size_t i = 0; i < steps; ++i) {
    names.push_back(*iterator == nullptr ? u"-" : (*iterator)->signalName());
    ++iterator;
  }
  return names;
}

}  // namespace

std::vector<std::u16string> walk(utils::LeafIterator iterator, std::size_t steps) { return walkAny(iterator, steps); }

std::vector<std::u16string> walk(utils::LeafNVBusIterator iterator, std::size_t steps) {
  return walkAny(iterator, steps);
}

std::vector<std::u16string> leafNames(utils::LeafIterator iterator) {
  std::vector<std::u16string> names;
  for (; *iterator != nullptr; ++iterator) {
    names.push_back((*iterator)->signalName());
  }
  return names;
}

void expectDiagnostic(const std::function<void()>& action, const std::string& identifier, const std::string& key,
                      const std::vector<std::u16string>& arguments) {
  try {
    action();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const vtsv::IException& error) {
    EXPECT_EQ(error.diagnostic().identifier, identifier);
    EXPECT_EQ(error.diagnostic().key, key);
    EXPECT_EQ(error.diagnostic().arguments, arguments);
  }
}

void expectSameProperties(const fxpDataTypeProp& actual, const fxpDataTypeProp& expected) {
  EXPECT_EQ(actual.dataTypeKind, expected.dataTypeKind);
  EXPECT_EQ(actual.isSigned, expected.isSigned);
  EXPECT_EQ(actual.wordLength, expected.wordLength);
  EXPECT_EQ(actual.exponentWidth, expected.exponentWidth);
  EXPECT_EQ(actual.fixedExponent, expected.fixedExponent);
  EXPECT_EQ(actual.slopeAdjustmentFactor, expected.slopeAdjustmentFactor);
  EXPECT_EQ(actual.bias, expected.bias);
  EXPECT_EQ(actual.reserved, expected.reserved);
}

fxpDataTypeProp oddProperties() {
  return {.dataTypeKind = 0,
          .isSigned = 1,
          .wordLength = 8,
          .exponentWidth = 0,
          .fixedExponent = -3,
          .slopeAdjustmentFactor = 1.5,
          .bias = -7.5,
          .reserved = 0};
}

ProbeNode::ProbeNode(const std::u16string& name, Obituary& obituary) : Node(name), obituary_(obituary) {}

ProbeNode::~ProbeNode() { obituary_.push_back(signalName()); }

std::unique_ptr<utils::Node> ProbeNode::getCopy() const {
  return std::make_unique<ProbeNode>(signalName() + u" copy", obituary_);
}

UncopyableNode::UncopyableNode(const std::u16string& name) : Node(name) {}

std::unique_ptr<utils::Node> UncopyableNode::getCopy() const { throw std::runtime_error("cannot be copied"); }

ProbePolicy::ProbePolicy(policyType type, bool isTransformation, int& alive)
    : SignalDescriptorNodePolicy(type), isTransformation_(isTransformation), alive_(alive) {
  ++alive_;
}

ProbePolicy::~ProbePolicy() { --alive_; }

PolicyPointer ProbePolicy::getCopy() const {
  return std::make_unique<const ProbePolicy>(type(), isTransformation_, alive_);
}

bool ProbePolicy::isTransformationPolicy() const { return isTransformation_; }

}  // namespace vtio::test
