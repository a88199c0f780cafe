/// @file
/// Results in memory, to test what reads them without a file.
#pragma once

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "results/file/results_file.hpp"

namespace vtio::tests {

using results::ElementClass;
using results::ElementType;
using results::SignalInfo;

/// Tables whose columns were added one signal at a time.
class MemorySource final : public results::SampleSource {
 public:
  struct Table {
    std::vector<double> times;
    std::map<std::pair<ElementClass, bool>, std::vector<std::vector<std::byte>>> columns;  // of elements
    std::map<std::uint32_t, std::vector<std::string>> texts;                               // by signal, all rows
  };

  void readTimes(std::uint32_t table, std::uint64_t first, std::uint64_t count, double* out) override {
    const std::vector<double>& times = tables.at(table).times;
    for (std::uint64_t i = 0; i < count; ++i) out[i] = times.at(first + i);
    ++calls;
  }

  void readBlock(std::uint32_t table, ElementType type, std::size_t firstColumn, std::size_t width,
                 std::uint64_t firstRow, std::uint64_t count, std::byte* out) override {
    const auto& columns = tables.at(table).columns.at({type.id, type.isComplex});
    const std::size_t size = type.bytes();
    for (std::uint64_t row = firstRow; row < firstRow + count; ++row) {
      for (std::size_t column = firstColumn; column < firstColumn + width; ++column, out += size) {
        const std::vector<std::byte>& bytes = columns.at(column);
        if ((row + 1) * size > bytes.size()) throw std::out_of_range("no such row");
        std::memcpy(out, bytes.data() + row * size, size);
      }
    }
    ++calls;
  }

  std::vector<std::string> readTexts(std::uint32_t table, std::uint32_t column, std::uint64_t firstRow,
                                     std::uint64_t count) override {
    const Table& of = tables.at(table);
    const std::vector<std::string>& all = of.texts.at(column);
    const std::size_t width = of.times.empty() ? 0 : all.size() / of.times.size();
    return {all.begin() + static_cast<std::ptrdiff_t>(firstRow * width),
            all.begin() + static_cast<std::ptrdiff_t>((firstRow + count) * width)};
  }

  std::map<std::uint32_t, Table> tables;
  int calls = 0;
};

/// Builds a ResultsFile signal by signal.
class ResultsBuilder {
 public:
  /// The times of a table; set before its signals are added.
  ResultsBuilder& table(std::uint32_t number, std::vector<double> times) {
    source_->tables[number].times = std::move(times);
    return *this;
  }

  /// A signal over all rows of a table, or over rows [begin, begin + count). `values` are of all rows of the table.
  template <class T>
  SignalInfo& add(std::uint32_t table, const std::string& name, ElementType type, const std::vector<T>& values,
                  std::vector<std::size_t> dimensions = {}) {
    SignalInfo& signal = start(table, name, type, std::move(dimensions));
    auto& columns = source_->tables[table].columns[{type.id, type.isComplex}];
    signal.place.firstColumn = columns.size();
    const std::size_t width = signal.width();
    const std::size_t parts = type.parts();
    for (std::size_t element = 0; element < width; ++element) {
      std::vector<std::byte> bytes;
      for (std::size_t row = 0; row < source_->tables[table].times.size(); ++row) {
        const auto* at = reinterpret_cast<const std::byte*>(values.data() + (row * width + element) * parts);
        bytes.insert(bytes.end(), at, at + parts * sizeof(T));
      }
      columns.push_back(std::move(bytes));
    }
    return signal;
  }

  SignalInfo& addDoubles(std::uint32_t table, const std::string& name, const std::vector<double>& values,
                         std::vector<std::size_t> dimensions = {}) {
    return add(table, name, {ElementClass::float64, false}, values, std::move(dimensions));
  }

  SignalInfo& addTexts(std::uint32_t table, const std::string& name, std::vector<std::string> texts) {
    SignalInfo& signal = start(table, name, {ElementClass::text, false}, {});
    source_->tables[table].texts[signal.place.column] = std::move(texts);
    return signal;
  }

  /// Makes a signal that was added before an enumeration, and so on: change it, then limit its rows.
  void limitRows(SignalInfo& signal, std::uint64_t begin, std::uint64_t count) {
    const std::vector<double>& times = source_->tables[signal.place.table].times;
    signal.place.begin = begin;
    signal.place.count = count;
    if (count == 0) return;
    signal.first = times[begin];
    signal.last = times[begin + count - 1];
  }

  /// The file as one that is still being written; the builder is empty then.
  results::ResultsFile buildIncomplete(const std::string& path = "test.qat") { return take(path, false); }

  /// The file; the builder is empty then.
  results::ResultsFile build(const std::string& path = "test.qat") { return take(path, true); }

 private:
  results::ResultsFile take(const std::string& path, bool isComplete) {
    std::vector<SignalInfo> signals;
    for (auto& signal : signals_) signals.push_back(std::move(*signal));
    signals_.clear();
    return results::ResultsFile(path, std::move(signals), std::move(source_), isComplete);
  }

  SignalInfo& start(std::uint32_t table, const std::string& name, ElementType type,
                    std::vector<std::size_t> dimensions) {
    auto signal = std::make_unique<SignalInfo>();
    signal->name = signal->element = name;
    signal->dataset = "logsout";
    signal->type = type;
    signal->typeName = results::nameOf(type.id);
    signal->dimensions = std::move(dimensions);
    signal->interpolation = "zoh";
    signal->place.table = table;
    signal->place.column = nextColumn_++;
    signals_.push_back(std::move(signal));
    limitRows(*signals_.back(), 0, source_->tables[table].times.size());
    return *signals_.back();
  }

  std::unique_ptr<MemorySource> source_ = std::make_unique<MemorySource>();
  std::vector<std::unique_ptr<SignalInfo>> signals_;
  std::uint32_t nextColumn_ = 0;
};

/// All signals of a file.
inline std::vector<const SignalInfo*> allOf(const results::ResultsFile& file) { return file.selectAny({}); }

}  // namespace vtio::tests
