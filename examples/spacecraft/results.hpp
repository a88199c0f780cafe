/// @file
/// Reads the results Qat file of a run back as a list of leaves, each with its times and values.
///
///     const Results results = Results::open("results.qat");
///     const Leaf& error = results.leaf("pointingError");
///     for (std::size_t n = 0; n < error.samples(); ++n) use(error.time(n), error.value(n));
///
/// See also conservation.hpp and results_table.hpp.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qalc.hpp"

namespace spacecraft {

/// One leaf of a logged signal: where it comes from, its type, and a view of its samples.
///
/// Views expire with the Results that the leaf came from.
class Leaf final {
 public:
  /// @param element Dataset element that the leaf belongs to.
  /// @param node Node structure of the leaf inside it.
  /// @param name Name of the element, extended by the names of the buses and of the leaf below it.
  /// @throws std::runtime_error when a field is missing or of the wrong class.
  Leaf(const qxArray* element, const qxArray* node, std::string name);

  [[nodiscard]] const std::string& name() const { return name_; }
  /// Elements of the block path, top model first, joined by " > ", and the port.
  [[nodiscard]] const std::string& blockPath() const { return blockPath_; }
  /// Class name; complex values and scaled ones say so.
  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] const std::string& unit() const { return unit_; }
  /// Extents of one sample; empty for a scalar.
  [[nodiscard]] const std::vector<std::size_t>& dimensions() const { return dimensions_; }
  [[nodiscard]] std::size_t samples() const { return qxGetNumberOfElements(time_); }
  /// Time of sample n in seconds.
  [[nodiscard]] double time(std::size_t n) const { return static_cast<const double*>(qxGetConstData(time_))[n]; }
  /// Entry k (column-major) of sample n as it is stored. Real values of class double only.
  [[nodiscard]] double value(std::size_t n, std::size_t k = 0) const {
    return static_cast<const double*>(qxGetConstData(data_))[n + k * samples()];
  }
  /// The stored values, of any class.
  [[nodiscard]] const qxArray* data() const { return data_; }
  /// Real value of one count of a fixed-point signal; 1 for every other signal.
  [[nodiscard]] double slope() const { return slope_; }
  /// Entries of one sample.
  [[nodiscard]] std::size_t width() const;
  /// Samples per second: the mean over the whole log; 0 with fewer than two samples.
  [[nodiscard]] double rate() const;

 private:
  std::string name_;
  std::string blockPath_;
  std::string type_;
  std::string unit_;
  std::vector<std::size_t> dimensions_;
  double slope_ = 1.0;
  const qxArray* time_;
  const qxArray* data_;
};

/// Everything that a results file holds.
class Results final {
 public:
  /// Reads the datasets of signals and of root outports.
  /// @throws std::runtime_error with the file's name and what is wrong.
  [[nodiscard]] static Results open(const std::string& fileName);

  /// Leaves in the order of the file.
  [[nodiscard]] const std::vector<Leaf>& leaves() const { return leaves_; }
  /// The first leaf of a name, as Leaf::name() gives it; nullptr if there is none.
  [[nodiscard]] const Leaf* find(std::string_view name) const;
  /// The same. @throws std::runtime_error when there is none.
  [[nodiscard]] const Leaf& leaf(std::string_view name) const;

 private:
  std::vector<vtu::qxArrayWrapper> datasets_;
  std::vector<Leaf> leaves_;
};

}  // namespace spacecraft
