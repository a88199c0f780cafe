// A file that is being streamed: what is in it while it grows, after steps back and close(), and when its writer died.
#include <signal.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include "platform/qat_parts.hpp"
#include "qat_fixture.hpp"
#include "stream_rows.hpp"

namespace vtio::tests {
namespace {

using Ways = std::vector<std::uint64_t>;

/// A run that streams one table and remembers what it recorded.
class StreamedRun final {
 public:
  StreamedRun(const std::string& path, std::size_t leaves, std::uint64_t rowsAtFirst) : leaves_(leaves), stream(path) {
    ways.assign(rowsAtFirst, 0);
    const auto table = std::make_shared<StreamRows>(leaves, 0, ways);
    const auto columns = StreamRows::columns(leaves, rowsAtFirst);
    const Array variable = elementsOver(table, columns);
    const vtu::StreamVariable variables[] = {{"logsout", variable.get()}};
    const vtu::StreamTable tables[] = {{table, columns}};
    stream.layOut(variables, tables);
  }

  void append(std::uint64_t count) {
    const StreamRows rows(leaves_, ways.size(), Ways(count, way));
    stream.append(0, rows, 0, count);
    ways.insert(ways.end(), count, way);
  }

  void stepBack(const vtu::QatStream::Mark& mark) {
    stream.stepBack(mark);
    ways.resize(mark.rows[0]);
    ++way;
  }

 private:
  std::size_t leaves_;

 public:
  vtu::QatStream stream;
  Ways ways;  // of each row that is valid now
  std::uint64_t way = 0;
};

const qxArray* fieldOf(const qxArray* structure, const char* name) { return qxGetField(structure, 0, name); }

/// Checks that a leaf has `count` rows, and all of one element are right; `wayOf` gives the way of each row.
class Contents {
 public:
  Contents(const OpenFile& file, std::size_t leaves) : leaves_(leaves) {
    if (file) variable_ = Array(qatGetVariable(file.get(), "logsout"));
    if (variable_) elements_ = fieldOf(variable_.get(), "Elements");
  }

  explicit operator bool() const { return elements_ != nullptr; }

  std::size_t rows(std::size_t element = 0) const {
    return qxGetNumberOfElements(fieldOf(qxGetCell(elements_, element), "Time"));
  }

  /// Empty if the rows are those that were recorded.
  std::string wrong(const Ways& ways, std::optional<std::size_t> only = {}) const {
    for (std::size_t i = 0; i < leaves_ + 4; ++i) {
      if (only && *only != i) continue;
      const qxArray* element = qxGetCell(elements_, i);
      const qxArray* time = fieldOf(element, "Time");
      const qxArray* data = fieldOf(element, "Data");
      const std::string where = "leaf " + std::to_string(i) + ": ";
      if (qxGetNumberOfElements(time) != ways.size()) {
        return where + std::to_string(qxGetNumberOfElements(time)) + " of " + std::to_string(ways.size()) + " rows";
      }
      for (std::size_t row = 0; row < ways.size(); ++row) {
        if (static_cast<const double*>(qxGetConstData(time))[row] != StreamRows::timeOf(row) ||
            !isRight(data, i, row, ways.size(), ways[row])) {
          return where + "row " + std::to_string(row);
        }
      }
    }
    return {};
  }

 private:
  bool isRight(const qxArray* data, std::size_t leaf, std::size_t row, std::size_t rows, std::uint64_t way) const {
    if (leaf < leaves_) {
      return static_cast<const double*>(qxGetConstData(data))[row] == StreamRows::valueOf(leaf, row, way);
    }
    if (leaf == leaves_) {
      return static_cast<const std::int32_t*>(qxGetConstData(data))[row] == static_cast<int>(row + 1000000 * way);
    }
    if (leaf == leaves_ + 1) return qxGetLogicals(data)[row] == (row % 2 == 1);
    if (leaf == leaves_ + 2) {
      const auto* parts = static_cast<const float*>(qxGetConstData(data));
      return parts[2 * row] == static_cast<float>(row) && parts[2 * row + 1] == static_cast<float>(way) &&
             parts[2 * (rows + row)] == 1.0F && parts[2 * (rows + row) + 1] == 2.0F;
    }
    char* utf8 = qxArrayToString(qxGetCell(data, row));
    const std::string found = utf8;
    qxFree(utf8);
    return found == StreamRows::textOf(row, way);
  }

