/// @file
/// How far two values may be apart, by signal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "results/export.hpp"

namespace vtio::results {

/// Values are the same if |a - b| <= atol + rtol x |b|.
struct Tolerance {
  double rtol = 0;
  double atol = 0;
};

/// Tolerances by pattern of names; the last pattern that matches wins.
class VTIO_RESULTS_EXPORT Tolerances final {
 public:
  /// @param other What holds for signals that match no pattern.
  explicit Tolerances(Tolerance other = {}) : other_(other) {}

  /// Adds the lines of a text: `pattern, rtol, atol` each; `#` begins a comment, empty lines count nothing. A pattern
  /// may contain commas.
  /// @param source What messages call the text.
  /// @throws ResultsError with the line for a line of another form and for a tolerance that is negative or no number.
  void addLines(std::string_view text, const std::string& source);

  /// The same with the contents of a file.
  /// @throws ResultsError, too, if it cannot be read.
  void addFile(const std::string& path);

  [[nodiscard]] Tolerance of(std::string_view signal) const;

 private:
  struct Line {
    std::string pattern;
    Tolerance tolerance;
  };

  Tolerance other_;
  std::vector<Line> lines_;
};

}  // namespace vtio::results
