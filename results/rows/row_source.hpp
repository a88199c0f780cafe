/// @file
/// Chosen signals as rows: a time, and for each signal a sample or none.
#pragma once

#include <cstddef>
#include <vector>

#include "results/export.hpp"
#include "results/signals/signal_info.hpp"
#include "results/values/sample_view.hpp"

namespace vtio::results {

/// Gives one row after another, first to last.
class VTIO_RESULTS_EXPORT RowSource {
 public:
  RowSource(const RowSource&) = delete;
  RowSource& operator=(const RowSource&) = delete;
  virtual ~RowSource();

  /// The columns.
  [[nodiscard]] const std::vector<const SignalInfo*>& signals() const { return signals_; }

  /// Moves to the next row, at the beginning to the first.
  /// @return False if there is none.
  virtual bool next() = 0;

  /// Time of the row in seconds.
  [[nodiscard]] virtual double time() const = 0;

  /// The sample of a signal, by its place in signals(). Valid until next().
  [[nodiscard]] virtual SampleView sample(std::size_t signal) = 0;

  /// The part that is done, 0 to 1.
  [[nodiscard]] virtual double done() const = 0;

 protected:
  explicit RowSource(std::vector<const SignalInfo*> signals);

 private:
  std::vector<const SignalInfo*> signals_;
};

/// Where the signals of one table are among others.
struct TableGroup {
  std::uint32_t table = 0;
  std::vector<std::size_t> places;         ///< in the list that was grouped, rising
  std::vector<const SignalInfo*> signals;  ///< the same signals
};

/// Groups signals by table, in the order in which tables occur.
[[nodiscard]] VTIO_RESULTS_EXPORT std::vector<TableGroup> groupByTable(const std::vector<const SignalInfo*>& signals);

}  // namespace vtio::results
