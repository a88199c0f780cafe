// How single values are read, named and written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "example_file.hpp"
#include "memory_source.hpp"
#include "results/values/element_type.hpp"
#include "results/values/interpolation.hpp"
#include "results/values/number_text.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"
#include "results/values/statistics.hpp"
#include "results/values/table_block.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using vtio::tests::ResultsBuilder;

TEST(NumberText, isTheShortestThatReadsBack) {
  EXPECT_EQ(numberText(0.1), "0.1");
  EXPECT_EQ(numberText(0.1F), "0.1");
  EXPECT_EQ(numberText(1e22), "1e+22");
  EXPECT_EQ(numberText(5.0), "5");
  EXPECT_EQ(numberText(-0.0), "-0");
  EXPECT_EQ(numberText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(NumberText, namesWhatIsNotFinite) {
  EXPECT_EQ(numberText(std::nan("")), "NaN");
  EXPECT_EQ(numberText(-std::nan("")), "NaN");
  EXPECT_EQ(numberText(INFINITY), "Inf");
  EXPECT_EQ(numberText(-INFINITY), "-Inf");
}

TEST(NumberText, roundTripsRandomBits) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 100'000; ++i) {
    const auto bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(std::strtod(numberText(value).c_str(), nullptr), value);
  }
}

TEST(ElementType, readsItsOwnNames) {
  for (int i = 0; i <= static_cast<int>(ElementClass::text); ++i) {
    const auto id = static_cast<ElementClass>(i);
    EXPECT_EQ(elementTypeOf(nameOf(id)), (ElementType{id, false}));
    EXPECT_EQ(elementTypeOf(std::string(nameOf(id)) + ".complex"), (ElementType{id, true}));
  }
  EXPECT_THROW(static_cast<void>(elementTypeOf("float")), std::invalid_argument);
}

TEST(SignalInfo, namesItsElementsLastIndexFastest) {
  SignalInfo signal;
  signal.name = "x";
  EXPECT_THAT(cellNames(signal), testing::ElementsAre("x"));
  signal.dimensions = {2, 2};
  EXPECT_THAT(cellNames(signal), testing::ElementsAre("x[0][0]", "x[0][1]", "x[1][0]", "x[1][1]"));
  signal.dimensions = {1};
  signal.type.isComplex = true;
  EXPECT_THAT(cellNames(signal), testing::ElementsAre("x[0].re", "x[0].im"));
  signal.dimensions = {0};
  EXPECT_TRUE(cellNames(signal).empty());
}

TEST(SignalInfo, interpolatesLinearNumbersOnly) {
  SignalInfo signal;
  signal.interpolation = "linear";
  EXPECT_TRUE(signal.interpolates());
  signal.labels = EnumLabels{{"ON", 1}};
  EXPECT_FALSE(signal.interpolates());
  signal.labels.reset();
  signal.type.id = ElementClass::logical;
  EXPECT_FALSE(signal.interpolates());
  signal.type.id = ElementClass::text;
  EXPECT_FALSE(signal.interpolates());
  signal.type.id = ElementClass::int8;
  signal.interpolation = "zoh";
  EXPECT_FALSE(signal.interpolates());
}

std::string shown(const ResultsFile& file, const std::string& name, std::size_t row, bool raw = false,
                  std::size_t cell = 0) {
  const SignalInfo& signal = file.find(name);
  const Series series = readSeries(file, signal);
  std::string text;
  appendPlain(text, ShownValues(signal, raw)(series.view().sample(row), cell));
  return text;
}

TEST(ShownValues, givesLabelsAndNumbersWithoutOne) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2});
  builder.add(0, "mode", {ElementClass::int32, false}, std::vector<std::int32_t>{1, -2, 7}).labels =
      EnumLabels{{"OFF", -2}, {"ON", 1}};
  const ResultsFile file = builder.build();
  EXPECT_EQ(shown(file, "mode", 0), "ON");
  EXPECT_EQ(shown(file, "mode", 1), "OFF");
  EXPECT_EQ(shown(file, "mode", 2), "7");
  EXPECT_EQ(shown(file, "mode", 0, true), "1");
}

