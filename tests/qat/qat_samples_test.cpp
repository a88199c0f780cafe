// Arrays over sample tables: stored as tables, read back as ordinary arrays.
#include <numeric>

#include "platform/qat_parts.hpp"
#include "qat_fixture.hpp"
#include "sample_tables.hpp"

namespace vtio::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

vtu::SampleColumn doubleColumn(const char16_t* name, std::size_t offset, std::size_t rows) {
  return {name, u"m", {}, qxDOUBLE, false, offset, 0, rows};
}

/// A table of double columns; element (row, column) is 100 row + column.
std::shared_ptr<RowTable> doubleTable(std::size_t rows, std::size_t columns) {
  auto table = std::make_shared<RowTable>(rows, columns * sizeof(double));
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t c = 0; c < columns; ++c) table->set(row, c * sizeof(double), 100.0 * double(row) + double(c));
  }
  return table;
}

Array leafOf(const std::shared_ptr<RowTable>& table, const vtu::SampleColumn& column) {
  return structure(
      {{"Time", vtu::sampledTimes(table, column.first, column.count)}, {"Data", vtu::sampledArray(table, column)}});
}

Array listOf(std::vector<Array> values) {
  const std::size_t count = values.size();
  return cells({1, count}, std::move(values));
}

Array listOf(Array first, Array second) {
  std::vector<Array> values;
  values.push_back(std::move(first));
  values.push_back(std::move(second));
  return listOf(std::move(values));
}

class QatSampleTables : public QatTest {
 protected:
  static Array elementsOf(const Recording& recording) {
    std::vector<Array> rows;
    for (std::size_t i = 0; i < recording.leaves(); ++i) {
      rows.push_back(structure({{"Name", text(("n" + std::to_string(i)).c_str())}, {"Values", recording.leaf(i)}}));
    }
    return listOf(std::move(rows));
  }

  static void put(OpenFile& file, const char* name, const Array& array) {
    ASSERT_EQ(file.put(name, array.get()), 0) << qatLastError();
  }

  /// Names of the signals of all tables, table by table.
  static std::vector<std::string> signalNames(const OpenFile& file) {
    std::vector<std::string> names;
    const vtu::QatSamples samples(*file.get());
    for (const std::uint32_t table : samples.tables()) {
      for (const auto& column : samples.columns(table)) names.push_back(column.name);
    }
    return names;
  }
  static std::vector<std::uint32_t> tables(const OpenFile& file) { return vtu::QatSamples(*file.get()).tables(); }

  std::size_t size() const { return std::filesystem::file_size(path_); }
};

TEST_F(QatSampleTables, RandomRecordingsComeBackExactly) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    Recording recording(seed);
    std::mt19937 random(seed);
    for (unsigned tables = 0; tables < 1 + random() % 3; ++tables) recording.addTable(random() % 40, 1 + random() % 12);
    const Array elements = elementsOf(recording);
    ASSERT_EQ(changeByRoundTrip(elements.get()), "") << "seed " << seed;
  }
}

/// Several chunks along both axes, the last ones partly filled, and a leaf in several chunks.
TEST_F(QatSampleTables, TablesOfManyChunks) {
  constexpr std::size_t kRows = 5003;
  constexpr std::size_t kColumns = 211;
  const auto table = std::make_shared<RowTable>(kRows, kColumns * sizeof(double));
  std::mt19937_64 random(5);
  for (std::size_t row = 0; row < kRows; ++row) {
    for (std::size_t c = 0; c < kColumns; ++c) table->set(row, c * sizeof(double), random());
  }
  std::vector<Array> leaves;
  for (std::size_t c = 0; c < kColumns - 90; ++c) leaves.push_back(leafOf(table, doubleColumn(u"a", c * 8, kRows)));
  vtu::SampleColumn wide = doubleColumn(u"wide", (kColumns - 90) * 8, kRows);
  wide.dims = {9, 10};
  wide.first = 1100;
  wide.count = 3000;
  leaves.push_back(leafOf(table, wide));
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(leaves)).get()), "");
  EXPECT_LT(size(), kRows * kColumns * sizeof(double) * 103 / 100 + 60000);
}

