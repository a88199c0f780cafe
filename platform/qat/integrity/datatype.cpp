#include "platform/qat/integrity/datatype.hpp"

#include <array>
#include <bit>

namespace vtu::qat {
namespace {

constexpr int kDeepest = 32;

enum class TypeClass : unsigned {
  integer = 0,
  real = 1,
  time = 2,
  string = 3,
  bits = 4,
  opaque = 5,
  compound = 6,
  reference = 7,
  enumeration = 8,
  variable = 9,
  array = 10,
};

struct Header {
  unsigned version;
  TypeClass kind;
  unsigned flags;
  std::uint64_t size;
};

Header readHeader(Cursor& at) {
  const unsigned start = at.u8();
  Header header{start >> 4U, static_cast<TypeClass>(start & 15U), static_cast<unsigned>(at.number(3)), at.u32()};
  at.require(header.version >= 1 && header.version <= 3, "its datatype has an unknown version");
  at.require(header.size > 0, "its datatype has no size");
  return header;
}

void requireBits(const Cursor& at, std::uint64_t first, std::uint64_t count, std::uint64_t limit) {
  at.require(count > 0 && first + count <= limit, "its datatype has bits outside its bytes");
}

void readInteger(Cursor& at, const Header& header) {
  const std::uint64_t offset = at.u16();
  const std::uint64_t precision = at.u16();
  requireBits(at, offset, precision, 8 * header.size);
}

void readReal(Cursor& at, const Header& header) {
  const std::uint64_t offset = at.u16();
  const std::uint64_t precision = at.u16();
  const std::uint64_t exponent = at.u8();
  const std::uint64_t exponentSize = at.u8();
  const std::uint64_t mantissa = at.u8();
  const std::uint64_t mantissaSize = at.u8();
  at.skip(4);
  const std::uint64_t sign = (header.flags >> 8U) & 255U;
  requireBits(at, offset, precision, 8 * header.size);
  requireBits(at, exponent, exponentSize, offset + precision);
  requireBits(at, mantissa, mantissaSize, offset + precision);
  requireBits(at, sign, 1, offset + precision);
  at.require(exponentSize < 64 && mantissaSize < 64, "its datatype has an exponent or mantissa of impossible size");
  at.require(exponent + exponentSize <= mantissa || mantissa + mantissaSize <= exponent,
             "the exponent and mantissa of its datatype overlap");
  at.require(
      (sign < exponent || sign >= exponent + exponentSize) && (sign < mantissa || sign >= mantissa + mantissaSize),
      "the sign of its datatype lies within its exponent or mantissa");
  at.require((header.flags & 0x40U) == 0, "its datatype has an unknown order of bytes");
}

/// A name of a member; before version 3 it is padded to a multiple of eight bytes.
void readName(Cursor& at, unsigned version) {
  std::size_t length = 0;
  while (at.u8() != 0) ++length;
  if (version < 3) at.skip((8 - (length + 1) % 8) % 8);
}

/// The bytes that a number up to `limit` takes.
std::size_t bytesFor(std::uint64_t limit) { return (static_cast<std::size_t>(std::bit_width(limit)) - 1) / 8 + 1; }

bool readMembers(Cursor& at, const Header& header, int depth) {
  const unsigned count = header.flags & 0xFFFFU;
  at.require(count > 0, "its datatype has no members");
  bool refers = false;
  for (unsigned i = 0; i < count; ++i) {
    readName(at, header.version);
    const std::uint64_t offset = at.number(header.version < 3 ? 4 : bytesFor(header.size));
    if (header.version == 1) {
      at.require(at.u8() == 0, "its datatype has members of an outdated form");
      at.skip(27);
    }
    const TypeInfo member = readDatatype(at, depth + 1);
    at.require(offset + member.size <= header.size, "a member of its datatype lies outside it");
    refers = refers || member.refers;
  }
  return refers;
}

void readEnumeration(Cursor& at, const Header& header, int depth) {
  const unsigned count = header.flags & 0xFFFFU;
  Cursor ahead = at;
  const unsigned base = ahead.u8() & 15U;
  at.require(base == static_cast<unsigned>(TypeClass::integer), "an enumeration of something other than integers");
  at.require(readDatatype(at, depth + 1).size == header.size, "an enumeration of another size than its integers");
  for (unsigned i = 0; i < count; ++i) readName(at, header.version);
  at.skip(count * header.size);
}

bool readArray(Cursor& at, const Header& header, int depth) {
  at.require(header.version > 1, "its datatype is an array of an outdated form");
  const unsigned rank = at.u8();
  at.require(rank > 0 && rank <= 32, "its datatype is an array of too many dimensions");
  if (header.version == 2) at.skip(3);
  std::uint64_t elements = 1;
  for (unsigned i = 0; i < rank; ++i) {
    const std::uint64_t extent = at.u32();
    at.require(extent > 0 && elements <= header.size / extent, "its datatype is an array of another size");
    elements *= extent;
  }
  if (header.version == 2) at.skip(std::size_t{4} * rank);
  const TypeInfo base = readDatatype(at, depth + 1);
  at.require(base.size == header.size / elements && header.size % elements == 0,
             "its datatype is an array of another size");
  return base.refers;
}

void readVariable(Cursor& at, const Header& header, int depth) {
  constexpr std::uint64_t kReferenceBytes = 16;  // length, address of a heap, index in it
  const unsigned kind = header.flags & 15U;
  at.require(kind <= 1 && header.size == kReferenceBytes, "a type of variable length of unknown form");
  const TypeInfo base = readDatatype(at, depth + 1);
  at.require(kind == 0 || base.size == 1, "a text type of variable length without bytes");
}

}  // namespace

TypeInfo readDatatype(Cursor& at, int depth) {
  at.require(depth < kDeepest, "its datatype is nested too deep");
  const Header header = readHeader(at);
  switch (header.kind) {
    case TypeClass::integer:
    case TypeClass::bits:
      readInteger(at, header);
      return {header.size, false};
    case TypeClass::real:
      readReal(at, header);
      return {header.size, false};
    case TypeClass::time:
      requireBits(at, 0, at.u16(), 8 * header.size);
      return {header.size, false};
    case TypeClass::string:
      at.require((header.flags & 15U) <= 2 && ((header.flags >> 4U) & 15U) <= 1, "a text type of unknown form");
      return {header.size, false};
    case TypeClass::opaque:
      at.skip(header.flags & 255U);
      return {header.size, false};
    case TypeClass::compound:
      return {header.size, readMembers(at, header, depth)};
    case TypeClass::reference:
      at.require((header.flags & 15U) <= 1 && header.size == ((header.flags & 15U) == 0 ? 8 : 12),
                 "a reference type of unknown form");
      return {header.size, true};
    case TypeClass::enumeration:
      readEnumeration(at, header, depth);
      return {header.size, false};
    case TypeClass::variable:
      readVariable(at, header, depth);
      return {header.size, true};
    case TypeClass::array:
      return {header.size, readArray(at, header, depth)};
  }
  at.fail("its datatype has the unknown class " + std::to_string(static_cast<unsigned>(header.kind)));
}

}  // namespace vtu::qat
