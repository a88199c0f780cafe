#include "platform/logging_selection.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/qat.hpp"
#include "tests/platform/diagnostic_matcher.hpp"

namespace {

using sigstg::LoggingInfo;
using sigstg::ModelLoggingInfo;
using vtu::FullBlkPathToTopMdl;
using vtu::InternedUstring;
using vtu::qxArrayWrapper;
using vtu::qxCellArrayWrapper;
using vtu::qxStructWrapper;
using vtu::ustring;

qxArrayWrapper number(double value) { return qxArrayWrapper(qxCreateDoubleScalar(value)); }
qxArrayWrapper text(const char* utf8) { return qxArrayWrapper(qxCreateString(utf8)); }

template <typename T>
qxArrayWrapper integer(T value, qxClassID id) {
  const std::size_t dims[] = {1, 1};
  qxArrayWrapper array(qxCreateNumericArray(2, dims, id, false));
  *static_cast<T*>(qxGetData(array.get())) = value;
  return array;
}

qxArrayWrapper pathCells(const std::vector<const char*>& elements) {
  qxCellArrayWrapper cells(elements.size(), 1);
  for (std::size_t i = 0; i < elements.size(); ++i) cells.set(i, text(elements[i]));
  return cells;
}

FullBlkPathToTopMdl path(const std::vector<ustring>& elements) {
  FullBlkPathToTopMdl result;
  for (const ustring& element : elements) result.append(InternedUstring(element));
  return result;
}

qxStructWrapper signal(qxArrayWrapper blockPath, double port, double selector) {
  qxStructWrapper result({"blockPath", "port", "selector"});
  result.set("blockPath", std::move(blockPath));
  result.set("port", number(port));
  result.set("selector", number(selector));
  return result;
}

template <typename... Signals>
qxStructWrapper selectionOf(Signals... signals) {
  qxCellArrayWrapper cells(sizeof...(Signals), 1);
  std::size_t i = 0;
  (cells.set(i++, std::move(signals)), ...);
  qxStructWrapper result({"signals"});
  result.set("signals", std::move(cells));
  return result;
}

ModelLoggingInfo populated(const qxArrayWrapper& selection) {
  ModelLoggingInfo result;
  result.populateFromQxArray(selection.get());
  return result;
}

/// True for the info of a signal without overrides.
testing::AssertionResult isPlain(const LoggingInfo& info) {
  if (info.getUseCustomSignalName() || info.getDecimateData() || info.getLimitDataPoints()) {
    return testing::AssertionFailure() << "a setting is in use";
  }
  return testing::AssertionSuccess();
}

TEST(LoggingInfo, holdsWhatIsSet) {
  LoggingInfo info;
  EXPECT_TRUE(isPlain(info));
  info.setUseCustomSignalName(true);
  info.setCustomSignalName(u"name");
  info.setDecimateData(true);
  info.setDecimation(10);
  info.setLimitDataPoints(true);
  info.setMaxPoints(500);
  const LoggingInfo copy = info;
  EXPECT_TRUE(copy.getUseCustomSignalName());
  EXPECT_EQ(copy.getCustomSignalName(), u"name");
  EXPECT_TRUE(copy.getDecimateData());
  EXPECT_EQ(copy.getDecimation(), 10U);
  EXPECT_TRUE(copy.getLimitDataPoints());
  EXPECT_EQ(copy.getMaxPoints(), 500U);
}

TEST(ModelLoggingInfo, logsEverySignalAsItIsWhenEmpty) {
  const ModelLoggingInfo info;
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), 0), 1U);
  EXPECT_TRUE(isPlain(info.getLoggingInfo(path({u"top/Gain"}), 0)));
}

TEST(ModelLoggingInfo, findsSignalsByPathAndPort) {
  const ModelLoggingInfo info = populated(selectionOf(signal(text("top/Gain"), 0, 0), signal(text("top/Gain"), 1, 2),
                                                      signal(pathCells({"top/Ref", "ref/Gain"}), 0, 2)));
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), 0), 0U);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), 1), 2U);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), 2), 1U);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Ref", u"ref/Gain"}), 0), 2U);
  EXPECT_EQ(info.getSelectorSetting(path({u"ref/Gain", u"top/Ref"}), 0), 1U);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Ref"}), 0), 1U);
  EXPECT_EQ(info.getSelectorSetting(path({}), 0), 1U);
}

