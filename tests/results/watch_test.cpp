// Files that grow: refreshing them, curves that grow with them, and what `qat watch` draws.
#include "results/watch/watch_view.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "example_file.hpp"
#include "memory_source.hpp"
#include "results/file/results_error.hpp"
#include "results/values/series.hpp"
#include "results/watch/growing_curve.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;  // NOLINT(google-build-using-namespace): the subject here
using testing::ElementsAre;
using testing::HasSubstr;
using vtio::tests::TemporaryFolder;

/// A process that streams a file as it is told.
class Streaming {
 public:
  explicit Streaming(const std::string& path) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      execl(VTIO_WRITE_EXAMPLE, VTIO_WRITE_EXAMPLE, "--stream", path.c_str(), nullptr);
      _exit(99);
    }
    close(in[0]);
    close(out[1]);
    commands_ = in[1];
    answers_ = out[0];
    EXPECT_EQ(answer(), "done\n");
  }
  Streaming(const Streaming&) = delete;
  Streaming& operator=(const Streaming&) = delete;
  ~Streaming() { end(); }

  void tell(const std::string& command) {
    const std::string line = command + "\n";
    ASSERT_EQ(write(commands_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    ASSERT_EQ(answer(), "done\n") << command;
  }

  /// As a kill: the file stays as it is.
  void end() {
    if (process_ == 0) return;
    close(commands_);
    waitpid(process_, nullptr, 0);
    close(answers_);
    process_ = 0;
  }

 private:
  [[nodiscard]] std::string answer() const {
    std::string text;
    for (char c = 0; c != '\n' && read(answers_, &c, 1) == 1;) text += c;
    return text;
  }

  pid_t process_ = 0;
  int commands_ = -1;
  int answers_ = -1;
};

class GrowingFile : public testing::Test {
 protected:
  TemporaryFolder folder_;
  std::string path_ = folder_.path("live.qat");
};

TEST_F(GrowingFile, refreshSeesNewRowsAndReferencesStayValid) {
  Streaming run(path_);
  ResultsFile file(path_);
  const SignalInfo& height = file.find("height");
  EXPECT_TRUE(file.isGrowing());
  EXPECT_FALSE(file.isComplete());
  EXPECT_EQ(height.place.count, 2U);
  EXPECT_FALSE(file.refresh().hasChanged);
  run.tell("append 10000");
  EXPECT_EQ(height.place.count, 2U) << "as it was when it was opened";
  const Refresh found = file.refresh();
  EXPECT_TRUE(found.hasChanged && !found.isSteppedBack && !found.isReopened);
  EXPECT_EQ(height.place.count, 10002U);
  EXPECT_EQ(height.last, 5000.5);
  const Series series = readSeries(file, height, {5000, 6000});
  EXPECT_THAT(series.times, ElementsAre(5000, 5000.5));
}

TEST_F(GrowingFile, refreshTellsStepsBack) {
  Streaming run(path_);
  run.tell("mark");
  run.tell("append 8");
  ResultsFile file(path_);
  run.tell("back");
  EXPECT_TRUE(file.refresh().isSteppedBack);
  EXPECT_EQ(file.find("height").place.count, 2U);
  EXPECT_EQ(file.find("height").last, 0.5);
  run.tell("append 1");
  EXPECT_FALSE(file.refresh().isSteppedBack);
}

TEST_F(GrowingFile, refreshSeesThatTheRunHasClosedItOrWasKilled) {
  Streaming run(path_);
  ResultsFile file(path_);
  run.tell("append 3");
  run.tell("close");
  run.end();
  EXPECT_TRUE(file.refresh().isReopened);
  EXPECT_TRUE(file.isComplete());
  EXPECT_EQ(file.find("height").place.count, 5U);
  EXPECT_FALSE(file.refresh().hasChanged);

  Streaming again(folder_.path("next.qat"));
  std::filesystem::rename(folder_.path("next.qat"), path_);
  EXPECT_TRUE(file.refresh().isReopened);
  EXPECT_TRUE(file.isGrowing());
  EXPECT_EQ(file.find("height").place.count, 2U);
  again.end();
  EXPECT_TRUE(file.refresh().isReopened);
  EXPECT_FALSE(file.isGrowing() || file.isComplete());
  EXPECT_EQ(file.find("height").place.count, 2U);
}

TEST_F(GrowingFile, refreshOfAFileThatIsGoneIsAnErrorUntilItIsThereAgain) {
  vtio::tests::TemporaryFolder other;
  { Streaming run(path_); }
  ResultsFile file(path_);
  std::filesystem::rename(path_, other.path("elsewhere.qat"));
  EXPECT_THROW(file.refresh(), ResultsError);
  EXPECT_TRUE(file.signals().empty());
  EXPECT_THROW(file.refresh(), ResultsError);
  std::filesystem::rename(other.path("elsewhere.qat"), path_);
  EXPECT_TRUE(file.refresh().isReopened);
  EXPECT_EQ(file.signals().size(), 1U);
}

TEST_F(GrowingFile, curvesReadEachRowOnce) {
  Streaming run(path_);
  ResultsFile file(path_);
  const SignalInfo& height = file.find("height");
  GrowingCurve curve(0, 16);
  EXPECT_EQ(curve.update(file, height), 2U);
  run.tell("append 5000");
  file.refresh();
  EXPECT_EQ(curve.update(file, height), 5001U) << "and the last one again, to see whether it is another";
  EXPECT_EQ(curve.update(file, height), 0U);
  run.tell("append 1");
  file.refresh();
  EXPECT_EQ(curve.update(file, height), 2U);
  const std::vector<Point> points = curve.points();
  EXPECT_LE(points.size(), 16U * 5);
  EXPECT_EQ(points.front(), (Point{0, 10}));
  EXPECT_EQ(points.back(), (Point{2501, 10 - 5002}));
}

TEST_F(GrowingFile, curvesForgetWhatWasTakenBackEvenIfTheyDidNotSeeIt) {
  Streaming run(path_);
  ResultsFile file(path_);
  const SignalInfo& height = file.find("height");
  GrowingCurve seen(0);
  GrowingCurve unseen(0);
  run.tell("append 6");
  run.tell("mark");
  run.tell("append 6");
  file.refresh();
  seen.update(file, height);
  unseen.update(file, height);
  run.tell("back");
  file.refresh();
  seen.update(file, height);
  EXPECT_EQ(seen.points().size(), 8U);
  run.tell("append 8");
  file.refresh();
  seen.update(file, height);
  unseen.update(file, height);
  for (const GrowingCurve* curve : {&seen, &unseen}) {
    ASSERT_EQ(curve->points().size(), 16U);
    EXPECT_EQ(curve->points()[7], (Point{3.5, 3}));
    EXPECT_EQ(curve->points()[8], (Point{4, 102}));
  }
}

// A curve of few spans has the same extremes over any stretch that spans share.
TEST(GrowingCurveTest, keepsPeaksAndGaps) {
  std::vector<double> times;
  std::vector<double> values;
  for (int i = 0; i < 1000; ++i) {
    times.push_back(i);
    values.push_back(i == 300 ? 50 : i == 301 ? -50 : i == 700 ? std::nan("") : std::sin(i));
  }
  vtio::tests::ResultsBuilder builder;
  builder.table(0, times).add(0, "x", {}, values);
  const ResultsFile file = builder.build();
  GrowingCurve curve(0, 8);
  EXPECT_EQ(curve.update(file, file.find("x")), 1000U);
  const std::vector<Point> points = curve.points();
  EXPECT_LE(points.size(), 40U);
  EXPECT_THAT(points, testing::AllOf(testing::Contains(Point{300, 50}), testing::Contains(Point{301, -50}),
                                     testing::Contains(testing::Field(&Point::value, testing::IsNan()))));
  EXPECT_TRUE(std::is_sorted(points.begin(), points.end(), [](auto& a, auto& b) { return a.time < b.time; }));
}

Style terminal(std::size_t width) { return {true, true, width}; }

std::vector<std::string> linesOf(const std::string& frame) {
  std::vector<std::string> lines;
  std::istringstream stream(frame);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Columns of a line, without its colours.
std::size_t columnsOf(const std::string& line) {
  std::string plain;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\x1b')
      i = line.find('m', i);
    else
      plain += line[i];
  }
  return displayWidth(plain);
}

TEST_F(GrowingFile, watchShowsValuesAndACurve) {
  Streaming run(path_);
  WatchView view(path_, {});
  run.tell("append 6");
  view.update();
  const std::string frame = view.frame({false, false, 80}, 24);
  EXPECT_THAT(frame, HasSubstr("live.qat  running  3.5 s\n"));
  EXPECT_THAT(frame, testing::ContainsRegex("▸ height +3 +m +8 +3.5\n"));
  EXPECT_THAT(frame, HasSubstr("━ height  [m]\n"));
  EXPECT_THAT(frame, HasSubstr("          10┤"));
  EXPECT_THAT(frame, HasSubstr("           3┤"));
  EXPECT_THAT(frame, testing::EndsWith("q quit  ↑ ↓ choose a signal"));
}

TEST_F(GrowingFile, watchTellsStepsBackAndTheEnd) {
  Streaming run(path_);
  run.tell("mark");
  run.tell("append 6");
  WatchView view(path_, {});
  view.update();
  run.tell("back");
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("running  0.5 s  stepped back from 3.5 to 0.5 s"));
  run.tell("append 1");
  run.tell("close");
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("completed  1 s"));
  EXPECT_EQ(view.summary(), path_ + ": completed, last time 1 s, stepped back from 3.5 to 0.5 s");
}

