// Streams rows into a file until it is killed, for readers in other languages; two signals have a limit of points:
//
//   write_stream FILE          rows as fast as readers want them
//   write_stream FILE back     a few rows at a time, with a step back now and then
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "stream_rows.hpp"

namespace {

using namespace vtio::tests;

constexpr std::size_t kLeaves = 20;
constexpr std::uint64_t kRows = 64;
constexpr std::uint64_t kLimit = 1000;

/// A run of one table and one ring.
class Run {
 public:
  explicit Run(const char* file) : stream_(file) {
    const auto first = std::make_shared<StreamRows>(kLeaves, 0, ways_);
    const auto columns = StreamRows::columns(kLeaves, kRows);
    const Array variable = elementsOver(first, columns);
    const auto few = std::make_shared<StreamRows>(1, 0, ways_);
    const auto all = StreamRows::columns(1, kRows);
    const Array newest = elementsOver(few, {all.front(), all.back()});
    const vtu::StreamRing rings[] = {
        {kLimit, {{0, few, {0}, 8, false}, {1, few, {kText}, vtu::TextCell::kBytesInRow, true}}}};
    const vtu::StreamVariable variables[] = {{"logsout", variable.get()}, {"newest", newest.get()}};
    const vtu::StreamTable tables[] = {{first, columns}};
    stream_.layOut(variables, tables, rings);
    put(0, kRows);
  }

  [[nodiscard]] std::uint64_t rows() const { return ways_.size(); }

  void add(std::uint64_t way) {
    const std::uint64_t row = rows();
    ways_.resize(row + kRows, way);
    stream_.append(0, StreamRows(kLeaves, row, std::vector<std::uint64_t>(kRows, way)), 0, kRows);
    put(row, row + kRows);
    stream_.flush();
  }

  [[nodiscard]] vtu::QatStream::Mark mark() const { return stream_.mark(); }

  void stepBack(const vtu::QatStream::Mark& mark) {
    ways_.resize(mark.rows[0]);
    stream_.cutNewest(0, [this](std::uint32_t) { return rows(); });
    stream_.stepBack(mark);
    const auto [low, end] = stream_.newest(0, 0);
    const std::uint64_t oldest = rows() - std::min(rows(), kLimit);
    if (low > oldest) put(oldest, low < end ? low : rows());
  }

 private:
  static constexpr std::size_t kText = 8 + 21;

  void put(std::uint64_t first, std::uint64_t end) {
    const auto at = ways_.begin() + static_cast<std::ptrdiff_t>(first);
    const StreamRows from(1, first, {at, at + static_cast<std::ptrdiff_t>(end - first)});
    const vtu::RingSamples samples[] = {{0, first, &from, 0, end - first, 0}, {1, first, &from, 0, end - first, kText}};
    stream_.putNewest(0, samples);
  }

  vtu::QatStream stream_;
  std::vector<std::uint64_t> ways_ = std::vector<std::uint64_t>(kRows, 0);  // of each row
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 && count != 3) return 2;
  const bool stepsBack = count == 3;
  Run run(arguments[1]);
  std::mt19937 random(1);
  vtu::QatStream::Mark mark = run.mark();
  for (std::uint64_t way = 0;;) {
    run.add(way);
    usleep(stepsBack ? 5000 : 500);
    if (!stepsBack) continue;
    if (random() % 20 == 0) mark = run.mark();
    if (random() % 30 != 0) continue;
    run.stepBack(mark);
    ++way;
  }
}