TEST(ModelLoggingInfo, onlyElementsAndPortIdentifyASignal) {
  const ModelLoggingInfo info = populated(selectionOf(signal(text("top/Chart"), 0, 0)));
  FullBlkPathToTopMdl inside = path({u"top/Chart"});
  inside.subPath(u"State");
  inside.subPathType(3);
  EXPECT_EQ(info.getSelectorSetting(inside, 0), 0U);
}

TEST(ModelLoggingInfo, lineFeedsCountAsSpaces) {
  const ModelLoggingInfo info = populated(selectionOf(signal(text("top/Big\nGain"), 0, 0)));
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Big Gain"}), 0), 0U);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Big\nGain"}), 0), 0U);
}

TEST(ModelLoggingInfo, givesTheDefaultToWhatIsNotListed) {
  for (const unsigned selector : {0U, 1U, 2U}) {
    qxStructWrapper selection = selectionOf(signal(text("top/Gain"), 0, 1));
    selection.set("default", number(selector));
    const ModelLoggingInfo info = populated(selection);
    EXPECT_EQ(info.getSelectorSetting(path({u"top/Other"}), 0), selector);
    EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), 0), 1U);
    EXPECT_TRUE(isPlain(info.getLoggingInfo(path({u"top/Other"}), 0)));
  }
}

TEST(ModelLoggingInfo, acceptsASelectionWithoutSignals) {
  qxStructWrapper selection({"default", "signals"});
  EXPECT_EQ(populated(selection).getSelectorSetting(path({u"a"}), 0), 1U) << "fields that were never set are absent";
  selection.set("signals", qxCellArrayWrapper(0, 0));
  EXPECT_EQ(populated(selection).getSelectorSetting(path({u"a"}), 0), 1U);
}

TEST(ModelLoggingInfo, overridesOnlyWhatIsListed) {
  qxStructWrapper all = signal(text("top/All"), 0, 2);
  all.set("customName", text("renamed \xC3\xA9"));
  all.set("decimation", number(10));
  all.set("maxPoints", number(500));
  qxStructWrapper named = signal(text("top/Named"), 0, 2);
  named.set("customName", text(""));
  const ModelLoggingInfo info =
      populated(selectionOf(std::move(all), std::move(named), signal(text("top/None"), 0, 2)));
  const LoggingInfo& first = info.getLoggingInfo(path({u"top/All"}), 0);
  EXPECT_TRUE(first.getUseCustomSignalName());
  EXPECT_EQ(first.getCustomSignalName(), u"renamed \u00E9");
  EXPECT_TRUE(first.getDecimateData());
  EXPECT_EQ(first.getDecimation(), 10U);
  EXPECT_TRUE(first.getLimitDataPoints());
  EXPECT_EQ(first.getMaxPoints(), 500U);
  const LoggingInfo& second = info.getLoggingInfo(path({u"top/Named"}), 0);
  EXPECT_TRUE(second.getUseCustomSignalName()) << "an empty name is a name";
  EXPECT_EQ(second.getCustomSignalName(), u"");
  EXPECT_FALSE(second.getDecimateData());
  EXPECT_FALSE(second.getLimitDataPoints());
  EXPECT_TRUE(isPlain(info.getLoggingInfo(path({u"top/None"}), 0)));
  EXPECT_TRUE(isPlain(info.getLoggingInfo(path({u"top/All"}), 1)));
}

TEST(ModelLoggingInfo, usesOverridesWithSelector2Only) {
  qxStructWrapper listed = signal(text("top/Gain"), 0, 1);
  listed.set("decimation", number(10));
  EXPECT_TRUE(isPlain(populated(selectionOf(std::move(listed))).getLoggingInfo(path({u"top/Gain"}), 0)));
}

