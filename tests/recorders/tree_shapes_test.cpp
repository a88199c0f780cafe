// Buses of every kind: where each leaf's values are read, and the dimensions of its array.
#include <array>
#include <cstddef>
#include <cstdint>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

class TreeShapes : public Recording {};

struct Wheel {
  double speed;
  std::int8_t state;
  float torque[2];
};

NodePtr wheelRoot(const Dims& dims) {
  return with(topNvBus(u"wheel", dims, {offsetof(Wheel, speed), offsetof(Wheel, state), offsetof(Wheel, torque)},
                       sizeof(Wheel)),
              leaf(u"speed"), leaf(u"state", "int8"), leaf(u"torque", "single", {2}));
}

TEST_F(TreeShapes, NonVirtualRootIsSplitByOffsets) {
  Recorded r = record(wheelRoot({1}));
  r.add(0.0, Wheel{1.5, -2, {3, 4}});
  r.add(1.0, Wheel{2.5, -3, {5, 6}});
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(text(values(element, "Kind")), "bus");
  EXPECT_EQ(numbers<double>(values(element, "speed", "Data")), (std::vector<double>{1.5, 2.5}));
  EXPECT_EQ(numbers<std::int8_t>(values(element, "state", "Data")), (std::vector<std::int8_t>{-2, -3}));
  EXPECT_EQ(numbers<float>(values(element, "torque", "Data")), (std::vector<float>{3, 5, 4, 6}));
  EXPECT_EQ(qxGetConstData(values(element, "speed", "Time")), qxGetConstData(values(element, "torque", "Time")));
}

TEST_F(TreeShapes, ArrayOfBusesAtTheRoot) {
  Recorded r = record(wheelRoot({4}));
  std::array<Wheel, 4> sample{};
  for (int n = 0; n < 3; ++n) {
    for (int k = 0; k < 4; ++k)
      sample[static_cast<std::size_t>(k)] = {10.0 * n + k, 0, {1.0F * static_cast<float>(k), -1}};
    r.add(n, sample);
  }
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(dimensions(values(element, "speed", "Data")), (std::vector<std::size_t>{3, 4}));
  EXPECT_EQ(numbers<double>(values(element, "speed", "Data")),
            (std::vector<double>{0, 10, 20, 1, 11, 21, 2, 12, 22, 3, 13, 23}));
  EXPECT_EQ(dimensions(values(element, "torque", "Data")), (std::vector<std::size_t>{3, 4, 2}));
}

TEST_F(TreeShapes, ArraysOfBusesAtEveryDepth) {
  // struct { int16 tag; struct { struct { int32 v; } inner[3]; int16 end; } outer[2]; } root[2], with padding.
  auto inner = with(nvBus(u"inner", {3}, {0}, 4), leaf(u"v", "int32"));
  auto outer = with(nvBus(u"outer", {2}, {0, 12}, 16), std::move(inner), leaf(u"end", "int16"));
  Recorded r = record(with(topNvBus(u"root", {2}, {0, 4}, 36), leaf(u"tag", "int16"), std::move(outer)));
  std::array<std::int32_t, 18> sample{};
  for (std::int32_t a = 0; a < 2; ++a) {
    for (std::int32_t b = 0; b < 2; ++b) {
      for (std::int32_t c = 0; c < 3; ++c)
        sample[static_cast<std::size_t>(9 * a + 1 + 4 * b + c)] = 100 * a + 10 * b + c;
      sample[static_cast<std::size_t>(9 * a + 1 + 4 * b + 3)] = -(10 * a + b);
    }
  }
  r.add(0.0, sample);
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* v = values(element, "outer", "inner", "v", "Data");
  ASSERT_EQ(dimensions(v), (std::vector<std::size_t>{1, 2, 2, 3}));
  EXPECT_EQ(numbers<std::int32_t>(v), (std::vector<std::int32_t>{0, 100, 10, 110, 1, 101, 11, 111, 2, 102, 12, 112}));
  const qxArray* end = values(element, "outer", "end", "Data");
  ASSERT_EQ(dimensions(end), (std::vector<std::size_t>{1, 2, 2}));
  EXPECT_EQ(numbers<std::int16_t>(end), (std::vector<std::int16_t>{0, -10, -1, -11}));
}

