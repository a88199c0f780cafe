/// @file
/// The messages of an object: what HDF5 knows about a group, a dataset or a named type.
#pragma once

#include <vector>

#include "platform/qat/integrity/blocks.hpp"

namespace vtu::qat {

/// The kinds of messages that can stand in an object of the latest format.
enum class MessageType : std::uint8_t {
  nil = 0x00,
  dataspace = 0x01,
  linkInfo = 0x02,
  datatype = 0x03,
  oldFillValue = 0x04,
  fillValue = 0x05,
  link = 0x06,
  externalFiles = 0x07,
  layout = 0x08,
  groupInfo = 0x0A,
  filters = 0x0B,
  attribute = 0x0C,
  comment = 0x0D,
  continuation = 0x10,
  symbolTable = 0x11,
  modificationTime = 0x12,
  treeSizes = 0x13,
  attributeInfo = 0x15,
  referenceCount = 0x16,
  freeSpaceInfo = 0x17,
};

/// One message; its body lies in a chunk of its header.
struct Message {
  MessageType type;
  std::uint8_t flags;
  Cursor body;

  [[nodiscard]] bool shared() const { return (flags & 2U) != 0; }
};

/// A checksummed header with all its chunks.
struct ObjectHeader {
  std::vector<Block> chunks;
  std::vector<Message> messages;

  /// The only message of its type, or nullptr.
  [[nodiscard]] const Message* find(MessageType type) const;
};

/// Reads the header at an address with its continuations and checks signatures, checksums and sizes. @throws Failure
[[nodiscard]] ObjectHeader readObjectHeader(Blocks& blocks, std::uint64_t address);

}  // namespace vtu::qat
