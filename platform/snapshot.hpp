/// @file
/// Snapshots: how a simulation engine steps a stateful object back.
///
///     struct CounterHandler : vtsim::SnapshotHandler<long> {
///       using Element = long;
///       std::unique_ptr<long> captureSnapshot() override { return std::make_unique<long>(counter); }
///       void rollBack(long& element) override { counter = element; }
///       void reset(long& element) override { counter = element; }
///       long counter = 0;
///     };
///     vtsim::DefaultSnapshotInterface<CounterHandler> snapshots(std::make_unique<CounterHandler>());
///
/// The order of the virtual operations and of the data members is part of the binary interface.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/export.hpp"

namespace vtsim {

/// What the engine calls on every object whose state it may step back.
class VTIO_PLATFORM_EXPORT SnapshotInterface {
 public:
  virtual ~SnapshotInterface();

  /// Takes a snapshot of the current state.
  /// @param initial True: the snapshot becomes the state to which reset() returns. False: it is the newest snapshot.
  virtual void captureSnapshot(bool initial) = 0;

  /// Restores the newest snapshot, which stays stored. There must be one.
  virtual void rollBack() = 0;

  /// Restores the initial snapshot. There must be one.
  virtual void reset() = 0;

  /// Drops all snapshots except the initial one.
  virtual void clear() = 0;

  /// Drops the n newest snapshots.
  virtual void popLatest(int n) = 0;

  /// Drops the n oldest snapshots.
  virtual void popOldest(int n) = 0;

  /// Keeps at most n snapshots, the newest ones.
  virtual void size(int n) = 0;
};

/// Captures and restores the state of one object.
/// @tparam E One saved state.
template <typename E>
class VTIO_PLATFORM_EXPORT SnapshotHandler {
 public:
  /// The current state.
  virtual std::unique_ptr<E> captureSnapshot() = 0;

  /// Restores a captured state.
  virtual void rollBack(E& element) = 0;

  /// Restores the captured initial state.
  virtual void reset(E& element) = 0;

  virtual ~SnapshotHandler() = default;
};

/// Keeps the snapshots of one handler in a queue, without a limit of its own.
///
/// Not synchronised.
/// @tparam H A SnapshotHandler<H::Element>.
template <typename H>
class VTIO_PLATFORM_EXPORT DefaultSnapshotInterface : public SnapshotInterface {
 public:
  using Element = typename H::Element;

  /// @param handler Does the capturing and restoring; not null.
  explicit DefaultSnapshotInterface(std::unique_ptr<H> handler) : handler_(std::move(handler)) {}

  void captureSnapshot(bool initial) override {
    std::unique_ptr<Element> element = handler_->captureSnapshot();
    if (initial) {
      initial_ = std::move(element);
    } else {
      snapshots_.push_back(std::move(element));
    }
  }

  /// @throws std::logic_error if there is no snapshot.
  void rollBack() override {
    if (snapshots_.empty()) throw std::logic_error("Cannot roll back: no snapshot was taken");
    handler_->rollBack(*snapshots_.back());
  }

  /// @throws std::logic_error if there is no initial snapshot.
  void reset() override {
    if (initial_ == nullptr) throw std::logic_error("Cannot reset: no initial snapshot was taken");
    handler_->reset(*initial_);
  }

  void clear() override { snapshots_.clear(); }

  /// Drops all snapshots if there are fewer than n.
  void popLatest(int n) override { snapshots_.erase(snapshots_.end() - clamped(n), snapshots_.end()); }

  /// Drops all snapshots if there are fewer than n.
  void popOldest(int n) override { snapshots_.erase(snapshots_.begin(), snapshots_.begin() + clamped(n)); }

  /// The number to drop is a signed 32-bit value, computed modulo 2^32: an n far below 0 drops nothing.
  void size(int n) override {
    const auto surplus = static_cast<std::uint32_t>(snapshots_.size()) - static_cast<std::uint32_t>(n);
    if (static_cast<std::int32_t>(surplus) >= 1) this->popOldest(static_cast<std::int32_t>(surplus));
  }

 private:
  [[nodiscard]] std::ptrdiff_t clamped(int n) const {
    return std::clamp<std::ptrdiff_t>(n, 0, static_cast<std::ptrdiff_t>(snapshots_.size()));
  }

  std::unique_ptr<H> handler_;
  std::deque<std::unique_ptr<Element>> snapshots_;  // oldest first
  std::unique_ptr<Element> initial_;                // empty until captureSnapshot(true)
};

}  // namespace vtsim
