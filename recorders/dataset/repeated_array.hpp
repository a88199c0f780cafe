/// @file
/// Small arrays that are mostly the same from signal to signal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/qalc.hpp"

namespace vtio::recorders {

/// A field whose text repeats: arrays of one text, made one after another, share their storage.
///
///     thread_local RepeatedText unit;
///     structure.set("Unit", unit.array(leaf.unit().getUnits()));
class RepeatedText final {
 public:
  [[nodiscard]] vtu::qxArrayWrapper array(std::u16string_view text);
  [[nodiscard]] vtu::qxArrayWrapper array(const std::string& utf8);

 private:
  std::u16string text_;
  std::string utf8_;
  vtu::qxArrayWrapper array_;
};

/// A field whose number repeats.
class RepeatedNumber final {
 public:
  [[nodiscard]] vtu::qxArrayWrapper array(std::uint64_t value);

 private:
  std::uint64_t value_ = 0;
  vtu::qxArrayWrapper array_;
};

}  // namespace vtio::recorders
