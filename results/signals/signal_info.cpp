#include "results/signals/signal_info.hpp"

#include <cmath>
#include <functional>
#include <numeric>

namespace vtio::results {

double FixedPoint::slope() const { return std::ldexp(slopeAdjustmentFactor, fixedExponent); }

std::size_t SignalInfo::width() const {
  return std::accumulate(dimensions.begin(), dimensions.end(), std::size_t{1}, std::multiplies<>());
}

bool SignalInfo::interpolates() const { return interpolation == "linear" && isNumber(type.id) && !labels.has_value(); }

std::string dimensionsText(const std::vector<std::size_t>& dimensions) {
  std::string text;
  for (const std::size_t dimension : dimensions) {
    if (!text.empty()) text += 'x';
    text += std::to_string(dimension);
  }
  return text;
}

std::vector<std::string> elementNames(const SignalInfo& signal) {
  std::vector<std::string> names{signal.name};
  for (const std::size_t dimension : signal.dimensions) {
    std::vector<std::string> longer;
    longer.reserve(names.size() * dimension);
    for (const std::string& name : names) {
      for (std::size_t i = 0; i < dimension; ++i) longer.push_back(name + "[" + std::to_string(i) + "]");
    }
    names = std::move(longer);
  }
  return names;
}

std::vector<std::string> cellNames(const SignalInfo& signal) {
  std::vector<std::string> names = elementNames(signal);
  if (!signal.type.isComplex) return names;
  std::vector<std::string> parts;
  for (const std::string& name : names) {
    parts.push_back(name + ".re");
    parts.push_back(name + ".im");
  }
  return parts;
}

}  // namespace vtio::results
