#include "results/sweep/run_condition.hpp"

#include <array>
#include <optional>
#include <utility>

#include "results/file/results_error.hpp"

namespace vtio::results {
namespace {

using Operator = RunCondition::Operator;

constexpr std::array<std::pair<std::string_view, Operator>, 7> kOperators = {{{"<=", Operator::lessOrEqual},
                                                                              {">=", Operator::greaterOrEqual},
                                                                              {"!=", Operator::notEqual},
                                                                              {"==", Operator::equal},
                                                                              {"<", Operator::less},
                                                                              {">", Operator::greater},
                                                                              {"=", Operator::equal}}};

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// What an operator at the front of a text leaves.
std::optional<std::pair<Operator, std::string_view>> takeOperator(std::string_view text) {
  text = trimmed(text);
  for (const auto& [sign, op] : kOperators) {
    if (text.starts_with(sign)) return std::pair(op, trimmed(text.substr(sign.size())));
  }
  return std::nullopt;
}

}  // namespace

bool RunCondition::holds(double number, double limit) const {
  switch (op) {
    case Operator::less:
      return number < limit;
    case Operator::lessOrEqual:
      return number <= limit;
    case Operator::greater:
      return number > limit;
    case Operator::greaterOrEqual:
      return number >= limit;
    case Operator::equal:
      return number == limit;
    default:
      return number != limit;
  }
}

RunCondition parseCondition(std::string_view text, std::span<const std::string> columns) {
  const std::string_view all = trimmed(text);
  std::optional<RunCondition> found;
  for (const std::string& column : columns) {
    if (!all.starts_with(column) || (found && found->column.size() >= column.size())) continue;
    if (const auto rest = takeOperator(all.substr(column.size()))) {
      found = RunCondition{column, rest->first, std::string(rest->second)};
    }
  }
  if (found) return *found;
  const std::size_t at = all.find_first_of("<>=!");
  const auto rest = at == std::string_view::npos ? std::nullopt : takeOperator(all.substr(at));
  if (!rest || trimmed(all.substr(0, at)).empty()) {
    throw ResultsError("'" + std::string(text) + "' is no condition on runs, as 'stiffness>2' is one");
  }
  return {std::string(trimmed(all.substr(0, at))), rest->first, std::string(rest->second)};
}

}  // namespace vtio::results