TEST_F(QatSampleTables, NeighboursInARowAreCopiedTogether) {
  const auto table = doubleTable(100, 50);
  std::vector<Array> leaves;
  for (std::size_t c = 0; c < 50; ++c) {
    if (c != 20) leaves.push_back(leafOf(table, doubleColumn(u"a", (c * 7 % 50) * 8, 100)));  // any order
  }
  save("v", listOf(std::move(leaves)).get());
  EXPECT_EQ(table->reads, 2U) << "one run on either side of the column that is left out";
}

TEST_F(QatSampleTables, OneTableInTheFilePerTableInMemory) {
  const auto first = doubleTable(3, 2);
  const auto second = doubleTable(4, 1);
  std::vector<Array> leaves;
  leaves.push_back(leafOf(first, doubleColumn(u"a", 8, 3)));
  leaves.push_back(leafOf(second, doubleColumn(u"b", 0, 4)));
  leaves.push_back(leafOf(first, doubleColumn(u"c", 0, 3)));
  save("v", listOf(std::move(leaves)).get());
  EXPECT_THAT(signalNames(open("r")), ElementsAre("c", "a", "b")) << "by table, and by offset in a row";
  const OpenFile file = open("r");
  const vtu::QatSamples samples(*file.get());
  EXPECT_EQ(samples.rows(0), 3U);
  EXPECT_EQ(samples.rows(1), 4U);
}

TEST_F(QatSampleTables, OnlyRowsThatAreUsedAreStored) {
  const auto table = doubleTable(1000, 2);
  vtu::SampleColumn early = doubleColumn(u"early", 0, 20), late = doubleColumn(u"late", 8, 30);
  early.first = 400;
  late.first = 410;
  std::vector<Array> leaves;
  leaves.push_back(leafOf(table, early));
  leaves.push_back(leafOf(table, late));
  const Array value = listOf(std::move(leaves));
  EXPECT_EQ(changeByRoundTrip(value.get()), "");
  const OpenFile file = open("r");
  const vtu::QatSamples samples(*file.get());
  EXPECT_EQ(samples.rows(0), 40U);
  EXPECT_EQ(samples.columns(0)[1].begin, 10U);
  EXPECT_EQ(samples.columns(0)[1].count, 30U);
}

TEST_F(QatSampleTables, TimesOfTheSameRowsAreSharedAgain) {
  const auto table = doubleTable(5, 3);
  vtu::SampleColumn shorter = doubleColumn(u"c", 16, 4);
  std::vector<Array> leaves;
  leaves.push_back(leafOf(table, doubleColumn(u"a", 0, 5)));
  leaves.push_back(leafOf(table, doubleColumn(u"b", 8, 5)));
  leaves.push_back(leafOf(table, shorter));
  save("v", listOf(std::move(leaves)).get());
  const Array back = load("v");
  const auto times = [&](std::size_t i) { return qxGetConstData(qxGetField(qxGetCell(back.get(), i), 0, "Time")); };
  EXPECT_EQ(times(0), times(1));
  EXPECT_NE(times(0), times(2));
}

TEST_F(QatSampleTables, ArrayThatIsReadIsOrdinary) {
  const auto table = doubleTable(5, 1);
  save("v", leafOf(table, doubleColumn(u"a", 0, 5)).get());
  Array back = load("v");
  auto* data = static_cast<double*>(qxGetData(const_cast<qxArray*>(qxGetField(back.get(), 0, "Data"))));
  data[2] = -1;
  EXPECT_EQ(changeByRoundTrip(back.get()), "");
  EXPECT_THAT(tables(open("r")), IsEmpty());
}

TEST_F(QatSampleTables, ArrayThatWasWrittenIsStoredByItself) {
  const auto table = doubleTable(5, 2);
  Array written = vtu::sampledArray(table, doubleColumn(u"a", 0, 5));
  static_cast<double*>(qxGetData(written.get()))[0] = 7;
  std::vector<Array> both;
  both.push_back(std::move(written));
  both.push_back(vtu::sampledArray(table, doubleColumn(u"b", 8, 5)));
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(both)).get()), "");
  EXPECT_THAT(signalNames(open("r")), ElementsAre("b"));
}

