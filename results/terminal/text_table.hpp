/// @file
/// Aligned columns of text.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "results/export.hpp"
#include "results/terminal/style.hpp"

namespace vtio::results {

/// A table that is printed when all its rows are known.
class VTIO_RESULTS_EXPORT TextTable final {
 public:
  enum class Align { left, right };
  struct Column {
    std::string title;
    Align align = Align::left;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// @param cells One per column.
  void add(std::vector<std::string> cells);

  /// Prints titles and rows. On a terminal that is too narrow the widest column is shortened.
  void print(std::ostream& out, const Style& style) const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vtio::results