  std::size_t leaves_;
  Array variable_;
  const qxArray* elements_ = nullptr;
};

/// Work in another process, in steps that this one asks for: HDF5 does not open a file twice in one process.
class Writer final {
 public:
  /// @param work Gets a function that ends a step.
  template <typename Work>
  explicit Writer(Work&& work) {
    EXPECT_EQ(pipe(orders_), 0);
    EXPECT_EQ(pipe(answers_), 0);
    child_ = fork();
    if (child_ == 0) {
      close(orders_[1]);
      close(answers_[0]);
      awaitOrder();
      work([this] {
        answer();
        awaitOrder();
      });
      answer();
      _exit(0);
    }
    close(orders_[0]);
    close(answers_[1]);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    close(orders_[1]);
    close(answers_[0]);
    waitpid(child_, nullptr, 0);
  }

  void step() const {
    char byte = 0;
    ASSERT_EQ(write(orders_[1], &byte, 1), 1);
    ASSERT_EQ(read(answers_[0], &byte, 1), 1) << "the writer has died";
  }

 private:
  void awaitOrder() const {
    char byte = 0;
    if (read(orders_[0], &byte, 1) != 1) _exit(0);
  }
  void answer() const {
    const char byte = 0;
    if (write(answers_[1], &byte, 1) != 1) _exit(1);
  }

  int orders_[2]{}, answers_[2]{};
  pid_t child_ = 0;
};

Ways waysOf(std::initializer_list<std::uint64_t> countOfEachWay) {
  Ways ways;
  std::uint64_t way = 0;
  for (const std::uint64_t count : countOfEachWay) ways.insert(ways.end(), count, way++);
  return ways;
}

class QatStreamTest : public QatTest {
 protected:
  std::string wrong(const Ways& ways, std::size_t leaves) const {
    const OpenFile file = open("r");
    const Contents contents(file, leaves);
    return contents ? contents.wrong(ways) : qatLastError();
  }

