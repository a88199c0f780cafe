// JSON, NumPy, SQLite, and files that appear whole.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "memory_source.hpp"
#include "results/export/json.hpp"
#include "results/export/npy.hpp"
#include "results/export/npz.hpp"
#include "results/export/sqlite.hpp"
#include "results/export/target_file.hpp"
#include "results/file/results_error.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using vtio::tests::allOf;
using vtio::tests::ResultsBuilder;
using vtio::tests::TemporaryFolder;
using Json = nlohmann::json;

TEST(TargetFile, appearsOnlyWhenItIsWhole) {
  const TemporaryFolder folder;
  folder.write("out", "old");
  {
    TextOutput out(folder.path("out"));
    out.buffer() = "new";
    EXPECT_EQ(folder.read("out"), "old");
  }
  EXPECT_THAT(folder.files(), testing::ElementsAre("out"));
  EXPECT_EQ(folder.read("out"), "old");
  TextOutput out(folder.path("out"));
  out.buffer() = "new";
  out.commit();
  EXPECT_EQ(folder.read("out"), "new");
  EXPECT_THAT(folder.files(), testing::ElementsAre("out"));
}

TEST(TargetFile, followsLinksAndKeepsThem) {
  const TemporaryFolder folder;
  folder.write("real", "old");
  std::filesystem::create_symlink(folder.path("real"), folder.path("link"));
  TextOutput out(folder.path("link"));
  out.buffer() = "new";
  out.commit();
  EXPECT_EQ(folder.read("real"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
}

TEST(TargetFile, refusesFoldersAndPlacesThatAreNotThere) {
  const TemporaryFolder folder;
  EXPECT_THROW(TargetFile(folder.path("")), ResultsError);
  EXPECT_THROW(TargetFile(folder.path("no/such/folder/out")), ResultsError);
  EXPECT_THROW(TargetFile(""), ResultsError);
  EXPECT_THROW(TargetFile("/dev/null"), ResultsError);
}

ResultsFile everything() {
  ResultsBuilder builder;
  builder.table(0, {0, 1}).table(3, {0.5});
  SignalInfo& x = builder.addDoubles(0, "x", {1.5, std::nan("")});
  x.unit = "m";
  x.blockPath = {"top", "child"};
  builder.add(0, "mode", {ElementClass::int32, false}, std::vector<std::int32_t>{0, 1}).labels =
      EnumLabels{{"OFF", 0}, {"ON", 1}};
  builder.add(0, "q", {ElementClass::uint8, false}, std::vector<std::uint8_t>{1, 2}).fixedPoint =
      FixedPoint{false, 8, -1, 1, 0};
  builder.add(0, "on", {ElementClass::logical, false}, std::vector<std::uint8_t>{1, 0});
  builder.addTexts(0, "text", {"a", "b\"\n"});
  builder.addDoubles(3, "m", {1, 2, 3, 4}, {2, 2});
  builder.add(3, "z", {ElementClass::float32, true}, std::vector<float>{1, 2});
  builder.add(3, "X", {ElementClass::uint64, false}, std::vector<std::uint64_t>{UINT64_MAX});
  return builder.build();
}

Json jsonOf(const ResultsFile& file, bool raw, std::optional<double> step = {}, TimeRange range = {}) {
  const TemporaryFolder folder;
  TextOutput out(folder.path("out.json"));
  SeriesBatches batches(file, allOf(file), range, step);
  writeJson(batches, raw, out);
  out.commit();
  return Json::parse(folder.read("out.json")).at("signals");
}

TEST(JsonExport, givesRecordsWithTimesAndValues) {
  const Json signals = jsonOf(everything(), false);
  ASSERT_EQ(signals.size(), 8U);
  EXPECT_EQ(signals[0]["name"], "x");
  EXPECT_EQ(signals[0]["unit"], "m");
  EXPECT_EQ(signals[0]["blockPath"], (Json{"top", "child"}));
  EXPECT_EQ(signals[0]["time"], (Json{0, 1}));
  EXPECT_EQ(signals[0]["values"], (Json{1.5, nullptr}));
  EXPECT_EQ(signals[1]["values"], (Json{"OFF", "ON"}));
  EXPECT_EQ(signals[1]["labels"], (Json{{"OFF", 0}, {"ON", 1}}));
  EXPECT_EQ(signals[2]["values"], (Json{0.5, 1}));
  EXPECT_EQ(signals[2]["fixedPoint"]["fixedExponent"], -1);
  EXPECT_EQ(signals[3]["values"], (Json{true, false}));
  EXPECT_EQ(signals[4]["values"], (Json{"a", "b\"\n"}));
  EXPECT_EQ(signals[5]["values"], Json::parse("[[[1,2],[3,4]]]"));
  EXPECT_EQ(signals[6]["values"], Json::parse(R"([{"re": 1, "im": 2}])"));
  EXPECT_EQ(signals[7]["values"], (Json{UINT64_MAX}));
  EXPECT_TRUE(signals[7]["labels"].is_null());
}

TEST(JsonExport, rawGivesStoredIntegers) {
  const Json signals = jsonOf(everything(), true);
  EXPECT_EQ(signals[1]["values"], (Json{0, 1}));
  EXPECT_EQ(signals[2]["values"], (Json{1, 2}));
}

TEST(JsonExport, resamplesWithinTheSpanOfEachSignal) {
  ResultsBuilder builder;
  builder.table(0, {0, 2}).table(1, {1, 3});
  builder.addDoubles(0, "line", {0, 4}).interpolation = "linear";
  builder.addDoubles(1, "held", {5, 6});
  const Json signals = jsonOf(builder.build(), false, 1.0, {0, 3});
  EXPECT_EQ(signals[0]["time"], (Json{0, 1, 2}));
  EXPECT_EQ(signals[0]["values"], (Json{0, 2, 4}));
  EXPECT_EQ(signals[1]["time"], (Json{1, 2, 3}));
  EXPECT_EQ(signals[1]["values"], (Json{5, 5, 6}));
}

TEST(SignalRecord, hasTheFieldsOfTheListing) {
  ResultsBuilder builder;
  builder.table(0, {});
  builder.addDoubles(0, "x", {});
  const ResultsFile file = builder.build();
  std::vector<std::string> keys;
  const nlohmann::ordered_json record = signalRecord(file.signals()[0]);
  for (const auto& [key, value] : record.items()) keys.push_back(key);
  EXPECT_THAT(keys, testing::ElementsAre("name", "dataset", "element", "blockPath", "port", "portKind", "type",
                                         "complex", "dimensions", "unit", "interpolation", "samples", "first", "last",
                                         "labels", "fixedPoint", "decimation", "sampleTime"));
  EXPECT_TRUE(record["first"].is_null());
}

TEST(NpyHeader, isAlignedAndTellsItsLength) {
  for (const std::size_t rows : {std::size_t{0}, std::size_t{7}, std::size_t{123456789}}) {
    const std::string header = npyHeader("<f8", {rows, 3});
    EXPECT_EQ(header.size() % 64, 0U);
    EXPECT_EQ(header.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
    EXPECT_EQ(static_cast<unsigned char>(header[8]) + 256U * static_cast<unsigned char>(header[9]), header.size() - 10);
    EXPECT_EQ(header.back(), '\n');
    EXPECT_NE(header.find("'shape': (" + std::to_string(rows) + ",3,)"), std::string::npos);
  }
}

TEST(NpzExport, stopsWhenItIsInterruptedAndLeavesNothing) {
  const TemporaryFolder folder;
  const ResultsFile file = everything();
  const std::atomic<bool> interrupted{true};
  {
    TargetFile target(folder.path("out.npz"));
    SeriesBatches batches(file, allOf(file), {}, {});
    EXPECT_THROW(writeNpz(batches, false, target, {{}, &interrupted}), Interrupted);
  }
  EXPECT_TRUE(folder.files().empty());
}

/// All rows of a query, cells joined by `|`; NULL is a blank.
std::vector<std::string> query(const std::string& path, const std::string& sql) {
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  std::vector<std::string> rows;
  const auto add = [](void* list, int count, char** cells, char**) {
    std::string row;
    for (int i = 0; i < count; ++i) row += (i == 0 ? "" : "|") + std::string(cells[i] == nullptr ? " " : cells[i]);
    static_cast<std::vector<std::string>*>(list)->push_back(row);
    return 0;
  };
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), add, &rows, &error), SQLITE_OK) << error;
  sqlite3_close(database);
  return rows;
}

