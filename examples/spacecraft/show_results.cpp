// Prints what a results Qat file of the spacecraft example holds and checks it: spacecraft_show_results FILE.qat
//
// Exit code: 0 when every check holds, 1 when one does not, 2 when the file cannot be read.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "conservation.hpp"
#include "results.hpp"
#include "results_table.hpp"

namespace {

bool reportChecks(const std::vector<spacecraft::ConservationCheck>& checks) {
  bool allHold = true;
  std::printf("\nConserved quantities, from the logged data:\n");
  for (const spacecraft::ConservationCheck& check : checks) {
    std::printf("  %-9s %-50s strays by %.2e of %.2e %s allowed (%zu samples)\n", check.holds() ? "ok" : "VIOLATED",
                check.quantity.c_str(), check.worst, check.tolerance, check.unit.c_str(), check.samples);
    allHold = allHold && check.holds();
  }
  return allHold;
}

void sayHowToOpen(const std::string& fileName) {
  const std::string path = std::filesystem::absolute(fileName).lexically_normal().string();
  std::printf("\nResults: %s (%.1f MB)\nIn Python:\n", path.c_str(),
              static_cast<double>(std::filesystem::file_size(path)) / 1e6);
  std::printf(
      "  import h5py\n"
      "  f = h5py.File(\"%s\")\n"
      "  for name in f[\"qat.samples/0/columns\"][\"name\"]:\n"
      "      print(name.decode())\n"
      "  table, error = next((table, column) for table in f[\"qat.samples\"].values()\n"
      "                      for column in table[\"columns\"] if column[\"name\"] == b\"pointingError\")\n"
      "  print(table[\"Time\"][:], table[\"double\"][:, error[\"first\"]], error[\"unit\"].decode())\n",
      path.c_str());
}

int show(const std::string& fileName) {
  const spacecraft::Results results = spacecraft::Results::open(fileName);
  spacecraft::printTable(std::cout, results);
  std::cout.flush();
  const bool allHold = reportChecks(spacecraft::checkConservation(results));
  sayHowToOpen(fileName);
  return allHold ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '\0' || argv[1][0] == '-') {
    std::fprintf(stderr, "usage: %s FILE.qat\n", argv[0]);
    return 2;
  }
  try {
    return show(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 2;
  }
}