  std::string wrong(const StreamedRun& run, std::size_t leaves) const {
    const OpenFile file = open("r");
    const Contents contents(file, leaves);
    return contents ? contents.wrong(run.ways) : qatLastError();
  }
};

TEST_F(QatStreamTest, ClosedFileHasAllRowsAndCanBeChanged) {
  {
    StreamedRun run(path_, 5, 3);
    for (const std::uint64_t count : {1U, 9U, 1000U, 8192U, 20000U, 7U}) {
      run.append(count);
      if (count != 9) run.stream.flush();
    }
    run.stream.close();
    run.stream.close();
    EXPECT_EQ(wrong(run, 5), "");
  }
  EXPECT_FALSE(vtu::isStreamed(path_));
  const OpenFile file = open("u");
  ASSERT_TRUE(file) << qatLastError();
  EXPECT_EQ(names(file.get()), std::vector<std::string>{"logsout"});
  EXPECT_EQ(qatPutVariable(file.get(), "x", text("y").get()), 0) << qatLastError();
}

TEST_F(QatStreamTest, ReadersSeeWhatWasFlushedAndTheFileStaysAsItIs) {
  const Writer writer([this](auto&& done) {
    StreamedRun run(path_, 3, 2);
    done();
    run.append(10);
    done();
    run.stream.flush(true);
    done();
    run.append(40000);
    run.stream.flush();
    done();
    run.stream.close();
  });
  writer.step();
  EXPECT_EQ(wrong(waysOf({2}), 3), "");
  const OpenFile early = open("r");
  writer.step();
  EXPECT_EQ(Contents(early, 3).wrong(waysOf({2})), "");
  writer.step();
  EXPECT_EQ(Contents(early, 3).wrong(waysOf({12})), "");
  writer.step();
  const std::string before = bytes();
  EXPECT_EQ(Contents(early, 3).wrong(waysOf({40012})), "");
  EXPECT_EQ(wrong(waysOf({40012}), 3), "");
  EXPECT_EQ(bytes(), before);
  writer.step();
  EXPECT_EQ(wrong(waysOf({40012}), 3), "");
}

TEST_F(QatStreamTest, PartsOfAGrowingFileAreSeenAfterRefresh) {
  const Writer writer([this](auto&& done) {
    StreamedRun run(path_, 3, 2);
    done();
    run.append(9000);
    run.stream.flush();
    done();
  });
  writer.step();
  const OpenFile file = open("r");
  vtu::QatSamples samples(*file.get());
  EXPECT_EQ(samples.tables(), std::vector<std::uint32_t>{0});
  EXPECT_EQ(samples.columns(0).at(2).count, 2U);
  writer.step();
  EXPECT_EQ(samples.columns(0).at(2).count, 2U);
  samples.refresh();
  ASSERT_EQ(samples.columns(0).at(2).count, 9002U);
  std::vector<double> values(9002);
  samples.readColumn(0, 2, 0, values.size(), values.data());
  EXPECT_EQ(values.back(), StreamRows::valueOf(2, 9001, 0));
}

TEST_F(QatStreamTest, StepBackTakesRowsBackAtOnce) {
  const Writer writer([this](auto&& done) {
    StreamedRun run(path_, 3, 2);
    run.append(30000);
    const auto mark = run.stream.mark();
    run.append(20000);
    run.stream.flush();
    done();
    run.stepBack(mark);
    done();
    run.append(5);
    run.stream.flush();
    done();
    run.append(15000);
    run.stream.close();
  });
  writer.step();
  EXPECT_EQ(wrong(waysOf({50002}), 3), "");
  writer.step();
  EXPECT_EQ(wrong(waysOf({30002}), 3), "");
  writer.step();
  EXPECT_EQ(wrong(waysOf({30002, 5}), 3), "");
  writer.step();
  EXPECT_EQ(wrong(waysOf({30002, 15005}), 3), "");
}

TEST_F(QatStreamTest, RandomRunsWithStepsBackEqualRunsThatNeverTookTheWrongWay) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::uint64_t limit) { return random() % limit; };
    StreamedRun run(path_, 1 + below(40), below(5));
    std::vector<vtu::QatStream::Mark> marks{run.stream.mark()};
    for (int step = 0; step < 40; ++step) {
      switch (below(8)) {
        case 0:
          run.stream.flush();
          break;
        case 1:
          marks.push_back(run.stream.mark());
          break;
        case 2: {
          const auto mark = marks[below(marks.size())];
          run.stepBack(mark);
          std::erase_if(marks, [&](const auto& other) { return other.rows[0] > mark.rows[0]; });
          break;
        }
        case 3:
          if (step % 5 == 0) {
            run.stream.close();
            ASSERT_EQ(Contents(open("r"), 1).rows(), run.ways.size()) << seed;
            run.stream.reopen();
          }
          break;
        default:
          run.append(below(4) == 0 ? below(9000) : below(50));
      }
    }
    run.stream.close();
    const OpenFile file = open("r");
    const Contents contents(file, 1);
    ASSERT_TRUE(contents) << qatLastError();
    ASSERT_EQ(contents.rows(), run.ways.size()) << seed;
    ASSERT_EQ(contents.wrong(run.ways, 0), "") << seed;
  }
}

