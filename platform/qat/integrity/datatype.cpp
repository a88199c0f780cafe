#include "platform/qat/integrity/datatype.hpp"

#include <array>
#include <bit>

namespace vtu::qat {
namespace {

enum Class : unsigned {
  fixedPoint = 0,
  floatingPoint = 1,
  string = 3,
  compound = 6,
  enumerated = 8,
  variableLength = 9
};
constexpr unsigned kClasses = 11;
constexpr std::array<const char*, kClasses> kClassNames = {"Fixed-Point", "Floating-Point",  "Time",     "String",
                                                           "Bit field",   "Opaque",          "Compound", "Reference",
                                                           "Enumerated",  "Variable-Length", "Array"};

struct Header {
  unsigned version, kind, bits;
  std::uint64_t size;
};

Header readHeader(Cursor& at) {
  const unsigned start = at.u8();
  const Header header{start >> 4U, start & 15U, static_cast<unsigned>(at.number(3)), at.u32()};
  at.require(header.version >= 1 && header.version <= 3, "Version", header.version);
  at.require(header.kind < kClasses, "Class", header.kind);
  at.require(header.size > 0, "Size", 0);
  return header;
}

[[noreturn]] void refuseClass(const Cursor& at, const Header& header) {
  at.refuse("a datatype of class " + std::to_string(header.kind) + " (" + kClassNames[header.kind] + ") here");
}

void readInteger(Cursor& at, const Header& header) {
  constexpr unsigned kSigned = 8;
  if (header.size > 8 || !std::has_single_bit(header.size) || (header.bits & ~kSigned) != 0) {
    at.refuse("an integer that is not 1, 2, 4 or 8 bytes, little-endian");
  }
  at.expect(2, 0, "Bit Offset");
  at.expect(2, 8 * header.size, "Bit Precision");
}

void readReal(Cursor& at, const Header& header) {
  struct Form {
    unsigned size, bits, exponentAt, exponentSize, mantissaSize, bias;
  };
  constexpr Form kSingle{4, 0x1F20, 23, 8, 23, 127}, kDouble{8, 0x3F20, 52, 11, 52, 1023};
  const Form& form = header.size == 4 ? kSingle : kDouble;
  if (header.size != form.size || header.bits != form.bits) {
    at.refuse("a floating-point number that is neither a little-endian IEEE single nor double");
  }
  at.expect(2, 0, "Bit Offset");
  at.expect(2, std::uint64_t{8} * form.size, "Bit Precision");
  at.expect(1, form.exponentAt, "Exponent Location");
  at.expect(1, form.exponentSize, "Exponent Size");
  at.expect(1, 0, "Mantissa Location");
  at.expect(1, form.mantissaSize, "Mantissa Size");
  at.expect(4, form.bias, "Exponent Bias");
}

void requireTextBits(const Cursor& at, unsigned padding, unsigned characterSet) {
  at.require(padding <= 2, "Padding Type", padding);
  at.require(characterSet <= 1, "Character Set", characterSet);
}

void readText(const Cursor& at, const Header& header) {
  requireTextBits(at, header.bits & 15U, (header.bits >> 4U) & 15U);
}

void readName(Cursor& at) {
  while (at.u8() != 0) {
  }
}

void readEnumeration(Cursor& at, const Header& header) {
  const Header base = readHeader(at);
  if (base.kind != fixedPoint) refuseClass(at, base);
  at.require(base.size == header.size, "Base Type's Size", base.size);
  readInteger(at, base);
  const std::size_t members = header.bits & 0xFFFFU;
  for (std::size_t i = 0; i < members; ++i) readName(at);
  at.skip(members * header.size);
}

/// Numbers, fixed texts and enumerations. @return false for any other type
bool readSimple(Cursor& at, const Header& header) {
  switch (header.kind) {
    case fixedPoint:
      readInteger(at, header);
      return true;
    case floatingPoint:
      readReal(at, header);
      return true;
    case string:
      readText(at, header);
      return true;
    case enumerated:
      at.require(header.version == 3, "Version", header.version);
      readEnumeration(at, header);
      return true;
    default:
      return false;
  }
}

void readMembers(Cursor& at, const Header& header) {
  at.require(header.version == 3, "Version", header.version);
  const unsigned members = header.bits & 0xFFFFU;
  at.require(members > 0, "Number of Members", members);
  const std::size_t offsetBytes = (static_cast<std::size_t>(std::bit_width(header.size)) + 7) / 8;
  std::uint64_t end = 0;
  for (unsigned i = 0; i < members; ++i) {
    readName(at);
    const std::uint64_t offset = at.number(offsetBytes);
    const Header member = readHeader(at);
    at.require(offset >= end && offset <= header.size && member.size <= header.size - offset, "Byte Offset of Member",
               offset);
    if (!readSimple(at, member)) refuseClass(at, member);
    end = offset + member.size;
  }
}

void readVariableText(Cursor& at, const Header& header) {
  constexpr unsigned kString = 1, kReferenceBytes = 16;  // length, address of a global heap, index in it
  if ((header.bits & 15U) != kString) refuseClass(at, header);
  at.require(header.size == kReferenceBytes, "Size", header.size);
  requireTextBits(at, (header.bits >> 4U) & 15U, (header.bits >> 8U) & 15U);
  const Header base = readHeader(at);
  at.require(base.size == 1 && base.kind <= string && readSimple(at, base), "Base Type");
}

}  // namespace

TypeInfo readDatatype(Cursor at) {
  const Header header = readHeader(at);
  if (header.kind == variableLength) {
    readVariableText(at, header);
  } else if (header.kind == compound) {
    readMembers(at, header);
  } else if (!readSimple(at, header)) {
    refuseClass(at, header);
  }
  return {header.size, header.kind == variableLength};
}

}  // namespace vtu::qat
