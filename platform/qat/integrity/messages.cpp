#include "platform/qat/integrity/messages.hpp"

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr unsigned kHighestRank = 32;

std::uint64_t productOf(const Cursor& at, const std::vector<std::uint64_t>& extents) {
  std::uint64_t product = 1;
  bool overflow = false;
  for (const std::uint64_t extent : extents) {
    if (extent == 0) return 0;
    overflow = __builtin_mul_overflow(product, extent, &product) || overflow;
  }
  at.require(!overflow, "its dataspace has more elements than can be counted");
  return product;
}

/// The address in a message that stands in another object.
std::uint64_t readSharedAddress(Cursor at) {
  const unsigned version = at.u8();
  const unsigned kind = at.u8();
  if (version < 2 || version > 3 || (version == 3 && kind != 2)) {
    throw Failure(kUnsupported, inWords(at.place()) + ": a message shared in a form that Qat files do not have");
  }
  return at.u64();
}

DenseInfo readDenseInfo(Cursor at, std::size_t orderBytes) {
  at.require(at.u8() == 0, "its index information has an unknown version");
  const unsigned flags = at.u8();
  at.require(flags < 4, "its index information has unknown flags");
  if ((flags & 1U) != 0) at.skip(orderBytes);
  DenseInfo info;
  info.heap = at.u64();
  info.nameIndex = at.u64();
  if ((flags & 2U) != 0) info.orderIndex = at.u64();
  if (info.heap != kNoAddress) {
    at.require(info.nameIndex != kNoAddress, "it has no index of names");
    at.require((flags & 2U) == 0 || info.orderIndex != kNoAddress, "it has no index in order of creation");
  }
  return info;
}

std::size_t paddedForVersion(unsigned version, std::size_t size) { return version == 1 ? (size + 7) / 8 * 8 : size; }

}  // namespace

SpaceInfo readDataspace(Cursor at) {
  constexpr unsigned kNull = 2;
  const unsigned version = at.u8();
  at.require(version == 1 || version == 2, "its dataspace has an unknown version");
  const unsigned rank = at.u8();
  const unsigned flags = at.u8();
  const unsigned kind = at.u8();  // reserved in version 1
  if (version == 1) at.skip(4);
  at.require(rank <= kHighestRank && flags <= 1, "its dataspace has an unknown form");
  at.require(version == 1 || kind == (rank > 0 ? 1 : 0) || (kind == kNull && rank == 0) || (kind == 1 && rank == 0),
             "its dataspace has an unknown kind");
  SpaceInfo space;
  for (unsigned i = 0; i < rank; ++i) space.extents.push_back(at.u64());
  space.limits = space.extents;
  for (unsigned i = 0; i < rank && flags == 1; ++i) {
    space.limits[i] = at.u64();
    at.require(space.limits[i] >= space.extents[i], "its dataspace is larger than its limit");
  }
  space.elements = version == 2 && kind == kNull ? 0 : productOf(at, space.extents);
  return space;
}

TypeInfo readTypeMessage(Cursor at, bool shared, const NamedTypes& named) {
  return shared ? named(readSharedAddress(at)) : readDatatype(at);
}

LinkInfo readLink(Cursor at) {
  constexpr unsigned kHard = 0, kSoft = 1, kFirstOther = 64;
  at.require(at.u8() == 1, "a link has an unknown version");
  const unsigned flags = at.u8();
  at.require(flags < 0x20, "a link has unknown flags");
  const unsigned kind = (flags & 8U) != 0 ? at.u8() : kHard;
  at.require(kind <= kSoft || kind >= kFirstOther, "a link has an unknown kind");
  if ((flags & 4U) != 0) at.skip(8);
  if ((flags & 16U) != 0) at.require(at.u8() <= 1, "a link has an unknown character set");
  LinkInfo link;
  link.name = at.text(at.number(std::size_t{1} << (flags & 3U)));
  at.require(!link.name.empty() && link.name.find('\0') == std::string_view::npos, "a link has no proper name");
  if (kind == kHard) {
    link.target = at.u64();
  } else {
    const std::size_t size = at.u16();
    at.require(size > 0 || kind != kSoft, "a link leads nowhere");
    at.skip(size);
  }
  return link;
}

std::string_view readAttribute(Cursor at, const NamedTypes& named) {
  const unsigned version = at.u8();
  at.require(version >= 1 && version <= 3, "an attribute has an unknown version");
  const unsigned flags = at.u8();
  at.require(flags <= 1 && (version > 1 || flags == 0), "an attribute has unknown flags");
  const std::size_t nameSize = at.u16();
  const std::size_t typeSize = at.u16();
  const std::size_t spaceSize = at.u16();
  if (version == 3) at.require(at.u8() <= 1, "an attribute has an unknown character set");
  const std::string_view name = at.text(paddedForVersion(version, nameSize)).substr(0, nameSize);
  at.require(!name.empty() && name.find('\0') == name.size() - 1 && name.size() > 1, "an attribute has no proper name");
  const TypeInfo type = readTypeMessage(at.part(paddedForVersion(version, typeSize)), flags == 1, named);
  const SpaceInfo space = readDataspace(at.part(paddedForVersion(version, spaceSize)));
  at.require(space.elements <= at.left() / type.size, "an attribute has fewer bytes than its type and extents ask for");
  return name.substr(0, name.size() - 1);
}

DenseInfo readLinkInfo(Cursor at) { return readDenseInfo(at, 8); }

DenseInfo readAttributeInfo(Cursor at) { return readDenseInfo(at, 2); }

void checkGroupInfo(Cursor at) {
  at.require(at.u8() == 0, "its group information has an unknown version");
  const unsigned flags = at.u8();
  at.require(flags < 4, "its group information has unknown flags");
  at.skip(((flags & 1U) != 0 ? 4U : 0U) + ((flags & 2U) != 0 ? 4U : 0U));
}

std::string_view readFillValue(Cursor at) {
  const unsigned version = at.u8();
  at.require(version >= 1 && version <= 3, "its fill value has an unknown version");
  bool defined = false;
  if (version == 3) {
    const unsigned flags = at.u8();
    at.require(flags < 0x40 && (flags & 0x30U) != 0x30, "its fill value has unknown flags");
    defined = (flags & 0x20U) != 0;
  } else {
    at.require(at.u8() <= 3 && at.u8() <= 2, "its fill value has an unknown time");
    defined = at.u8() == 1 || version == 1;
  }
  return defined ? at.text(at.u32()) : std::string_view();
}

std::string_view readOldFillValue(Cursor at) { return at.text(at.u32()); }

std::vector<Filter> readFilters(Cursor at) {
  constexpr unsigned kMost = 32, kFirstNamed = 256;
  const unsigned version = at.u8();
  at.require(version == 1 || version == 2, "its filters have an unknown version");
  const unsigned count = at.u8();
  at.require(count > 0 && count <= kMost, "it has an impossible number of filters");
  if (version == 1) at.skip(6);
  std::vector<Filter> filters;
  for (unsigned i = 0; i < count; ++i) {
    const unsigned id = at.u16();
    const std::size_t nameSize = version == 1 || id >= kFirstNamed ? at.u16() : 0;
    at.skip(2);
    const std::size_t values = at.u16();
    const std::string_view name = at.text(paddedForVersion(version, nameSize));
    at.require(name.empty() || name.find('\0') != std::string_view::npos, "a filter's name does not end");
    at.skip(4 * values + (version == 1 && values % 2 == 1 ? 4 : 0));
    filters.push_back({id});
  }
  return filters;
}

}  // namespace vtu::qat