TEST_F(QatStreamTest, EndedLeafKeepsItsRowsAndContinuesAfterAStepBack) {
  const Writer writer([this](auto&& done) {
    StreamedRun run(path_, 2, 4);
    const auto mark = run.stream.mark();
    run.append(3);
    run.stream.endLeaf(0, 1, 7);
    run.append(5);
    run.stream.flush();
    done();
    run.stepBack(mark);
    run.append(2);
    run.stream.close();
  });
  writer.step();
  {
    const OpenFile file = open("r");
    const Contents contents(file, 2);
    ASSERT_TRUE(contents) << qatLastError();
    EXPECT_EQ(contents.rows(0), 12U);
    EXPECT_EQ(contents.rows(1), 7U);
  }
  writer.step();
  EXPECT_EQ(wrong(waysOf({4, 2}), 2), "");
}

TEST_F(QatStreamTest, RowsAreReadBackWhileTheFileIsWrittenAndAfterwards) {
  std::shared_ptr<const vtu::SampleTable> rows;
  const auto check = [&rows] {
    const StreamRows expected(3, 0, Ways(20002, 0));
    const std::size_t offset = 8, bytes = 16 + 4 + 1 + 16;  // from the second double to the complex value
    std::vector<std::byte> found(bytes * 3), right(bytes * 3);
    rows->readRows(19000, 3, offset, bytes, found.data(), bytes);
    expected.readRows(19000, 3, offset, bytes, right.data(), bytes);
    EXPECT_EQ(found, right);
    double time = 0;
    rows->readTimes(20001, 1, &time);
    EXPECT_EQ(time, StreamRows::timeOf(20001));
    std::vector<std::byte> cells(vtu::TextCell::kBytesInRow * 2);
    rows->readRows(20000, 2, 45, vtu::TextCell::kBytesInRow, cells.data(), vtu::TextCell::kBytesInRow);
    std::string text;
    rows->readText(vtu::TextCell::fromRow(cells.data() + vtu::TextCell::kBytesInRow), text);
    EXPECT_EQ(text, StreamRows::textOf(20001, 0));
  };
  {
    StreamedRun run(path_, 3, 2);
    run.append(20000);
    rows = run.stream.rows(0);
    check();
    run.stream.close();
    check();
    run.stream.reopen();
    check();
    EXPECT_THROW(rows->readTimes(20002, 1, nullptr), std::runtime_error);
  }
  check();
}

TEST_F(QatStreamTest, VariablesAreReplacedWhenItIsClosed) {
  StreamedRun run(path_, 3, 2);
  run.append(20000);
  const Array value = text("new");
  const vtu::StreamVariable variables[] = {{"logsout", value.get()}};
  run.stream.close(variables);
  EXPECT_EQ(difference(load("logsout").get(), value.get()), "");
  run.stream.reopen();
  run.append(5);
  run.stream.close();
  const OpenFile file = open("r");
  EXPECT_EQ(vtu::QatSamples(*file.get()).columns(0).at(0).count, 20007U);
}

TEST_F(QatStreamTest, NobodyElseWritesTheFile) {
  StreamedRun run(path_, 1, 1);
  run.append(100);
  run.stream.flush();
  EXPECT_THROW(
      {
        try {
          vtu::QatStream second(path_);
        } catch (const std::runtime_error& error) {
          EXPECT_THAT(error.what(), ::testing::HasSubstr(path_));
          EXPECT_THAT(error.what(), ::testing::HasSubstr("being written by another run"));
          throw;
        }
      },
      std::runtime_error);
  EXPECT_FALSE(open("w"));
  EXPECT_THAT(qatLastError(), ::testing::HasSubstr("being written by another run"));
  EXPECT_FALSE(open("u"));
  run.stream.close();
  EXPECT_EQ(wrong(run, 1), "");
  EXPECT_FALSE(open("u")) << "the run may go on";
  EXPECT_TRUE(vtu::isStreamed(path_));
}

TEST_F(QatStreamTest, CannotBeMadeInAMissingFolderOrOverAFolder) {
  EXPECT_THROW(vtu::QatStream("/nonexistent/x.qat"), std::runtime_error);
  EXPECT_THROW(vtu::QatStream(std::filesystem::temp_directory_path().string()), std::runtime_error);
}

