#include "results_table.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace spacecraft {
namespace {

constexpr std::size_t kColumns = 7;
using Row = std::array<std::string, kColumns>;

std::string dimensionsText(const Leaf& leaf) {
  std::string text;
  for (const std::size_t extent : leaf.dimensions()) {
    text += (text.empty() ? "" : " x ") + std::to_string(extent);
  }
  return text.empty() ? "1" : text;
}

std::string rateText(const Leaf& leaf) {
  std::ostringstream text;
  text << std::setprecision(4) << leaf.rate() << " Hz";
  return leaf.rate() > 0.0 ? text.str() : "-";
}

Row rowOf(const Leaf& leaf) {
  return {leaf.name(),          leaf.blockPath(), leaf.type(),
          dimensionsText(leaf), leaf.unit(),      std::to_string(leaf.samples()),
          rateText(leaf)};
}

}  // namespace

void printTable(std::ostream& out, const Results& results) {
  std::vector<Row> rows{{"name", "block path:port", "type", "dimensions", "unit", "samples", "rate"}};
  std::transform(results.leaves().begin(), results.leaves().end(), std::back_inserter(rows), rowOf);
  std::array<std::size_t, kColumns> widths{};
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < kColumns; ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < kColumns; ++column) {
      const bool isNumber = column >= kColumns - 2;
      out << (isNumber ? std::right : std::left) << std::setw(static_cast<int>(widths[column])) << row[column]
          << (column + 1 < kColumns ? "  " : "\n");
    }
  }
}

}  // namespace spacecraft
