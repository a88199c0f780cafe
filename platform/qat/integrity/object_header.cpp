#include "platform/qat/integrity/object_header.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/qat/failure.hpp"

namespace vtu::qat {
namespace {

constexpr std::size_t kFirstRead = 512;  // most headers fit
constexpr unsigned kOrderTracked = 0x04, kThresholds = 0x10, kTimes = 0x20, kKnownFlags = 0x3F;

struct Extent {
  std::uint64_t address, size;
};

/// What the file format calls a message; nullptr if Qat files do not have it.
const char* nameOf(unsigned type) {
  using Entry = std::pair<MessageType, const char*>;
  constexpr Entry kNames[] = {{MessageType::nil, "NIL Message"},
                              {MessageType::dataspace, "Dataspace Message"},
                              {MessageType::linkInfo, "Link Info Message"},
                              {MessageType::datatype, "Datatype Message"},
                              {MessageType::fillValue, "Fill Value Message"},
                              {MessageType::link, "Link Message"},
                              {MessageType::layout, "Data Layout Message"},
                              {MessageType::groupInfo, "Group Info Message"},
                              {MessageType::filters, "Filter Pipeline Message"},
                              {MessageType::attribute, "Attribute Message"},
                              {MessageType::continuation, "Object Header Continuation Message"},
                              {MessageType::attributeInfo, "Attribute Info Message"},
                              {MessageType::referenceCount, "Object Reference Count Message"}};
  for (const auto& [known, name] : kNames) {
    if (static_cast<unsigned>(known) == type) return name;
  }
  return nullptr;
}

/// One header while it is read.
class HeaderReader final {
 public:
  HeaderReader(Blocks& blocks, ObjectHeader& header) : blocks_(blocks), header_(header) {}

  void run(std::uint64_t address) {
    readFirst({"Object Header", address});
    std::size_t next = 0;
    while (next < more_.size()) readContinuation(more_[next++]);  // may add to the list
  }

 private:
  void readFirst(StructurePlace place) {
    const std::uint64_t behind = blocks_.fileSize() - std::min(blocks_.fileSize(), place.address);
    const Failure nothing(kDamaged, "no object begins at address " + std::to_string(place.address));
    if (behind < 6) throw Failure(nothing);
    Block block = blocks_.read(place, std::min<std::uint64_t>(behind, kFirstRead));
    Cursor at = block.cursor();
    if (at.text(4) != "OHDR") throw Failure(nothing);
    at.expect(1, 2, "Version");
    const unsigned flags = at.u8();
    at.require((flags & ~kKnownFlags) == 0, "Flags", flags);
    at.skip(((flags & kTimes) != 0 ? 16U : 0U) + ((flags & kThresholds) != 0 ? 4U : 0U));
    const std::uint64_t size = at.number(std::size_t{1} << (flags & 3U));
    at.require(size <= behind, "Size of Chunk #0", size);
    const std::size_t begin = block.bytes.size() - at.left();
    prefix_ = (flags & kOrderTracked) != 0 ? 6 : 4;
    const std::uint64_t whole = begin + size + Blocks::kChecksumBytes;
    if (whole > block.bytes.size()) block = blocks_.read(place, whole);
    addBlock(std::move(block), begin, whole);
  }

  void readContinuation(Extent extent) {
    const StructurePlace place{"Object Header Continuation Block", extent.address};
    Block block = blocks_.read(place, extent.size);
    block.cursor().require(extent.size >= 8, "Length", extent.size);
    Cursor at = block.cursor();
    at.require(at.text(4) == "OCHK", "Signature");
    addBlock(std::move(block), 4, extent.size);
  }

  void addBlock(Block block, std::size_t begin, std::size_t whole) {
    blocks_.verify(block, whole);
    blocks_.claim(block.place, whole);
    block.begin = begin;
    block.end = whole - Blocks::kChecksumBytes;
    header_.blocks.push_back(std::move(block));
    readMessages(header_.blocks.back());
  }

  /// What is too short for a message at the end of a block is a gap.
  void readMessages(const Block& block) {
    for (Cursor at = block.cursor(); at.left() >= prefix_;) {
      const unsigned type = at.u8();
      const std::size_t size = at.u16();
      const unsigned flags = at.u8();
      at.skip(prefix_ - 4);
      const char* name = nameOf(type);
      if (name == nullptr) at.refuse("a message of type " + std::to_string(type));
      const std::uint64_t address = block.place.address + block.end - at.left();
      const std::string_view bytes = at.text(size);
      add({static_cast<MessageType>(type),
           {reinterpret_cast<const unsigned char*>(bytes.data()), size, {name, address}}},
          flags);
    }
  }

  void add(Message message, unsigned flags) {
    constexpr unsigned kConstant = 1, kShared = 2, kNotToBeShared = 4;
    if (message.type == MessageType::nil) return;
    if ((flags & kShared) != 0) message.body.refuse("a shared message");
    message.body.require((flags & ~(kConstant | kNotToBeShared)) == 0, "Header Message Flags", flags);
    if (message.type == MessageType::continuation) {
      const std::uint64_t address = message.body.u64();
      more_.push_back({address, message.body.u64()});
      return;
    }
    const bool mayRepeat = message.type == MessageType::link || message.type == MessageType::attribute;
    if (!mayRepeat && header_.find(message.type) != nullptr) message.body.fail("it is there twice");
    header_.messages.push_back(message);
  }

  Blocks& blocks_;
  ObjectHeader& header_;
  std::vector<Extent> more_;
  std::size_t prefix_ = 4;
};

}  // namespace

const Message* ObjectHeader::find(MessageType type) const {
  const auto found =
      std::find_if(messages.begin(), messages.end(), [type](const Message& message) { return message.type == type; });
  return found == messages.end() ? nullptr : &*found;
}

ObjectHeader readObjectHeader(Blocks& blocks, std::uint64_t address) {
  ObjectHeader header;
  HeaderReader(blocks, header).run(address);
  return header;
}

}  // namespace vtu::qat
