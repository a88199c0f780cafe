// FMUs in a process of their own, and the channel to it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <tuple>
#include <utility>

#include "runner/isolation/channel.hpp"
#include "tests/runner/descriptions.hpp"
#include "tests/runner/run_fixture.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using namespace runner_test;   // NOLINT(google-build-using-namespace): readers of results
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class IsolationTest : public RunFolder, public ::testing::WithParamInterface<const char*> {
 protected:
  static RunOptions isolated(RunOptions run) {
    run.isolate = true;
    run.stepTimeout = 60.0;
    return run;
  }
  RunOptions of(const std::string& name) { return isolated(options(name + GetParam())); }
};
INSTANTIATE_TEST_SUITE_P(All, IsolationTest, ::testing::Values("_fmi2", "_fmi3"));

TEST_P(IsolationTest, GivesTheResultsOfARunInOneProcess) {
  for (const char* name : {"bouncing_ball", "every_kind"}) {
    RunOptions chosen = isolated(fullRun(std::string(name) + GetParam()));
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    const std::vector<std::string> kept = content();
    chosen.isolate = false;
    ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
    EXPECT_GT(kept.size(), 20U);
    EXPECT_EQ(kept, content()) << name;
  }
}

TEST_P(IsolationTest, TextsBinariesAndSizesReachTheFmu) {
  const bool isFmi3 = std::string(GetParam()) == "_fmi3";
  RunOptions chosen = of("every_kind");
  chosen.parameters = true;
  chosen.set = {"word=two words"};
  if (isFmi3) chosen.set.insert(chosen.set.end(), {"packet=0102ff", "columns=5"});
  ASSERT_EQ(run(chosen), ExitStatus::done) << messages_.str();
  const Results saved(file("results.qat"));
  EXPECT_THAT(texts(saved.field(kSignals, "word", "Data")), ::testing::ElementsAre("two words"));
  if (!isFmi3) return;
  const std::vector<std::uint8_t> packet = numbers<std::uint8_t>(saved.field(kSignals, "packet", "data", "Data"));
  EXPECT_THAT(std::vector<std::uint8_t>(packet.begin(), packet.begin() + 4), ::testing::ElementsAre(1, 2, 255, 0));
  EXPECT_THAT(numbers<std::uint64_t>(saved.field(kSignals, "packet", "length", "Data")), ::testing::ElementsAre(3));
  EXPECT_EQ(dimensions(saved.field(kOutputs, "matrix", "Data"))[2], 5U);
}

TEST_P(IsolationTest, AFailureLeavesTheLogAndSaysWhereItStopped) {
  for (const auto& [way, timeout, what] : std::vector<std::tuple<std::string, double, std::string>>{
           {"crash", 60.0, "the FMU crashed (Segmentation fault) in a step at the time 0.5"},
           {"exit", 60.0, "the FMU ended its process (status 3) in a step at the time 0.5"},
           {"endless", 0.2, "the FMU did not return from a step within 0.2 s and was stopped at the time 0.5"},
           {"fatal", 60.0, "returned a fatal error at the time 0.5 (the model is broken)"},
           {"error", 60.0, "returned an error at the time 0.5 (the model cannot go on)"}}) {
    RunOptions chosen = of("misbehaving");
    chosen.set = {"way=" + way};
    chosen.stepTimeout = timeout;
    EXPECT_EQ(run(chosen), ExitStatus::failed) << way;
    EXPECT_THAT(messages_.str(), HasSubstr(what));
    EXPECT_THAT(out_.str(), EndsWith(file("results.qat").string() + "\n"));
    const Results saved(file("results.qat"));
    EXPECT_EQ(numbers<double>(saved.field(kOutputs, "y", "Data")).size(), 6U) << way;
    const vtu::qxArrayWrapper record = saved.variable("fmu");
    EXPECT_EQ(text(qxGetField(record.get(), 0, "Status")), "failed");
    EXPECT_THAT(text(qxGetField(record.get(), 0, "Message")), HasSubstr(what));
    EXPECT_EQ(qxGetScalar(qxGetField(record.get(), 0, "LastTime")), 0.5);
  }
}

TEST_P(IsolationTest, ALibraryThatCannotBeLoadedIsRefused) {
  ZipMaker()
      .add("modelDescription.xml", fmi3(float64("x", 1)))
      .add("binaries/x86_64-linux/m.so", "this is no library")
      .add("binaries/aarch64-linux/m.so", "nor this")
      .write(file("foreign.fmu"));
  RunOptions chosen = of("misbehaving");
  chosen.fmu = file("foreign.fmu");
  EXPECT_THAT([&] { (void)run(chosen); }, ThrowsMessage<RunnerError>(HasSubstr("the binary cannot be loaded")));
}

TEST(ParcelTest, GivesBackWhatWasPut) {
  Parcel parcel;
  parcel.put(1.5);
  parcel.putText("");
  parcel.putText(std::string("a\0b", 3));
  parcel.putArray(std::span<const std::uint32_t>(std::vector<std::uint32_t>{1, 2, 3}));
  EXPECT_EQ(parcel.take<double>(), 1.5);
  EXPECT_EQ(parcel.takeText(), "");
  EXPECT_EQ(parcel.takeText(), std::string("a\0b", 3));
  std::vector<std::uint32_t> values;
  parcel.takeArray(values);
  EXPECT_THAT(values, ::testing::ElementsAre(1, 2, 3));
  EXPECT_THROW((void)parcel.take<char>(), RunnerError);
}

// An FMU may write over anything in its process.
TEST(ParcelTest, RefusesSizesThatItDoesNotHold) {
  for (const std::size_t size : {std::size_t{2}, ~std::size_t{0}, ~std::size_t{0} / 8 + 1}) {
    Parcel parcel;
    parcel.put(size);
    parcel.put('x');
    Parcel copy = parcel;
    std::vector<double> values;
    EXPECT_THROW((void)parcel.takeText(), RunnerError) << size;
    EXPECT_THROW(copy.takeArray(values), RunnerError) << size;
  }
}

TEST(ChannelTest, CarriesManyParcelsInOrder) {
  auto [here, there] = Channel::pair();
  Parcel parcel;
  for (int i = 0; i < 100; ++i) {
    parcel.clear();
    parcel.put(i);
    parcel.putText(std::string(static_cast<std::size_t>(i), 'x'));
    ASSERT_TRUE(here.send(parcel));
  }
  here.finish();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(there.receive(parcel), Received::parcel);
    EXPECT_EQ(parcel.take<int>(), i);
    EXPECT_EQ(parcel.takeText().size(), static_cast<std::size_t>(i));
  }
  EXPECT_EQ(there.receive(parcel), Received::ended);
}

TEST(ChannelTest, TellsTimeoutsAndAnEndInTheMiddle) {
  auto [here, there] = Channel::pair();
  Parcel parcel;
  EXPECT_EQ(there.receive(parcel, std::chrono::milliseconds(1)), Received::timedOut);
  { const Channel gone(std::move(here)); }
  EXPECT_EQ(there.receive(parcel), Received::ended);
  EXPECT_FALSE(there.send(parcel)) << "no signal is raised";
}

}  // namespace