TEST(ModelLoggingInfo, readsNumbersOfEveryClass) {
  qxStructWrapper listed = signal(text("top/Gain"), 0, 2);
  listed.set("port", integer(std::numeric_limits<std::uint64_t>::max(), qxUINT64));
  listed.set("selector", integer(std::int8_t{2}, qxINT8));
  listed.set("decimation", integer(2.0F, qxSINGLE));
  listed.set("maxPoints", integer(std::numeric_limits<std::int64_t>::max(), qxINT64));
  const ModelLoggingInfo info = populated(selectionOf(std::move(listed)));
  const unsigned long port = std::numeric_limits<unsigned long>::max();
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), port), 2U);
  EXPECT_EQ(info.getLoggingInfo(path({u"top/Gain"}), port).getDecimation(), 2U);
  EXPECT_EQ(info.getLoggingInfo(path({u"top/Gain"}), port).getMaxPoints(), 0x7FFFFFFFFFFFFFFFU);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Gain"}), port - 1), 1U) << "exact beyond 2^53";
}

TEST(ModelLoggingInfo, replacesAnEarlierSelection) {
  ModelLoggingInfo info = populated(selectionOf(signal(text("a"), 0, 0)));
  info.populateFromQxArray(selectionOf(signal(text("b"), 0, 0)).get());
  EXPECT_EQ(info.getSelectorSetting(path({u"a"}), 0), 1U);
  EXPECT_EQ(info.getSelectorSetting(path({u"b"}), 0), 0U);
}

/// A selection that is malformed, and where.
struct MalformedCase {
  std::string place;
  std::function<qxArrayWrapper()> make;
};

MalformedCase badField(const char* field, std::function<qxArrayWrapper()> value) {
  return {std::string("signals[0].") + field, [field, value] {
            qxStructWrapper listed = signal(text("top/Gain"), 0, 2);
            listed.set(field, value());
            return qxArrayWrapper(selectionOf(std::move(listed)));
          }};
}

MalformedCase badPart(const char* place, const char* field, std::function<qxArrayWrapper()> value) {
  return {place, [field, value] {
            qxStructWrapper selection({});
            selection.set(field, value());
            return qxArrayWrapper(std::move(selection));
          }};
}

qxArrayWrapper matrix(std::size_t rows, std::size_t columns, qxClassID id, bool isComplex = false) {
  const std::size_t dims[] = {rows, columns};
  return qxArrayWrapper(qxCreateNumericArray(2, dims, id, isComplex));
}

std::vector<MalformedCase> malformedCases() {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<MalformedCase> cases = {
      {"loggingSelection", [] { return qxArrayWrapper(); }},
      {"loggingSelection", [] { return number(1); }},
      {"loggingSelection", [] { return qxArrayWrapper(qxCellArrayWrapper(1, 1)); }},
      {"loggingSelection",
       [] {
         const std::size_t dims[] = {2, 1};
         return qxArrayWrapper(qxCreateStructArray(2, dims, 0, nullptr));
       }},
      badPart("default", "default", [] { return text("1"); }),
      badPart("default", "default", [] { return number(3); }),
      badPart("default", "default", [] { return number(-1); }),
      badPart("default", "default", [] { return matrix(1, 2, qxDOUBLE); }),
      badPart("signals", "signals", [] { return number(1); }),
      badPart("signals", "signals", [] { return qxArrayWrapper(qxStructWrapper({})); }),
      badPart("signals[0]", "signals", [] { return qxArrayWrapper(qxCellArrayWrapper(1, 1)); }),
      badPart("signals[0]", "signals", [] { return pathCells({"text"}); }),
      badField("blockPath", [] { return qxArrayWrapper(); }),
      badField("blockPath", [] { return number(1); }),
      badField("blockPath", [] { return matrix(2, 2, qxCHAR); }),
      badField("blockPath", [] { return pathCells({}); }),
      {"signals[0].blockPath[1]",
       [] {
         qxCellArrayWrapper cells(2, 1);
         cells.set(0, text("top"));
         return qxArrayWrapper(selectionOf(signal(std::move(cells), 0, 0)));
       }},
      badField("customName", [] { return number(1); }),
      badField("customName", [] { return pathCells({"name"}); }),
      badField("customName", [] { return matrix(2, 2, qxCHAR); }),
      badField("decimation", [] { return number(0); }),
      {"signals[1]", [] { return qxArrayWrapper(selectionOf(signal(text("a b"), 3, 0), signal(text("a\nb"), 3, 1))); }},
      {"signals[1].port",
       [] { return qxArrayWrapper(selectionOf(signal(text("a"), 0, 0), signal(text("b"), -1, 0))); }},
  };
  for (const char* field : {"port", "selector"}) cases.push_back(badField(field, [] { return qxArrayWrapper(); }));
  for (const char* field : {"port", "selector", "decimation", "maxPoints"}) {
    cases.push_back(badField(field, [] { return text("1"); }));
    cases.push_back(badField(field, [] { return qxArrayWrapper(qxCreateLogicalScalar(true)); }));
    cases.push_back(badField(field, [] { return qxArrayWrapper(qxCellArrayWrapper(1, 1)); }));
    cases.push_back(badField(field, [] { return matrix(0, 0, qxDOUBLE); }));
    cases.push_back(badField(field, [] { return matrix(1, 2, qxDOUBLE); }));
    cases.push_back(badField(field, [] { return matrix(1, 1, qxDOUBLE, true); }));
    cases.push_back(badField(field, [] { return integer(std::int64_t{-1}, qxINT64); }));
    for (const double value : {-1.0, 0.5, kNan, kInfinity, -kInfinity, 0x1p64}) {
      cases.push_back(badField(field, [value] { return number(value); }));
    }
  }
  cases.push_back(badField("selector", [] { return number(3); }));
  cases.push_back(badField("selector", [] { return integer(std::uint64_t{1} << 32U, qxUINT64); }));
  return cases;
}

