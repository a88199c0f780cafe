// Parts of variables and of sample tables, read without the rest.
#include "platform/qat_parts.hpp"
#include "platform/diagnostics.hpp"
#include "qat_fixture.hpp"
#include "sample_tables.hpp"

namespace vtio::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using vtu::QatPartSamples;

/// Key and sentence of the diagnostic that `work` ends with.
template <typename Work>
std::string failureOf(Work&& work) {
  try {
    work();
    return "no failure";
  } catch (const vtsv::IException& exception) {
    EXPECT_EQ(exception.diagnostic().identifier, "Vortan:Qat");
    return exception.diagnostic().key + ": " + exception.what();
  }
}

std::vector<std::string> textsOf(const qxArray* cells) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < qxGetNumberOfElements(cells); ++i) {
    const std::unique_ptr<char, void (*)(void*)> utf8(qxArrayToString(qxGetCell(cells, i)), qxFree);
    texts.emplace_back(utf8.get());
  }
  return texts;
}

std::vector<std::size_t> dimsOf(const qxArray* array) {
  return {qxGetDimensions(array), qxGetDimensions(array) + qxGetNumberOfDimensions(array)};
}

class QatParts : public QatTest {
 protected:
  Array part(const std::vector<std::string>& path, QatPartSamples samples = QatPartSamples::resolved) {
    return vtu::qatGetPart(file_.get(), "v", path, samples);
  }
  std::string failure(const std::vector<std::string>& path) {
    return failureOf([&] { static_cast<void>(part(path)); });
  }
  void store(const Array& array) {
    save("v", array.get());
    file_ = open("r");
  }

  /// Element i of the dataset below.
  static Array element(std::size_t i) {
    std::vector<Array> path;
    path.push_back(text("top"));
    path.push_back(text(i % 2 == 0 ? "a" : "b"));
    const double number = static_cast<double>(i);
    return structure({{"Name", text(("s" + std::to_string(i)).c_str())},
                      {"Port", Array(qxCreateDoubleScalar(number))},
                      {"BlockPath", cells({2, 1}, std::move(path))},
                      {"Values", structure({{"Unit", text("m")}, {"Data", doubles({2, 1}, {number, number + 1})}})},
                      {"Extra", i == 1 ? Array() : doubles({1, 2}, {number, 1})}});
  }
  static Array dataset() {
    std::vector<Array> elements;
    for (std::size_t i = 0; i < 4; ++i) elements.push_back(element(i));
    return structure({{"Name", text("logsout")}, {"Elements", cells({1, 4}, std::move(elements))}});
  }

  OpenFile file_;
};

TEST_F(QatParts, EmptyPathIsTheWholeVariable) {
  store(dataset());
  EXPECT_EQ(difference(part({}).get(), dataset().get()), "");
}

TEST_F(QatParts, FieldOfAllCells) {
  store(dataset());
  EXPECT_THAT(textsOf(part({"Elements", "Name"}).get()), ElementsAre("s0", "s1", "s2", "s3"));
  EXPECT_EQ(dimsOf(part({"Elements", "Name"}).get()), (Dims{4, 1}));
  EXPECT_EQ(difference(part({"Elements", "Port"}).get(), doubles({4, 1}, {0, 1, 2, 3}).get()), "");
  EXPECT_THAT(textsOf(part({"Elements", "Values", "Unit"}).get()), ElementsAre("m", "m", "m", "m"));
  const Array paths = part({"Elements", "BlockPath"});
  EXPECT_THAT(textsOf(qxGetCell(paths.get(), 1)), ElementsAre("top", "b"));
  const Array extra = part({"Elements", "Extra"});
  EXPECT_EQ(dimsOf(extra.get()), (Dims{4, 1}));
  EXPECT_EQ(qxGetCell(extra.get(), 1), nullptr);
  EXPECT_EQ(difference(qxGetCell(extra.get(), 3), doubles({1, 2}, {3, 1}).get()), "");
}

