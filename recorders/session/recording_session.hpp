/// @file
/// Records signals in memory, one call per signal, and saves them.
///
///     vtio::recorders::RecordingSession session(catalogue);
///     session.attach(descriptor, accessor);           // in the dataset "logsout", root outports in "yout"
///     accessor.update(&time, &value, 0);              // recorded
///     session.save("results.qat");
///
/// See also memory_recorder.hpp, and recorders.h for C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/snapshot.hpp"
#include "platform/text.hpp"
#include "recorders/export.hpp"
#include "recorders/layout/sample_order.hpp"
#include "recorders/memory/memory_recorder.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/catalogue.hpp"

namespace vtio::recorders {

class StreamResource;

/// Attaches memory recorders to signals, steps all of them back together with their accessors, and saves what they
/// hold.
///
/// If the catalogue's setting SignalLoggingToPersistentStorage is u"on" when the first signal is attached, the samples
/// are streamed into the Qat file that SignalStorageParameters names ("signals.qat" if it is empty): see
/// docs/streaming.md.
///
/// The catalogue owns the recorders; the session owns the snapshot interfaces of the accessors. All recorders of a
/// session share one builder of sample tables, which is destroyed with the last of them. The session may be destroyed
/// before or after the catalogue and the accessors, but its operations need the catalogue, and the snapshot operations
/// every attached accessor that has not been detached. Used from the simulation's thread.
///
/// Only one session of a catalogue takes snapshots. What joins after snapshots were taken, a signal that is attached or
/// a client that is added to the catalogue without the session, has in those snapshots the state in which the session
/// first finds it: when the signal is attached, or at the next snapshot operation.
class VTIO_RECORDERS_EXPORT RecordingSession final {
 public:
  /// @param catalogue Must outlive the use of the session.
  /// @param order In which the model delivers the elements of a matrix.
  explicit RecordingSession(core::client::Catalogue& catalogue, SampleOrder order = SampleOrder::rowMajor);
  ~RecordingSession();
  RecordingSession(const RecordingSession&) = delete;
  RecordingSession& operator=(const RecordingSession&) = delete;

  /// Records a signal in the dataset that belongs to it: defaultDataset().
  ///
  /// An accessor that was used before keeps its decimation counter: recording begins with the next sample due.
  /// @param descriptor A descriptor of the catalogue. The model's logging selection is applied to it.
  /// @param accessor The accessor of this descriptor.
  /// @return The recorder, owned by the catalogue; null if the logging selection switches the signal off.
  /// @throws std::runtime_error with the name of the file to stream into if it cannot be made or is in use.
  /// @throws std::invalid_argument with the signal's name if the accessor belongs to another descriptor, the signal is
  ///   recorded already or cannot be recorded, or the dataset could not be saved beside those that there are. The
  ///   catalogue, the session and the accessor's clients are then as they were.
  MemoryRecorder* attach(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor);

  /// The same under a dataset name, not empty. The datasets of a catalogue are saved under the type of their first
  /// client, so that there can be one for root outports and one for all other signals.
  MemoryRecorder* attach(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor,
                         const vtu::ustring& datasetName);

  /// The same for a signal whose matrices are delivered in another order than those of the rest of the model.
  MemoryRecorder* attach(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor,
                         const vtu::ustring& datasetName, SampleOrder order);

  /// The order of signals that are attached without one.
  [[nodiscard]] SampleOrder sampleOrder() const { return order_; }

  /// Sets the order of the signals that are attached from now on.
  void sampleOrder(SampleOrder order) { order_ = order; }

  /// Forgets an accessor that is about to be released. Unknown accessors are ignored.
  void detach(const core::accessor::Accessor& accessor);

  /// "yout" for a root outport, else "logsout".
  [[nodiscard]] static vtu::ustring defaultDataset(const core::utils::SignalDescriptor& descriptor);

  /// The catalogue's intervals in which logging is switched off; for the accessors.
  [[nodiscard]] const smartlog::LoggingInterval& loggingInterval() const {
    return catalogue_.disabledLoggingIntervals();
  }

