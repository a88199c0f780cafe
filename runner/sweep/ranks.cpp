#include "runner/sweep/ranks.hpp"

#include <dlfcn.h>

#include <cstdlib>
#include <string>

#include "runner/text/printable.hpp"

namespace vtio::runner {

namespace fs = std::filesystem;

Ranks::~Ranks() = default;

int ranksStarted() {
  for (const char* name : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE"}) {
    const char* size = std::getenv(name);
    if (size != nullptr) return std::atoi(size);
  }
  return 1;
}

fs::path mpiModule() {
  Dl_info here{};
  dladdr(reinterpret_cast<const void*>(&ranksStarted), &here);
  return fs::path(here.dli_fname).parent_path() / "vtio_mpi.so";
}

std::unique_ptr<Ranks> loadRanks(const fs::path& module, int started) {
  const std::string job = "mpirun started " + std::to_string(started) + " processes, but ";
  // Global: MPI loads modules of its own, which use its functions.
  void* library = dlopen(module.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    throw RunnerError(job + "this vtio-run has no MPI: " + printable(dlerror()) +
                      " (libopenmpi-dev makes it part of the build); -j and --shard need none");
  }
  auto* make = reinterpret_cast<Ranks* (*)()>(dlsym(library, "vtioMakeRanks"));
  if (make == nullptr) throw RunnerError("no function 'vtioMakeRanks'", printable(module.string()));
  std::unique_ptr<Ranks> ranks(make());
  if (ranks->size() != started) {
    throw RunnerError(job + "MPI knows of " + std::to_string(ranks->size()) +
                      ": vtio-run was built with the MPI of another mpirun");
  }
  return ranks;
}

}  // namespace vtio::runner
