/// @file
/// The processes that mpirun started for one sweep.
#pragma once

#include <filesystem>
#include <memory>

#include "runner/export.hpp"
#include "runner/isolation/parcel.hpp"

namespace vtio::runner {

/// The processes of one job, numbered from 0, and parcels between them. Ends the job's part of this process when it is
/// destroyed, which waits until all others do the same.
class VTIO_RUNNER_EXPORT Ranks {
 public:
  virtual ~Ranks();
  Ranks(const Ranks&) = delete;
  Ranks& operator=(const Ranks&) = delete;

  /// The number of this process.
  [[nodiscard]] virtual int rank() const = 0;

  /// Of processes.
  [[nodiscard]] virtual int size() const = 0;

  /// Sends a copy of a parcel; does not wait until it is received.
  virtual void send(int rank, const Parcel& parcel) = 0;

  /// Takes the next parcel that came, in the order in which each process sent its own; does not wait.
  /// @param from Set to the process that sent it.
  /// @return False if none is there.
  [[nodiscard]] virtual bool receive(int& from, Parcel& parcel) = 0;

  /// Ends all processes of the job.
  virtual void abort() = 0;

 protected:
  Ranks() = default;
};

/// How many processes mpirun says that it started; 1 without it.
[[nodiscard]] VTIO_RUNNER_EXPORT int ranksStarted();

/// Where the module is that knows MPI: beside this library. vtio-run does not load MPI unless it needs it.
[[nodiscard]] VTIO_RUNNER_EXPORT std::filesystem::path mpiModule();

/// @param module Stays loaded.
/// @param started ranksStarted().
/// @throws RunnerError if the module cannot be loaded, and if its MPI is not that of the mpirun.
[[nodiscard]] VTIO_RUNNER_EXPORT std::unique_ptr<Ranks> loadRanks(const std::filesystem::path& module, int started);

}  // namespace vtio::runner
