// Samples that are arrays of their own, not columns of sample tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "example_file.hpp"
#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/qat_parts.hpp"
#include "results/commands/diff.hpp"
#include "results/file/results_error.hpp"
#include "results/file/results_file.hpp"
#include "results/values/series.hpp"
#include "results/values/shown_value.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using vtu::qxArrayWrapper;
using vtu::qxStructWrapper;

qxArrayWrapper text(const char* utf8) { return qxArrayWrapper(qxCreateString(utf8)); }

qxArrayWrapper doubles(std::vector<std::size_t> dims, const std::vector<double>& columnMajor) {
  qxArrayWrapper array(qxCreateNumericArray(dims.size(), dims.data(), qxDOUBLE, false));
  if (!columnMajor.empty())
    std::copy(columnMajor.begin(), columnMajor.end(), static_cast<double*>(qxGetData(array.get())));
  return array;
}

qxStructWrapper leaf(qxArrayWrapper time, qxArrayWrapper data) {
  qxStructWrapper structure({"Kind"});
  structure.set("Kind", text("leaf"));
  structure.set("Time", std::move(time));
  structure.set("Data", std::move(data));
  structure.set("Unit", text("m"));
  return structure;
}

qxStructWrapper element(const char* name, qxArrayWrapper values) {
  vtu::qxCellArrayWrapper path(2, 1);
  path.set(0, text("top"));
  path.set(1, text("a/b"));
  qxStructWrapper structure({"Name"});
  structure.set("Name", text(name));
  structure.set("BlockPath", std::move(path));
  structure.set("PortIndex", qxArrayWrapper(qxCreateDoubleScalar(3)));
  structure.set("Values", std::move(values));
  return structure;
}

class ArraysTest : public testing::Test {
 protected:
  void add(qxStructWrapper element) { elements_.push_back(std::move(element)); }

  void save() {
    vtu::qxCellArrayWrapper list(elements_.size(), 1);
    for (std::size_t i = 0; i < elements_.size(); ++i) list.set(i, std::move(elements_[i]));
    qxStructWrapper dataset({"Name"});
    dataset.set("Name", text("mine"));
    dataset.set("Elements", std::move(list));
    qxStructWrapper variable({"DatasetStorageType"});
    variable.set("DatasetStorageType", text("mine"));
    variable.set("Dataset", std::move(dataset));
    vtu::QatFileWrapper file(path_, "w7.3");
    ASSERT_EQ(file.put("mine", variable.get()), 0) << qatLastError();
    ASSERT_EQ(file.close(), 0) << qatLastError();
  }

  std::vector<std::string> names() {
    save();
    std::vector<std::string> names;
    const ResultsFile file(path_);
    for (const SignalInfo& signal : file.signals()) names.push_back(signal.name);
    return names;
  }

  /// What opening says of a file with one signal `x` of these arrays.
  std::string refusal(qxArrayWrapper time, qxArrayWrapper data) {
    elements_.clear();
    add(element("x", leaf(std::move(time), std::move(data))));
    save();
    try {
      const ResultsFile file(path_);
      return "none";
    } catch (const ResultsError& error) {
      return error.what();
    }
  }

  vtio::tests::TemporaryFolder folder_;
  std::string path_ = folder_.path("arrays.qat");
  std::vector<qxStructWrapper> elements_;
};

TEST_F(ArraysTest, sameSignalsAsInTablesAreEqual) {
  const std::string tables = folder_.path("tables.qat");
  vtio::tests::writeExampleFile(tables);
  vtio::tests::writeExampleArrays(path_);
  vtu::QatFileWrapper file(path_, "r");
  ASSERT_TRUE(vtu::QatSamples(*file.get()).tables().empty());
  ASSERT_EQ(file.close(), 0);
  DiffSettings settings;
  settings.a = tables;
  settings.b = path_;
  std::ostringstream out;
  EXPECT_EQ(diffFiles(settings, Console{out, {}, {}}), kDone) << out.str();
  EXPECT_EQ(out.str(), "8 equal, 0 different, 0 in one file only\n");
}

TEST_F(ArraysTest, equalTimesAreOneTable) {
  vtio::tests::writeExampleArrays(path_);
  const ResultsFile file(path_);
  EXPECT_EQ(file.find("mode").place.table, file.find("wheels.speed").place.table);
  EXPECT_NE(file.find("mode").place.table, file.find("late").place.table);
}

