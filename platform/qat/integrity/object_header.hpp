/// @file
/// The messages of an object: the description of a group or a dataset.
#pragma once

#include <vector>

#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// The kinds of messages in the objects of a Qat file.
enum class MessageType : std::uint8_t {
  nil = 0x00,
  dataspace = 0x01,
  linkInfo = 0x02,
  datatype = 0x03,
  fillValue = 0x05,
  link = 0x06,
  layout = 0x08,
  groupInfo = 0x0A,
  filters = 0x0B,
  attribute = 0x0C,
  continuation = 0x10,
  attributeInfo = 0x15,
  referenceCount = 0x16,
};

/// One message; its body is in a block of its header.
struct Message {
  MessageType type;
  Cursor body;
};

/// An object header of version 2 with all its blocks.
struct ObjectHeader {
  std::vector<Block> blocks;
  std::vector<Message> messages;

  /// The first message of a type, or nullptr.
  [[nodiscard]] const Message* find(MessageType type) const;
};

/// Reads the header at an address with its continuations. @throws Failure also for a message that Qat files do not
/// have, and for one that is there twice and must not be.
[[nodiscard]] ObjectHeader readObjectHeader(Blocks& blocks, std::uint64_t address);

}  // namespace vtu::qat
