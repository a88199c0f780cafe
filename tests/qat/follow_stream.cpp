// Reads a file that qat_write_stream writes, again and again, and checks what it sees:
//
//   follow_stream FILE SECONDS keep|reopen     opens it once, or each time
//
// Every sample is one that the writer wrote; there are never fewer than before except after a step back.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/qat.hpp"
#include "platform/qat_parts.hpp"
#include "stream_rows.hpp"

namespace {

using vtio::tests::StreamRows;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kMostRows = 2000;  // of one look
constexpr std::uint64_t kNone = UINT64_MAX;

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

/// The way on which the newest row was recorded.
struct Look {
  std::uint64_t rows = 0;
  std::uint64_t way = 0;
  bool isMixed = false;  // the writer has stepped back meanwhile
};

/// The newest samples of a column of doubles.
Look look(const vtu::QatSamples& samples, std::uint32_t table, std::uint32_t column, std::size_t leaf) {
  const vtu::StoredColumn stored = samples.columns(table).at(column);
  const std::uint64_t count = std::min(stored.count, kMostRows), first = stored.begin + stored.count - count;
  std::vector<double> times(count), values(count);
  samples.readTimes(table, first, count, times.data());
  samples.readColumn(table, column, first, count, values.data());
  std::uint64_t way = 0, before = kNone;
  for (std::uint64_t i = 0; i < count; ++i) {
    const auto row = static_cast<std::uint64_t>(times[i] / StreamRows::timeOf(1));
    const auto its = static_cast<std::uint64_t>(values[i] / 1e9);
    const std::string at = "row " + std::to_string(row) + " of table " + std::to_string(table);
    require(before == kNone || row == before + 1, at + " after " + std::to_string(before));
    require(values[i] == StreamRows::valueOf(leaf, row, its), at + ": " + std::to_string(values[i]));
    if (its < way) return {0, 0, true};
    way = its;
    before = row;
  }
  return {before + 1, way, false};
}

/// The table of one leaf that has the samples of a ring; none before there are any.
std::optional<std::uint32_t> ringIn(const vtu::QatSamples& samples) {
  for (const std::uint32_t table : samples.tables()) {
    if (table >= 0x80000000U && samples.columns(table).at(0).elementClass == "double") return table;
  }
  return {};
}

/// Checks that rows are fewer than before only after a step back.
class Growth {
 public:
  void add(const Look& now) {
    ++looks;
    mixed += now.isMixed ? 1 : 0;
    if (now.isMixed || now.rows == 0) return;
    const bool isBack = now.rows < last_.rows;
    if (isBack && backFrom_ == kNone) backFrom_ = last_.way;
    if (backFrom_ != kNone && now.way > backFrom_) {
      backFrom_ = kNone;
      ++stepsBack;
    }
    require(backFrom_ == kNone || isBack || now.rows == last_.rows || now.way >= last_.way,
            "rows of an older way after a step back");
    last_ = now;
  }

  int stepsBack = 0, looks = 0, mixed = 0;

 private:
  Look last_;
  std::uint64_t backFrom_ = kNone;  // the way of rows that are gone
};

struct File {
  explicit File(vtu::QatFileWrapper opened) : file(std::move(opened)), samples(*file.get()) {}
  vtu::QatFileWrapper file;
  vtu::QatSamples samples;
};

std::unique_ptr<File> openFile(const char* path) {
  for (int tries = 0; tries < 1000; ++tries) {
    vtu::QatFileWrapper file(path, "r");
    if (file) return std::make_unique<File>(std::move(file));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw std::runtime_error(qatLastError());
}

int follow(const char* path, double seconds, bool keeps) {
  std::unique_ptr<File> open = openFile(path);
  Growth table, ring;
  for (const auto end = Clock::now() + std::chrono::duration<double>(seconds); Clock::now() < end;) {
    if (keeps) {
      open->samples.refresh();
    } else {
      open = openFile(path);
    }
    table.add(look(open->samples, 0, 7, 7));
    if (const auto newest = ringIn(open->samples)) {
      const Look seen = look(open->samples, *newest, 0, 0);
      require(open->samples.columns(*newest).at(0).count <= 1000, "more than the limit");
      ring.add(seen);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  require(table.looks > 5 && ring.looks > 5, "nothing was seen");
  require(table.mixed < table.looks / 4 && ring.mixed < ring.looks / 4, "ways are mixed too often");
  std::printf("%d looks, %d steps back\n", table.looks, table.stepsBack);
  return table.stepsBack > 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  try {
    return follow(arguments[1], std::atof(arguments[2]), std::string(arguments[3]) == "keep");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "follow_stream: %s\n", error.what());
    return 1;
  }
}
