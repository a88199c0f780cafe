/// @file
/// Where a table builder puts samples that are in no row of a streamed table. Not installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/sample_table.hpp"

namespace vtio::recorders {

/// Takes the samples of positions that left their streamed table or came after it: their strays. A position whose
/// samples before are no rows of a streamed table any more either is moved: it takes strays for good.
class StraySink {
 public:
  StraySink() = default;
  StraySink(const StraySink&) = delete;
  StraySink& operator=(const StraySink&) = delete;
  virtual ~StraySink() = default;

  /// The strays of all positions at one moment.
  struct State {
    virtual ~State() = default;
  };

  /// From now on samples of the position are strays.
  /// @param inTable Its first samples that are the first rows of its table; none: those that a table was left with when
  ///   it was given up.
  /// @return That number; none for a position that the file does not have.
  [[nodiscard]] virtual std::optional<std::uint64_t> take(std::uint32_t position,
                                                          std::optional<std::uint64_t> inTable) noexcept = 0;

  /// Takes one sample. @param row The position's bytes of a row; a text is the address of its bytes.
  /// @throws std::bad_alloc
  virtual void add(std::uint32_t position, double time, const std::byte* row) = 0;

  /// Samples of a position besides those in the builder's tables; none if it does not take strays.
  [[nodiscard]] virtual std::optional<std::uint64_t> count(std::uint32_t position) const noexcept = 0;

  [[nodiscard]] virtual bool isMoved(std::uint32_t position) const noexcept = 0;

  /// All samples of a position that takes strays, and the offset of its values in a row.
  [[nodiscard]] virtual std::pair<std::shared_ptr<const vtu::SampleTable>, std::size_t> samples(
      std::uint32_t position) = 0;

  /// The state now. @throws std::bad_alloc
  [[nodiscard]] virtual std::shared_ptr<const State> state() = 0;

  /// What count() was in a state.
  [[nodiscard]] virtual std::optional<std::uint64_t> countIn(const State& state, std::uint32_t position) const = 0;

  /// False if strays of a state were given up.
  [[nodiscard]] virtual bool holds(const State& state) const noexcept = 0;

  /// Goes back to a state; null: no position has strays. @param inTables Samples that a position had in tables then.
  virtual void restore(const State* state, const std::function<std::uint64_t(std::uint32_t)>& inTables) noexcept = 0;

  /// The position is gone.
  virtual void forget(std::uint32_t position) noexcept = 0;
};

}  // namespace vtio::recorders