TEST_F(TreeShapes, ArrayOfNoBusesHasNoValues) {
  Recorded r =
      record(with(topNvBus(u"root", {1}, {0, 8}, 8), leaf(u"x"), with(nvBus(u"none", {0}, {0}, 8), leaf(u"y"))));
  r.add(0.0, 4.5);
  EXPECT_EQ(numbers<double>(values(r.element(), "x", "Data")), std::vector<double>{4.5});
  EXPECT_EQ(dimensions(values(r.element(), "none", "y", "Data")), (std::vector<std::size_t>{1, 0}));
}

TEST_F(TreeShapes, VirtualBusInsideANonVirtualOneFollowsWithoutGaps) {
  auto group = with(bus(u"group"), leaf(u"a"), with(bus(u"more"), leaf(u"b", "int32"), leaf(u"c", "int32")));
  Recorded r = record(with(topNvBus(u"root", {2}, {0, 8}, 24), leaf(u"x"), std::move(group)));
  struct {
    double x, a;
    std::int32_t b, c;
  } sample[2] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
  r.add(0.0, sample);
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(numbers<double>(values(element, "group", "a", "Data")), (std::vector<double>{2, 6}));
  EXPECT_EQ(numbers<std::int32_t>(values(element, "group", "more", "c", "Data")), (std::vector<std::int32_t>{4, 8}));
}

TEST_F(TreeShapes, VirtualBusIsRecordedLeafByLeaf) {
  auto nested = with(bus(u"nested"), leaf(u"b", "int32"),
                     with(nvBus(u"nv", {2}, {0, 4}, 8), leaf(u"c", "int16"), leaf(u"d", "single")));
  Recorded r = record(with(topBus(u"root"), leaf(u"a"), std::move(nested), leaf(u"e", "uint8")));
  ASSERT_EQ(r.recorder->positions(), 4U);
  struct Nv {
    std::int16_t c;
    float d;
  };
  for (int n = 0; n < 6; ++n) {
    r.add(n, 1.0 * n, 0);
    if (n % 2 == 0) r.add(n, std::int32_t{n}, 1);
    if (n % 3 == 0) {
      const auto c = static_cast<std::int16_t>(n);
      r.add(n, std::array<Nv, 2>{Nv{c, 0.5F}, Nv{static_cast<std::int16_t>(-c), 1.5F}}, 2);
    }
  }
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(numbers<double>(values(element, "a", "Data")), (std::vector<double>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(numbers<double>(values(element, "nested", "b", "Time")), (std::vector<double>{0, 2, 4}));
  EXPECT_EQ(numbers<std::int16_t>(values(element, "nested", "nv", "c", "Data")),
            (std::vector<std::int16_t>{0, 3, 0, -3}));
  EXPECT_EQ(numbers<float>(values(element, "nested", "nv", "d", "Data")), (std::vector<float>{0.5F, 0.5F, 1.5F, 1.5F}));
  EXPECT_EQ(numbers<double>(values(element, "nested", "nv", "d", "Time")), (std::vector<double>{0, 3}));
  EXPECT_EQ(dimensions(values(element, "e", "Data")), (std::vector<std::size_t>{0, 1}));
  EXPECT_EQ(r.recorder->recordedSamples(1), 3U);
}

TEST_F(TreeShapes, NestedBusOfUnknownSizeIsPacked) {
  auto packed = with(std::make_unique<NVBusNode>(-1, u"packed", 2, Dims{2}), leaf(u"c", "int16"), leaf(u"d", "int16"));
  Recorded r = record(with(topBus(u"root"), std::move(packed)));
  r.add(0.0, std::array<std::int16_t, 4>{1, 2, 3, 4});
  EXPECT_EQ(numbers<std::int16_t>(values(r.element(), "packed", "d", "Data")), (std::vector<std::int16_t>{2, 4}));
}

TEST_F(TreeShapes, EmptyBusTakesAPositionAndHasNoFields) {
  Recorded r = record(with(topBus(u"root"), leaf(u"a"), with(bus(u"empty"))));
  EXPECT_EQ(r.recorder->positions(), 2U);
  EXPECT_EQ(fieldNames(values(r.element(), "empty")), std::vector<std::string>{"Kind"});
}

TEST_F(TreeShapes, VirtualBusDeliveredAsAWholeIsPacked) {
  // A bus that is not a TopBusNode gets a scalar accessor.
  Recorded r = record(with(bus(u"root"), leaf(u"a"), leaf(u"b", "int32"), leaf(u"c", "int32")));
  struct {
    double a;
    std::int32_t b, c;
  } const sample{1.5, 2, 3};
  r.add(0.0, sample);
  EXPECT_EQ(numbers<double>(values(r.element(), "a", "Data")), std::vector<double>{1.5});
  EXPECT_EQ(numbers<std::int32_t>(values(r.element(), "c", "Data")), std::vector<std::int32_t>{3});
}

TEST_F(TreeShapes, TextInsideANonVirtualBusStandsInPlace) {
  auto name = std::make_unique<StringLeafNode>(0, u"name", "zoh", Dims{}, "string", units(), u"", 4, 2);
  Recorded r = record(with(topNvBus(u"root", {2}, {0, 8}, 16), std::move(name), leaf(u"x")));
  struct Row {
    char16_t name[4];
    double x;
  };
  r.add(0.0, std::array<Row, 2>{Row{{u'a', u'b', 0, u'?'}, 1}, Row{{u'f', u'u', u'l', u'l'}, 2}});
  r.add(1.0, std::array<Row, 2>{Row{{0}, 1}, Row{{u'z'}, 2}});
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "name", "Data");
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{2, 2}));
  EXPECT_EQ(text(qxGetCell(data, 0)), "ab");
  EXPECT_EQ(text(qxGetCell(data, 1)), "");
  EXPECT_EQ(text(qxGetCell(data, 2)), "full");
  EXPECT_EQ(text(qxGetCell(data, 3)), "z");
}

