// Results are read leaf by leaf, checked against each other, and refused when they do not fit.
#include "results.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <sstream>

#include "conservation.hpp"
#include "qat_fixture.hpp"
#include "results_table.hpp"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using vtu::qxArrayWrapper;
using vtu::qxCellArrayWrapper;
using vtu::qxStructWrapper;

qxArrayWrapper text(const char* value) { return qxArrayWrapper(qxCreateString(value)); }

qxArrayWrapper column(std::initializer_list<double> values) {
  const std::size_t rows = values.size();
  qxArrayWrapper array(qxCreateNumericArray(1, &rows, qxDOUBLE, false));
  std::copy(values.begin(), values.end(), static_cast<double*>(qxGetData(array.get())));
  return array;
}

qxStructWrapper leafNode(qxArrayWrapper time, qxArrayWrapper data, const char* unit = "m") {
  qxStructWrapper node({"Kind", "Time", "Data", "DataType", "Unit"});
  node.set("Kind", text("leaf"));
  node.set("Time", std::move(time));
  node.set("Data", std::move(data));
  node.set("DataType", text("double"));
  node.set("Unit", text(unit));
  return node;
}

qxStructWrapper element(const char* name, qxArrayWrapper values) {
  qxCellArrayWrapper path(2, 1);
  path.set(0, text("top/Model"));
  path.set(1, text("model/Block"));
  qxStructWrapper structure({"Name", "BlockPath", "PortIndex", "Values"});
  structure.set("Name", text(name));
  structure.set("BlockPath", std::move(path));
  structure.set("PortIndex", qxArrayWrapper(qxCreateDoubleScalar(2)));
  structure.set("Values", std::move(values));
  return structure;
}

qxStructWrapper dataset(qxStructWrapper only) {
  qxCellArrayWrapper elements(1, 2);  // the second stays empty, as that of a client without an element
  elements.set(0, std::move(only));
  qxStructWrapper inner({"Name", "Elements"});
  inner.set("Name", text("logsout"));
  inner.set("Elements", std::move(elements));
  qxStructWrapper outer({"DatasetStorageType", "Dataset"});
  outer.set("DatasetStorageType", text("RamDatasetStorage"));
  outer.set("Dataset", std::move(inner));
  return outer;
}

class ResultsFile : public spacecraft_test::QatFolder {
 protected:
  void write(const qxArrayWrapper& signals, const qxArrayWrapper& outports) const {
    vtu::QatFileWrapper file(file_, "w7.3");
    ASSERT_TRUE(file) << qatLastError();
    EXPECT_EQ(file.put("DATASET_SIGNAL_LOGGING", signals.get()), 0) << qatLastError();
    EXPECT_EQ(file.put("DATASET_OUTPORT_LOGGING", outports.get()), 0) << qatLastError();
    EXPECT_EQ(file.close(), 0);
  }

  [[nodiscard]] static std::string whatOf(const std::function<void()>& action) {
    try {
      action();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "nothing was thrown";
  }

  std::string file_ = path("results.qat");
};

TEST_F(ResultsFile, LeavesOfBusesAndOfForEachMembersAreListed) {
  qxStructWrapper bus({"Kind", "x", "y"});
  bus.set("Kind", text("bus"));
  bus.set("x", leafNode(column({0, 1, 2}), column({5, 6, 7})));
  bus.set("y", leafNode(column({0, 0.5}), column({8, 9}), ""));
  qxCellArrayWrapper members(1, 2);
  members.set(0, leafNode(column({0}), column({1})));
  members.set(1, leafNode(column({0}), column({2})));
  write(dataset(element("bus", std::move(bus))), dataset(element("each", std::move(members))));

  const spacecraft::Results results = spacecraft::Results::open(file_);
  ASSERT_EQ(results.leaves().size(), 4u);
  const spacecraft::Leaf& x = results.leaf("bus.x");
  EXPECT_EQ(x.samples(), 3u);
  EXPECT_EQ(x.value(2), 7.0);
  EXPECT_EQ(x.rate(), 1.0);
  EXPECT_EQ(x.unit(), "m");
  EXPECT_EQ(x.blockPath(), "top/Model > model/Block:2");
  EXPECT_EQ(results.leaf("bus.y").rate(), 2.0);
  EXPECT_EQ(results.leaf("each[1]").value(0), 2.0);
  EXPECT_EQ(results.leaf("each[1]").rate(), 0.0);
  EXPECT_EQ(results.find("bus"), nullptr);

  std::ostringstream table;
  spacecraft::printTable(table, results);
  EXPECT_THAT(table.str(), AllOf(HasSubstr("bus.x"), HasSubstr("top/Model > model/Block:2"), HasSubstr("2 Hz")));
}

TEST_F(ResultsFile, MissingFileIsNamed) {
  EXPECT_THAT(whatOf([&] { static_cast<void>(spacecraft::Results::open(file_)); }), HasSubstr(file_));
}

TEST_F(ResultsFile, MissingFieldIsNamed) {
  qxStructWrapper node({"Kind", "Time"});
  node.set("Kind", text("leaf"));
  node.set("Time", column({0}));
  const qxStructWrapper broken = dataset(element("a", std::move(node)));
  write(broken, broken);
  EXPECT_THAT(whatOf([&] { static_cast<void>(spacecraft::Results::open(file_)); }),
              AllOf(HasSubstr(file_), HasSubstr("DATASET_SIGNAL_LOGGING"), HasSubstr("'DataType'")));
}

TEST_F(ResultsFile, TimesAndValuesOfUnequalLengthAreRefused) {
  const qxStructWrapper broken = dataset(element("speed", leafNode(column({0, 1}), column({1}))));
  write(broken, broken);
  EXPECT_THAT(whatOf([&] { static_cast<void>(spacecraft::Results::open(file_)); }), HasSubstr("'speed'"));
}

TEST_F(ResultsFile, ChecksNameTheSignalThatIsNotLogged) {
  const qxStructWrapper other = dataset(element("speed", leafNode(column({0, 1}), column({1, 2}))));
  write(other, other);
  const spacecraft::Results results = spacecraft::Results::open(file_);
  EXPECT_THAT(whatOf([&] { static_cast<void>(spacecraft::checkConservation(results)); }),
              HasSubstr("'attitude.quaternion' is not logged"));
}

TEST(ConservationCheck, NeedsSamplesAndANumber) {
  EXPECT_TRUE((spacecraft::ConservationCheck{"a", "", 1.0, 1.0, 1}.holds()));
  EXPECT_FALSE((spacecraft::ConservationCheck{"a", "", 1.1, 1.0, 1}.holds()));
  EXPECT_FALSE((spacecraft::ConservationCheck{"a", "", 0.0, 1.0, 0}.holds()));
  EXPECT_FALSE((spacecraft::ConservationCheck{"a", "", std::nan(""), 1.0, 1}.holds()));
}

}  // namespace
