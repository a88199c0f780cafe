// Trees that cannot be recorded are refused by name, before anything is read; and what numbers the positions of others.
#include <limits>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

constexpr long long kHuge = std::numeric_limits<long long>::max() / 2;

// A leaf class of another library.
class LyingLeaf final : public LeafNode {
 public:
  LyingLeaf(Dims dims, unsigned long bytes)
      : LeafNode(0, u"liar", false, "linear", std::move(dims), "double", units(), u"", leafSignal), bytes_(bytes) {}
  unsigned long bytesPerSample() const override { return bytes_; }

 private:
  unsigned long bytes_;
};

class TreeRefusal : public Recording {
 protected:
  // The error when the tree is attached; empty if it is not refused.
  std::string refusal(NodePtr root, unsigned long inputPorts = 512) {
    const SignalDescriptor& descriptor =
        catalogue_.createSignalDescriptor(std::move(root), inputPorts, 0, 1, u"s", u"", pathOf(u"model/block"), 0);
    const std::unique_ptr<Accessor> accessor = access(descriptor);
    try {
      session_.attach(descriptor, *accessor);
    } catch (const std::invalid_argument& error) {
      EXPECT_FALSE(accessor->hasSubscribedClients());
      return error.what();
    }
    return "";
  }

  static NodePtr generated(std::unique_ptr<TopNVBusNode> root) {
    root->generateLeafDataOffsets();
    return root;
  }
};

TEST_F(TreeRefusal, PositionsAreThoseOfTheIterator) {
  auto nested = with(bus(u"nested"), leaf(u"b"), with(bus(u"empty")), with(nvBus(u"nv", {1}, {0}, 8), leaf(u"c")));
  Recorded r = record(with(topBus(u"root"), with(bus(u"none")), leaf(u"a"), std::move(nested), leaf(u"d")));
  std::size_t items = 0;
  for (auto nodes = r.descriptor->leafNVBusIterator(); *nodes != nullptr; ++nodes) ++items;
  EXPECT_EQ(r.recorder->positions(), items);
  r.add(1.0, 10.0, 1);
  r.add(1.0, 20.0, 2);
  r.add(1.0, 30.0, 4);
  r.add(1.0, 40.0, 5);
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(numbers<double>(values(element, "a", "Data")), std::vector<double>{10});
  EXPECT_EQ(numbers<double>(values(element, "nested", "b", "Data")), std::vector<double>{20});
  EXPECT_EQ(numbers<double>(values(element, "nested", "nv", "c", "Data")), std::vector<double>{30});
  EXPECT_EQ(numbers<double>(values(element, "d", "Data")), std::vector<double>{40});
}

TEST_F(TreeRefusal, BusThatLacksAnnouncedChildren) {
  auto lacking = std::make_unique<BusNode>(-1, u"lacking", 2, virtualBus);
  EXPECT_EQ(refusal(with(topBus(u"root"), std::move(lacking), leaf(u"a"))),
            "Cannot record 'lacking': it announced 2 children and has 0");
  auto root = std::make_unique<TopBusNode>(-1, u"root", 3);
  root->addChild(leaf(u"a"));
  root->addChild(leaf(u"b"));
  EXPECT_EQ(refusal(std::move(root)), "Cannot record 'root': it announced 3 children and has 2");
  auto block = std::make_unique<TopNVBusNode>(-1, u"block", 2, Dims{1}, Dims{0, 8}, 16);
  block->addChild(leaf(u"a"));
  EXPECT_EQ(refusal(generated(std::move(block))), "Cannot record 'block': it announced 2 children and has 1");
}

TEST_F(TreeRefusal, BusWithMoreChildrenThanAnnounced) {
  auto root = std::make_unique<TopBusNode>(-1, u"root", 1);
  root->addChild(leaf(u"a"));
  root->addChild(leaf(u"b"));
  EXPECT_EQ(refusal(std::move(root)), "Cannot record 'root': it announced 1 children and has 2");
}

TEST_F(TreeRefusal, VirtualBusWithFewerInputPortsThanLeaves) {
  EXPECT_EQ(refusal(with(topBus(u"root"), leaf(u"a"), leaf(u"b"), leaf(u"c")), 2),
            "Cannot record 'root': it has 2 input ports for its 3 leaves");
  EXPECT_EQ(refusal(with(topBus(u"root"), leaf(u"a"), leaf(u"b"), leaf(u"c")), 3), "");
}

TEST_F(TreeRefusal, LeafWhoseBytesDoNotFitItsType) {
  EXPECT_EQ(refusal(std::make_unique<LyingLeaf>(Dims{2}, 4096)),
            "Cannot record 'liar': it says that a sample has 4096 bytes, but its type and dimensions make 16");
  EXPECT_EQ(refusal(std::make_unique<LyingLeaf>(Dims{2}, 1)),
            "Cannot record 'liar': it says that a sample has 1 bytes, but its type and dimensions make 16");
  EXPECT_EQ(refusal(std::make_unique<LyingLeaf>(Dims{2}, 16)), "");
}

