// vtio-run: runs FMUs and logs what they say. Everything is in the library.
#include "runner/commands/commands.hpp"

int main(int argc, char** argv) { return vtio::runner::runProgram(argc, argv); }
