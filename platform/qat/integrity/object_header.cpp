#include "platform/qat/integrity/object_header.hpp"

#include <array>
#include <string>
#include <utility>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kFirstRead = 512;  // most headers fit
constexpr std::size_t kChecksum = 4;
constexpr unsigned kOrderTracked = 0x04;
constexpr unsigned kThresholds = 0x10;
constexpr unsigned kTimes = 0x20;

struct Extent {
  std::uint64_t address, size;
};

/// The messages of one chunk; what is too short for a message at its end is a gap.
void readMessages(Cursor chunk, unsigned headerFlags, std::vector<Message>& messages, std::vector<Extent>& more) {
  const std::size_t prefix = (headerFlags & kOrderTracked) != 0 ? 6 : 4;
  while (chunk.left() >= prefix) {
    const unsigned type = chunk.u8();
    const std::size_t size = chunk.u16();
    const std::uint8_t flags = chunk.u8();
    chunk.skip(prefix - 4);
    Message message{static_cast<MessageType>(type), flags, chunk.part(size)};
    if (message.type == MessageType::continuation) {
      const std::uint64_t address = message.body.u64();
      more.push_back({address, message.body.u64()});
    } else if (message.type != MessageType::nil) {
      messages.push_back(message);
    }
  }
}

/// Reads the first chunk with the prefix before it. @return the header's flags
unsigned readFirstChunk(Blocks& blocks, StructurePlace place, ObjectHeader& header, std::vector<Extent>& more) {
  if (place.address >= blocks.fileSize()) {
    throw Failure(kDamaged, "no object begins at address " + std::to_string(place.address) + ", behind the file's end");
  }
  Block start = blocks.peek(place, kFirstRead);
  Cursor prefix = start.cursor();
  if (prefix.left() < 5 || prefix.text(5) != std::string_view("OHDR\x02")) {
    throw Failure(kDamaged, "no object begins at address " + std::to_string(place.address));
  }
  const unsigned flags = prefix.u8();
  prefix.require(flags < 0x40, "it has unknown flags");
  prefix.skip(((flags & kTimes) != 0 ? 16U : 0U) + ((flags & kThresholds) != 0 ? 4U : 0U));
  const std::uint64_t size = prefix.number(std::size_t{1} << (flags & 3U));
  const std::size_t begin = start.bytes.size() - prefix.left();
  prefix.require(size < blocks.fileSize(), "it is larger than the file");
  const std::uint64_t whole = begin + size + kChecksum;
  if (whole <= start.bytes.size()) {
    blocks.claim(place, whole);
    start.bytes.resize(whole);
    header.chunks.push_back(std::move(start));
  } else {
    header.chunks.push_back(blocks.take(place, whole));
  }
  blocks.verify(header.chunks.back(), begin + size);
  Cursor chunk = header.chunks.back().cursor();
  chunk.skip(begin);
  readMessages(chunk.part(size), flags, header.messages, more);
  return flags;
}

void readContinuation(Blocks& blocks, Extent extent, unsigned flags, ObjectHeader& header, std::vector<Extent>& more) {
  constexpr std::size_t kSignature = 4;
  const StructurePlace place{"continued object header", extent.address};
  if (extent.size < kSignature + kChecksum) throw Failure(kDamaged, inWords(place) + ": it is too small");
  header.chunks.push_back(blocks.take(place, extent.size));
  Cursor chunk = header.chunks.back().cursor();
  chunk.require(chunk.text(kSignature) == "OCHK", "it does not begin with OCHK");
  blocks.verify(header.chunks.back(), extent.size - kChecksum);
  readMessages(chunk.part(extent.size - kSignature - kChecksum), flags, header.messages, more);
}

bool mayRepeat(MessageType type) { return type == MessageType::link || type == MessageType::attribute; }

void requireSingle(const ObjectHeader& header) {
  std::array<bool, 256> seen{};
  for (const Message& message : header.messages) {
    bool& found = seen[static_cast<std::size_t>(message.type)];
    if (found && !mayRepeat(message.type)) {
      message.body.fail("it has two messages of type " + std::to_string(static_cast<unsigned>(message.type)));
    }
    found = true;
  }
}

}  // namespace

const Message* ObjectHeader::find(MessageType type) const {
  for (const Message& message : messages) {
    if (message.type == type) return &message;
  }
  return nullptr;
}

ObjectHeader readObjectHeader(Blocks& blocks, std::uint64_t address) {
  ObjectHeader header;
  std::vector<Extent> more;
  const unsigned flags = readFirstChunk(blocks, {"object header", address}, header, more);
  for (std::size_t i = 0; i < more.size(); ++i) readContinuation(blocks, more[i], flags, header, more);
  requireSingle(header);
  return header;
}

}  // namespace vtu::qat
