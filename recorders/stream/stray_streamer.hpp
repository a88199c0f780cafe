/// @file
/// The strays of a streamed file. Not installed; part of StreamResource.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/qat_stream.hpp"
#include "recorders/table/stray_sink.hpp"

namespace vtio::recorders {

/// Buffers strays and gives them to the file's log; knows how many each position has, and steps them back.
///
/// Positions that have had the same samples in tables and strays at the same times are read together, as one table.
/// When the file is closed all their samples get into its tables: from then on such a position is moved.
class StrayStreamer final : public StraySink {
 public:
  /// What it needs of the resource that owns the file.
  struct File {
    std::function<vtu::QatStream&()> open;    ///< opens the file again if it was closed; throws
    std::function<vtu::QatStream&()> asItIs;  ///< open or closed
    std::function<bool()> isOpen;             ///< false after it was closed
    std::function<void(const char*)> stop;    ///< after a failure
    std::function<void()> introduce;          ///< calls add...() for positions that are not known
    std::function<void()> endLeaves;          ///< tells the file where leaves ended in their tables
    /// Samples of a leaf that its table was left with when it was given up.
    std::function<std::uint64_t(const vtu::StreamLeaf&)> left;
  };

  explicit StrayStreamer(File file) : file_(std::move(file)) {}

  /// Adds a leaf of a position, in the order of their bytes in a row.
  void addLeaf(std::uint32_t position, const vtu::StreamLeaf& leaf);
  [[nodiscard]] bool knows(std::uint32_t position) const;

  /// From now on a position has strays, unless it has some already. @param inTable See take().
  void begin(std::uint32_t position, std::uint64_t inTable);

  /// The number for the next leaf that no table has.
  [[nodiscard]] std::uint32_t nextLate() { return nextLate_++; }

  /// Descriptions that must be in the log before strays of these positions.
  void addDescriptions(std::vector<std::uint32_t> positions, std::vector<std::string> json);

  /// Gives the log what is buffered. @throws std::runtime_error
  void write();

  /// The file was closed with all strays in its tables. @return The positions that have been moved by that.
  std::vector<std::uint32_t> moved(const vtu::QatStream& stream);

  [[nodiscard]] bool isEmpty() const { return strays_.empty(); }

  /// Samples of a position with strays that are rows of the table where it was first; none if it has no strays.
  [[nodiscard]] std::optional<std::uint64_t> inTable(std::uint32_t position) const;

  [[nodiscard]] std::optional<std::uint64_t> take(std::uint32_t position,
                                                  std::optional<std::uint64_t> inTable) noexcept override;
  void add(std::uint32_t position, double time, const std::byte* row) override;
  [[nodiscard]] std::optional<std::uint64_t> count(std::uint32_t position) const noexcept override;
  [[nodiscard]] bool isMoved(std::uint32_t position) const noexcept override;
  [[nodiscard]] std::pair<std::shared_ptr<const vtu::SampleTable>, std::size_t> samples(
      std::uint32_t position) override;
  [[nodiscard]] std::shared_ptr<const StraySink::State> state() override;
  [[nodiscard]] std::optional<std::uint64_t> countIn(const StraySink::State& state,
                                                     std::uint32_t position) const override;
  [[nodiscard]] bool holds(const StraySink::State& state) const noexcept override;
  void restore(const StraySink::State* state,
               const std::function<std::uint64_t(std::uint32_t)>& inTables) noexcept override;
  void forget(std::uint32_t position) noexcept override;

 private:
  /// The samples of one position.
  struct Strays {
    std::uint32_t table = 0;    // of the file, with the first samples
    std::uint64_t inTable = 0;  // samples there
    std::uint64_t logged = 0;   // strays after those
    std::uint64_t times = 0;    // hash of their times
    bool isMoved = false;
    // clang-tidy takes the comparison with 0. NOLINTNEXTLINE(modernize-use-nullptr)
    friend auto operator<=>(const Strays&, const Strays&) = default;

    [[nodiscard]] std::uint64_t besidesTables() const { return logged + (isMoved ? inTable : 0); }
  };
  using ByPosition = std::map<std::uint32_t, Strays>;
  struct Known final : State {
    ByPosition strays;
    vtu::QatStream::StrayMark mark;
    std::uint64_t log = 0;
    std::uint64_t sequence = 0;
    std::size_t cuts = 0;
  };
  /// Leaves that came late together, in one element.
  struct Late {
    std::vector<std::string> json;
    std::optional<std::uint64_t> describedAt;  // sequence number
  };
  /// Positions that are read together.
  struct Group {
    std::shared_ptr<const vtu::SampleTable> table;
    std::unordered_map<std::uint32_t, std::size_t> offsets;
  };

  void describe(std::uint32_t position);
  void goBackTo(const Known* state, const std::function<std::uint64_t(std::uint32_t)>& inTables);
  [[nodiscard]] Strays forced(std::uint32_t position, const Strays& now, std::uint64_t samples);
  void findGroups();

  File file_;
  vtu::StrayBuffer buffer_;
  std::vector<std::vector<vtu::StreamLeaf>> leaves_;  // by position
  ByPosition strays_;
  std::vector<Strays*> quick_;  // by position; into strays_
  std::vector<Late> late_;
  std::unordered_map<std::uint32_t, std::size_t> lateOf_;
  std::map<Strays, Group> groups_;
  bool areGroupsKnown_ = false;
  std::uint32_t nextLate_ = 0;
  std::uint64_t sequence_ = 0;       // number of strays and descriptions so far
  std::uint64_t log_ = 0;            // how often the file was closed
  std::vector<std::uint64_t> cuts_;  // what was left of the sequence each time
};

}  // namespace vtio::recorders
