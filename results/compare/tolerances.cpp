#include "results/compare/tolerances.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>

#include "results/file/results_error.hpp"
#include "results/signals/glob.hpp"

namespace vtio::results {
namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Takes the text behind the last comma off a line.
std::optional<double> takeNumber(std::string_view& line) {
  const std::size_t comma = line.rfind(',');
  if (comma == std::string_view::npos) return std::nullopt;
  const std::string_view text = trimmed(line.substr(comma + 1));
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(number >= 0)) return std::nullopt;
  line = line.substr(0, comma);
  return number;
}

}  // namespace

void Tolerances::addLines(std::string_view text, const std::string& source) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const std::string_view whole = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    std::string_view line = trimmed(whole.substr(0, whole.find('#')));
    if (line.empty()) continue;
    const std::string shown(line);
    const auto atol = takeNumber(line);
    const auto rtol = atol ? takeNumber(line) : std::nullopt;
    if (!rtol || trimmed(line).empty()) {
      throw ResultsError(source,
                         "'" + shown + "' is not of the form 'pattern, rtol, atol', line " + std::to_string(number));
    }
    lines_.push_back({std::string(trimmed(line)), {*rtol, *atol}});
  }
}

void Tolerances::addFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw ResultsError(path, "cannot read the tolerances");
  addLines(text, path);
}

Tolerance Tolerances::of(std::string_view signal) const {
  const auto last =
      std::find_if(lines_.rbegin(), lines_.rend(), [&](const auto& line) { return matchesGlob(line.pattern, signal); });
  return last == lines_.rend() ? other_ : last->tolerance;
}

}  // namespace vtio::results
