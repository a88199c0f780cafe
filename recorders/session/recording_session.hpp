/// @file
/// Records signals in memory: one call per signal.
///
///     vtio::recorders::RecordingSession session(catalogue);
///     session.attach(descriptor, accessor);           // in the dataset "logsout", root outports in "yout"
///     accessor.update(&time, &value, 0);              // recorded
///     catalogue.datasetArray(u"logsout");             // the data
///
/// See also memory_recorder.hpp, and recorders.h for C.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/snapshot.hpp"
#include "platform/text.hpp"
#include "recorders/export.hpp"
#include "recorders/layout/sample_order.hpp"
#include "recorders/memory/memory_recorder.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/catalogue.hpp"

namespace vtio::recorders {

/// Attaches memory recorders to signals and steps all of them back together with their accessors.
///
/// The catalogue owns the recorders; the session owns the snapshot interfaces of the accessors. All recorders of a session
/// share one store of times, which lives as long as any of them. The session may be destroyed before or after the
/// catalogue and the accessors, but its operations need the catalogue, and the snapshot operations every attached
/// accessor that has not been detached. Used from the simulation's thread.
///
/// Where a session is used, it alone drives the snapshots of its catalogue: a recorder attached later is brought to the
/// number of snapshots that the session has taken.
class VTIO_RECORDERS_EXPORT RecordingSession final {
 public:
  /// @param catalogue Must outlive the use of the session.
  /// @param order In which the model delivers the elements of a matrix.
  explicit RecordingSession(core::client::Catalogue& catalogue, SampleOrder order = SampleOrder::rowMajor);
  ~RecordingSession();
  RecordingSession(const RecordingSession&) = delete;
  RecordingSession& operator=(const RecordingSession&) = delete;

  /// Records a signal in the dataset that belongs to it: defaultDataset().
  /// @param descriptor A descriptor of the catalogue. The model's logging selection is applied to it.
  /// @param accessor The accessor of this descriptor.
  /// @return The recorder, owned by the catalogue; null if the logging selection switches the signal off.
  /// @throws std::invalid_argument if the accessor belongs to another descriptor or the signal cannot be recorded.
  MemoryRecorder* attach(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor);

  /// The same under a dataset name.
  MemoryRecorder* attach(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor,
                         const vtu::ustring& datasetName);

  /// The same for a signal whose matrices are delivered in another order than those of the rest of the model.
  MemoryRecorder* attach(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor,
                         const vtu::ustring& datasetName, SampleOrder order);

  /// The order of signals that are attached without one.
  [[nodiscard]] SampleOrder sampleOrder() const { return order_; }

  /// Sets the order of the signals that are attached from now on.
  void sampleOrder(SampleOrder order) { order_ = order; }

  /// Forgets the snapshots of an accessor that is about to be released. Unknown accessors are ignored.
  void detach(const core::accessor::Accessor& accessor);

  /// "yout" for a root outport, else "logsout".
  [[nodiscard]] static vtu::ustring defaultDataset(const core::utils::SignalDescriptor& descriptor);

  /// The catalogue's intervals in which logging is switched off; for the accessors.
  [[nodiscard]] const smartlog::LoggingInterval& loggingInterval() const {
    return catalogue_.disabledLoggingIntervals();
  }

  /// Takes a snapshot of all recorders and attached accessors.
  /// @param initial True: it is the one for reset(). False: it is the newest.
  void captureSnapshot(bool initial);

  /// Restores the newest snapshot, which stays.
  /// @throws std::logic_error if there is none.
  void rollBack();

  /// Restores the initial snapshot.
  /// @throws std::logic_error if there is none.
  void reset();

  /// Drops all snapshots except the initial one.
  void clearSnapshots();

  /// Drops the n newest snapshots; all of them if there are fewer, none if n is below 1.
  void popLatestSnapshots(int n);

  /// Drops the n oldest snapshots; all of them if there are fewer, none if n is below 1.
  void popOldestSnapshots(int n);

  /// Keeps at most the n newest snapshots.
  void limitSnapshots(int n);

  /// Number of snapshots, the initial one not counted.
  [[nodiscard]] std::size_t snapshots() const { return snapshots_; }

 private:
  struct AttachedAccessor {
    const core::accessor::Accessor* accessor;
    std::unique_ptr<vtsim::SnapshotInterface> snapshots;
  };

  MemoryRecorder& add(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor,
                      const vtu::ustring& datasetName, SampleOrder order);
  void addAccessor(core::accessor::Accessor& accessor);
  void catchUp(vtsim::SnapshotInterface& late) const;

  template <typename Operation>
  void forEach(const Operation& operation) {
    operation(*recorders_);
    for (AttachedAccessor& attached : accessors_) operation(*attached.snapshots);
  }

  core::client::Catalogue& catalogue_;
  SampleOrder order_;
  std::shared_ptr<TimeBase> times_;  // shared with the recorders, which the catalogue may keep longer than the session
  std::unique_ptr<vtsim::SnapshotInterface> recorders_;  // of all clients of the catalogue
  std::vector<AttachedAccessor> accessors_;
  std::size_t snapshots_ = 0;
  bool hasInitial_ = false;
};

}  // namespace vtio::recorders
