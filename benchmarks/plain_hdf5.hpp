/// @file
/// The floor of streaming that programs without vtio write: one chunked dataset per signal, through the HDF5 library.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vtio::benchmarks {

/// What takes the values of one signal.
class ValueSink {
 public:
  ValueSink() = default;
  ValueSink(const ValueSink&) = delete;
  ValueSink& operator=(const ValueSink&) = delete;
  virtual ~ValueSink() = default;
  virtual void put(double value) = 0;
};

/// A file with one extensible dataset of doubles per signal. Values are collected until a chunk is full, and the last
/// chunk is padded.
class PlainHdf5File final {
 public:
  /// @throws std::runtime_error if HDF5 refuses, as all functions here.
  PlainHdf5File(const std::string& path, std::size_t signals, std::size_t chunkValues);
  PlainHdf5File(const PlainHdf5File&) = delete;
  PlainHdf5File& operator=(const PlainHdf5File&) = delete;
  ~PlainHdf5File();

  [[nodiscard]] ValueSink& sink(std::size_t signal) { return *sinks_[signal]; }

  /// Writes what is left and closes the file.
  void close();

 private:
  long long file_;  // an hid_t
  std::vector<std::unique_ptr<ValueSink>> sinks_;
};

}  // namespace vtio::benchmarks