TEST_F(GrowingFile, watchTellsWhyAFileCannotBeRead) {
  { Streaming run(path_); }
  WatchView view(path_, {});
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("incomplete: its writer ended"));
  std::filesystem::remove(path_);
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("cannot be read: "));
  Streaming run(path_);
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("running  0.5 s"));
}

TEST_F(GrowingFile, watchFitsEveryTerminal) {
  vtio::tests::writeExampleFile(path_);
  WatchView view(path_, {});
  for (const std::size_t width : {1U, 20U, 40U, 43U, 63U, 80U, 200U}) {
    for (const std::size_t height : {0U, 1U, 2U, 3U, 5U, 10U, 14U, 24U, 60U}) {
      view.update();
      const std::vector<std::string> lines = linesOf(view.frame(terminal(width), height));
      EXPECT_LE(lines.size(), height);
      for (const std::string& line : lines) EXPECT_LE(columnsOf(line), width) << width << " x " << height << line;
    }
  }
}

TEST_F(GrowingFile, watchChoosesSignalsByKeys) {
  vtio::tests::writeExampleFile(path_);
  WatchView view(path_, {});
  const auto chosen = [&] {
    view.update();
    const std::string frame = view.frame({}, 8);
    const std::size_t at = frame.find("▸ ") + std::string("▸ ").size();
    return frame.substr(at, frame.find(' ', at) - at);
  };
  EXPECT_EQ(chosen(), "wheels.speed");
  EXPECT_TRUE(view.press(WatchKey::down));
  EXPECT_EQ(chosen(), "wheels.on");
  EXPECT_TRUE(view.press(WatchKey::last));
  EXPECT_EQ(chosen(), "late") << "the table scrolls";
  EXPECT_TRUE(view.press(WatchKey::down));
  EXPECT_EQ(chosen(), "late");
  EXPECT_TRUE(view.press(WatchKey::pageUp));
  EXPECT_EQ(chosen(), "wheels.name") << "five signals fit";
  EXPECT_TRUE(view.press(WatchKey::first));
  EXPECT_TRUE(view.press(WatchKey::up));
  EXPECT_EQ(chosen(), "wheels.speed");
  view.press(WatchKey::down);
  view.press(WatchKey::down);
  EXPECT_EQ(chosen(), "wheels.name");
  EXPECT_THAT(view.frame({}, 24), HasSubstr("wheels.name cannot be drawn"));
  EXPECT_FALSE(view.press(WatchKey::quit));
}

TEST(WatchView, letsOthersWriteAFileThatIsComplete) {
  const TemporaryFolder folder;
  const std::string path = folder.path("run.qat");
  vtio::tests::writeExampleFile(path);
  WatchView view(path, {});
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("20.25"));
  vtio::tests::writeManySignals(path, 1, 10);
  view.update();
  EXPECT_THAT(view.frame({}, 24), HasSubstr("s0"));
}

TEST(WatchKeys, areReadOneByOne) {
  std::string_view sent = "\x1b[Aj\x1b[6~x\x1bOBq";
  std::vector<WatchKey> keys;
  while (!sent.empty()) keys.push_back(takeKey(sent));
  EXPECT_THAT(keys, ElementsAre(WatchKey::up, WatchKey::down, WatchKey::pageDown, WatchKey::none, WatchKey::down,
                                WatchKey::quit));
}

TEST_F(GrowingFile, watchRefusesPatternsOfNothing) {
  vtio::tests::writeExampleFile(path_);
  EXPECT_THROW(WatchView(path_, {"none*"}), ResultsError);
}

}  // namespace
