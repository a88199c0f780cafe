/// @file
/// The client that keeps a signal in memory. Usually made by RecordingSession::attach().
///
///     auto recorder = std::make_unique<vtio::recorders::MemoryRecorder>(descriptor);
///     vtio::recorders::MemoryRecorder& r = *recorder;
///     catalogue.addClient(std::move(recorder), u"logsout");
///     accessor.addClient(r);
///
/// See also recording_session.hpp, and recorders.h for C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/snapshot.hpp"
#include "recorders/export.hpp"
#include "recorders/layout/sample_order.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"

namespace vtio::recorders {

struct Cursor;
struct LeafRun;
class TableBuilder;

/// Makes a table builder, which assigns the samples of the recorders that share it to tables: see the constructor of
/// MemoryRecorder.
[[nodiscard]] VTIO_RECORDERS_EXPORT std::shared_ptr<TableBuilder> makeTableBuilder();

/// Records one signal of any tree: a leaf, a virtual bus leaf by leaf, a non-virtual bus as one block, arrays of buses
/// at any depth.
///
/// Samples are kept in tables: a row per time, and in it the values of all leaves, of all recorders with one builder,
/// that are recorded at the same times. Appending allocates only when the last tile of rows of a table is full. A
/// descriptor with a limit of points N keeps the newest N samples of each leaf.
///
/// A sample's values are taken in their order in memory, the last index fastest, as in C arrays. Those of
/// a model that delivers the first index fastest are put in that order: SampleOrder::columnMajor.
/// The text of a string leaf is copied when it is delivered: a leaf of its own delivers an address, inside a
/// non-virtual bus the text itself is at the leaf's offset. Offsets that the tree does not give (a virtual bus
/// inside a non-virtual one, a nested bus of unknown size) follow each other without gaps.
///
/// A builder that streams (recorders/stream/) puts the rows into a file. Then update() throws nothing for a sample that
/// cannot be recorded: it counts it, and the file's failure is kept.
///
/// Snapshots restore the exact state, including samples that the limit of points has dropped since; they share the
/// tiles that they need. All recorders of one builder should be stepped back together, as the catalogue and a session
/// do: one that is stepped back alone gets a copy of its samples. Used from one thread, that of the simulation; arrays
/// that were returned may be read and destroyed on any.
class VTIO_RECORDERS_EXPORT MemoryRecorder final : public core::client::Client {
 public:
  /// A recorder with the type that the signal has by default: OutportLogging for a root outport, else SignalLogging.
  /// @param descriptor Must outlive the recorder's use; its limit of points is read here.
  /// @param order In which the elements of a matrix are delivered.
  /// @throws std::invalid_argument with the name of the leaf if the tree cannot be recorded.
  explicit MemoryRecorder(const core::utils::SignalDescriptor& descriptor, SampleOrder order = SampleOrder::rowMajor);

  /// @param builder Shared with other recorders, which is why it is counted; null: one of its own.
  MemoryRecorder(clientType type, const core::utils::SignalDescriptor& descriptor,
                 std::shared_ptr<TableBuilder> builder = nullptr, SampleOrder order = SampleOrder::rowMajor);
  ~MemoryRecorder() override;

  MemoryRecorder(const MemoryRecorder&) = delete;
  MemoryRecorder& operator=(const MemoryRecorder&) = delete;

  /// Recorders are adjacent in memory.
  static void* operator new(std::size_t size);
  static void operator delete(void* memory, std::size_t size) noexcept;

  /// Appends one sample of the whole signal.
  /// @param time In seconds.
  /// @param data As the descriptor's root describes it; copied.
  void update(const double* time, const void* data) override;

  /// Appends one sample of one leaf position.
  /// @throws std::out_of_range for a position that the signal does not have.
  void update(unsigned long leafIndex, const double* time, const void* data) override;

  /// Snapshots of this recorder. They stay safe to use after the recorder is gone, without an effect then.
  [[nodiscard]] std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override;

  /// The recorded data as a 1-by-1 structure, for-each members merged into it.
  [[nodiscard]] vtu::qxArrayWrapper datasetElement() override;

  /// Where the leaves' samples are in the builder's tables.
  [[nodiscard]] std::vector<LeafRun> runs() const;

  /// Number of its first position in the builder.
  [[nodiscard]] std::uint32_t firstPosition() const { return first_; }

  /// The builder that the recorder shares with others.
  [[nodiscard]] const TableBuilder& builder() const { return *builder_; }

  /// The type that a recorder of this signal has by default.
  [[nodiscard]] static clientType defaultType(const core::utils::SignalDescriptor& descriptor);

  /// Number of leaf positions: one, or those of a virtual bus.
  [[nodiscard]] std::size_t positions() const;

  /// Samples recorded at a position, those included that the limit of points has dropped since.
  /// @throws std::out_of_range for a position that the signal does not have.
  [[nodiscard]] std::uint64_t recordedSamples(std::size_t position = 0) const;

  /// Samples that a position holds now.
  /// @throws std::out_of_range for a position that the signal does not have.
  [[nodiscard]] std::uint64_t heldSamples(std::size_t position = 0) const;

  /// Lets a position have the samples of another one, as long as that is recorded: both are saved as one. It is not to
  /// be updated itself, and a step back of the other is one of it.
  /// @param other A recorder with the same builder and the same limit of points.
  /// @param otherPosition One that has samples of its own.
  /// @throws std::out_of_range for a position that a signal does not have.
  /// @throws std::invalid_argument for recorders of different builders or limits, and for samples of different types.
  void shareSamples(std::size_t position, const MemoryRecorder& other, std::size_t otherPosition);

  /// Samples that update() threw for instead of recording them.
  [[nodiscard]] std::uint64_t lostSamples() const { return lostSamples_; }

  /// Sets the for-each iteration of this recorder where the descriptor has none.
  void foreachIteration(std::uint64_t iteration) { foreachIteration_ = iteration; }

  /// The iteration of the for-each that the descriptor, or else foreachIteration(), gives; 0 if neither does.
  [[nodiscard]] std::uint64_t foreachIteration() const;

 private:
  struct State;
  class SnapshotHandler;

  [[nodiscard]] std::uint32_t numberOf(std::size_t position) const;
  [[nodiscard]] vtu::qxArrayWrapper nodes(bool areIterations) const;
  void append(std::uint32_t number, double time, const void* data);
  void appendAll(double time, const void* data);  // apart from update(), whose common path then saves no registers

  Cursor* cursors_ = nullptr;  // of the positions, contiguous
  std::size_t positions_ = 0;
  TableBuilder* builder_ = nullptr;  // that of the state; here so that an update reads one cache line
  std::uint32_t first_ = 0;          // number of the first position in the builder
  std::shared_ptr<State> state_;     // shared with the snapshot interfaces, which the catalogue may keep longer
  std::uint64_t lostSamples_ = 0;
  std::optional<std::uint64_t> foreachIteration_;
};

}  // namespace vtio::recorders