TEST_F(QatSampleTables, SameSamplesTwiceAreOneColumn) {
  const auto table = doubleTable(5, 2);
  std::vector<Array> leaves;
  for (int i = 0; i < 3; ++i) leaves.push_back(leafOf(table, doubleColumn(u"a", 0, 5)));
  vtu::SampleColumn renamed = doubleColumn(u"b", 0, 5);
  leaves.push_back(leafOf(table, renamed));
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(leaves)).get()), "");
  EXPECT_THAT(signalNames(open("r")), ElementsAre("a", "b"));
}

TEST_F(QatSampleTables, SamplesAnywhereInAVariable) {
  const auto table = doubleTable(5, 3);
  const Array whole = vtu::sampledArray(table, doubleColumn(u"a", 0, 5));
  EXPECT_EQ(changeByRoundTrip(whole.get()), "");
  EXPECT_THAT(signalNames(open("r")), ElementsAre("a"));
  std::vector<Array> mixed;
  mixed.push_back(text("x"));
  mixed.push_back(vtu::sampledArray(table, doubleColumn(u"a", 0, 5)));
  mixed.push_back(vtu::sampledTimes(table, 0, 5));
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(mixed)).get()), "");
  std::vector<Array> rows;  // samples in some rows only: members, not a column
  rows.push_back(structure({{"Data", vtu::sampledArray(table, doubleColumn(u"b", 8, 5))}}));
  rows.push_back(structure({{"Data", doubles({1, 1}, {3})}}));
  rows.push_back(structure({{"Data", Array()}}));
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(rows)).get()), "");
  EXPECT_THAT(signalNames(open("r")), ElementsAre("b"));
}

TEST_F(QatSampleTables, OneSampleIsAReferenceLikeMany) {
  const auto one = doubleTable(1, 1);
  const auto many = doubleTable(9, 1);
  std::vector<Array> rows;
  rows.push_back(leafOf(one, doubleColumn(u"a", 0, 1)));
  rows.push_back(leafOf(many, doubleColumn(u"b", 0, 9)));
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(rows)).get()), "");
  EXPECT_THAT(signalNames(open("r")), ElementsAre("a", "b"));
}

TEST_F(QatSampleTables, TimesWithoutValuesAreAnOrdinaryArray) {
  const auto table = doubleTable(5, 1);
  EXPECT_EQ(changeByRoundTrip(structure({{"Time", vtu::sampledTimes(table, 0, 5)}}).get()), "");
  EXPECT_THAT(tables(open("r")), IsEmpty());
}

TEST_F(QatSampleTables, NoRowsAndNoElements) {
  const auto table = doubleTable(4, 2);
  vtu::SampleColumn none = doubleColumn(u"none", 0, 0);
  none.first = 2;
  vtu::SampleColumn flat = doubleColumn(u"flat", 8, 4);
  flat.dims = {0, 3};
  const vtu::SampleColumn noText{u"text", u"", {0}, qxCELL, false, 0, 0, 4};
  for (const auto& column : {none, flat, noText}) {
    EXPECT_EQ(changeByRoundTrip(leafOf(table, column).get()), "") << testing::PrintToString(column.dims);
  }
}

TEST_F(QatSampleTables, RepeatedNamesAreNumbered) {
  const auto table = doubleTable(2, 5);
  std::vector<Array> leaves;
  const char16_t* names[] = {u"a", u"a", u"a#2", u"a", u""};
  for (std::size_t i = 0; i < 5; ++i) leaves.push_back(leafOf(table, doubleColumn(names[i], 8 * i, 2)));
  OpenFile file = open("w");
  put(file, "v", listOf(std::move(leaves)));
  EXPECT_THAT(signalNames(file), ElementsAre("a", "a#2", "a#2#2", "a#3", ""));
  put(file, "w", leafOf(doubleTable(2, 1), doubleColumn(u"a", 0, 2)));
  EXPECT_EQ(signalNames(file).back(), "a#4");
}

TEST_F(QatSampleTables, NamesInAFileThatIsUpdated) {
  save("v", leafOf(doubleTable(2, 1), doubleColumn(u"a", 0, 2)).get());
  OpenFile file = open("u");
  put(file, "w", leafOf(doubleTable(2, 1), doubleColumn(u"a", 0, 2)));
  EXPECT_THAT(signalNames(file), ElementsAre("a", "a#2"));
  put(file, "v", leafOf(doubleTable(3, 1), doubleColumn(u"a", 0, 3)));
  EXPECT_THAT(signalNames(file), ElementsAre("a#2", "a")) << "the replaced variable gives its names away";
}

