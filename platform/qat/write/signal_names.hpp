/// @file
/// Names of signals, made different within a file.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace vtu::qat {

/// Makes names unique: the second signal of a name becomes `NAME#2`, the third `NAME#3`, or the next free
/// number.
class SignalNames final {
 public:
  /// Takes a name as it is.
  void take(const std::string& name) { taken_.try_emplace(name, 1); }

  /// Makes room for as many names more.
  void reserve(std::size_t count) { taken_.reserve(taken_.size() + count); }

  /// Takes a name, or the next one made from it that is free.
  std::string unique(const std::string& name) {
    const auto [entry, isFree] = taken_.try_emplace(name, 1);
    if (isFree) return name;
    std::string numbered;
    std::uint64_t number = entry->second;
    do {
      numbered = name + "#" + std::to_string(++number);
    } while (!taken_.try_emplace(numbered, 1).second);
    taken_[name] = number;
    return numbered;
  }

 private:
  std::unordered_map<std::string, std::uint64_t> taken_;  // the last number given to each
};

}  // namespace vtu::qat