TEST_F(QatStreamTest, EndOfFileMarkCoversWhatIsNotChunked) {
  StreamedRun run(path_, 50, 2);
  std::ifstream stream(path_, std::ios::binary);
  std::uint64_t mark = 0;
  stream.seekg(28);
  stream.read(reinterpret_cast<char*>(&mark), sizeof mark);
  run.append(1);
  EXPECT_GT(mark, 2048U);
  EXPECT_LE(mark, std::filesystem::file_size(path_));
}

/// Runs that are killed. The child reports through a pipe what it has flushed.
class QatStreamKilled : public QatStreamTest {
 protected:
  static constexpr std::size_t kLeaves = 120;

  /// What the child knows to be in the file: at least `flushed` rows.
  struct Report {
    std::uint64_t flushed;
    std::uint64_t way;
  };

  [[noreturn]] static void runForever(const std::string& path, unsigned seed, int pipe) {
    std::mt19937 random(seed);
    StreamedRun run(path, kLeaves, 1 + random() % 5);
    std::optional<vtu::QatStream::Mark> mark;
    std::uint64_t flushed = run.ways.size();
    for (;;) {
      run.append(1 + random() % 300);
      if (random() % 4 == 0) mark = run.stream.mark();
      if (mark && random() % 9 == 0) {
        flushed = std::min(flushed, mark->rows[0]);
        const Report before{flushed, run.way};
        if (write(pipe, &before, sizeof before) < 0) _exit(2);
        run.stepBack(*mark);
      }
      if (random() % 3 == 0) {
        run.stream.flush();
        flushed = run.ways.size();
        const Report report{flushed, run.way};
        if (write(pipe, &report, sizeof report) < 0) _exit(2);
      }
    }
  }