TEST_F(QatParts, StructuresOfAllCellsAreOneStructureOfColumns) {
  store(dataset());
  const Array values = part({"Elements", "Values"});
  ASSERT_EQ(qxGetClassID(values.get()), qxSTRUCT);
  EXPECT_EQ(qxGetNumberOfElements(values.get()), 1U);
  EXPECT_THAT(textsOf(qxGetField(values.get(), 0, "Unit")), ElementsAre("m", "m", "m", "m"));
  EXPECT_EQ(difference(qxGetCell(qxGetField(values.get(), 0, "Data"), 2), doubles({2, 1}, {2, 3}).get()), "");
}

TEST_F(QatParts, NumberSelectsOneCell) {
  store(dataset());
  EXPECT_EQ(difference(part({"Elements", "2"}).get(), element(2).get()), "");
  EXPECT_EQ(difference(part({"Elements", "Name", "2"}).get(), text("s2").get()), "");
  EXPECT_EQ(difference(part({"Elements", "Port", "2"}).get(), Array(qxCreateDoubleScalar(2)).get()), "");
  EXPECT_EQ(difference(part({"Elements", "BlockPath", "2", "1"}).get(), text("a").get()), "");
  const Array value = structure({{"Unit", text("m")}, {"Data", doubles({2, 1}, {2, 3})}});
  EXPECT_EQ(difference(part({"Elements", "Values", "2"}).get(), value.get()), "");
  EXPECT_EQ(difference(part({"Elements", "Values", "2", "Data"}).get(), doubles({2, 1}, {2, 3}).get()), "");
  EXPECT_EQ(difference(part({"Elements", "Values", "Data", "2"}).get(), doubles({2, 1}, {2, 3}).get()), "");
  EXPECT_FALSE(part({"Elements", "Extra", "1"}));
}

/// Elements of different fields are stored in a plain group; what a path gives is the same.
TEST_F(QatParts, CellsOfUnlikeStructures) {
  std::vector<Array> elements;
  for (std::size_t i = 0; i < 3; ++i) elements.push_back(element(i));
  elements.push_back(structure({{"Name", text("other")}, {"Values", structure({{"Unit", text("s")}})}}));
  store(structure({{"Elements", cells({1, 4}, std::move(elements))}}));
  EXPECT_THAT(textsOf(part({"Elements", "Name"}).get()), ElementsAre("s0", "s1", "s2", "other"));
  EXPECT_THAT(textsOf(part({"Elements", "Values", "Unit"}).get()), ElementsAre("m", "m", "m", "s"));
  EXPECT_EQ(difference(part({"Elements", "2", "Values", "Data"}).get(), doubles({2, 1}, {2, 3}).get()), "");
  EXPECT_EQ(difference(part({"Elements", "Values", "1", "Unit"}).get(), text("m").get()), "");
  EXPECT_EQ(qxGetCell(part({"Elements", "Port"}).get(), 3), nullptr);
}

TEST_F(QatParts, PathsThatLeadNowhereNameTheStep) {
  store(dataset());
  EXPECT_THAT(failure({"Elemens"}), AllOf(HasSubstr("NoSuchPart"), HasSubstr("\"Elemens\""), HasSubstr(path_)));
  EXPECT_THAT(failure({"Elements", "Nam"}), HasSubstr("at \"Nam\": no such field"));
  EXPECT_THAT(failure({"Elements", "Name", "4"}), HasSubstr("at \"4\": there are 4 cells"));
  EXPECT_THAT(failure({"Elements", "Name", "x"}), HasSubstr("at \"x\": the cells hold no structures"));
  EXPECT_THAT(failure({"Elements", "Values", "9", "Data"}), HasSubstr("at \"9\": there are 4 cells"));
  EXPECT_THAT(failure({"Elements", "Values", "1", "Dat"}), HasSubstr("at \"Dat\""));
  EXPECT_THAT(failure({"Name", "x"}), HasSubstr("neither a 1-by-1 structure nor a cell array"));
  EXPECT_THAT(failure({"Elements", "Extra", "1", "x"}), HasSubstr("at \"x\": there is nothing"));
  EXPECT_THAT(failureOf([&] { static_cast<void>(vtu::qatGetPart(file_.get(), "w", {})); }),
              HasSubstr("no variable \"w\""));
  EXPECT_THAT(failureOf([&] { static_cast<void>(vtu::qatGetPart(nullptr, "w", {})); }), HasSubstr("NoSuchPart"));
}

