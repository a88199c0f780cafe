// Tables with rows of their own: cell arrays of like structures that hold arrays.
#include <algorithm>
#include <numeric>

#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

Array series(double first, std::size_t count = 3) {
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), first);
  return doubles({count, 1}, values);
}

Array shared(const Array& array) { return Array(qxShareArray(array.get())); }

Array column(std::vector<Array> rows) {
  const std::size_t count = rows.size();
  return cells({count, 1}, std::move(rows));
}

/// Rows as a recorder makes them: a structure with a shared time in a structure with a name.
Array recorded(std::size_t count, const Array& time) {
  std::vector<Array> rows;
  for (std::size_t i = 0; i < count; ++i) {
    Array values = structure({{"Time", shared(time)}, {"Data", series(static_cast<double>(i))}, {"Unit", text("m")}});
    rows.push_back(structure({{"Name", text(std::to_string(i).c_str())}, {"Values", std::move(values)}}));
  }
  return column(std::move(rows));
}

std::size_t sizeOf(const std::string& path) { return std::filesystem::file_size(path); }

class QatTable : public QatTest {};

/// Around the numbers of links at which a group changes its form: in the header, one leaf, two levels.
TEST_F(QatTable, AnyNumberOfRowsComesBack) {
  for (const std::size_t count : {1U, 5U, 6U, 7U, 9U, 368U, 369U, 370U, 371U, 740U, 745U, 20000U}) {
    EXPECT_EQ(changeByRoundTrip(recorded(count, series(0)).get()), "") << count << " rows";
  }
}

TEST_F(QatTable, ArraysOfEveryKindComeBackAsTheyWere) {
  const std::size_t cube[] = {2, 3, 4};
  const std::size_t none[] = {0, 4};
  const std::size_t wide[] = {1, 5};
  std::vector<Array> rows;
  for (int id = qxLOGICAL; id <= qxUINT64; ++id) {
    if (id == qxCHAR || id == 5) continue;
    for (const bool isComplex : {false, true}) {
      if (isComplex && id == qxLOGICAL) continue;
      const auto type = static_cast<qxClassID>(id);
      Array values(qxCreateNumericArray(3, cube, type, isComplex));
      auto* bytes = static_cast<unsigned char*>(qxGetData(values.get()));
      for (std::size_t i = 0; i < 24; ++i) bytes[i] = id == qxLOGICAL ? i % 3 == 0 : static_cast<unsigned char>(i);
      Array line(qxCreateNumericArray(2, wide, type, isComplex));
      Array empty(qxCreateNumericArray(2, none, type, isComplex));
      rows.push_back(structure({{"A", std::move(values)}, {"B", std::move(line)}, {"C", std::move(empty)}}));
    }
  }
  rows.push_back(
      structure({{"A", rowMajorDoubles({2, 2, 2}, {1, 2, 3, 4, 5, 6, 7, 8})}, {"B", series(1)}, {"C", Array()}}));
  EXPECT_EQ(changeByRoundTrip(column(std::move(rows)).get()), "");
}

TEST_F(QatTable, RowsWithMoreThanNumbersStandAmongOthers) {
  std::vector<Array> rows;
  for (int i = 0; i < 40; ++i) {
    Array value = series(i);
    if (i % 4 == 1) value = units(u"a\xD800");  // characters that are no text
    if (i % 4 == 2) value = structure({{"Inner", series(i)}, {"Text", text("x")}});
    if (i % 4 == 3) value = i == 3 ? Array() : doubles({1, 1}, {1.5 * i});
    rows.push_back(structure({{"Value", std::move(value)}, {"Number", doubles({1, 1}, {1.0 * i})}}));
  }
  EXPECT_EQ(changeByRoundTrip(column(std::move(rows)).get()), "");
}

/// The same structure in every row but a few, which makes `Value` no group of columns.
Array unlike(std::vector<Array> values) {
  std::vector<Array> rows;
  for (Array& value : values) rows.push_back(structure({{"Value", std::move(value)}}));
  rows.push_back(structure({{"Value", structure({{"Other", series(0)}})}}));
  return column(std::move(rows));
}

TEST_F(QatTable, UnlikeStructuresInRowsComeBack) {
  std::vector<Array> values;
  for (int i = 0; i < 500; ++i) {
    Array complexScalar(qxCreateNumericArray(0, nullptr, qxSINGLE, true));
    static_cast<float*>(qxGetData(complexScalar.get()))[1] = static_cast<float>(i);
    Array inner = structure({{"Deep", series(i)}, {"Text", text("")}, {"Number", doubles({1, 1}, {0.5 * i})}});
    values.push_back(structure({{"Kind", text("leaf")},
                                {"", text("caf\xc3\xa9")},
                                {"a/b", doubles({2, 2}, {1, 2, 3, 1.0 * i})},
                                {"On", Array(qxCreateLogicalScalar(i % 2 == 0))},
                                {"Complex", std::move(complexScalar)},
                                {"Never", Array()},
                                {"Empty", doubles({0, 3}, {})},
                                {"Inner", std::move(inner)},
                                {"Words", text(std::string(static_cast<std::size_t>(i), 'w').c_str())}}));
  }
  EXPECT_EQ(changeByRoundTrip(unlike(std::move(values)).get()), "");
}

