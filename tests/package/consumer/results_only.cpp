// Reads what hello.c recorded: results_only RESULTS.qat
#include <cstdio>
#include <exception>

#include "results/file/results_file.hpp"
#include "results/values/series.hpp"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    const vtio::results::ResultsFile file(argv[1]);
    const vtio::results::Series height = vtio::results::readSeries(file, file.find("height"));
    std::printf("%zu samples\n", height.times.size());
    return height.times.size() == 1000 && height.times[999] == 0.01 * 999 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
