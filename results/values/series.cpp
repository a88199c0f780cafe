#include "results/values/series.hpp"

namespace vtio::results {
namespace {

constexpr std::byte kNoBytes{};  // address of samples without elements

}  // namespace

SeriesView Series::view() const {
  static const std::string noText;
  SeriesView view{times, type, width, nullptr, width * type.bytes(), nullptr};
  if (type.id == ElementClass::text) {
    view.texts = texts.empty() ? &noText : texts.data();
  } else {
    view.bytes = bytes.empty() ? &kNoBytes : bytes.data();
  }
  return view;
}

Series readRows(const ResultsFile& file, const SignalInfo& signal, RowRange rows) {
  const SignalPlace& place = signal.place;
  SampleSource& source = file.source();
  Series series;
  series.type = signal.type;
  series.width = signal.width();
  series.times.resize(rows.count());
  if (rows.count() == 0) return series;
  source.readTimes(place.table, rows.begin, rows.count(), series.times.data());
  if (signal.type.id == ElementClass::text) {
    series.texts = source.readTexts(place.table, place.column, rows.begin, rows.count());
  } else if (series.width != 0) {
    series.bytes.resize(rows.count() * series.width * signal.type.bytes());
    source.readBlock(place.table, signal.type, place.firstColumn, series.width, rows.begin, rows.count(),
                     series.bytes.data());
  }
  return series;
}

Series readSeries(const ResultsFile& file, const SignalInfo& signal, TimeRange range) {
  return readRows(file, signal, rowsIn(file.source(), signal.place.table, rowsOf(signal), range));
}

}  // namespace vtio::results