TEST(SqliteExport, hasATablePerSampleTable) {
  const TemporaryFolder folder;
  const ResultsFile file = everything();
  TargetFile target(folder.path("out.sqlite"));
  writeSqlite(file, allOf(file), {}, target);
  target.commit();
  const std::string path = folder.path("out.sqlite");
  EXPECT_THAT(query(path, "SELECT * FROM samples_0"),
              testing::ElementsAre("0.0|1.5|OFF|0.5|1|a", "1.0| |ON|1.0|0|b\"\n"));
  EXPECT_THAT(query(path, "SELECT time, \"m[1][0]\", \"z.im\", X FROM samples_3"),
              testing::ElementsAre("0.5|3.0|2.0|18446744073709551615"));
  EXPECT_THAT(
      query(path,
            "SELECT name, class, dims, first, width, \"begin\", \"count\", samples FROM signals WHERE unit = 'm' "
            "OR name = 'm'"),
      testing::ElementsAre(
          R"(x|double||0|1|0|2|[{"table":"samples_0","columns":["x"]}])",
          R"(m|double|2x2|0|4|0|1|[{"table":"samples_3","columns":["m[0][0]","m[0][1]","m[1][0]","m[1][1]"]}])"));
}

TEST(SqliteExport, makesNamesThatDifferInCaseOnlyUnique) {
  ResultsBuilder builder;
  builder.table(0, {0});
  builder.addDoubles(0, "a", {1});
  builder.addDoubles(0, "A", {2});
  builder.addDoubles(0, "time", {3});
  const ResultsFile file = builder.build();
  const TemporaryFolder folder;
  TargetFile target(folder.path("out.sqlite"));
  writeSqlite(file, allOf(file), {}, target);
  target.commit();
  EXPECT_THAT(query(folder.path("out.sqlite"), "SELECT a, \"A#2\", \"time#2\" FROM samples_0"),
              testing::ElementsAre("1.0|2.0|3.0"));
}

TEST(SqliteExport, splitsBeyondTwoThousandColumns) {
  ResultsBuilder builder;
  builder.table(0, {0, 1});
  std::vector<double> values(2 * 4500);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
  builder.addDoubles(0, "wide", values, {4500});
  const ResultsFile file = builder.build();
  const TemporaryFolder folder;
  TargetFile target(folder.path("out.sqlite"));
  writeSqlite(file, allOf(file), {}, target);
  target.commit();
  EXPECT_THAT(
      query(folder.path("out.sqlite"),
            "SELECT name, (SELECT count(*) FROM pragma_table_info(m.name)) FROM sqlite_master m WHERE name LIKE "
            "'samples%' ORDER BY 1"),
      testing::ElementsAre("samples_0|2000", "samples_0_2|2000", "samples_0_3|503"));
  EXPECT_THAT(query(folder.path("out.sqlite"), "SELECT time, \"wide[4499]\" FROM samples_0_3"),
              testing::ElementsAre("0.0|4499.0", "1.0|8999.0"));
}

}  // namespace