TEST_F(ArraysTest, dimensionsOfASampleFollowTheFirst) {
  // Two samples of 2x3: element (row, i, j) is 100 row + 10 i + j, stored column-major.
  std::vector<double> values;
  for (int j = 0; j < 3; ++j) {
    for (int i = 0; i < 2; ++i) {
      for (int row = 0; row < 2; ++row) values.push_back(100 * row + 10 * i + j);
    }
  }
  add(element("x", leaf(doubles({2}, {0.5, 1.5}), doubles({2, 2, 3}, values))));
  save();
  const ResultsFile file(path_);
  const SignalInfo& x = file.find("x");
  EXPECT_THAT(x.dimensions, testing::ElementsAre(2, 3));
  EXPECT_EQ(x.unit, "m");
  EXPECT_EQ(x.dataset, "mine");
  EXPECT_EQ(x.first, 0.5);
  EXPECT_EQ(x.last, 1.5);
  const Series series = readSeries(file, x);
  std::vector<double> second;
  for (std::size_t i = 0; i < 6; ++i) second.push_back(ShownValues(x).number(series.view().sample(1), i));
  EXPECT_THAT(second, testing::ElementsAre(100, 101, 102, 110, 111, 112));
}

TEST_F(ArraysTest, oneSampleAndNone) {
  add(element("one", leaf(doubles({1}, {2}), doubles({1, 3}, {7, 8, 9}))));
  add(element("scalar", leaf(doubles({1}, {2}), doubles({1}, {7}))));
  add(element("none", leaf(doubles({0, 0}, {}), doubles({0, 0}, {}))));
  save();
  const ResultsFile file(path_);
  EXPECT_THAT(file.find("one").dimensions, testing::ElementsAre(3));
  EXPECT_EQ(ShownValues(file.find("one")).number(readSeries(file, file.find("one")).view().sample(0), 2), 9);
  EXPECT_TRUE(file.find("scalar").dimensions.empty());
  EXPECT_EQ(file.find("none").place.count, 0U);
  EXPECT_TRUE(std::isnan(file.find("none").first));
}

TEST_F(ArraysTest, oneSampleOfThreeUnsignedNumbersIsNoReference) {
  const std::size_t dims[] = {1, 3};
  qxArrayWrapper data(qxCreateNumericArray(2, dims, qxUINT32, false));
  static_cast<std::uint32_t*>(qxGetData(data.get()))[2] = 5;
  add(element("x", leaf(doubles({1}, {2}), std::move(data))));
  save();
  const ResultsFile file(path_);
  EXPECT_EQ(ShownValues(file.find("x")).number(readSeries(file, file.find("x")).view().sample(0), 2), 5);
}

TEST_F(ArraysTest, rowsOfNumbersAreScalars) {
  add(element("x", leaf(doubles({1, 3}, {0, 1, 2}), doubles({1, 3}, {7, 8, 9}))));
  save();
  const ResultsFile file(path_);
  EXPECT_TRUE(file.find("x").dimensions.empty());
  EXPECT_EQ(file.find("x").place.count, 3U);
}

TEST_F(ArraysTest, namesFollowElementIterationAndBus) {
  qxStructWrapper bus({"Kind"});
  bus.set("Kind", text("bus"));
  bus.set("speed", leaf(doubles({1}, {0}), doubles({1}, {0})));
  add(element("", leaf(doubles({1}, {0}), doubles({1}, {0}))));
  add(element("x", leaf(doubles({1}, {0}), doubles({1}, {0}))));
  add(element("x", leaf(doubles({1}, {0}), doubles({1}, {0}))));
  add(element("wheels", std::move(bus)));
  vtu::qxCellArrayWrapper nodes(1, 2);
  nodes.set(0, leaf(doubles({1}, {0}), doubles({1}, {0})));
  nodes.set(1, leaf(doubles({1}, {0}), doubles({1}, {0})));
  qxStructWrapper each = element("each", std::move(nodes));
  qxStructWrapper forEach({"Iteration"});
  forEach.set("Iteration", doubles({2}, {4, 5}));
  each.set("ForEach", std::move(forEach));
  add(std::move(each));
  EXPECT_THAT(names(), testing::ElementsAre("top|a/b:3", "x", "x#2", "wheels.speed", "each[4]", "each[5]"));
}

TEST_F(ArraysTest, whatDoesNotFitIsNamed) {
  const auto says = [&](const std::string& what) { return path_ + ": signal 'x': " + what; };
  EXPECT_EQ(refusal(doubles({2}, {0, 1}), doubles({3}, {0, 1, 2})), says("Data has 3 samples, Time 2"));
  EXPECT_EQ(refusal(text("now"), doubles({1}, {0})), says("Time is no array of real doubles"));
  EXPECT_EQ(refusal(doubles({1}, {0}), text("x")),
            says("Data is neither numeric nor logical nor a cell array of texts"));
  EXPECT_EQ(refusal(doubles({1}, {0}), qxArrayWrapper()), says("there is no Data"));
  vtu::qxCellArrayWrapper cells(1, 1);
  cells.set(0, doubles({1}, {0}));
  EXPECT_EQ(refusal(doubles({1}, {0}), std::move(cells)), says("cell 0 of Data is no text"));
}

}  // namespace
