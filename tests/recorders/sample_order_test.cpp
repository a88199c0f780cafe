// Matrices that a model delivers first index fastest: what is recorded is the same as from a model that does not.
#include <array>
#include <cstdint>

#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;
using vtio::recorders::SampleOrder;

class ColumnMajorSamples : public Recording {
 protected:
  ColumnMajorSamples() { session_.sampleOrder(SampleOrder::columnMajor); }
};

// The element of Data at (n, i, j), which are the indices of its first three dimensions; the others are 0.
template <typename T>
T at(const qxArray* data, std::size_t n, std::size_t i, std::size_t j) {
  const std::vector<std::size_t> dims = dimensions(data);
  return static_cast<const T*>(qxGetConstData(data))[n + dims[0] * (i + dims[1] * j)];
}

TEST_F(ColumnMajorSamples, ScalarsAndVectorsAreTakenAsTheyStand) {
  for (const Dims& dims : {Dims{6}, Dims{1, 6}, Dims{6, 1}, Dims{1, 6, 1}}) {
    Recorded r = record(leaf(u"x", "int16", dims));
    r.add(0.0, std::array<std::int16_t, 6>{1, 2, 3, 4, 5, 6});
    EXPECT_EQ(numbers<std::int16_t>(values(r.element(), "Data")), (std::vector<std::int16_t>{1, 2, 3, 4, 5, 6}));
  }
  Recorded scalar = record(leaf(u"x"));
  scalar.add(0.0, 2.5);
  EXPECT_EQ(numbers<double>(values(scalar.element(), "Data")), std::vector<double>{2.5});
}

TEST_F(ColumnMajorSamples, ThreeDimensions) {
  Recorded r = record(leaf(u"x", "int32", {2, 3, 4}));
  std::array<std::int32_t, 24> sample{};
  for (std::int32_t i = 0; i < 2; ++i) {
    for (std::int32_t j = 0; j < 3; ++j) {
      for (std::int32_t k = 0; k < 4; ++k)
        sample.at(static_cast<std::size_t>(i + 2 * j + 6 * k)) = 100 * i + 10 * j + k;
    }
  }
  r.add(0.0, sample);
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{1, 2, 3, 4}));
  EXPECT_EQ(numbers<std::int32_t>(data), (std::vector<std::int32_t>(sample.begin(), sample.end())));
}

TEST_F(ColumnMajorSamples, ComplexValuesMoveAsOne) {
  Recorded r = record(leaf(u"x", "single", {2, 2}, true));
  r.add(0.0, std::array<float, 8>{11, -11, 21, -21, 12, -12, 22, -22});
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{1, 2, 2}));
  EXPECT_EQ(numbers<float>(data), (std::vector<float>{11, -11, 21, -21, 12, -12, 22, -22}));
}

TEST_F(ColumnMajorSamples, WordsOfAWideValueStayTogether) {
  Recorded r = record(std::make_unique<FixedPointLeafNode>(0, u"q", true, "zoh", Dims{2, 2}, "fixed-point", units(),
                                                           u"", false, 128, 1.0, 0, 0.0));
  std::vector<std::uint64_t> sample;  // real low, real high, imaginary low, imaginary high of (1, 1), (2, 1), …
  for (const std::uint64_t place : {11U, 21U, 12U, 22U}) {
    for (std::uint64_t word = 1; word <= 4; ++word) sample.push_back(10 * place + word);
  }
  const double time = 0.0;
  r.accessor->update(&time, sample.data(), 0);
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{1, 2, 2, 2}));
  EXPECT_EQ(numbers<std::uint64_t>(data),
            (std::vector<std::uint64_t>{111, 113, 211, 213, 121, 123, 221, 223,     // low words of both parts
                                        112, 114, 212, 214, 122, 124, 222, 224}));  // high words
}

