#include "results/terminal/text_table.hpp"

#include <algorithm>
#include <numeric>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace vtio::results {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 12;

std::string aligned(const std::string& text, std::size_t width, TextTable::Align align, bool isLast) {
  const std::string shown = shortened(text, width);
  const std::string blanks(width - displayWidth(shown), ' ');
  if (align == TextTable::Align::right) return blanks + shown;
  return isLast ? shown : shown + blanks;
}

}  // namespace

void TextTable::add(std::vector<std::string> cells) {
  if (cells.size() != columns_.size()) throw std::logic_error("a row of another number of columns");
  for (std::string& cell : cells) cell = printable(cell);
  rows_.push_back(std::move(cells));
}

void TextTable::print(std::ostream& out, const Style& style) const {
  std::vector<std::size_t> widths;
  for (const Column& column : columns_) widths.push_back(displayWidth(column.title));
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], displayWidth(row[i]));
  }
  const std::size_t gaps = kGap * (widths.size() - 1);
  while (style.isTerminal && std::accumulate(widths.begin(), widths.end(), gaps) > style.width) {
    auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= kNarrowest) break;
    --*widest;
  }
  const auto line = [&](const auto& cellOf) {
    std::string text;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (i != 0) text.append(kGap, ' ');
      text += aligned(cellOf(i), widths[i], columns_[i].align, i + 1 == columns_.size());
    }
    return text;
  };
  out << style.bold(line([&](std::size_t i) { return columns_[i].title; })) << '\n';
  for (const auto& row : rows_) out << line([&](std::size_t i) { return row[i]; }) << '\n';
}

}  // namespace vtio::results
