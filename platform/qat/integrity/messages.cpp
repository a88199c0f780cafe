#include "platform/qat/integrity/messages.hpp"

#include <algorithm>

namespace vtu::qat {
namespace {

/// Fails unless text ends with its first NUL.
void requireTerminated(const Cursor& at, std::string_view text, const char* field) {
  at.require(!text.empty() && text.find('\0') == text.size() - 1, field);
}

/// Two texts, each ending with a NUL: a file and a path in it.
void checkExternalLink(Cursor at) {
  at.expect(1, 0, "Version and Flags");
  const std::string_view texts = at.text(at.left());
  const std::size_t fileEnd = texts.find('\0');
  at.require(fileEnd != std::string_view::npos && fileEnd > 0, "Source File Name");
  requireTerminated(at, texts.substr(fileEnd + 1), "Source Object");
}

DenseInfo readDenseInfo(Cursor at, std::size_t orderBytes) {
  constexpr unsigned kOrderTracked = 1, kOrderIndexed = 2;
  at.expect(1, 0, "Version");
  const unsigned flags = at.u8();
  at.require(flags <= (kOrderTracked | kOrderIndexed), "Flags", flags);
  if ((flags & kOrderTracked) != 0) at.skip(orderBytes);
  DenseInfo info;
  info.heap = at.u64();
  info.nameIndex = at.u64();
  if ((flags & kOrderIndexed) != 0) info.orderIndex = at.u64();
  if (info.heap != kNoAddress) {
    at.require(info.nameIndex != kNoAddress, "Address of v2 B-tree for Name Index");
    at.require((flags & kOrderIndexed) == 0 || info.orderIndex != kNoAddress,
               "Address of v2 B-tree for Creation Order Index");
  }
  return info;
}

}  // namespace

SpaceInfo readDataspace(Cursor at) {
  constexpr unsigned kHighestRank = 32, kScalar = 0, kSimple = 1;
  at.expect(1, 2, "Version");
  const unsigned rank = at.u8();
  at.require(rank <= kHighestRank, "Dimensionality", rank);
  const unsigned flags = at.u8();
  at.require(flags <= 1, "Flags", flags);
  const unsigned kind = at.u8();
  at.require(kind == (rank > 0 ? kSimple : kScalar), "Type", kind);
  SpaceInfo space;
  for (unsigned i = 0; i < rank; ++i) space.extents.push_back(at.u64());
  space.limits = space.extents;
  for (unsigned i = 0; i < rank && flags == 1; ++i) {
    space.limits[i] = at.u64();
    at.require(space.limits[i] >= space.extents[i], "Dimension #n Maximum Size", space.limits[i]);
  }
  if (std::find(space.extents.begin(), space.extents.end(), 0U) != space.extents.end()) {
    space.elements = 0;
    return space;
  }
  for (const std::uint64_t extent : space.extents) {
    const bool overflow = __builtin_mul_overflow(space.elements, extent, &space.elements);
    at.require(!overflow, "Dimension #n Size", extent);
  }
  return space;
}

std::string_view readLink(Cursor at) {
  constexpr unsigned kHard = 0, kSoft = 1, kExternal = 64, kKnownFlags = 0x1F;
  at.expect(1, 1, "Version");
  const unsigned flags = at.u8();
  at.require((flags & ~kKnownFlags) == 0, "Flags", flags);
  const unsigned kind = (flags & 8U) != 0 ? at.u8() : kHard;
  if (kind != kHard && kind != kSoft && kind != kExternal) at.refuse("a link of type " + std::to_string(kind));
  if ((flags & 4U) != 0) at.skip(8);
  if ((flags & 16U) != 0) at.require(at.u8() <= 1, "Link Name Character Set");
  const std::string_view name = at.text(at.number(std::size_t{1} << (flags & 3U)));
  at.require(!name.empty() && name.find('\0') == std::string_view::npos, "Link Name");
  if (kind == kHard) {
    at.skip(8);
    return name;
  }
  const std::size_t size = at.u16();
  at.require(size > 0, "Length of Soft Link Value", size);
  const Cursor value = at.part(size);
  if (kind == kExternal) checkExternalLink(value);
  return name;
}

std::string_view readAttribute(Cursor at) {
  at.expect(1, 3, "Version");
  if (const unsigned flags = at.u8(); flags != 0) at.refuse("an attribute with a shared datatype or dataspace");
  const std::size_t nameSize = at.u16();
  const std::size_t typeSize = at.u16();
  const std::size_t spaceSize = at.u16();
  at.require(at.u8() <= 1, "Name Character Set Encoding");
  const std::string_view name = at.text(nameSize);
  requireTerminated(at, name, "Name");
  at.require(nameSize > 1, "Name Size", nameSize);
  const TypeInfo type = readDatatype(at.part(typeSize));
  const SpaceInfo space = readDataspace(at.part(spaceSize));
  at.require(space.elements <= at.left() / type.size, "Data");
  return name.substr(0, nameSize - 1);
}

DenseInfo readLinkInfo(Cursor at) { return readDenseInfo(at, 8); }

DenseInfo readAttributeInfo(Cursor at) { return readDenseInfo(at, 2); }

void checkGroupInfo(Cursor at) {
  at.expect(1, 0, "Version");
  const unsigned flags = at.u8();
  at.require(flags <= 3, "Flags", flags);
  at.skip(((flags & 1U) != 0 ? 4U : 0U) + ((flags & 2U) != 0 ? 4U : 0U));
}

void checkReferenceCount(Cursor at) {
  at.expect(1, 0, "Version");
  at.skip(4);
}

void checkFillValue(Cursor at, const TypeInfo& type) {
  constexpr unsigned kDefined = 0x20, kUndefined = 0x10;
  at.expect(1, 3, "Version");
  const unsigned flags = at.u8();
  at.require(flags < 0x40 && (flags & (kDefined | kUndefined)) != (kDefined | kUndefined), "Flags", flags);
  if ((flags & kDefined) == 0) return;
  const std::string_view value = at.text(at.u32());
  at.require(value.empty() || value.size() == type.size, "Size", value.size());
  at.require(!type.refers || std::all_of(value.begin(), value.end(), [](char byte) { return byte == 0; }),
             "Fill Value");
}

std::vector<unsigned> readFilters(Cursor at) {
  at.expect(1, 2, "Version");
  const unsigned count = at.u8();
  at.require(count == 1 || count == 2, "Number of Filters", count);
  std::vector<unsigned> filters;
  for (unsigned i = 0; i < count; ++i) {
    const unsigned id = at.u16();
    if (id != kDeflate && id != kShuffle) at.refuse("a filter of number " + std::to_string(id));
    at.require(filters.empty() || filters.front() != id, "Filter Identification Value", id);
    at.skip(2);
    at.expect(2, 1, "Number of Client Data Values");
    at.skip(4);
    filters.push_back(id);
  }
  return filters;
}

}  // namespace vtu::qat