TEST(ModelLoggingInfo, refusesEveryMalformedSelectionWithThePlace) {
  int caseNumber = 0;
  for (const MalformedCase& c : malformedCases()) {
    const qxArrayWrapper selection = c.make();
    ModelLoggingInfo info = populated(selectionOf(signal(text("kept"), 0, 0)));
    const vtsv::Diagnostic diagnostic = vtio_test::thrownBy([&] { info.populateFromQxArray(selection.get()); });
    EXPECT_EQ(diagnostic.identifier + "/" + diagnostic.key, "Vortan:LoggingSelection/Malformed")
        << "case " << caseNumber << " at " << c.place;
    ASSERT_EQ(diagnostic.arguments.size(), 2U);
    EXPECT_EQ(vtu::to_string(diagnostic.arguments[0]), c.place) << "case " << caseNumber;
    EXPECT_FALSE(diagnostic.arguments[1].empty());
    EXPECT_EQ(info.getSelectorSetting(path({u"kept"}), 0), 0U) << "the earlier selection stays";
    ++caseNumber;
  }
}

TEST(ModelLoggingInfo, agreesWithAListThatIsSearched) {
  std::mt19937 random(11);
  const auto randomElements = [&] {
    std::vector<std::string> result(1 + random() % 3);
    for (std::string& element : result) element = std::string(1, static_cast<char>('a' + random() % 4));
    return result;
  };
  std::map<std::pair<std::vector<std::string>, unsigned long>, unsigned> listed;
  while (listed.size() < 100) listed[{randomElements(), random() % 4}] = static_cast<unsigned>(random() % 3);
  qxCellArrayWrapper cells(1, listed.size());
  std::size_t i = 0;
  for (const auto& [key, selector] : listed) {
    std::vector<const char*> elements;
    for (const std::string& element : key.first) elements.push_back(element.c_str());
    cells.set(i++, signal(pathCells(elements), static_cast<double>(key.second), selector));
  }
  qxStructWrapper selection({});
  selection.set("signals", std::move(cells));
  const ModelLoggingInfo info = populated(selection);
  for (int question = 0; question < 2000; ++question) {
    const std::vector<std::string> elements = randomElements();
    const unsigned long port = random() % 4;
    FullBlkPathToTopMdl asked;
    for (const std::string& element : elements) asked.append(InternedUstring(vtu::to_ustring(element)));
    const auto found = listed.find({elements, port});
    ASSERT_EQ(info.getSelectorSetting(asked, port), found != listed.end() ? found->second : 1U);
  }
}