TEST(ShownValues, givesNumbersThatNoLabelCanStandFor) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2, 3});
  builder.add(0, "mode", {ElementClass::float64, false}, std::vector<double>{1, kNaN, 0x1p63, -0x1p64}).labels =
      EnumLabels{{"ON", 1}, {"LEAST", std::numeric_limits<std::int64_t>::min()}};
  const ResultsFile file = builder.build();
  EXPECT_EQ(shown(file, "mode", 0), "ON");
  EXPECT_EQ(shown(file, "mode", 1), "NaN");
  EXPECT_EQ(shown(file, "mode", 2), numberText(0x1p63));
  EXPECT_EQ(shown(file, "mode", 3), numberText(-0x1p64));
}

TEST(ShownValues, givesRealValuesOfFixedPoint) {
  ResultsBuilder builder;
  builder.table(0, {0, 1});
  builder.add(0, "charge", {ElementClass::uint8, false}, std::vector<std::uint8_t>{3, 200}).fixedPoint =
      FixedPoint{false, 8, -2, 1.5, 10};
  builder.add(0, "z", {ElementClass::int8, true}, std::vector<std::int8_t>{1, 2, 3, 4}).fixedPoint =
      FixedPoint{true, 8, 0, 2, 100};
  const ResultsFile file = builder.build();
  EXPECT_EQ(shown(file, "charge", 0), "11.125");
  EXPECT_EQ(shown(file, "charge", 1), "85");
  EXPECT_EQ(shown(file, "charge", 1, true), "200");
  EXPECT_EQ(shown(file, "z", 1, false, 0), "106");
  EXPECT_EQ(shown(file, "z", 1, false, 1), "8");  // no bias in the imaginary part
}

template <class T>
class ShownValuesOfEveryType : public testing::Test {};
using Numbers = testing::Types<double, float, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                               std::uint32_t, std::int64_t, std::uint64_t>;
TYPED_TEST_SUITE(ShownValuesOfEveryType, Numbers);

TYPED_TEST(ShownValuesOfEveryType, keepsLimitsExact) {
  using T = TypeParam;
  ElementClass id = ElementClass::float64;
  for (int i = 0; i < static_cast<int>(ElementClass::logical); ++i) {
    withNumber(static_cast<ElementClass>(i), [&]<class U>(U) {
      if constexpr (std::is_same_v<T, U>) id = static_cast<ElementClass>(i);
    });
  }
  ResultsBuilder builder;
  builder.table(0, {0, 1});
  builder.add(0, "x", {id, false}, std::vector<T>{std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max()});
  const ResultsFile file = builder.build();
  EXPECT_EQ(shown(file, "x", 0), numberText(std::numeric_limits<T>::lowest()));
  EXPECT_EQ(shown(file, "x", 1), numberText(std::numeric_limits<T>::max()));
}

TEST(ShownValues, givesLogicalsAsZeroAndOneAndTextsAsTheyAre) {
  ResultsBuilder builder;
  builder.table(0, {0, 1});
  builder.add(0, "on", {ElementClass::logical, false}, std::vector<std::uint8_t>{0, 1});
  builder.addTexts(0, "phase", {"", "läuft"});
  const ResultsFile file = builder.build();
  EXPECT_EQ(shown(file, "on", 0), "0");
  EXPECT_EQ(shown(file, "on", 1), "1");
  EXPECT_EQ(shown(file, "phase", 0), "");
  EXPECT_EQ(shown(file, "phase", 1), "läuft");
}

TEST(ReadSeries, takesARangeOfTimeWithBothEnds) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 1, 2, 3});
  builder.addDoubles(0, "x", {10, 11, 12, 13, 14});
  const ResultsFile file = builder.build();
  EXPECT_THAT(readSeries(file, file.find("x"), {1, 2}).times, testing::ElementsAre(1, 1, 2));
  EXPECT_THAT(readSeries(file, file.find("x"), {-1, 0.5}).times, testing::ElementsAre(0));
  EXPECT_TRUE(readSeries(file, file.find("x"), {1.5, 1.7}).times.empty());
}