TEST_F(QatSampleTables, NamesOfAnyText) {
  const auto table = doubleTable(2, 2);
  std::vector<Array> leaves;
  leaves.push_back(leafOf(table, doubleColumn(u"caf\x00e9 \xd83d", 0, 2)));
  vtu::SampleColumn withNul = doubleColumn(u"", 8, 2);
  withNul.name = std::u16string(u"a\0b", 3);
  leaves.push_back(leafOf(table, withNul));
  save("v", listOf(std::move(leaves)).get());
  EXPECT_THAT(signalNames(open("r")), ElementsAre("caf\xc3\xa9 \xef\xbf\xbd",
                                                  "a\xef\xbf\xbd"
                                                  "b"));
}

TEST_F(QatSampleTables, OneLongNameCostsLittle) {
  const auto table = doubleTable(2, 2000);
  std::vector<Array> leaves;
  for (std::size_t i = 0; i < 2000; ++i) {
    const std::u16string name(i == 7 ? 20000 : 3, u'n');
    leaves.push_back(leafOf(table, doubleColumn(name.c_str(), 8 * i, 2)));
  }
  EXPECT_EQ(changeByRoundTrip(listOf(std::move(leaves)).get()), "");
  EXPECT_LT(size(), 1000000U);
  EXPECT_EQ(signalNames(open("r"))[7].size(), 20000U);
}

TEST_F(QatSampleTables, SecondVariableRefersToTheSamplesOfTheFirst) {
  const auto table = doubleTable(20000, 2);
  OpenFile file = open("w");
  put(file, "v", leafOf(table, doubleColumn(u"a", 0, 20000)));
  put(file, "w", leafOf(table, doubleColumn(u"a", 0, 20000)));
  put(file, "t", vtu::sampledTimes(table, 0, 20000));
  ASSERT_EQ(file.close(), 0) << qatLastError();
  EXPECT_LT(size(), 2 * 160000U + 20000U);
  EXPECT_EQ(difference(load("v").get(), load("w").get()), "");
  EXPECT_EQ(difference(load("t").get(), vtu::sampledTimes(table, 0, 20000).get()), "");
  file = open("u");
  ASSERT_EQ(file.remove("v"), 0) << qatLastError();
  EXPECT_THAT(tables(file), ElementsAre(0U)) << "the other variables need it";
  ASSERT_EQ(file.remove("w"), 0) << qatLastError();
  EXPECT_EQ(difference(Array(file.variable("t")).get(), vtu::sampledTimes(table, 0, 20000).get()), "");
  ASSERT_EQ(file.remove("t"), 0) << qatLastError();
  EXPECT_THAT(tables(file), IsEmpty());
}

TEST_F(QatSampleTables, MemoryThatIsReusedForAnotherTableIsNotConfused) {
  OpenFile file = open("w");
  for (std::size_t i = 0; i < 20; ++i) {
    const auto table = doubleTable(3 + i, 1);  // freed at the end of each turn
    put(file, std::to_string(i).c_str(), leafOf(table, doubleColumn(u"a", 0, 3)));
    table->set(0, 0, 5.0);
  }
  EXPECT_EQ(tables(file).size(), 20U);
}

TEST_F(QatSampleTables, TablesGoWithTheVariablesThatNeedThem) {
  OpenFile file = open("w");
  put(file, "v", leafOf(doubleTable(2, 1), doubleColumn(u"v", 0, 2)));
  put(file, "w", listOf([] {
        std::vector<Array> rows;
        rows.push_back(leafOf(doubleTable(2, 1), doubleColumn(u"w", 0, 2)));
        return rows;
      }()));
  put(file, "x", vtu::sampledArray(doubleTable(2, 1), doubleColumn(u"x", 0, 2)));
  EXPECT_THAT(signalNames(file), ElementsAre("v", "w", "x"));
  put(file, "v", text("replaced"));
  EXPECT_THAT(signalNames(file), ElementsAre("w", "x"));
  ASSERT_EQ(file.close(), 0) << qatLastError();
  file = open("u");
  ASSERT_EQ(file.remove("w"), 0) << qatLastError();
  EXPECT_THAT(signalNames(file), ElementsAre("x"));
  put(file, "x", leafOf(doubleTable(4, 1), doubleColumn(u"y", 0, 4)));
  EXPECT_THAT(signalNames(file), ElementsAre("y"));
  EXPECT_THAT(names(file.get()), ElementsAre("v", "x"));
}

