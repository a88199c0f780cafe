/// @file
/// Model descriptions for tests, with what is being tested put in.
#pragma once

#include <string>

#include "runner/description/model_description.hpp"

namespace runner_test {

/// FMI 2; the variables begin in line 5.
inline std::string fmi2(const std::string& variables, const std::string& before = "", const std::string& after = "") {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<fmiModelDescription fmiVersion="2.0" modelName="M" guid="g" variableNamingConvention="structured">
<CoSimulation modelIdentifier="m"/>)" +
         before + "\n<ModelVariables>\n" + variables + "\n</ModelVariables><ModelStructure>" + after +
         "</ModelStructure>\n</fmiModelDescription>";
}

/// FMI 3; the variables begin in line 5.
inline std::string fmi3(const std::string& variables, const std::string& before = "", const std::string& after = "") {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<fmiModelDescription fmiVersion="3.0" modelName="M" instantiationToken="t" variableNamingConvention="structured">
<CoSimulation modelIdentifier="m"/>)" +
         before + "\n<ModelVariables>\n" + variables + "\n</ModelVariables><ModelStructure>" + after +
         "</ModelStructure>\n</fmiModelDescription>";
}

/// <Float64 name="…" …/>
inline std::string float64(const std::string& name, unsigned reference, const std::string& more = "") {
  return "<Float64 name=\"" + name + "\" valueReference=\"" + std::to_string(reference) + "\" " + more + "/>\n";
}

/// Reads a description that has no mistakes.
inline vtio::runner::ModelDescription read(const std::string& xml) {
  vtio::runner::Mistakes mistakes;
  vtio::runner::ModelDescription model = vtio::runner::readModelDescription(xml, mistakes);
  for (const vtio::runner::Mistake& mistake : mistakes.kept()) ADD_FAILURE() << mistake.text();
  return model;
}

}  // namespace runner_test