class QatSampleParts : public QatParts {
 protected:
  static constexpr std::size_t kRows = 6;

  /// Three leaves: double x, text mode, 2-by-1 int16 pair in rows 1 to 4.
  void storeRecording() {
    const auto table = std::make_shared<RowTable>(kRows, 8 + 12 + 4);
    for (std::size_t row = 0; row < kRows; ++row) {
      table->set(row, 0, 1.5 * static_cast<double>(row));
      table->setText(row, 8, row % 2 == 0 ? u"even" : u"odd \xd83d");
      table->set(row, 20, static_cast<std::int16_t>(row));
      table->set(row, 22, static_cast<std::int16_t>(-static_cast<int>(row)));
    }
    std::vector<vtu::SampleColumn> columns(3);
    columns[0].name = u"x";
    columns[1] = {u"mode", u"", {}, qxCELL, false, 8, 0, kRows};
    columns[2] = {u"pair", u"m", {2}, qxINT16, false, 20, 1, 4};
    columns[0].count = kRows;
    std::vector<Array> elements;
    for (const auto& column : columns) {
      elements.push_back(
          structure({{"Name", units(column.name)},
                     {"Values", structure({{"Time", vtu::sampledTimes(table, column.first, column.count)},
                                           {"Data", vtu::sampledArray(table, column)}})}}));
    }
    store(structure({{"Elements", cells({1, 3}, std::move(elements))}}));
  }
};

TEST_F(QatSampleParts, TablesRowsAndColumns) {
  storeRecording();
  const vtu::QatSamples samples(*file_.get());
  EXPECT_THAT(samples.tables(), ElementsAre(0U));
  EXPECT_EQ(samples.rows(0), kRows);
  const auto& columns = samples.columns(0);
  ASSERT_EQ(columns.size(), 3U);
  EXPECT_EQ(columns[0].name, "x");
  EXPECT_EQ(columns[1].elementClass, "text");
  EXPECT_EQ(columns[2].elementClass, "int16");
  EXPECT_EQ(columns[2].unit, "m");
  EXPECT_EQ(columns[2].dims, Dims{2});
  EXPECT_EQ(columns[2].width, 2U);
  EXPECT_EQ(columns[2].begin, 1U);
  EXPECT_EQ(columns[2].count, 4U);
}

TEST_F(QatSampleParts, RowsOfTimesAndColumns) {
  storeRecording();
  const vtu::QatSamples samples(*file_.get());
  std::vector<double> times(2), values(2);
  samples.readTimes(0, 3, 2, times.data());
  EXPECT_THAT(times, ElementsAre(0.375, 0.5));
  samples.readColumn(0, 0, 3, 2, values.data());
  EXPECT_THAT(values, ElementsAre(4.5, 6.0));
  std::vector<std::int16_t> pairs(4);
  samples.readColumn(0, 2, 2, 2, pairs.data());
  EXPECT_THAT(pairs, ElementsAre(2, -2, 3, -3));
  std::vector<std::int16_t> seconds(3);
  samples.readBlock(0, "int16", 1, 1, 1, 3, seconds.data());
  EXPECT_THAT(seconds, ElementsAre(-1, -2, -3));
  EXPECT_EQ(samples.readTexts(0, 1, 4, 2), (std::vector<std::u16string>{u"even", u"odd \xd83d"}));
  EXPECT_TRUE(samples.readTexts(0, 1, 6, 0).empty());
}