TEST_F(ColumnMajorSamples, ArrayOfBusesHasAnOrderOfItsOwn) {
  struct Element {
    double x;
    char16_t name[4];
    std::int32_t m[4];
  };
  auto name = std::make_unique<StringLeafNode>(0, u"name", "zoh", Dims{}, "string", units(), u"", 4, 2);
  Recorded r = record(with(topNvBus(u"root", {2, 3}, {0, 8, 16}, sizeof(Element)), leaf(u"x"), std::move(name),
                           leaf(u"m", "int32", {2, 2})));
  std::array<Element, 6> sample{};
  for (std::int32_t i = 0; i < 2; ++i) {
    for (std::int32_t j = 0; j < 3; ++j) {
      Element& element = sample.at(static_cast<std::size_t>(i + 2 * j));
      element.x = 10 * i + j;
      element.name[0] = static_cast<char16_t>(u'a' + i);
      element.name[1] = static_cast<char16_t>(u'0' + j);
      for (std::int32_t m = 0; m < 4; ++m) element.m[m] = 1000 * i + 100 * j + 10 * (m % 2) + m / 2;
    }
  }
  r.add(0.0, sample);
  r.add(1.0, sample);
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* x = values(element, "x", "Data");
  const qxArray* names = values(element, "name", "Data");
  const auto m = numbers<std::int32_t>(values(element, "m", "Data"));
  ASSERT_EQ(dimensions(x), (std::vector<std::size_t>{2, 2, 3}));
  ASSERT_EQ(dimensions(names), (std::vector<std::size_t>{2, 2, 3}));
  ASSERT_EQ(dimensions(values(element, "m", "Data")), (std::vector<std::size_t>{2, 2, 3, 2, 2}));
  for (std::size_t i = 0; i < 2; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      EXPECT_EQ(at<double>(x, 1, i, j), static_cast<double>(10 * i + j));
      const std::string expected{static_cast<char>('a' + i), static_cast<char>('0' + j)};
      EXPECT_EQ(text(qxGetCell(names, 1 + 2 * (i + 2 * j))), expected);
      for (std::size_t k = 0; k < 4; ++k) {  // (k % 2, k / 2)
        EXPECT_EQ(m[1 + 2 * (i + 2 * (j + 3 * k))],
                  static_cast<std::int32_t>(1000 * i + 100 * j + 10 * (k % 2) + k / 2));
      }
    }
  }
}

TEST_F(ColumnMajorSamples, LeavesOfAVirtualBus) {
  Recorded r = record(with(topBus(u"root"), leaf(u"a"), leaf(u"b", "double", {2, 2})));
  r.add(0.0, 1.0, 0);
  r.add(0.0, std::array<double, 4>{11, 21, 12, 22}, 1);
  EXPECT_EQ(at<double>(values(r.element(), "b", "Data"), 0, 0, 1), 12.0);
}

TEST_F(ColumnMajorSamples, KeepTheNewestAndStepBack) {
  Recorded r = record(leaf(u"x", "double", {2, 2}), 3);
  const auto add = [&r](double n) { r.add(n, std::array<double, 4>{n + 0.11, n + 0.21, n + 0.12, n + 0.22}); };
  for (int n = 0; n < 40; ++n) add(n);
  session_.captureSnapshot(false);
  for (int n = 90; n < 99; ++n) add(n);
  session_.rollBack();
  add(40);
  const vtu::qxArrayWrapper element = r.element();
  const qxArray* data = values(element, "Data");
  ASSERT_EQ(dimensions(data), (std::vector<std::size_t>{3, 2, 2}));
  for (std::size_t n = 0; n < 3; ++n) {
    EXPECT_EQ(at<double>(data, n, 0, 1), static_cast<double>(38 + n) + 0.12);
    EXPECT_EQ(at<double>(data, n, 1, 0), static_cast<double>(38 + n) + 0.21);
  }
}

using SampleOrders = Recording;

TEST_F(SampleOrders, BelongToTheSessionTheSignalOrTheRecorder) {
  const std::array<double, 4> sample{1, 2, 3, 4};
  const double time = 0.0;
  const auto second = [](const vtu::qxArrayWrapper& element) { return at<double>(values(element, "Data"), 0, 0, 1); };
  EXPECT_EQ(session_.sampleOrder(), SampleOrder::rowMajor);
  Recorded before = record(leaf(u"x", "double", {2, 2}));
  session_.sampleOrder(SampleOrder::columnMajor);
  Recorded after = record(leaf(u"x", "double", {2, 2}));
  for (const Recorded* r : {&before, &after}) r->accessor->update(&time, sample.data(), 0);
  EXPECT_EQ(second(before.element()), 2.0);
  EXPECT_EQ(second(after.element()), 3.0);

  const SignalDescriptor& descriptor = describe(leaf(u"x", "double", {2, 2}));
  const std::unique_ptr<Accessor> accessor = access(descriptor);
  MemoryRecorder* own = session_.attach(descriptor, *accessor, u"logsout", SampleOrder::rowMajor);
  MemoryRecorder alone(descriptor, SampleOrder::columnMajor);
  MemoryRecorder typed(Client::SignalLogging, descriptor);
  for (MemoryRecorder* recorder : {own, &alone, &typed}) recorder->update(&time, sample.data());
  EXPECT_EQ(second(own->datasetElement()), 2.0);
  EXPECT_EQ(second(alone.datasetElement()), 3.0);
  EXPECT_EQ(second(typed.datasetElement()), 2.0);

  RecordingSession other(catalogue_, SampleOrder::columnMajor);
  EXPECT_EQ(other.sampleOrder(), SampleOrder::columnMajor);
}

TEST_F(SampleOrders, MatrixWithMoreElementsThanCanBeListedIsRefused) {
  const SignalDescriptor& descriptor = describe(leaf(u"big", "uint8", {1LL << 20, 1LL << 20}));
  try {
    MemoryRecorder recorder(descriptor, SampleOrder::columnMajor);
    FAIL() << "accepted";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(),
                 "Cannot record 'big': its 1099511627776 elements are too many to be put in row-major order");
  }
}

}  // namespace