TEST_F(TreeShapes, GatheredPiecesAreRecordedAfterTheTransformation) {
  auto root = leaf(u"x", "double", {2});
  root->addPolicy(std::make_unique<SplitBufferPolicy>(8, std::vector<unsigned long>{16, 0}));
  Recorded r = record(std::move(root));
  r.add(0.0, std::array<double, 3>{1, 2, 3});
  EXPECT_EQ(numbers<double>(values(r.element(), "Data")), (std::vector<double>{3, 1}));
}

TEST_F(TreeShapes, RootWithoutGeneratedOffsetsIsRefused) {
  auto inner = with(nvBus(u"inner", {3}, {0}, 8), leaf(u"v"));
  const SignalDescriptor& descriptor = catalogue_.createSignalDescriptor(
      with(topNvBus(u"root", {1}, {0}, 24), std::move(inner)), 1, 0, 1, u"s", u"", pathOf(u"m/b"), 0);
  EXPECT_THROW(
      {
        try {
          MemoryRecorder recorder(descriptor);
        } catch (const std::invalid_argument& error) {
          EXPECT_STREQ(error.what(), "Cannot record 'root': it carries 1 data offsets for its 3 leaves");
          throw;
        }
      },
      std::invalid_argument);
}

TEST_F(TreeShapes, UnknownPositionIsRefused) {
  Recorded r = record(with(topBus(u"root"), leaf(u"a")));
  const double time = 0;
  EXPECT_THROW(r.recorder->update(1, &time, &time), std::out_of_range);
  EXPECT_THROW((void)r.recorder->heldSamples(1), std::out_of_range);
  EXPECT_EQ(r.recorder->recordedSamples(0), 0U);
}

TEST_F(TreeShapes, MaxPointsKeepsTheNewest) {
  for (const unsigned long most : {1UL, 2UL, 7UL, 100UL, 5000UL}) {
    Recorded r = record(leaf(u"x"), most);
    for (int i = 0; i < 12345; ++i) r.add(0.1 * i, 1.0 * i);
    EXPECT_EQ(r.recorder->recordedSamples(), 12345U);
    EXPECT_EQ(r.recorder->heldSamples(), most);
    const std::vector<double> data = numbers<double>(values(r.element(), "Data"));
    const std::vector<double> times = numbers<double>(values(r.element(), "Time"));
    ASSERT_EQ(data.size(), most);
    for (std::size_t i = 0; i < most; ++i) {
      const double expected = static_cast<double>(12345 - most + i);
      ASSERT_EQ(data[i], expected);
      ASSERT_EQ(times[i], 0.1 * expected);
    }
  }
}

}  // namespace