TEST_F(QatSampleParts, WhatIsNotThereIsNamed) {
  storeRecording();
  const vtu::QatSamples samples(*file_.get());
  double out[8];
  EXPECT_THAT(failureOf([&] { static_cast<void>(samples.rows(1)); }), HasSubstr("qat.samples/1: no such table"));
  EXPECT_THAT(failureOf([&] { samples.readColumn(0, 3, 0, 1, out); }),
              HasSubstr("qat.samples/0/columns: columns 3 to 4 of 3"));
  EXPECT_THAT(failureOf([&] { samples.readColumn(0, 0, 5, 2, out); }), HasSubstr("rows 5 to 7 of 6"));
  EXPECT_THAT(failureOf([&] { samples.readTimes(0, 7, 1, out); }), HasSubstr("rows 7 to 8 of 6"));
  EXPECT_THAT(failureOf([&] { samples.readBlock(0, "double", 0, 2, 0, 1, out); }), HasSubstr("columns 0 to 2 of 1"));
  EXPECT_THAT(failureOf([&] { samples.readBlock(0, "single", 0, 1, 0, 1, out); }),
              HasSubstr("qat.samples/0/single: there are no samples"));
  EXPECT_THAT(failureOf([&] { samples.readBlock(0, "char", 0, 1, 0, 1, out); }), HasSubstr("\"char\" is no class"));
  EXPECT_THAT(failureOf([&] { samples.readColumn(0, 1, 0, 1, out); }), HasSubstr("\"text\" is no class of numbers"));
  EXPECT_THAT(failureOf([&] { static_cast<void>(samples.readTexts(0, 0, 0, 1)); }), HasSubstr("\"x\" has no texts"));
}

TEST_F(QatSampleParts, ReferencesComeAsNumbersWhenAskedFor) {
  storeRecording();
  const Array references = part({"Elements", "Values", "Data"}, QatPartSamples::references);
  ASSERT_EQ(qxGetClassID(references.get()), qxUINT32);
  EXPECT_EQ(dimsOf(references.get()), (Dims{3, 3}));
  const auto* numbers = static_cast<const std::uint32_t*>(qxGetConstData(references.get()));
  EXPECT_THAT(std::vector<std::uint32_t>(numbers, numbers + 9), ElementsAre(0U, 0U, 0U, 0U, 1U, 2U, 0U, 0U, 0U));
  const Array one = part({"Elements", "Values", "Time", "2"}, QatPartSamples::references);
  const auto* time = static_cast<const std::uint32_t*>(qxGetConstData(one.get()));
  EXPECT_EQ(dimsOf(one.get()), (Dims{1, 3}));
  EXPECT_THAT(std::vector<std::uint32_t>(time, time + 3), ElementsAre(0U, 2U, 1U));
}

TEST_F(QatSampleParts, ReferencesAreResolvedOtherwise) {
  storeRecording();
  EXPECT_EQ(
      difference(part({"Elements", "Values", "Data", "0"}).get(), doubles({6, 1}, {0, 1.5, 3, 4.5, 6, 7.5}).get()), "");
  const Array all = part({"Elements", "Values", "Time"});
  EXPECT_EQ(difference(qxGetCell(all.get(), 2), doubles({4, 1}, {0.125, 0.25, 0.375, 0.5}).get()), "");
  EXPECT_EQ(difference(part({}).get(), load("v").get()), "");
}

TEST_F(QatSampleParts, SingleSamplesOfUnlikeStructures) {
  const auto table = std::make_shared<RowTable>(1, 16);
  std::vector<Array> elements;
  for (std::size_t i = 0; i < 2; ++i) {
    table->set(0, 8 * i, 2.5 * static_cast<double>(i + 1));
    const vtu::SampleColumn column{u"x", u"", {}, qxDOUBLE, false, 8 * i, 0, 1};
    elements.push_back(structure({{i == 0 ? "A" : "B", text("")}, {"Data", vtu::sampledArray(table, column)}}));
  }
  store(structure({{"Elements", cells({1, 2}, std::move(elements))}}));
  const Array data = part({"Elements", "Data"});
  EXPECT_EQ(difference(qxGetCell(data.get(), 0), Array(qxCreateDoubleScalar(2.5)).get()), "");
  EXPECT_EQ(difference(qxGetCell(data.get(), 1), Array(qxCreateDoubleScalar(5)).get()), "");
}

TEST_F(QatSampleParts, FileWithoutTables) {
  save("v", text("x").get());
  file_ = open("r");
  const vtu::QatSamples samples(*file_.get());
  EXPECT_TRUE(samples.tables().empty());
  EXPECT_THAT(failureOf([&] { static_cast<void>(samples.columns(0)); }), HasSubstr("no such table"));
}

}  // namespace
}  // namespace vtio::tests
