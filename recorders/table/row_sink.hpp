/// @file
/// Where a table builder puts rows that need not stay in memory. Not installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>

#include "platform/sample_table.hpp"
#include "recorders/table/stray_sink.hpp"

namespace vtio::recorders {

/// Takes the rows of some of the builder's tables, its streamed tables. No function throws.
class RowSink {
 public:
  RowSink() = default;
  RowSink(const RowSink&) = delete;
  RowSink& operator=(const RowSink&) = delete;
  virtual ~RowSink() = default;

  /// Called before rows begin. Positions may be in other tables afterwards.
  virtual void rowBegins() noexcept = 0;

  /// So many more bytes of rows are kept in memory by tables that are not streamed.
  virtual void keeps(std::size_t bytes) noexcept = 0;

  /// Makes rows [first, first + count) of `source` rows [at, at + count) of a streamed table; later ones are removed.
  /// Samples that rows [at, at + count) had keep their values.
  /// @return False if that failed; the rows must stay in memory then.
  virtual bool put(std::uint32_t table, const vtu::SampleTable& source, std::uint64_t first, std::uint64_t at,
                   std::uint64_t count) noexcept = 0;

  /// How many of the samples in a table a position has left.
  using Left = std::function<std::uint64_t(std::uint32_t position)>;

  /// Removes samples of a streamed table. Readers never miss those that are left.
  /// @param rows Rows that are left; none: as many as positions have left.
  /// @return The number of rows that are left.
  virtual std::uint64_t stepBack(std::uint32_t table, std::optional<std::uint64_t> rows, const Left& left) noexcept = 0;

  /// Positions go back to a snapshot. Called before stepBack(), and before their strays are taken back.
  virtual void goesBack(const Left& left) noexcept = 0;

  /// Takes samples that are in no row of a streamed table; null as long as it is unknown what these tables are.
  [[nodiscard]] virtual StraySink* strays() noexcept = 0;

  /// True after a failure: no more samples are taken.
  [[nodiscard]] virtual bool isStopped() const noexcept = 0;

  /// A sample was lost because of this.
  virtual void lost(const std::exception& cause) noexcept = 0;
};

}  // namespace vtio::recorders
