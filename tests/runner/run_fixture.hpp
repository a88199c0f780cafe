/// @file
/// What tests of whole runs have in common.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "runner/fmu/fmu_file.hpp"
#include "runner/run/run_fmu.hpp"
#include "tests/runner/dataset_content.hpp"
#include "tests/runner/results_reader.hpp"
#include "tests/runner/zip_maker.hpp"

namespace runner_test {

/// Runs example FMUs into `results.qat` of a folder of its own.
class RunFolder : public WorkFolder {
 protected:
  /// The options of a run of an example FMU, named without its ending.
  vtio::runner::RunOptions options(const std::string& name) {
    vtio::runner::RunOptions run;
    run.fmu = std::filesystem::path(VTIO_FMU_DIR) / (name + ".fmu");
    run.output = file("results.qat");
    return run;
  }

  /// An example FMU whose description is changed in one place.
  std::filesystem::path edited(const std::string& name, const std::string& from, const std::string& to) {
    const vtio::runner::FmuFile fmu(options(name).fmu);
    std::string description = fmu.archive().read("modelDescription.xml");
    const std::size_t at = description.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    description.replace(at, from.size(), to);
    const std::string binary = fmu.binaryFor(fmu.model().interfaces.back());
    const std::filesystem::path path = file(name + "_edited.fmu");
    ZipMaker().add("modelDescription.xml", description).add(binary, fmu.archive().read(binary)).write(path);
    return path;
  }

  /// Makes a run; its output and messages are in out_ and messages_ then.
  vtio::runner::ExitStatus run(const vtio::runner::RunOptions& chosen) {
    out_.str("");
    messages_.str("");
    return runFmu(chosen, out_, messages_);
  }

  [[nodiscard]] Results results() const { return Results(file("results.qat")); }

  /// Every array of both datasets.
  [[nodiscard]] std::vector<std::string> content() const {
    std::vector<std::string> found;
    for (const char* dataset : {kOutputs, kSignals}) collect(results().variable(dataset).get(), found);
    return found;
  }

  /// Every array of the elements of both datasets.
  [[nodiscard]] std::vector<std::string> elements() const {
    std::vector<std::string> found;
    for (const char* dataset : {kOutputs, kSignals}) {
      const vtu::qxArrayWrapper variable = results().variable(dataset);
      collect(qxGetField(qxGetField(variable.get(), 0, "Dataset"), 0, "Elements"), found);
    }
    return found;
  }

  /// Runs that step back, have inputs, locals and parameters: all of a model that a run can log.
  vtio::runner::RunOptions fullRun(const std::string& name) {
    writeBytes(file("in.csv"), "time,u,gear\n0,0,1\n1,10,1\n1,20,2\n2,20,2\n");
    vtio::runner::RunOptions chosen = options(name);
    chosen.locals = chosen.parameters = true;
    chosen.rewind = 0.7;
    if (name.starts_with("every_kind")) chosen.input = file("in.csv");
    return chosen;
  }

  std::ostringstream out_, messages_;
};

}  // namespace runner_test
