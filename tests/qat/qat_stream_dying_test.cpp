// A streaming program that dies at any of its writes leaves a file with every row that was flushed.
#include <sys/mman.h>
#include <sys/wait.h>

#include <atomic>
#include <new>

#include "dying_writes.hpp"
#include "qat_fixture.hpp"
#include "stream_rows.hpp"

namespace vtio::tests {
namespace {

class QatStreamDying : public QatTest {
 protected:
  static constexpr std::size_t kLeaves = 4, kTables = 2;

  QatStreamDying() : flushed_(newShared()) {}
  ~QatStreamDying() override { munmap(flushed_, sizeof *flushed_); }

  /// Rows of each table that are flushed; in memory that a child shares.
  using Count = std::atomic<std::uint64_t>;

  static Count* newShared() {
    void* memory = mmap(nullptr, sizeof(Count), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    return new (memory) Count(0);
  }

  static std::shared_ptr<const StreamRows> rows(std::uint64_t first, std::uint64_t count) {
    return std::make_shared<StreamRows>(kLeaves, first, std::vector<std::uint64_t>(count, 0));
  }

  void append(vtu::QatStream& stream, std::uint64_t first, std::uint64_t count) const {
    for (std::uint32_t k = 0; k < kTables; ++k) stream.append(k, *rows(first, count), 0, count);
  }

  void flush(vtu::QatStream& stream, std::uint64_t count) {
    stream.flush();
    *flushed_ = count;
  }

  static Array variableOver(const std::vector<std::shared_ptr<const vtu::SampleTable>>& tables, std::uint64_t count) {
    std::vector<Array> parts;
    const auto columns = StreamRows::columns(kLeaves, count);
    for (const auto& table : tables) {
      for (const vtu::SampleColumn& column : columns) {
        parts.push_back(structure({{"Name", text(vtu::to_string(column.name).c_str())},
                                   {"Time", vtu::sampledTimes(table, column.first, column.count)},
                                   {"Data", vtu::sampledArray(table, column)}}));
      }
    }
    const std::size_t all = parts.size();
    return structure({{"Elements", cells({1, all}, std::move(parts))}});
  }

  /// The variable is replaced, too.
  void closeForGood(vtu::QatStream& stream, std::uint64_t count) const {
    std::vector<std::shared_ptr<const vtu::SampleTable>> tables;
    for (std::uint32_t k = 0; k < kTables; ++k) tables.push_back(stream.rows(k));
    const Array variable = variableOver(tables, count);
    const vtu::StreamVariable variables[] = {{"logsout", variable.get()}};
    stream.close(variables);
  }

  /// Flushes, a step back, two closings with rows between them. The process dies on the way.
  template <typename Plan>
  void stream(const Plan& planDeath) {
    vtu::QatStream stream(path_);
    std::vector<std::shared_ptr<const vtu::SampleTable>> firstRows;
    std::vector<vtu::StreamTable> tables;
    for (std::size_t k = 0; k < kTables; ++k) {
      firstRows.push_back(rows(0, 10));
      tables.push_back({firstRows.back(), StreamRows::columns(kLeaves, 10)});
    }
    const Array variable = variableOver(firstRows, 10);
    const vtu::StreamVariable variables[] = {{"logsout", variable.get()}};
    stream.layOut(variables, tables);
    flush(stream, 10);
    planDeath();
    append(stream, 10, 300);
    flush(stream, 310);
    const vtu::QatStream::Mark mark = stream.mark();
    append(stream, 310, 4000);
    flush(stream, 4310);
    *flushed_ = 310;
    stream.stepBack(mark);
    append(stream, 310, 50);
    flush(stream, 360);
    stream.close();
    stream.reopen();
    append(stream, 360, 700);
    flush(stream, 1060);
    closeForGood(stream, 1060);
  }

  /// @return true if the run came to its end
  template <typename Plan>
  bool endsInSpiteOf(const Plan& planDeath) {
    std::filesystem::remove(path_);
    const pid_t child = fork();
    if (child == 0) {
      stream(planDeath);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << status;
    return WIFEXITED(status);
  }

  /// Lets a run die as it was planned for its 1st, 2nd, ... write. @return The number of runs that died.
  std::size_t dieEverywhere(void (*planDeath)(std::size_t)) {
    for (std::size_t writes = 1;; ++writes) {
      SCOPED_TRACE("write " + std::to_string(writes));
      if (endsInSpiteOf([&] { planDeath(writes); })) return writes - 1;
      check("r");
      check("u");
      check("r");
      if (HasFailure()) return writes;
    }
  }

  void check(const char* mode) const {
    const OpenFile file = open(mode);
    ASSERT_TRUE(file) << qatLastError();
    const Array variable(qatGetVariable(file.get(), "logsout"));
    ASSERT_TRUE(variable) << qatLastError();
    const qxArray* elements = qxGetField(variable.get(), 0, "Elements");
    const std::size_t leaves = qxGetNumberOfElements(elements) / kTables;
    for (std::size_t i = 0; i < kTables * leaves; ++i) {
      const qxArray* data = qxGetField(qxGetCell(elements, i), 0, "Data");
      const std::size_t count = qxGetDimensions(data)[0];
      ASSERT_GE(count, *flushed_) << "leaf " << i;
      if (i % leaves >= kLeaves) continue;
      for (std::size_t row = 0; row < count; ++row) {
        const double value = static_cast<const double*>(qxGetConstData(data))[row];
        ASSERT_EQ(value, StreamRows::valueOf(i % leaves, row, 0)) << "leaf " << i << " row " << row;
      }
    }
  }

  Count* flushed_;
};

TEST_F(QatStreamDying, AtAnyWriteKeepsEveryFlushedRow) { EXPECT_GT(dieEverywhere(dieAtWrite), 100U); }
TEST_F(QatStreamDying, BlocksThatFitIntoAPageAreWrittenWithinOne) {
  const std::size_t before = blocksWrittenAcrossPages();
  stream([] {});
  EXPECT_EQ(blocksWrittenAcrossPages(), before);
}
TEST_F(QatStreamDying, WithinAnyWriteKeepsEveryFlushedRow) { EXPECT_GT(dieEverywhere(dieInWrite), 3U); }

}  // namespace
}  // namespace vtio::tests