  /// Saves the datasets of the catalogue, as Catalogue::saveDatasetsToQatFile() does but complete or not at all.
  ///
  /// The file is written beside `fileName` and takes its place when it is complete and on the disk: what `fileName`
  /// held stays until then. A device, and a file in a folder in which no file can be made, is written in place.
  /// @param fileName UTF-8.
  /// @throws vtsv::IException "Vortan:FileIO" / "CannotSave" with the file and the cause: the file or the disk refuses,
  ///   a client throws, or two datasets have one name in the file. The recorded data stays; saving may be tried again.
  void save(const std::string& fileName);
  void save(const vtu::ustring& fileName);

  /// Samples that reached a recorder of this session and could not be recorded, for example for lack of memory.
  /// Recorders that were deleted from the catalogue are not counted.
  [[nodiscard]] std::uint64_t lostSamples() const;

  /// Streams the signals into a file: sets the two settings of the catalogue. @param fileName UTF-8, not empty.
  /// @throws std::logic_error once a signal has been attached.
  void streamTo(const std::string& fileName);

  /// Sets the wall time between two flushes of the streamed file. @param seconds At least 0, 1 unless set; 0: after
  /// every row. @throws std::invalid_argument for any other.
  void flushInterval(double seconds);

  /// Whether each flush waits until the disk has the data, so that it outlives the machine as well as the program.
  void syncToDisk(bool atEachFlush);

  /// Lets readers of the streamed file see all samples that were recorded so far. Without one it does nothing.
  /// @throws std::runtime_error with the file and the cause if streaming has failed, now or before.
  void flush();

  /// The first failure of streaming, in a sentence; empty if there was none.
  [[nodiscard]] std::string streamFailure() const;

  /// Takes a snapshot of all recorders and attached accessors.
  /// @param initial True: it is the one for reset(). False: it is the newest; if it throws, there is none more than
  ///   before.
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
  // A recorded signal.
  struct Attached {
    core::accessor::Accessor* accessor;                   // null once it is detached
    std::unique_ptr<vtsim::SnapshotInterface> snapshots;  // of the accessor; null while no snapshot was taken
    unsigned long recorder;                               // its id in the catalogue
    std::uint32_t dataset;                                // its dataset, in datasets_
  };
  class Undo;

  void requireAttachable(const core::utils::SignalDescriptor& descriptor, const core::accessor::Accessor& accessor,
                         const vtu::ustring& datasetName) const;
  void requireKeyOfItsOwn(const core::utils::SignalDescriptor& descriptor, const vtu::ustring& datasetName) const;
  [[nodiscard]] core::client::Client* recorderOf(const Attached& attached) const;
  MemoryRecorder& add(const core::utils::SignalDescriptor& descriptor, core::accessor::Accessor& accessor,
                      const vtu::ustring& datasetName, SampleOrder order);
  [[nodiscard]] std::uint32_t datasetNumber(const vtu::ustring& name);
  [[nodiscard]] bool hasSnapshots() const { return hasInitial_ || snapshots_ > 0; }
  void catchUp(vtsim::SnapshotInterface& late) const;
  void adoptNewClients();
  void takeUpAccessors();
  void chooseStorage();
  template <typename Operation>
  void forEach(const Operation& operation);

  core::client::Catalogue& catalogue_;
  SampleOrder order_;
  std::shared_ptr<TableBuilder> builder_;  // shared with the recorders, which the catalogue may keep longer
  std::unordered_map<const core::utils::SignalDescriptor*, Attached> attached_;
  std::vector<vtu::ustring> datasets_;  // of the recorders
  std::size_t adopted_ = 0;             // snapshot interfaces of the catalogue that have this session's snapshots
  std::size_t snapshots_ = 0;
  bool hasInitial_ = false;
  StreamResource* stream_ = nullptr;  // owned by the catalogue
  double flushInterval_ = 1;
  bool syncsToDisk_ = false;
  bool isStorageChosen_ = false;
};

}  // namespace vtio::recorders