TEST_F(QatTable, StructuresThatNeedMoreStandAmongOthers) {
  std::vector<Array> values;
  for (int i = 0; i < 24; ++i) {
    Array special = series(i);
    if (i % 4 == 1) special = text(std::string(5000, 'l').c_str());
    if (i % 4 == 2) special = units(u"\xD800");
    if (i % 4 == 3)
      special = column([] {
        std::vector<Array> labels;
        labels.push_back(text("off"));
        labels.push_back(text("on"));
        return labels;
      }());
    values.push_back(structure({{"Special", std::move(special)}, {"Plain", text("x")}}));
  }
  values.push_back(structure(std::span<const FieldValue>()));
  EXPECT_EQ(changeByRoundTrip(unlike(std::move(values)).get()), "");
}

TEST_F(QatTable, StructureInManyRowsIsStoredOnce) {
  const Array one = structure({{"Data", series(0, 10000)}, {"Unit", text("m")}});
  const OpenFile file = open("w");
  std::vector<Array> values;
  for (int i = 0; i < 20; ++i) values.push_back(shared(one));
  const Array table = unlike(std::move(values));
  ASSERT_EQ(qatPutVariable(file.get(), "first", table.get()), 0) << qatLastError();
  ASSERT_EQ(qatPutVariable(file.get(), "again", one.get()), 0) << qatLastError();
  std::vector<Array> more;
  for (int i = 0; i < 20; ++i) more.push_back(shared(one));
  ASSERT_EQ(qatPutVariable(file.get(), "second", unlike(std::move(more)).get()), 0) << qatLastError();
  EXPECT_LT(sizeOf(path_), 80000U + 60000U);
  for (const char* gone : {"first", "again"}) ASSERT_EQ(qatDeleteVariable(file.get(), gone), 0) << qatLastError();
  const Array left(qatGetVariable(file.get(), "second"));
  ASSERT_TRUE(left) << qatLastError();
  EXPECT_EQ(difference(table.get(), left.get()), "");
}

TEST_F(QatTable, ArraySharedByAllRowsIsStoredOnce) {
  const Array time = series(0, 10000);
  const Array other = series(5, 10000);
  std::vector<Array> rows;
  for (int i = 0; i < 30; ++i) {
    Array mixed = i % 5 == 0 ? structure({{"Again", shared(time)}, {"Other", shared(other)}}) : shared(other);
    rows.push_back(structure({{"Time", shared(time)}, {"Mixed", std::move(mixed)}}));
  }
  EXPECT_EQ(changeByRoundTrip(column(std::move(rows)).get()), "");
  EXPECT_LT(sizeOf(path_), 2 * 80000U + 30000U);
}

TEST_F(QatTable, SharesArraysWithVariablesBeforeAndAfterIt) {
  const Array time = series(0, 10000);
  {
    const OpenFile file = open("w");
    ASSERT_EQ(qatPutVariable(file.get(), "before", time.get()), 0) << qatLastError();
    ASSERT_EQ(qatPutVariable(file.get(), "table", recorded(20, time).get()), 0) << qatLastError();
    ASSERT_EQ(qatPutVariable(file.get(), "after",
                             column([&] {
                               std::vector<Array> one;
                               one.push_back(shared(time));
                               return one;
                             }())
                                 .get()),
              0)
        << qatLastError();
  }
  EXPECT_LT(sizeOf(path_), 80000U + 40000U);
  EXPECT_EQ(difference(recorded(20, time).get(), load("table").get()), "");
  // Each of the variables may go; the others keep the array.
  for (const char* gone : {"before", "table"}) {
    const OpenFile file = open("u");
    ASSERT_EQ(qatDeleteVariable(file.get(), gone), 0) << qatLastError();
  }
  EXPECT_EQ(difference(time.get(), qxGetCell(load("after").get(), 0)), "");
}

TEST_F(QatTable, RoomOfReplacedTablesIsUsedAgain) {
  constexpr std::size_t kRows = 100;
  constexpr std::size_t kSamples = 5000;
  const auto table = [](int first) {
    std::vector<Array> rows;
    for (std::size_t i = 0; i < kRows; ++i) {
      rows.push_back(structure({{"Data", series(first + static_cast<double>(i), kSamples)}, {"Name", text("x")}}));
    }
    return column(std::move(rows));
  };
  const OpenFile file = open("w");
  ASSERT_EQ(qatPutVariable(file.get(), "kept", series(7).get()), 0) << qatLastError();
  for (int i = 0; i < 10; ++i) {
    const Array written = table(i);
    ASSERT_EQ(qatPutVariable(file.get(), "v", written.get()), 0) << qatLastError();
    const Array found(qatGetVariable(file.get(), "v"));
    ASSERT_TRUE(found) << qatLastError();
    ASSERT_EQ(difference(written.get(), found.get()), "") << "replacement " << i;
  }
  const Array kept(qatGetVariable(file.get(), "kept"));
  ASSERT_TRUE(kept) << qatLastError();
  EXPECT_EQ(difference(series(7).get(), kept.get()), "");
  EXPECT_LT(sizeOf(path_), 3 * kRows * kSamples * sizeof(double));
}

TEST_F(QatTable, LongFieldNamesComeBack) {
  const std::string names[] = {std::string(255, 'a'), std::string(256, 'b'), std::string(4090, 'c'),
                               std::string(5000, 'd')};
  for (const std::string& name : names) {
    std::vector<Array> rows;
    for (int i = 0; i < 12; ++i) {
      rows.push_back(structure({{name.c_str(), series(i)}, {(name + "x").c_str(), doubles({1, 1}, {1.0 * i})}}));
    }
    EXPECT_EQ(changeByRoundTrip(column(std::move(rows)).get()), "") << name.size() << " bytes";
  }
}

}  // namespace
}  // namespace vtio::tests
