/// @file
/// What is handed to accessors at each sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/text.hpp"
#include "runner/signals/bus_block.hpp"
#include "vtio/core/accessor/accessor.hpp"

namespace vtio::runner {

/// A leaf position of a signal.
struct Target {
  core::accessor::Accessor* accessor = nullptr;
  unsigned long position = 0;
};

/// Values of a binary variable: its bytes, followed by zeros up to the room there is, and its length.
struct BinaryDelivery {
  Target data, length;
  const std::string* source = nullptr;
  std::vector<std::byte> bytes;
};

/// Values of a binary variable of any length: its bytes as hexadecimal text, and its length.
struct HexadecimalDelivery {
  Target text, length;
  const std::string* source = nullptr;
  vtu::ustring digits;
};

struct BlockDelivery {
  Target target;
  std::vector<BlockPiece> pieces;
  std::vector<std::byte> block;
};

/// All deliveries of one kind of sample.
class DeliveryList final {
 public:
  void addNumbers(Target target, const void* data) { numbers_.push_back({target, data}); }
  void addText(Target target, const vtu::ustring* text) { texts_.push_back({target, text}); }
  void addBinary(BinaryDelivery delivery) { binaries_.push_back(std::move(delivery)); }
  void addHexadecimal(HexadecimalDelivery delivery) { hexadecimals_.push_back(std::move(delivery)); }
  void addBlock(BlockDelivery delivery) { blocks_.push_back(std::move(delivery)); }

  void deliver(double time);

 private:
  struct Numbers {
    Target target;
    const void* data;
  };
  struct Text {
    Target target;
    const vtu::ustring* text;
  };

  std::vector<Numbers> numbers_;
  std::vector<Text> texts_;
  std::vector<BinaryDelivery> binaries_;
  std::vector<HexadecimalDelivery> hexadecimals_;
  std::vector<BlockDelivery> blocks_;
};

}  // namespace vtio::runner
