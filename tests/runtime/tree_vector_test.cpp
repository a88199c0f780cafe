// Tests of how generated code describes a tree node by node, and of how the tree is put together.

#include "vtio/mdlref_simtarget/tree_vector.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/runtime/generated_code.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"

namespace vtio::testing {
namespace {

using namespace core::utils;  // the node classes
using namespace mdlref_simtarget;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TreeVectorTest : public ::testing::Test {
 protected:
  TreeVectorTest() : handle_(zetGetTreeVector()) {}
  TreeVectorTest(const TreeVectorTest&) = delete;
  TreeVectorTest& operator=(const TreeVectorTest&) = delete;
  // A vector that no descriptor was made from is freed by making one that has no root.
  ~TreeVectorTest() override {
    entries().clear();
    core::client::Catalogue catalogue;
    static_cast<void>(
        zetGetSignalDescriptor(handle_, 1, 3, 0, 1, "", "", "", "", 0, 0, &catalogue, nullptr, 0, nullptr, 0));
  }

  NodeVector& entries() { return vectorBehind(handle_); }
  template <typename NodeClass>
  const NodeClass& last() {
    const auto* node = dynamic_cast<const NodeClass*>(entries().at(entries().size() - 1).get());
    if (node == nullptr) {
      throw std::runtime_error("the last entry is of another class");
    }
    return *node;
  }
  void addLeaf(const char* name, const char* className = "double", unsigned complexity = 0,
               const std::vector<unsigned>& dims = {}) {
    zetAddLeafNode(1, name, "zoh", complexity, dims.data(), static_cast<unsigned>(dims.size()), className, "", "", 0, 0,
                   handle_);
  }
  void expectVisualization(const Node& node) {
    const auto* policy = dynamic_cast<const VisualizationMetadataPolicy*>(
        node.policy(SignalDescriptorNodePolicy::visualizationMetadata));
    ASSERT_NE(policy, nullptr);
    EXPECT_EQ(policy->sampleTime(), u"0.1\\n\u00e9") << "converted without unescaping";
    EXPECT_EQ(policy->discreteInc(), 0.25);
    EXPECT_EQ(policy->stopTime(), 10.0);
    EXPECT_EQ(policy->aliasName(), "");
    EXPECT_EQ(node.transformationPolicies(), nullptr);
    EXPECT_FALSE(node.hasNodePolicy(SignalDescriptorNodePolicy::splitBuffer));
    EXPECT_FALSE(node.hasNodePolicy(SignalDescriptorNodePolicy::dynamicString));
  }

  static constexpr const char* kSampleTime = "0.1\\n\xc3\xa9";
  void* handle_;
};

TEST_F(TreeVectorTest, startsEmpty) {
  ASSERT_NE(handle_, nullptr);
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(TreeVectorTest, everyHandleHasItsOwnVector) {
  void* other = zetGetTreeVector();
  addLeaf("x");
  EXPECT_THAT(vectorBehind(other), IsEmpty());
  std::swap(handle_, other);
  core::client::Catalogue catalogue;
  zetGetSignalDescriptor(other, 1, 3, 0, 1, "", "", "", "", 0, 0, &catalogue, nullptr, 0, nullptr, 0);
}

TEST_F(TreeVectorTest, topNonVirtualBus) {
  const unsigned dims[] = {3, 0xffffffff};
  const unsigned offsets[] = {0, 0xfffffff0};
  zetAddTopNVBusNode(7, "b\\tus", 2, dims, 2, 0xfffffffe, offsets, kSampleTime, 0.25, 10.0, handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<TopNVBusNode>();
  EXPECT_EQ(node.datatypeTableId(), 7);
  EXPECT_EQ(node.signalName(), u"b\tus");
  EXPECT_EQ(node.numberOfChildren(), 2u);
  EXPECT_EQ(node.getSignalType(), arrayOfNonVirtualBuses);
  EXPECT_THAT(node.arrayOfBusDimensions(), ElementsAre(3, 0xffffffffll));
  EXPECT_EQ(node.busSize(), 0xfffffffeul);
  auto& modifiable = const_cast<TopNVBusNode&>(node);
  EXPECT_THAT(modifiable.leafDataOffsets(), ElementsAre(0, 0xfffffff0ll));
  expectVisualization(node);
}

TEST_F(TreeVectorTest, aSingleTopNonVirtualBusIsOfTypeTwo) {
  const unsigned dims[] = {1};
  zetAddTopNVBusNode(7, "b", 0, dims, 1, 8, nullptr, "", 0, 0, handle_);
  EXPECT_EQ(last<TopNVBusNode>().getSignalType(), nonVirtualBus);
}

TEST_F(TreeVectorTest, nonVirtualBus) {
  const unsigned dims[] = {1};
  const unsigned offsets[] = {4, 0xfffffff0};
  zetAddNVBusNode(8, "n\\x41", 2, dims, 1, 24, offsets, handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<NVBusNode>();
  EXPECT_EQ(dynamic_cast<const TopNVBusNode*>(&node), nullptr);
  EXPECT_EQ(node.datatypeTableId(), 8);
  EXPECT_EQ(node.signalName(), u"nA");
  EXPECT_EQ(node.numberOfChildren(), 2u);
  EXPECT_EQ(node.getSignalType(), nonVirtualBus);
  EXPECT_THAT(node.arrayOfBusDimensions(), ElementsAre(1));
  EXPECT_EQ(node.busSize(), 24u);
  EXPECT_FALSE(node.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
  addLeaf("p");
  addLeaf("q");
  zetPopNVBusNode(handle_);
  const auto root = rootFromTreeVector(entries());
  std::vector<long long> leafOffsets;
  dynamic_cast<const NVBusNode&>(*root).generateLeafDataOffsetsRecursive(leafOffsets, 100, false);
  EXPECT_THAT(leafOffsets, ElementsAre(104, 100 + 0xfffffff0ll));
}

TEST_F(TreeVectorTest, busSizeZeroIsUnknown) {
  const unsigned dims[] = {1};
  zetAddNVBusNode(8, "n", 0, dims, 1, 0, nullptr, handle_);
  EXPECT_FALSE(last<NVBusNode>().busSizeKnown());
}

TEST_F(TreeVectorTest, topBus) {
  zetAddTopBusNode("t\\u00e9", 3, handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<TopBusNode>();
  EXPECT_EQ(node.datatypeTableId(), -1);
  EXPECT_EQ(node.signalName(), u"t\u00e9");
  EXPECT_EQ(node.numberOfChildren(), 3u);
  EXPECT_EQ(node.getSignalType(), virtualBus);
  EXPECT_FALSE(node.hasNodePolicy(SignalDescriptorNodePolicy::visualizationMetadata));
}

TEST_F(TreeVectorTest, bus) {
  zetAddBusNode("b\\\\", 4, handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<BusNode>();
  EXPECT_EQ(dynamic_cast<const TopBusNode*>(&node), nullptr);
  EXPECT_EQ(node.datatypeTableId(), -1);
  EXPECT_EQ(node.signalName(), u"b\\");
  EXPECT_EQ(node.numberOfChildren(), 4u);
  EXPECT_EQ(node.getSignalType(), virtualBus);
}

TEST_F(TreeVectorTest, leaf) {
  const unsigned dims[] = {2, 0xffffffff};
  zetAddLeafNode(0xffffffff, "l\\\"x\\\"", "li\\near", 1, dims, 2, "uint16", "m\\u00b2", kSampleTime, 0.25, 10.0,
                 handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<LeafNode>();
  EXPECT_EQ(node.datatypeTableId(), -1);
  EXPECT_EQ(node.userDefinedDatatypeTableId(), -1);
  EXPECT_EQ(node.signalName(), u"l\"x\"");
  EXPECT_EQ(node.getSignalType(), leafSignal);
  EXPECT_EQ(node.interpolationMethod(), "li\\near") << "stays as it is";
  EXPECT_TRUE(node.isComplexDataType());
  EXPECT_THAT(node.dataDimensions(), ElementsAre(2, 0xffffffffll)) << "widened as unsigned";
  EXPECT_EQ(node.datatypeClassName(), "uint16");
  EXPECT_EQ(node.unit().getUnits(), u"m\u00b2");
  EXPECT_EQ(node.startDate(), u"");
  EXPECT_EQ(node.fxpDataTypeProperties().wordLength, 16);
  expectVisualization(node);
}

TEST_F(TreeVectorTest, onlyComplexityOneMeansComplex) {
  for (const unsigned complexity : {0u, 1u, 2u, 3u, 0xffffffffu}) {
    addLeaf("x", "double", complexity);
    EXPECT_EQ(last<LeafNode>().isComplexDataType(), complexity == 1) << complexity;
    zetAddFixedPointLeafNode(1, "f", "", complexity, nullptr, 0, "fixed-point", "", true, 16, 1.0, 0, 0.0, "", 0, 0,
                             handle_);
    EXPECT_EQ(last<LeafNode>().isComplexDataType(), complexity == 1) << complexity;
  }
}

TEST_F(TreeVectorTest, noDimensionsMeanAScalar) {
  addLeaf("x");
  EXPECT_THAT(last<LeafNode>().dataDimensions(), IsEmpty());
  EXPECT_EQ(last<LeafNode>().numberOfValuesPerSample(), 1);
}

TEST_F(TreeVectorTest, fixedPointLeafPassesItsScalingThroughUnchanged) {
  const unsigned dims[] = {5};
  zetAddFixedPointLeafNode(4, "f\\n", "zo\\h", 0, dims, 1, "fixed-point", "k\\x67", false, 12, 3.75, -7, 0.125,
                           kSampleTime, 0.25, 10.0, handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<FixedPointLeafNode>();
  EXPECT_EQ(node.datatypeTableId(), 4);
  EXPECT_EQ(node.signalName(), u"f\n");
  EXPECT_EQ(node.interpolationMethod(), "zo\\h");
  EXPECT_THAT(node.dataDimensions(), ElementsAre(5));
  EXPECT_EQ(node.datatypeClassName(), "fixed-point");
  EXPECT_EQ(node.unit().getUnits(), u"kg");
  EXPECT_EQ(node.startDate(), u"");
  EXPECT_EQ(node.getSignalType(), leafSignal);
  const fxpDataTypeProp& properties = node.fxpDataTypeProperties();
  EXPECT_EQ(properties.dataTypeKind, 0);
  EXPECT_EQ(properties.isSigned, 0);
  EXPECT_EQ(properties.wordLength, 12);
  EXPECT_EQ(properties.slopeAdjustmentFactor, 3.75);
  EXPECT_EQ(properties.fixedExponent, -7);
  EXPECT_EQ(properties.bias, 0.125);
  expectVisualization(node);
}

TEST_F(TreeVectorTest, aScaledDoubleIsOfKindOne) {
  zetAddFixedPointLeafNode(4, "f", "", 0, nullptr, 0, "scaled-double", "", true, 16, 1.0, 0, 0.0, "", 0, 0, handle_);
  EXPECT_EQ(last<FixedPointLeafNode>().fxpDataTypeProperties().dataTypeKind, 1);
  EXPECT_EQ(last<FixedPointLeafNode>().fxpDataTypeProperties().isSigned, 1);
}

TEST_F(TreeVectorTest, enumLeaf) {
  const unsigned dims[] = {2, 3};
  const unsigned values[] = {0xffffffff, 0, 7, 0x80000000};
  const char* labels[] = {"O\\ff", "On", "Stand\xc3\xa9", ""};
  zetAddEnumLeafNode(9, "e\\a", "no\\ne", dims, 2, "My\\Mode", "u\\t", "int32", kSampleTime, 0.25, 10.0, values, labels,
                     4, handle_);
  ASSERT_EQ(entries().size(), 1u);
  const auto& node = last<EnumLeafNode>();
  EXPECT_EQ(node.datatypeTableId(), 9);
  EXPECT_EQ(node.signalName(), u"e\a");
  EXPECT_EQ(node.interpolationMethod(), "no\\ne");
  EXPECT_FALSE(node.isComplexDataType());
  EXPECT_THAT(node.dataDimensions(), ElementsAre(2, 3));
  EXPECT_EQ(node.datatypeClassName(), "My\\Mode") << "stays as it is";
  EXPECT_EQ(node.unit().getUnits(), u"u\t");
  EXPECT_EQ(node.startDate(), u"");
  EXPECT_EQ(node.resolvedClassName(), "int32");
  EXPECT_THAT(node.enumValues(), ElementsAre(-1, 0, 7, -2147483647 - 1));
  EXPECT_THAT(node.enumLabels(), ElementsAre("O\\ff", "On", "Stand\xc3\xa9", "")) << "labels stay as they are";
  EXPECT_EQ(node.bytesPerSample(), 24u);
  expectVisualization(node);
}

TEST_F(TreeVectorTest, anEnumLeafWithoutValuesHasEmptyLists) {
  zetAddEnumLeafNode(9, "e", "", nullptr, 0, "Mode", "", "uint8", "", 0, 0, nullptr, nullptr, 0, handle_);
  ASSERT_EQ(entries().size(), 1u);
  EXPECT_THAT(last<EnumLeafNode>().enumValues(), IsEmpty());
  EXPECT_THAT(last<EnumLeafNode>().enumLabels(), IsEmpty());
}

TEST_F(TreeVectorTest, aMarkerIsANullEntry) {
  zetPopNVBusNode(handle_);
  ASSERT_EQ(entries().size(), 1u);
  EXPECT_EQ(entries()[0], nullptr);
}

TEST_F(TreeVectorTest, entriesKeepTheOrderOfTheCalls) {
  zetAddTopBusNode("t", 1, handle_);
  addLeaf("x");
  zetPopNVBusNode(handle_);
  ASSERT_EQ(entries().size(), 3u);
  EXPECT_EQ(entries()[0]->signalName(), u"t");
  EXPECT_EQ(entries()[1]->signalName(), u"x");
  EXPECT_EQ(entries()[2], nullptr);
}

TEST_F(TreeVectorTest, aFailingAddAppendsNothingAndReportsNothing) {
  addLeaf("before");
  for (const char* name : {"half", "fixed-point", "date-time", "scaled-double", "Double", ""}) {
    EXPECT_NO_THROW(addLeaf("x", name)) << name;
    EXPECT_NO_THROW(
        zetAddEnumLeafNode(9, "e", "", nullptr, 0, "Mode", "", name, "", 0, 0, nullptr, nullptr, 0, handle_))
        << name;
    ASSERT_EQ(entries().size(), 1u) << name;
    EXPECT_EQ(entries()[0]->signalName(), u"before");
  }
  addLeaf("after");
  EXPECT_EQ(entries().size(), 2u);
}

TEST_F(TreeVectorTest, everyClassNameWithPropertiesIsTaken) {
  for (const char* name : {"double", "single", "boolean", "logical", "int8", "uint8", "int16", "uint16", "int32",
                           "uint32", "int64", "uint64", "string", "action", "fcn_call"}) {
    const std::size_t before = entries().size();
    addLeaf("x", name);
    ASSERT_EQ(entries().size(), before + 1) << name;
    EXPECT_EQ(last<LeafNode>().datatypeClassName(), name);
  }
}

TEST(ArrayToStrVectorTest, copiesInOrder) {
  std::string changing = "two";
  const char* strings[] = {"one", changing.c_str(), "", "four"};
  const std::vector<std::string> copied = arrayToStrVector(strings, 3);
  changing[0] = 'x';
  EXPECT_THAT(copied, ElementsAre("one", "two", ""));
  EXPECT_THAT(arrayToStrVector(nullptr, 0), IsEmpty());
}

class RootFromTreeVectorTest : public TreeVectorTest {
 protected:
  std::unique_ptr<Node> root() { return rootFromTreeVector(entries()); }
  static std::vector<std::u16string> childNames(const Node* node) {
    std::vector<std::u16string> result;
    for (const auto& child : dynamic_cast<const BusNode&>(*node).children()) {
      result.push_back(child->signalName());
    }
    return result;
  }
};

TEST_F(RootFromTreeVectorTest, anEmptyVectorHasNoRoot) { EXPECT_EQ(root(), nullptr); }

TEST_F(RootFromTreeVectorTest, aSingleLeafIsTheRoot) {
  addLeaf("x");
  const Node* leaf = entries()[0].get();
  const auto made = root();
  EXPECT_EQ(made.get(), leaf);
  EXPECT_EQ(made->childOrderInParent(), -2);
  EXPECT_EQ(made->parent(), nullptr);
}

TEST_F(RootFromTreeVectorTest, aSingleBusNeedsNoMarker) {
  zetAddTopBusNode("t", 0, handle_);
  const Node* bus = entries()[0].get();
  EXPECT_EQ(root().get(), bus);
}

TEST_F(RootFromTreeVectorTest, aSingleMarkerHasNoRoot) {
  zetPopNVBusNode(handle_);
  EXPECT_EQ(root(), nullptr);
}

TEST_F(RootFromTreeVectorTest, attachesChildrenInTheOrderOfTheirEntries) {
  zetAddTopBusNode("T", 3, handle_);
  addLeaf("L1");
  zetAddBusNode("B", 1, handle_);
  addLeaf("L2");
  zetPopNVBusNode(handle_);
  addLeaf("L3");
  zetPopNVBusNode(handle_);
  const auto made = root();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->signalName(), u"T");
  EXPECT_THAT(childNames(made.get()), ElementsAre(u"L1", u"B", u"L3"));
  const auto& children = dynamic_cast<const BusNode&>(*made).children();
  EXPECT_THAT(childNames(children[1].get()), ElementsAre(u"L2"));
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(children[i]->childOrderInParent(), static_cast<int>(i));
    EXPECT_EQ(children[i]->parent(), made.get());
  }
}

TEST_F(RootFromTreeVectorTest, aBusReachesItsParentWhenItIsClosed) {
  zetAddTopBusNode("T", 2, handle_);
  zetAddBusNode("B", 1, handle_);
  addLeaf("inside");
  zetPopNVBusNode(handle_);
  addLeaf("x", "int16");
  zetPopNVBusNode(handle_);
  EXPECT_EQ(root()->bytesPerSample(), 10u) << "the inner bus has its bytes when it is attached";
}

TEST_F(RootFromTreeVectorTest, closesBusesOfEveryClass) {
  const unsigned dims[] = {2};
  const unsigned offsets[] = {0, 8};
  zetAddTopNVBusNode(1, "T", 2, dims, 1, 40, offsets, "", 0, 0, handle_);
  addLeaf("x");
  zetAddNVBusNode(2, "N", 2, dims, 1, 16, offsets, handle_);
  addLeaf("p");
  addLeaf("q");
  zetPopNVBusNode(handle_);
  zetPopNVBusNode(handle_);
  const auto made = root();
  EXPECT_THAT(childNames(made.get()), ElementsAre(u"x", u"N"));
  EXPECT_EQ(made->bytesPerSample(), (8u + 2u * (8u + 8u)) * 2u);
}

TEST_F(RootFromTreeVectorTest, anEarlyBalanceEndsTheWalk) {
  zetAddTopBusNode("T", 1, handle_);
  addLeaf("x");
  zetPopNVBusNode(handle_);
  addLeaf("left over");
  zetPopNVBusNode(handle_);
  const auto made = root();
  EXPECT_THAT(childNames(made.get()), ElementsAre(u"x"));
  ASSERT_EQ(entries().size(), 5u);
  ASSERT_NE(entries()[3], nullptr) << "not looked at: it dies with the vector";
  EXPECT_EQ(entries()[3]->signalName(), u"left over");
}

TEST_F(RootFromTreeVectorTest, tooFewMarkersGiveNoRootAndLeakNothing) {
  int destroyed = 0;
  zetAddTopBusNode("T", 1, handle_);
  entries().push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
  zetAddBusNode("B", 1, handle_);
  entries().push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
  zetAddBusNode("closed", 1, handle_);
  entries().push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
  zetPopNVBusNode(handle_);
  EXPECT_EQ(root(), nullptr);
  entries().clear();
  EXPECT_EQ(destroyed, 3) << "the buses left open are destroyed with their children";
}

TEST_F(RootFromTreeVectorTest, theAnnouncedNumberOfChildrenStays) {
  zetAddTopBusNode("T", 5, handle_);
  addLeaf("x");
  zetPopNVBusNode(handle_);
  EXPECT_EQ(root()->numberOfChildren(), 5u);
}

}  // namespace
}  // namespace vtio::testing
