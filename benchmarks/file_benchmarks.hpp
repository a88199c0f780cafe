/// @file
/// The main function of benchmarks that work on files.
#pragma once

#include <benchmark/benchmark.h>

#include <filesystem>
#include <iostream>
#include <string>

namespace vtio::benchmarks {

/// Runs all benchmarks. @param folder Set to the folder that --dir=PATH names. @return The program's exit status.
inline int runFileBenchmarks(int argc, char** argv, std::filesystem::path& folder) {
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with("--dir=")) {
      folder = argument.substr(6);
    } else {
      argv[kept++] = argv[i];
    }
  }
  benchmark::Initialize(&kept, argv);
  if (benchmark::ReportUnrecognizedArguments(kept, argv)) return 2;
  if (!std::filesystem::is_directory(folder)) {
    std::cerr << "--dir=" << folder.string() << ": no such folder\n";
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace vtio::benchmarks
