#include "platform/qat/ring_format.hpp"

#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {

RingLeaf RingLeaf::fromBytes(const std::byte* from) {
  RingLeaf leaf;
  std::memcpy(&leaf.place.first, from, 4);
  std::memcpy(&leaf.place.second, from + 4, 4);
  std::memcpy(&leaf.number, from + 8, 4);
  std::memcpy(&leaf.time, from + 12, 4);
  std::memcpy(&leaf.start, from + 16, 4);
  std::memcpy(&leaf.bytes, from + 20, 4);
  std::memcpy(&leaf.capacity, from + 24, 8);
  return leaf;
}

void RingLeaf::toBytes(std::byte* out) const {
  std::memcpy(out, &place.first, 4);
  std::memcpy(out + 4, &place.second, 4);
  std::memcpy(out + 8, &number, 4);
  std::memcpy(out + 12, &time, 4);
  std::memcpy(out + 16, &start, 4);
  std::memcpy(out + 20, &bytes, 4);
  std::memcpy(out + 24, &capacity, 8);
}

Handle makeRingLeafType() {
  constexpr const char* kWhat = "cannot make the type of leaves";
  Handle type(checked(H5Tcreate(H5T_COMPOUND, RingLeaf::kBytesInFile), kStorage, kWhat));
  std::size_t offset = 0;
  for (const char* name : {"table", "column", "number", "time", "start", "bytes"}) {
    checked(H5Tinsert(type.get(), name, offset, H5T_STD_U32LE), kStorage, kWhat);
    offset += 4;
  }
  checked(H5Tinsert(type.get(), "capacity", offset, H5T_STD_U64LE), kStorage, kWhat);
  return type;
}

}  // namespace vtu::qat
