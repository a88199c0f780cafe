#include "damaged_bytes.hpp"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/qat/checksum.hpp"

namespace vtio::tests {

std::size_t DamagedBytes::find(std::string_view text, std::size_t nth) const {
  std::size_t at = bytes_.find(text);
  for (; nth > 0 && at != std::string::npos; --nth) at = bytes_.find(text, at + 1);
  if (at == std::string::npos) throw std::runtime_error("the file does not have " + std::string(text));
  return at;
}

std::size_t DamagedBytes::headerAround(std::size_t at) const {
  const std::size_t header = bytes_.rfind("OHDR", at);
  if (header == std::string::npos) throw std::runtime_error("no object header before " + std::to_string(at));
  return header;
}

std::size_t DamagedBytes::headerBody(std::size_t header) const {
  const std::uint64_t flags = number(header + 5, 1);
  return header + 6 + ((flags & 0x20U) != 0 ? 16 : 0) + ((flags & 0x10U) != 0 ? 4 : 0) +
         (std::size_t{1} << (flags & 3U));
}

std::size_t DamagedBytes::headerEnd(std::size_t header) const {
  const std::size_t width = std::size_t{1} << (number(header + 5, 1) & 3U);
  const std::size_t body = headerBody(header);
  return body + number(body - width, width);
}

std::size_t DamagedBytes::message(std::size_t header, unsigned type) const {
  const std::size_t prefix = (number(header + 5, 1) & 4U) != 0 ? 6 : 4;
  for (std::size_t at = headerBody(header); at + prefix <= headerEnd(header);) {
    if (number(at, 1) == type) return at + prefix;
    at += prefix + number(at + 1, 2);
  }
  throw std::runtime_error("no message of type " + std::to_string(type));
}

std::uint64_t DamagedBytes::number(std::size_t at, std::size_t width) const {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes_.data() + at, width);
  return value;
}

void DamagedBytes::setNumber(std::size_t at, std::size_t width, std::uint64_t value) {
  std::memcpy(bytes_.data() + at, &value, width);
}

void DamagedBytes::sealHeader(std::size_t header) { seal(header, headerEnd(header) - header); }

void DamagedBytes::sealHeaderBlock(std::size_t at) {
  const std::size_t chunk = bytes_.rfind("OCHK", at), header = headerAround(at);
  if (chunk == std::string::npos || chunk < header) return sealHeader(header);
  std::string address(8, '\0');  // the header gives the size of its further blocks
  std::memcpy(address.data(), &chunk, address.size());
  const std::size_t reference = find(address);
  seal(chunk, number(reference + 8, 8) - 4);
}

void DamagedBytes::seal(std::size_t at, std::size_t size) {
  setNumber(at + size, 4, vtu::qat::metadataChecksum(reinterpret_cast<const unsigned char*>(bytes_.data()) + at, size));
}

}  // namespace vtio::tests
