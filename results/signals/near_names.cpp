#include "results/signals/near_names.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "results/signals/glob.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kMostBytesCompared = 1000;  // longer names are compared by their beginning

std::string lowered(std::string_view text) {
  std::string result(text.substr(0, kMostBytesCompared));
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

// Whether a name or pattern is that of the last levels of `name`.
bool isLastPart(std::string_view part, std::string_view name) {
  for (std::size_t at = name.find_first_of("./|"); at != std::string_view::npos;
       at = name.find_first_of("./|", at + 1)) {
    if (matchesGlob(part, name.substr(at + 1))) return true;
  }
  return false;
}

std::size_t literalsOf(std::string_view pattern) {
  return static_cast<std::size_t>(
      std::count_if(pattern.begin(), pattern.end(), [](char c) { return c != '*' && c != '?'; }));
}

}  // namespace

std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit) {
  const bool hasStar = a.find('*') != std::string_view::npos;
  const std::size_t shortest = a.size() < b.size() ? b.size() - a.size() : a.size() - b.size();
  if (!hasStar && shortest > limit) return limit + 1;
  std::array<std::vector<std::size_t>, 3> rows;  // of the table of distances: before last, last, this one
  for (auto& row : rows) row.resize(b.size() + 1);
  std::iota(rows[1].begin(), rows[1].end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    auto& [older, last, row] = rows;
    const std::size_t cost = a[i - 1] == '*' ? 0 : 1;  // of a byte more or less
    row[0] = last[0] + cost;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] || a[i - 1] == '?' ? 0 : 1);
      row[j] = std::min({last[j] + cost, row[j - 1] + cost, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], older[j - 2] + 1);
    }
    if (*std::min_element(row.begin(), row.end()) > limit) return limit + 1;
    std::rotate(rows.begin(), rows.begin() + 1, rows.end());
  }
  return std::min(rows[1][b.size()], limit + 1);
}

std::vector<std::string> nearNames(std::string_view name, std::span<const std::string> candidates, std::size_t most) {
  const std::string wanted = lowered(name);
  const std::size_t literals = literalsOf(wanted);
  if (literals == 0) return {};
  const bool isPattern = literals < wanted.size();
  const std::size_t limit = isPattern ? literals / 3 : std::max<std::size_t>(1, literals / 3);
  std::vector<std::pair<std::size_t, std::size_t>> found;  // distance, candidate
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const std::string candidate = lowered(candidates[i]);
    const bool isNamed = isLastPart(wanted, candidate);
    const std::size_t distance = isNamed ? 1 : editDistance(wanted, candidate, limit);
    if (isNamed || distance <= limit) found.emplace_back(distance, i);
  }
  std::sort(found.begin(), found.end());
  found.resize(std::min(found.size(), most));
  std::vector<std::string> names;
  names.reserve(found.size());
  for (const auto& [distance, index] : found) names.push_back(candidates[index]);
  return names;
}

std::string didYouMean(std::string_view name, std::span<const std::string> candidates) {
  const std::vector<std::string> names = nearNames(name, candidates);
  if (names.empty()) return "";
  std::string text = "; did you mean ";
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i != 0) text += i + 1 == names.size() ? " or " : ", ";
    text += "'" + names[i] + "'";
  }
  return text + "?";
}

}  // namespace vtio::results
