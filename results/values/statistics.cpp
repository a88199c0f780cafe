#include "results/values/statistics.hpp"

#include <algorithm>
#include <cmath>

#include "results/values/shown_value.hpp"

namespace vtio::results {

void Statistics::addNumber(double value) {
  if (std::isnan(value)) {
    ++nans;
    return;
  }
  ++numbers;
  min = numbers == 1 ? value : std::min(min, value);
  max = numbers == 1 ? value : std::max(max, value);
  // Wide enough for any sum of doubles; infinite values make it infinite or NaN, as they should.
  sum_ += value;
}

void Statistics::add(const SignalInfo& signal, const SeriesView& series) {
  for (const double time : series.times) {
    if (!std::isnan(lastTime_)) largestGap = std::max(largestGap, time - lastTime_);
    lastTime_ = time;
  }
  samples += series.size();
  if (series.bytes == nullptr || signal.labels) return;
  const std::size_t cells = series.width * series.type.parts();
  if (signal.fixedPoint) {
    const ShownValues values(signal);
    for (std::size_t i = 0; i < series.size(); ++i) {
      const SampleView sample = series.sample(i);
      for (std::size_t cell = 0; cell < cells; ++cell) addNumber(values.number(sample, cell));
    }
  } else {
    withNumber(series.type.id, [&]<class T>(T) {
      for (std::size_t i = 0; i < series.size(); ++i) {
        const std::byte* at = series.bytes + i * series.stride;
        for (std::size_t cell = 0; cell < cells; ++cell) {
          addNumber(static_cast<double>(loadNumber<T>(at + cell * sizeof(T))));
        }
      }
    });
  }
  if (numbers != 0) mean = static_cast<double>(sum_ / static_cast<long double>(numbers));
}

Statistics statisticsOf(const ResultsFile& file, const SignalInfo& signal, TimeRange range) {
  constexpr std::uint64_t kBytesAtOnce = std::uint64_t{32} << 20U;
  const std::uint64_t bytesPerRow = std::max<std::uint64_t>(8, signal.width() * signal.type.bytes());
  const std::uint64_t rowsAtOnce = std::max<std::uint64_t>(1, kBytesAtOnce / bytesPerRow);
  const RowRange rows = rowsIn(file.source(), signal.place.table, rowsOf(signal), range);
  Statistics statistics;
  for (std::uint64_t row = rows.begin; row < rows.end; row += rowsAtOnce) {
    const Series part = readRows(file, signal, {row, std::min(rows.end, row + rowsAtOnce)});
    statistics.add(signal, part.view());
  }
  return statistics;
}

}  // namespace vtio::results