TEST_F(TreeRefusal, FewerOffsetsThanLeaves) {
  EXPECT_EQ(refusal(with(topNvBus(u"root", {1}, {0}, 8), leaf(u"a"), leaf(u"b"))),
            "Cannot record 'root': it carries 1 data offsets for its 2 leaves");
  auto inner = with(nvBus(u"inner", {2}, {0}, 8), leaf(u"a", "single"), leaf(u"b", "single"));
  EXPECT_EQ(refusal(with(topBus(u"root"), std::move(inner))), "Cannot record 'inner': it has 1 offsets for 2 children");
  auto deep = with(nvBus(u"deep", {1}, {}, 8), leaf(u"a"));
  EXPECT_EQ(refusal(with(topBus(u"root"), with(nvBus(u"inner", {1}, {0}, 8), std::move(deep)))),
            "Cannot record 'deep': it has 0 offsets for 1 children");
}

TEST_F(TreeRefusal, BusOfNoSize) {
  EXPECT_EQ(refusal(generated(with(topNvBus(u"root", {2}, {0, 8}, 0), leaf(u"a"), leaf(u"b")))),
            "Cannot record 'root': its size is 0");
  EXPECT_EQ(refusal(with(topNvBus(u"root", {1}, {0}, 0), leaf(u"a"), leaf(u"b"))),
            "Cannot record 'root': its size is 0");
  auto inner = with(nvBus(u"inner", {3}, {0}, 0), leaf(u"a"));
  EXPECT_EQ(refusal(with(topBus(u"root"), with(nvBus(u"outer", {1}, {0}, 24), std::move(inner)))),
            "Cannot record 'inner': its size is 0");
}

TEST_F(TreeRefusal, OffsetsOutsideTheElement) {
  EXPECT_EQ(refusal(generated(with(topNvBus(u"root", {2}, {0, 12}, 16), leaf(u"a"), leaf(u"b")))),
            "Cannot record 'b': its data offset 12 is outside its bus of 16 bytes");
  EXPECT_EQ(refusal(generated(with(topNvBus(u"root", {1}, {-8}, 16), leaf(u"a")))),
            "Cannot record 'a': its data offset -8 is outside its bus of 16 bytes");
  EXPECT_EQ(refusal(with(topBus(u"root"), with(nvBus(u"inner", {1}, {0, 4096}, 16), leaf(u"a"), leaf(u"b")))),
            "Cannot record 'b': its data offset 4096 is outside its bus of 16 bytes");
  EXPECT_EQ(refusal(with(topBus(u"root"), with(nvBus(u"inner", {1}, {kHuge * 2}, 16), leaf(u"a")))),
            "Cannot record 'a': its size or an offset is too large");
  auto group = with(bus(u"group"), leaf(u"a"), leaf(u"b"));
  EXPECT_EQ(refusal(generated(with(topNvBus(u"root", {1}, {8}, 16), std::move(group)))),
            "Cannot record 'b': its data offset 16 is outside its bus of 16 bytes");
}

TEST_F(TreeRefusal, DimensionsWhoseProductOverflows) {
  EXPECT_EQ(refusal(leaf(u"a", "double", {kHuge, 8})), "Cannot record 'a': its dimensions are too large");
  EXPECT_EQ(refusal(leaf(u"a", "double", {-1})), "Cannot record 'a': it has the dimension -1");
  EXPECT_EQ(refusal(leaf(u"a", "double", {1LL << 40})),
            "Cannot record 'a': a sample of more than 4294967295 bytes is too large");
  EXPECT_EQ(refusal(with(topBus(u"root"), with(nvBus(u"inner", {kHuge, 8}, {0}, 8), leaf(u"a")))),
            "Cannot record 'inner': the array of buses is too large");
  auto middle = with(nvBus(u"middle", {1LL << 20}, {0}, 8), with(nvBus(u"inner", {1LL << 20}, {0}, 8), leaf(u"a")));
  EXPECT_EQ(refusal(with(topBus(u"root"), with(nvBus(u"outer", {1}, {0}, 8), std::move(middle)))),
            "Cannot record 'outer': its arrays of buses have too many elements");
}

TEST_F(TreeRefusal, RefusedSignalsLeaveTheOthersAlone) {
  Recorded kept = record(leaf(u"x"));
  kept.add(0.0, 1.0);
  EXPECT_NE(refusal(std::make_unique<LyingLeaf>(Dims{}, 4096)), "");
  kept.add(1.0, 2.0);
  EXPECT_EQ(numbers<double>(values(kept.element(), "Data")), (std::vector<double>{1, 2}));
}

}  // namespace