TEST_F(QatSampleTables, VariableReplacedByItself) {
  const auto table = doubleTable(5, 1);
  const Array value = leafOf(table, doubleColumn(u"a", 0, 5));
  OpenFile file = open("w");
  for (int i = 0; i < 3; ++i) put(file, "v", value);
  EXPECT_THAT(signalNames(file), ElementsAre("a"));
  EXPECT_EQ(difference(value.get(), file.variable("v").get()), "");
}

TEST_F(QatSampleTables, PutThatFailsLeavesNoTable) {
  const auto table = doubleTable(5, 1);
  Array nested = leafOf(table, doubleColumn(u"a", 0, 5));
  for (int i = 0; i < 1000; ++i) {
    std::vector<Array> two(2);
    two[0] = std::move(nested);
    nested = cells({2, 1}, std::move(two));
  }
  OpenFile file = open("w");
  EXPECT_NE(file.put("deep", nested.get()), 0);
  put(file, "v", leafOf(table, doubleColumn(u"a", 0, 5)));
  EXPECT_THAT(signalNames(file), ElementsAre("a"));
  EXPECT_EQ(difference(leafOf(table, doubleColumn(u"a", 0, 5)).get(), file.variable("v").get()), "");
}

TEST_F(QatSampleTables, TextsRepeatedRowAfterRowAreStoredOnce) {
  constexpr std::size_t kRows = 5000;
  const auto table = std::make_shared<RowTable>(kRows, vtu::TextCell::kBytesInRow);
  table->setText(0, 0, std::u16string(300, u'x'));
  for (std::size_t row = 1; row < kRows; ++row) {
    std::memcpy(table->at(row, 0), table->at(0, 0), vtu::TextCell::kBytesInRow);
  }
  const vtu::SampleColumn column{u"mode", u"", {}, qxCELL, false, 0, 0, kRows};
  EXPECT_EQ(changeByRoundTrip(leafOf(table, column).get()), "");
  EXPECT_LT(size(), kRows * (8 + 12) + 20000);
  const OpenFile file = open("r");
  EXPECT_EQ(vtu::QatSamples(*file.get()).storedBytes(0, 0), kRows * 12 + 300);
}

TEST_F(QatSampleTables, StoredBytesOfALeafAreThoseOfItsRows) {
  const auto table = doubleTable(100, 3);
  vtu::SampleColumn pair{u"pair", u"", {2}, qxDOUBLE, false, 8, 10, 50};
  OpenFile file = open("w");
  put(file, "v", listOf(leafOf(table, doubleColumn(u"a", 0, 100)), leafOf(table, pair)));
  const vtu::QatSamples samples(*file.get());
  EXPECT_EQ(samples.storedBytes(0, 0), 100 * 8U);
  EXPECT_EQ(samples.storedBytes(0, 1), 50 * 2 * 8U);
}

TEST_F(QatSampleTables, TooManyTextsToBeReadCountByTheirMean) {
  constexpr std::size_t kRows = (1U << 20U) / 2 + 1;
  const auto table = std::make_shared<RowTable>(kRows, 2 * vtu::TextCell::kBytesInRow);
  table->setText(0, 0, u"twelve bytes");
  for (std::size_t row = 1; row < kRows; ++row) {
    std::memcpy(table->at(row, 0), table->at(0, 0), vtu::TextCell::kBytesInRow);
  }
  const vtu::SampleColumn said{u"said", u"", {}, qxCELL, false, 0, 0, kRows};
  const vtu::SampleColumn silent{u"silent", u"", {}, qxCELL, false, vtu::TextCell::kBytesInRow, 0, kRows};
  OpenFile file = open("w");
  put(file, "v", listOf(leafOf(table, said), leafOf(table, silent)));
  const vtu::QatSamples samples(*file.get());
  EXPECT_EQ(samples.storedBytes(0, 0), kRows * 12 + 12 / 2);
  EXPECT_EQ(samples.storedBytes(0, 1), samples.storedBytes(0, 0));
}

}  // namespace
}  // namespace vtio::tests
