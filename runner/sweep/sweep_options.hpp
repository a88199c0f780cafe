/// @file
/// What `vtio-run sweep` is asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "runner/run/run_options.hpp"

namespace vtio::runner {

/// A part of the runs: every `of`-th, from `number` on, which is counted from 1.
struct Shard {
  std::size_t number = 1;
  std::size_t of = 1;

  [[nodiscard]] bool has(std::size_t run) const { return run % of == number - 1; }
};

/// Exactly one of `table`, `grids` and `samples` says which runs there are.
struct SweepOptions {
  RunOptions run;                     ///< holds for every run; its output is that of the sweep
  std::filesystem::path table;        ///< CSV: a column per parameter, a row per run
  std::vector<std::string> grids;     ///< NAME=a:b:n: n values from a to b, combined with those of the others
  std::vector<std::string> samples;   ///< NAME=normal(mean,deviation) or NAME=uniform(least,most)
  std::optional<std::uint64_t> runs;  ///< number of runs of samples
  std::uint64_t seed = 0;             ///< of samples
  std::size_t jobs = 1;               ///< runs at a time
  bool resume = false;                ///< do the runs that neither the output nor a shard has as done
  std::optional<Shard> shard;         ///< make these runs only
};

}  // namespace vtio::runner