/// Seconds per look-up in a selection of so many signals.
double secondsPerLookup(std::size_t signals) {
  qxCellArrayWrapper cells(signals, 1);
  for (std::size_t i = 0; i < signals; ++i) cells.set(i, signal(text("top/Gain"), static_cast<double>(i), 0));
  qxStructWrapper selection({});
  selection.set("signals", std::move(cells));
  const ModelLoggingInfo info = populated(selection);
  const FullBlkPathToTopMdl asked = path({u"top/Gain"});
  constexpr std::size_t kLookups = 20000;
  unsigned sum = 0;
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i < kLookups; ++i) sum += info.getSelectorSetting(asked, i * 7919 % signals);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(sum, 0U);
  return taken.count() / kLookups;
}

TEST(ModelLoggingInfo, looksUpInTimeThatDoesNotGrow) {
  // A search through 20 000 signals would take some 1000 times as long as one through 20.
  EXPECT_LT(secondsPerLookup(20000), 50 * secondsPerLookup(20));
}

class LoggingSelectionFile : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder_); }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string file(const char* name) const { return (folder_ / name).string(); }

  /// Writes one variable into a new file.
  [[nodiscard]] std::string fileWith(const char* variable, const qxArray* value) const {
    const std::string name = file("selection \xC3\xA9.qat");
    vtu::QatFileWrapper opened(name, "w");
    EXPECT_TRUE(opened) << qatLastError();
    EXPECT_EQ(opened.put(variable, value), 0) << qatLastError();
    EXPECT_EQ(opened.close(), 0);
    return name;
  }

 private:
  std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("vtio_logging_selection_" + std::to_string(getpid()));
};

TEST_F(LoggingSelectionFile, isReadFromItsVariable) {
  qxStructWrapper listed = signal(pathCells({"top/Ref", "ref/Big\nGain"}), 2, 2);
  listed.set("customName", text("name"));
  qxStructWrapper selection = selectionOf(std::move(listed));
  selection.set("default", number(0));
  ModelLoggingInfo info;
  info.populateFromQatFile(vtu::to_ustring(fileWith("loggingSelection", selection.get())));
  EXPECT_EQ(info.getSelectorSetting(path({u"other"}), 0), 0U);
  EXPECT_EQ(info.getSelectorSetting(path({u"top/Ref", u"ref/Big Gain"}), 2), 2U);
  EXPECT_EQ(info.getLoggingInfo(path({u"top/Ref", u"ref/Big Gain"}), 2).getCustomSignalName(), u"name");
}

TEST_F(LoggingSelectionFile, withoutTheVariableLeavesAnEmptySelection) {
  ModelLoggingInfo info = populated(selectionOf(signal(text("a"), 0, 0)));
  info.populateFromQatFile(vtu::to_ustring(fileWith("other", number(1).get())));
  EXPECT_EQ(info.getSelectorSetting(path({u"a"}), 0), 1U);
}

TEST_F(LoggingSelectionFile, withoutAnyVariableLeavesAnEmptySelection) {
  const std::string name = file("empty.qat");
  ASSERT_EQ(vtu::QatFileWrapper(name, "w").close(), 0);
  ModelLoggingInfo info;
  info.populateFromQatFile(vtu::to_ustring(name));
  EXPECT_EQ(info.getSelectorSetting(path({u"a"}), 0), 1U);
}

TEST_F(LoggingSelectionFile, thatIsMalformedIsRefused) {
  const std::string name = fileWith("loggingSelection", number(1).get());
  ModelLoggingInfo info;
  EXPECT_EQ(vtio_test::nameThrownBy([&] { info.populateFromQatFile(vtu::to_ustring(name)); }),
            "Vortan:LoggingSelection/Malformed");
}

TEST_F(LoggingSelectionFile, thatIsMissingOrNoQatFileIsRefusedByName) {
  const std::string damaged = file("damaged.qat");
  std::ofstream(damaged) << "this is no Qat file";
  for (const std::string& name : {file("missing.qat"), damaged, std::string()}) {
    ModelLoggingInfo info;
    const vtsv::Diagnostic diagnostic = vtio_test::thrownBy([&] { info.populateFromQatFile(vtu::to_ustring(name)); });
    EXPECT_EQ(diagnostic.identifier, "Vortan:FileIO") << name;
    EXPECT_EQ(diagnostic.key, "ToFromFileOpenCloseErr");
    EXPECT_EQ(diagnostic.arguments, std::vector<ustring>{vtu::to_ustring(name)});
  }
}

}  // namespace
