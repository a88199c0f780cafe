/// @file
/// The bytes of a Qat file for tests that damage them: single fields are changed, and the checksum behind them made
/// right again, as no accident would.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vtio::tests {

/// A file's bytes in memory.
class DamagedBytes final {
 public:
  explicit DamagedBytes(std::string bytes) : bytes_(std::move(bytes)) {}

  [[nodiscard]] const std::string& bytes() const { return bytes_; }

  /// Where a text begins, the `nth` one of them; fails the test when there is none.
  [[nodiscard]] std::size_t find(std::string_view text, std::size_t nth = 0) const;

  /// The object header that holds a position.
  [[nodiscard]] std::size_t headerAround(std::size_t at) const;

  /// Where the body of the first message of a type begins in the object header at a position.
  [[nodiscard]] std::size_t message(std::size_t header, unsigned type) const;

  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t width) const;
  void setNumber(std::size_t at, std::size_t width, std::uint64_t value);

  void sealSuperblock() { seal(0, 44); }
  void sealHeader(std::size_t header);
  /// Seals the block of an object header, the first or a further one, that holds a position.
  void sealHeaderBlock(std::size_t at);

  /// Writes the checksum of `size` bytes behind them.
  void seal(std::size_t at, std::size_t size);

 private:
  [[nodiscard]] std::size_t headerBody(std::size_t header) const;
  [[nodiscard]] std::size_t headerEnd(std::size_t header) const;

  std::string bytes_;
};

}  // namespace vtio::tests
