/// @file
/// Reads the newest samples of signals with a limit of points, of a file that is being written or whose writer died.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/qat/read/memory_budget.hpp"
#include "platform/qat/read/source.hpp"
#include "platform/qat/ring_format.hpp"

namespace vtu::qat {

/// The leaves of all rings. Their samples are read when they are asked for. Every function throws Failure.
class Rings final {
 public:
  explicit Rings(const Source& source);

  /// A leaf whose samples are in a ring.
  struct Leaf {
    std::string ring;
    RingLeaf in;
  };

  [[nodiscard]] const std::vector<Leaf>& leaves() const { return leaves_; }

  /// Index of a leaf in leaves(); none if its samples are those of its table.
  [[nodiscard]] std::optional<std::size_t> find(LeafPlace place) const;

  /// The newest samples of a leaf, oldest first.
  struct Samples {
    std::vector<double> times;     // in seconds
    std::vector<std::byte> bytes;  // as in the rows of a table; cells of texts lead to `texts`
    std::vector<std::byte> texts;
  };
  /// @param areTexts The bytes are cells of texts.
  [[nodiscard]] Samples read(const Leaf& leaf, bool areTexts) const;

 private:
  /// Numbers of samples.
  struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
  };

  void addRing(hid_t group, const std::string& name);
  [[nodiscard]] Handle open(hid_t group, const char* name) const;
  [[nodiscard]] std::vector<std::uint64_t> ranges(hid_t group) const;
  [[nodiscard]] Range range(const Leaf& leaf, hid_t group) const;
  [[nodiscard]] Samples readRange(const Leaf& leaf, hid_t group, Range range, bool areTexts) const;
  void readColumns(hid_t dataset, const Leaf& leaf, Range range, std::uint64_t first, std::uint64_t width,
                   std::byte* out) const;
  void readTexts(hid_t group, Samples& samples) const;

  Source source_;
  mutable MemoryBudget budget_;
  std::vector<Leaf> leaves_;
  std::map<LeafPlace, std::size_t> known_;
};

}  // namespace vtu::qat
