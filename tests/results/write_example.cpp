// Writes the files that the test of the tool reads:
//   results_write_example FILE [OFFSET]
//   results_write_example --stream FILE    as commands on standard input say; answers each with a line
//   results_write_example --sweep FILE [OFFSET]
//   results_write_example FILE odd
//   results_write_example FILE SIGNALS SAMPLES [OFFSET]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "example_file.hpp"

int main(int argc, char** argv) {
  try {
    if (argc == 3 && std::strcmp(argv[1], "--stream") == 0) {
      vtio::tests::streamHeight(
          argv[2],
          [](std::string& command) -> bool {
            if (std::getline(std::cin, command)) return true;
            std::_Exit(0);  // as a run that was killed
          },
          [] { std::cout << "done" << std::endl; });
    } else if (argc >= 3 && std::strcmp(argv[1], "--sweep") == 0) {
      vtio::tests::writeSweep(argv[2], argc == 4 ? std::atof(argv[3]) : 0);
    } else if (argc == 3 && std::strcmp(argv[2], "odd") == 0) {
      vtio::tests::writeOddSignals(argv[1]);
    } else if (argc == 2 || argc == 3) {
      vtio::tests::writeExampleFile(argv[1], argc == 3 ? std::atof(argv[2]) : 0);
    } else if (argc == 4 || argc == 5) {
      vtio::tests::writeManySignals(argv[1], std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10),
                                    argc == 5 ? std::atof(argv[4]) : 0);
    } else {
      return 2;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
