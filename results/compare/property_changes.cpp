#include "results/compare/property_changes.hpp"

#include <cmath>

#include "results/values/number_text.hpp"

namespace vtio::results {
namespace {

std::string typeText(const SignalInfo& signal) {
  std::string text = signal.typeName;
  if (signal.labels) text += " (" + std::string(nameOf(signal.type.id)) + ")";
  if (signal.type.isComplex) text += " complex";
  if (const auto& fixed = signal.fixedPoint) {
    text += std::string(fixed->isSigned ? ", signed " : ", unsigned ") + std::to_string(fixed->wordLength) +
            " bits, slope " + numberText(fixed->slope()) + ", bias " + numberText(fixed->bias);
  }
  return text;
}

std::string shapeText(const SignalInfo& signal) {
  return signal.dimensions.empty() ? "scalar" : dimensionsText(signal.dimensions);
}

std::string labelsText(const SignalInfo& signal) {
  if (!signal.labels) return "none";
  std::string text;
  for (const auto& [label, value] : *signal.labels) {
    text += (text.empty() ? "" : ", ") + label + "=" + std::to_string(value);
  }
  return text;
}

std::string spanText(const SignalInfo& signal) {
  if (signal.place.count == 0) return "no samples";
  return numberText(signal.first) + " to " + numberText(signal.last) + " s";
}

bool haveSameSpan(const SignalInfo& a, const SignalInfo& b, double timeTolerance) {
  if (a.place.count == 0 || b.place.count == 0) return a.place.count == b.place.count;
  return std::fabs(a.first - b.first) <= timeTolerance && std::fabs(a.last - b.last) <= timeTolerance;
}

}  // namespace

std::vector<PropertyChange> propertyChanges(const SignalInfo& a, const SignalInfo& b, double timeTolerance) {
  std::vector<PropertyChange> changes;
  const auto compare = [&](const char* what, const std::string& inA, const std::string& inB) {
    if (inA != inB) changes.push_back({what, inA, inB});
  };
  compare("type", typeText(a), typeText(b));
  compare("unit", a.unit, b.unit);
  compare("dimensions", shapeText(a), shapeText(b));
  compare("labels", labelsText(a), labelsText(b));
  compare("interpolation", a.interpolation, b.interpolation);
  if (!haveSameSpan(a, b, timeTolerance)) changes.push_back({"span", spanText(a), spanText(b)});
  return changes;
}

}  // namespace vtio::results
