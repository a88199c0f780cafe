/// @file
/// The newest samples of signals with a limit of points, in a streamed file. Not installed; part of StreamResource.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <vector>

#include "platform/qat_stream.hpp"
#include "recorders/memory/memory_recorder.hpp"
#include "recorders/table/row_sink.hpp"
#include "recorders/table/table_builder.hpp"

namespace vtio::recorders {

/// Copies the samples of positions with a limit of points from the builder, which keeps them in memory, to rings of the
/// file: while it is written, readers and crashes find them there. When it is closed they are in its tables.
class NewestStreamer final {
 public:
  /// @param builder Outlives this.
  explicit NewestStreamer(TableBuilder& builder) : builder_(builder) {}

  /// The rings as the file needs them when variables with these recorders are put: those of before and, for positions
  /// that are new, more.
  [[nodiscard]] std::vector<vtu::StreamRing> rings(std::span<const MemoryRecorder* const> recorders);

  [[nodiscard]] bool isEmpty() const { return rings_.empty(); }

  /// Copies what the file lacks. The file has all rings. @throws std::runtime_error
  void push(vtu::QatStream& stream);

  /// Samples of a position after which push() should be called.
  [[nodiscard]] std::uint64_t due() const { return due_; }

  /// Takes samples back from the file. @throws std::runtime_error
  void stepBack(vtu::QatStream& stream, const RowSink::Left& left) const;

 private:
  struct Leaf {
    std::size_t offset;  // in the position's part of a row
    std::uint32_t bytes;
    bool isText;
  };
  struct Position {
    std::uint32_t number;
    std::vector<Leaf> leaves;
  };
  /// Positions with the same limit that were in the same table when they were found.
  struct Ring {
    std::uint64_t limit;
    std::vector<Position> positions;
  };

  void add(const MemoryRecorder& recorder, std::vector<const vtu::SampleTable*>& tables, std::size_t first);
  [[nodiscard]] vtu::StreamRing described(const Ring& ring);
  [[nodiscard]] std::vector<std::size_t> offsetsOf(const TableBuilder::Samples& samples, std::uint32_t position);
  void pushRing(vtu::QatStream& stream, std::uint32_t number);

  TableBuilder& builder_;
  std::vector<Ring> rings_;
  std::set<std::uint32_t> known_;  // positions
  std::uint64_t due_ = UINT64_MAX;
};

}  // namespace vtio::recorders