  /// Kills a run after a while. @return the last report
  Report killAfter(std::chrono::microseconds delay, unsigned seed) const {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      close(ends[0]);
      runForever(path_, seed, ends[1]);
    }
    close(ends[1]);
    Report last{};
    Report next{};
    EXPECT_EQ(read(ends[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
    const auto end = std::chrono::steady_clock::now() + delay;
    std::thread killer([&] {
      std::this_thread::sleep_until(end);
      kill(child, SIGKILL);
    });
    while (read(ends[0], &next, sizeof next) == static_cast<ssize_t>(sizeof next)) last = next;
    killer.join();
    int status = 0;
    waitpid(child, &status, 0);
    close(ends[0]);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the run ended by itself";
    return last;
  }

  void checkFile(const Report& report, const char* mode) const {
    const OpenFile file = open(mode);
    ASSERT_TRUE(file) << qatLastError();
    const Contents contents(file, kLeaves);
    ASSERT_TRUE(contents) << qatLastError();
    ASSERT_GE(contents.rows(), report.flushed);
    // Each row was recorded at its place, on one way or another; later ways only follow earlier ones.
    const Array variable(qatGetVariable(file.get(), "logsout"));
    const qxArray* data = fieldOf(qxGetCell(fieldOf(variable.get(), "Elements"), 0), "Data");
    Ways ways;
    for (std::size_t row = 0; row < contents.rows(); ++row) {
      ways.push_back(static_cast<std::uint64_t>(static_cast<const double*>(qxGetConstData(data))[row] / 1e9));
      ASSERT_TRUE(row == 0 || ways[row] >= ways[row - 1]) << "row " << row;
    }
    for (const std::size_t leaf : {std::size_t{0}, kLeaves - 1, kLeaves, kLeaves + 1, kLeaves + 2, kLeaves + 3}) {
      ASSERT_EQ(contents.wrong(ways, leaf), "");
    }
  }

  void killManyTimes(unsigned times, unsigned longestMicroseconds) {
    std::mt19937 random(times);
    for (unsigned i = 0; i < times; ++i) {
      std::filesystem::remove(path_);
      const Report report = killAfter(std::chrono::microseconds(random() % longestMicroseconds), i);
      const std::string before = bytes();
      checkFile(report, "r");
      ASSERT_EQ(bytes(), before) << "reading changed the file, run " << i;
      checkFile(report, "u");
      checkFile(report, "r");
      ASSERT_FALSE(HasFailure()) << "run " << i;
    }
  }
};

TEST_F(QatStreamKilled, EveryFlushedRowIsThere) { killManyTimes(20, 30000); }
TEST_F(QatStreamKilled, EveryFlushedRowIsThereManyTimes) { killManyTimes(100, 150000); }

/// Disks without room, of which every attempt has one of its own.
class QatStreamFullDisk : public QatStreamTest {
 protected:
  struct Report {
    std::uint64_t flushed;  // rows
    int errors;             // of append() and flush()
    bool layout, close;     // succeeded
  };

  /// Streams into a file until that fails, then closes it. In a process of its own, which must end by itself.
  static Report runUntilFull(const std::string& path, bool limitFileSize, rlim_t limit) {
    void* memory = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto* report = new (memory) Report{};
    const pid_t child = fork();
    if (child == 0) {
      if (limitFileSize) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit most{limit, limit};
        setrlimit(RLIMIT_FSIZE, &most);
      }
      try {
        stream(path, *report);
      } catch (const std::runtime_error&) {
      }
      std::exit(HasFailure() ? 1 : 0);  // with everything that runs at a normal exit
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const Report result = *report;
    munmap(memory, sizeof(Report));
    return result;
  }

  static void stream(const std::string& path, Report& report) {
    StreamedRun run(path, 400, 1);
    report.layout = true;
    report.flushed = 1;
    for (int i = 0; i < 300 && report.errors == 0; ++i) {
      try {
        run.append(40);
        if (i % 5 != 0) continue;
        run.stream.flush();
        report.flushed = run.ways.size();
      } catch (const std::runtime_error& error) {
        ++report.errors;
        EXPECT_THAT(error.what(), ::testing::HasSubstr(path));
      }
    }
    EXPECT_EQ(report.errors, 1);
    run.stream.close();
    report.close = true;
  }

  /// @return rows in the file
  std::size_t check(const std::string& path, const Report& report) const {
    if (!report.layout) return 0;
    const OpenFile file(qatOpen(path.c_str(), "r"));
    const Contents contents(file, 400);
    EXPECT_TRUE(contents) << qatLastError();
    if (!contents) return 0;
    EXPECT_GE(contents.rows(), report.flushed);
    EXPECT_EQ(contents.wrong(Ways(contents.rows(), 0), 399), "");
    return contents.rows();
  }
};

TEST_F(QatStreamFullDisk, WhatWasFlushedStaysAndTheFileIsClosed) {
  const std::string folder = path_ + ".mount";
  std::filesystem::create_directory(folder);
  int closed = 0, sizes = 0;
  for (int kilobytes = 100; kilobytes < 28000; kilobytes += 900) {
    if (mount("none", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(kilobytes) + "k").c_str()) != 0) {
      std::filesystem::remove(folder);
      GTEST_SKIP() << "this process may not mount a small file system: " << strerror(errno);
    }
    const Report report = runUntilFull(folder + "/full.qat", false, 0);
    if (report.close) ++closed;
    ++sizes;
    EXPECT_EQ(report.layout, report.close) << kilobytes;
    check(folder + "/full.qat", report);
    umount(folder.c_str());
  }
  std::filesystem::remove(folder);
  EXPECT_GE(sizes, 30);
  EXPECT_GE(closed, 15);
}

TEST_F(QatStreamFullDisk, AfterAWriteThatFailsWhatWasFlushedStays) {
  int kept = 0;
  for (rlim_t limit = 20000; limit < 12000000; limit += 60000 + limit / 20) {
    std::filesystem::remove(path_);
    const Report report = runUntilFull(path_, true, limit);
    EXPECT_FALSE(report.close) << "close() hides the failure at limit " << limit;
    if (check(path_, report) > 1) ++kept;
  }
  EXPECT_GE(kept, 15);
}

}  // namespace
}  // namespace vtio::tests
