#include "platform/qat/stray_format.hpp"

#include <array>
#include <cstring>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

struct Member {
  const char* name;
  std::size_t offset;
  hid_t type;
};

std::array<Member, 5> strayMembers() {
  return {{{"table", 0, H5T_STD_U32LE},
           {"column", 4, H5T_STD_U32LE},
           {"time", 8, H5T_IEEE_F64LE},
           {"start", 16, H5T_STD_U64LE},
           {"bytes", 24, H5T_STD_U32LE}}};
}

}  // namespace

Stray Stray::fromBytes(const std::byte* from) {
  Stray stray;
  std::memcpy(&stray.table, from, 4);
  std::memcpy(&stray.column, from + 4, 4);
  std::memcpy(&stray.time, from + 8, 8);
  std::memcpy(&stray.start, from + 16, 8);
  std::memcpy(&stray.bytes, from + 24, 4);
  return stray;
}

void Stray::toBytes(std::byte* out) const {
  std::memcpy(out, &table, 4);
  std::memcpy(out + 4, &column, 4);
  std::memcpy(out + 8, &time, 8);
  std::memcpy(out + 16, &start, 8);
  std::memcpy(out + 24, &bytes, 4);
}

Handle makeStrayType() {
  constexpr const char* kWhat = "cannot make the type of strays";
  Handle type(checked(H5Tcreate(H5T_COMPOUND, Stray::kBytesInFile), kStorage, kWhat));
  for (const Member& member : strayMembers()) {
    checked(H5Tinsert(type.get(), member.name, member.offset, member.type), kStorage, kWhat);
  }
  return type;
}

bool isStrayType(hid_t type) {
  const Handle strays = makeStrayType();
  return H5Tequal(type, strays.get()) > 0;
}

}  // namespace vtu::qat