TEST(ReadSeries, staysWithinTheRowsOfTheSignal) {
  ResultsBuilder builder;
  builder.table(0, {0, 1, 2, 3});
  builder.limitRows(builder.addDoubles(0, "x", {10, 11, 12, 13}), 1, 2);
  const ResultsFile file = builder.build();
  EXPECT_THAT(readSeries(file, file.find("x")).times, testing::ElementsAre(1, 2));
  EXPECT_THAT(readSeries(file, file.find("x"), {0, 1}).times, testing::ElementsAre(1));
}

using Values = std::vector<double>;

/// All real values of a signal, sample by sample.
Values realValues(const ResultsFile& file, const std::string& name, bool raw = false) {
  const SignalInfo& signal = file.find(name);
  const Series series = readSeries(file, signal);
  const ShownValues shown(signal, raw);
  Values values;
  for (std::size_t i = 0; i < series.times.size(); ++i) {
    for (std::size_t cell = 0; cell < signal.width() * signal.type.parts(); ++cell) {
      const SampleView sample = series.view().sample(i);
      values.push_back(shown.number(sample, cell));
      EXPECT_EQ(std::get<double>(shown(sample, cell)), values.back());
    }
  }
  return values;
}

// Numbers of more than 64 bits are stored as words.
class WideFixedPoint : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    vtio::tests::writeWideFile(path_);
    if (!GetParam()) return;
    vtio::tests::writeArraysOf(path_, folder_.path("arrays.qat"));
    path_ = folder_.path("arrays.qat");
  }

  vtio::tests::TemporaryFolder folder_;
  std::string path_ = folder_.path("wide.qat");
};

TEST_P(WideFixedPoint, wordsAreOneRealValue) {
  const ResultsFile file(path_);
  EXPECT_THAT(cellNames(file.find("wide")), testing::ElementsAre("wide"));
  EXPECT_THAT(cellNames(file.find("pair")), testing::ElementsAre("pair[0]", "pair[1]"));
  EXPECT_THAT(cellNames(file.find("wave")), testing::ElementsAre("wave.re", "wave.im"));
  EXPECT_EQ(realValues(file, "wide"), (Values{0x1p69 + 2, -2, 3.5}));
  EXPECT_EQ(realValues(file, "wide", true), (Values{0x1p70 + 2, -6, 5}));
  EXPECT_EQ(realValues(file, "pair"), (Values{1.5, 0x1p64 + 1, 2.5, 0x1p65 + 1, 0x1p127, 0x3p64 + 1}));
  EXPECT_EQ(realValues(file, "wave"), (Values{4.5, 4.5, 0.5, -0.5, 1.5, 0x1p63}));
}

TEST_P(WideFixedPoint, allThatReadsThemAgrees) {
  const ResultsFile file(path_);
  const SignalInfo& wide = file.find("wide");
  const ShownValues values(wide);
  const Series series = readSeries(file, wide);
  SeriesSampler sampler(series.view(), wide.interpolates());
  EXPECT_EQ(values.number(sampler.at(1.5), 0), 0.75);
  TableBlock block(file.source(), {&file.find("pair"), &wide, &file.find("wave")});
  block.read(1, 2);
  EXPECT_EQ(values.number(block.sample(1, 2), 0), 3.5);
  EXPECT_EQ(ShownValues(file.find("pair")).number(block.sample(0, 1), 0), 2.5);
  EXPECT_EQ(ShownValues(file.find("wave")).number(block.sample(2, 2), 1), 0x1p63);
  EXPECT_EQ(statisticsOf(file, wide).min, -2);
  EXPECT_EQ(wide.valueBytes(), 48U);
}

INSTANTIATE_TEST_SUITE_P(TablesAndArrays, WideFixedPoint, testing::Bool());

}  // namespace
