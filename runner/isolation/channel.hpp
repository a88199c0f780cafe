/// @file
/// Parcels between two processes.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "runner/export.hpp"
#include "runner/isolation/parcel.hpp"

namespace vtio::runner {

/// What receiving came to.
enum class Received : std::uint8_t { parcel, ended, timedOut };

/// One end of a stream of parcels, closed at destruction.
class VTIO_RUNNER_EXPORT Channel final {
 public:
  /// The two ends of a new stream.
  /// @throws RunnerError if the system has none.
  [[nodiscard]] static std::pair<Channel, Channel> pair();

  /// @param socket Taken over.
  explicit Channel(int socket) : socket_(socket) {}
  ~Channel();
  Channel(Channel&& other) noexcept : socket_(std::exchange(other.socket_, -1)), buffer_(std::move(other.buffer_)) {}
  Channel& operator=(Channel&&) = delete;

  /// For poll(): readable when a parcel, a part of one or the end is there.
  [[nodiscard]] int socket() const { return socket_; }

  /// False if the other end is gone.
  [[nodiscard]] bool send(const Parcel& parcel);

  /// Tells the other end that nothing more comes.
  void finish();

  /// @param patience How long to wait for the whole parcel; without it, for ever. Signals do not end the waiting.
  [[nodiscard]] Received receive(Parcel& parcel, std::optional<std::chrono::milliseconds> patience = std::nullopt);

 private:
  [[nodiscard]] bool takeFromBuffer(Parcel& parcel);
  [[nodiscard]] Received readMore(std::optional<std::chrono::steady_clock::time_point> deadline);

  int socket_;
  std::vector<std::byte> buffer_;  // received and not taken yet, from begin_ to end_
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace vtio::runner
