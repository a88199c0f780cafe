/// @file
/// Small random numbers, the same in every run.
#pragma once

#include <cstdint>
#include <random>

namespace vtio::tests {

class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}

  /// From 0 to sides - 1.
  std::uint32_t operator()(std::size_t sides) { return static_cast<std::uint32_t>(random_() % sides); }

 private:
  std::mt19937 random_;
};

}  // namespace vtio::tests
