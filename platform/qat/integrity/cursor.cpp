#include "platform/qat/integrity/cursor.hpp"

#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

std::string inWords(StructurePlace place) {
  return "the " + std::string(place.what) + " at address " + std::to_string(place.address);
}

std::uint64_t Cursor::number(std::size_t bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, text(bytes).data(), bytes);
  return value;
}

std::string_view Cursor::text(std::size_t size) {
  if (size > left()) fail("it ends too early");
  const std::string_view taken(reinterpret_cast<const char*>(at_), size);
  at_ += size;
  return taken;
}

Cursor Cursor::part(std::size_t size) {
  const auto* begin = at_;
  skip(size);
  return {begin, size, place_};
}

void Cursor::expect(std::size_t bytes, std::uint64_t value, const char* field) {
  const std::uint64_t found = number(bytes);
  require(found == value, field, found);
}

void Cursor::require(bool condition, const char* field) const {
  if (!condition) fail("its " + std::string(field) + " is wrong");
}

void Cursor::require(bool condition, const char* field, std::uint64_t value) const {
  if (!condition) fail("its " + std::string(field) + " cannot be " + std::to_string(value));
}

void Cursor::fail(const std::string& why) const { throw Failure(kDamaged, inWords(place_) + ": " + why); }

void Cursor::refuse(const std::string& what, const char* advice) const {
  throw Failure(kUnsupported, inWords(place_) + ": " + what + ", which Qat files do not have" + advice);
}

}  // namespace vtu::qat
