#include "platform/qat/integrity/cursor.hpp"

#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

std::string inWords(StructurePlace place) {
  return "the " + std::string(place.what) + " at address " + std::to_string(place.address);
}

std::uint64_t Cursor::number(std::size_t bytes) {
  if (bytes > left()) fail("it ends too early");
  std::uint64_t value = 0;
  std::memcpy(&value, at_, bytes);
  at_ += bytes;
  return value;
}

std::string_view Cursor::text(std::size_t size) {
  if (size > left()) fail("it ends too early");
  const std::string_view taken(reinterpret_cast<const char*>(at_), size);
  at_ += size;
  return taken;
}

Cursor Cursor::part(std::size_t size) { return part(size, place_); }

Cursor Cursor::part(std::size_t size, StructurePlace place) {
  const auto* begin = at_;
  skip(size);
  return {begin, size, place};
}

void Cursor::expect(std::string_view signature, unsigned version) {
  if (text(signature.size()) != signature) fail("it does not begin with " + std::string(signature));
  if (const unsigned found = u8(); found != version) fail("it has the unknown version " + std::to_string(found));
}

void Cursor::fail(const std::string& why) const { throw Failure(kDamaged, inWords(place_) + ": " + why); }

}  // namespace vtu::qat
