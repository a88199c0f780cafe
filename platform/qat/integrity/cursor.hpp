/// @file
/// Reads the fields of one structure of a file, front to back, and never past its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vtu::qat {

/// The address of a structure that does not exist.
inline constexpr std::uint64_t kNoAddress = ~std::uint64_t{0};

/// The address where a structure begins, and what the HDF5 file format calls it, for the text of an error.
struct StructurePlace {
  const char* what = "structure";
  std::uint64_t address = 0;
};

/// The name of a structure in a Failure: "the <what> at address N".
[[nodiscard]] std::string inWords(StructurePlace place);

/// A reading position within bytes that the caller owns. Numbers are little-endian. Fields have the names of the HDF5
/// file format. @throws Failure past the end.
class Cursor final {
 public:
  Cursor() = default;
  Cursor(const unsigned char* bytes, std::size_t size, StructurePlace place)
      : at_(bytes), end_(bytes + size), place_(place) {}

  [[nodiscard]] std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
  [[nodiscard]] StructurePlace place() const { return place_; }

  /// An unsigned number of 0 to 8 bytes.
  std::uint64_t number(std::size_t bytes);
  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  std::uint64_t u64() { return number(8); }

  /// The next bytes; valid as long as the bytes that the cursor reads.
  std::string_view text(std::size_t size);

  /// A cursor over the next bytes alone.
  Cursor part(std::size_t size);

  void skip(std::size_t size) { static_cast<void>(text(size)); }

  /// Takes a number that can have one value only.
  void expect(std::size_t bytes, std::uint64_t value, const char* field);

  /// Fails with "its <field> is wrong" or "its <field> cannot be N" unless the condition holds.
  void require(bool condition, const char* field) const;
  void require(bool condition, const char* field, std::uint64_t value) const;

  /// Fails: "the <what> at address N: <why>".
  [[noreturn]] void fail(const std::string& why) const;

  /// Fails likewise: HDF5 files may have this, Qat files may not. @param advice What to do about it.
  [[noreturn]] void refuse(const std::string& what, const char* advice = "") const;

 private:
  const unsigned char* at_ = nullptr;
  const unsigned char* end_ = nullptr;
  StructurePlace place_;
};

}  // namespace vtu::qat
