#include "runner/isolation/channel.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace vtio::runner {
namespace {

constexpr std::size_t kChunk = 65536;  // bytes that one call of the system reads at most

using Clock = std::chrono::steady_clock;

// Milliseconds as poll() takes them.
int millisecondsUntil(std::optional<Clock::time_point> deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 1'000'000'000));
}

}  // namespace

std::pair<Channel, Channel> Channel::pair() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw RunnerError(ExitStatus::failed, std::string("cannot make a socket: ") + std::strerror(errno));
  }
  return {Channel(ends[0]), Channel(ends[1])};
}

Channel::~Channel() {
  if (socket_ >= 0) close(socket_);
}

bool Channel::send(const Parcel& parcel) {
  std::size_t size = parcel.bytes().size();
  std::array<iovec, 2> parts{{{&size, sizeof size}, {const_cast<std::byte*>(parcel.bytes().data()), size}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  while (true) {
    const ssize_t sent = sendmsg(socket_, &message, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    auto rest = static_cast<std::size_t>(sent);
    for (iovec& part : parts) {
      const std::size_t done = std::min(rest, part.iov_len);
      part.iov_base = static_cast<std::byte*>(part.iov_base) + done;
      part.iov_len -= done;
      rest -= done;
    }
    if (parts[0].iov_len + parts[1].iov_len == 0) return true;
  }
}

void Channel::finish() { shutdown(socket_, SHUT_WR); }

Received Channel::receive(Parcel& parcel, std::optional<std::chrono::milliseconds> patience) {
  std::optional<Clock::time_point> deadline;
  if (patience) deadline = Clock::now() + *patience;
  while (!takeFromBuffer(parcel)) {
    if (const Received more = readMore(deadline); more != Received::parcel) return more;
  }
  return Received::parcel;
}

bool Channel::takeFromBuffer(Parcel& parcel) {
  std::size_t size = 0;
  if (end_ - begin_ < sizeof size) return false;
  std::memcpy(&size, buffer_.data() + begin_, sizeof size);
  if (end_ - begin_ - sizeof size < size) return false;
  parcel.clear();
  parcel.append(buffer_.data() + begin_ + sizeof size, size);
  begin_ += sizeof size + size;
  if (begin_ == end_) begin_ = end_ = 0;
  return true;
}

// Reads what is there into the buffer; waits for it if there is nothing.
Received Channel::readMore(std::optional<Clock::time_point> deadline) {
  pollfd waited{socket_, POLLIN, 0};
  const int ready = poll(&waited, 1, millisecondsUntil(deadline));
  if (ready == 0) return Received::timedOut;
  if (ready < 0) return errno == EINTR ? Received::parcel : Received::ended;
  if (buffer_.size() - end_ < kChunk) buffer_.resize(std::max(2 * buffer_.size(), end_ + kChunk));
  const ssize_t got = recv(socket_, buffer_.data() + end_, buffer_.size() - end_, 0);
  if (got < 0 && errno == EINTR) return Received::parcel;
  if (got <= 0) return Received::ended;
  end_ += static_cast<std::size_t>(got);
  return Received::parcel;
}

}  // namespace vtio::runner
