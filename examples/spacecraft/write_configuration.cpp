// Writes the configuration Qat file of the spacecraft example: spacecraft_write_configuration FILE.qat
#include <cstdio>
#include <exception>

#include "configuration.hpp"

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '\0' || argv[1][0] == '-') {
    std::fprintf(stderr, "usage: %s FILE.qat\n", argv[0]);
    return 2;
  }
  try {
    spacecraft::writeConfiguration(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
  std::printf("Configuration: %s\n", argv[1]);
  return 0;
}
