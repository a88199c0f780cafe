#include "recorders/session/recording_session.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "recorders/session/save_results.hpp"
#include "recorders/stream/stream_resource.hpp"
#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"

namespace vtio::recorders {

using core::accessor::Accessor;
using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::client::Catalogue;
using core::client::Client;
using core::utils::SignalDescriptor;

namespace {

[[noreturn]] void refuse(const SignalDescriptor& descriptor, const std::string& why) {
  throw std::invalid_argument("Cannot record the signal '" + vtu::to_string(descriptor.signalName()) + "': " + why);
}

std::string quoted(const vtu::ustring& text) { return "'" + vtu::to_string(text) + "'"; }

void followDecimation(Accessor& accessor, unsigned long before) {
  if (auto* scalar = dynamic_cast<Scalar*>(&accessor)) {
    scalar->followDecimation(before);
  } else if (auto* bus = dynamic_cast<VirtualBus*>(&accessor)) {
    bus->followDecimation(before);
  }
}

}  // namespace

RecordingSession::RecordingSession(Catalogue& catalogue, SampleOrder order)
    : catalogue_(catalogue), order_(order), builder_(makeTableBuilder()) {}

RecordingSession::~RecordingSession() = default;

vtu::ustring RecordingSession::defaultDataset(const SignalDescriptor& descriptor) {
  return MemoryRecorder::defaultType(descriptor) == Client::OutportLogging ? u"yout" : u"logsout";
}

MemoryRecorder* RecordingSession::attach(const SignalDescriptor& descriptor, Accessor& accessor) {
  return attach(descriptor, accessor, defaultDataset(descriptor));
}

MemoryRecorder* RecordingSession::attach(const SignalDescriptor& descriptor, Accessor& accessor,
                                         const vtu::ustring& datasetName) {
  return attach(descriptor, accessor, datasetName, order_);
}

MemoryRecorder* RecordingSession::attach(const SignalDescriptor& descriptor, Accessor& accessor,
                                         const vtu::ustring& datasetName, SampleOrder order) {
  requireAttachable(descriptor, accessor, datasetName);
  const unsigned long decimation = descriptor.decimation();
  if (!catalogue_.signalLoggingOverride(descriptor)) return nullptr;
  followDecimation(accessor, decimation);
  if (descriptor.decimation() == 0) refuse(descriptor, "its decimation is 0; 1 records every sample");
  return &add(descriptor, accessor, datasetName, order);
}

void RecordingSession::requireAttachable(const SignalDescriptor& descriptor, const Accessor& accessor,
                                         const vtu::ustring& datasetName) const {
  if (&accessor.signalDescriptor() != &descriptor) {
    refuse(descriptor, "the accessor belongs to the signal " + quoted(accessor.signalDescriptor().signalName()));
  }
  const auto known = attached_.find(&descriptor);
  if (known != attached_.end() && recorderOf(known->second) != nullptr) refuse(descriptor, "it is recorded already");
  if (datasetName.empty()) refuse(descriptor, "its dataset has no name and would not be saved");
  requireKeyOfItsOwn(descriptor, datasetName);
}

// A dataset is saved under the type of its first client.
void RecordingSession::requireKeyOfItsOwn(const SignalDescriptor& descriptor, const vtu::ustring& datasetName) const {
  const auto firstClient = [this](const vtu::ustring& name) -> const Client* {
    if (!catalogue_.hasDataset(name)) return nullptr;
    const auto& clients = catalogue_.clientCollection(name);
    return clients.empty() ? nullptr : clients.begin()->second.get();
  };
  const Client* first = firstClient(datasetName);
  const std::string key =
      Catalogue::getQatfileKey(first != nullptr ? first->type() : MemoryRecorder::defaultType(descriptor));
  for (const Catalogue::ResultsVariable& other : catalogue_.resultsVariables()) {
    if (other.dataset == datasetName || other.key != key || firstClient(other.dataset) == nullptr) continue;
    refuse(descriptor, "the dataset " + quoted(datasetName) + " would be saved as the variable '" + key +
                           "', which is the dataset " + quoted(other.dataset));
  }
}

// Null if the recorder was deleted from the catalogue.
Client* RecordingSession::recorderOf(const Attached& attached) const {
  const auto& clients = catalogue_.clientCollection(datasets_[attached.dataset]);
  const auto found = clients.find(attached.recorder);
  return found == clients.end() ? nullptr : found->second.get();
}

// What a signal that is being attached has added to the catalogue; its destructor takes it back out.
class RecordingSession::Undo final {
 public:
  Undo(RecordingSession& session, const SignalDescriptor& descriptor, const vtu::ustring& datasetName)
      : session_(session),
        descriptor_(descriptor),
        datasetName_(datasetName),
        isNewDataset_(!session.catalogue_.hasDataset(datasetName)),
        interfaces_(session.catalogue_.snapshotInterfaces().size()) {}
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  ~Undo() {
    if (isDone_) return;
    session_.attached_.erase(&descriptor_);
    Catalogue& catalogue = session_.catalogue_;
    if (recorder_ != nullptr) catalogue.removeClient(recorder_->id(), datasetName_);
    catalogue.snapshotInterfaces().resize(interfaces_);
    session_.adopted_ = std::min(session_.adopted_, interfaces_);
    if (isNewDataset_) catalogue.unregisterDataset(datasetName_);
  }
  void added(const MemoryRecorder& recorder) { recorder_ = &recorder; }
  void done() { isDone_ = true; }

 private:
  RecordingSession& session_;
  const SignalDescriptor& descriptor_;
  const vtu::ustring& datasetName_;
  bool isNewDataset_;
  std::size_t interfaces_;
  const MemoryRecorder* recorder_ = nullptr;
  bool isDone_ = false;
};

MemoryRecorder& RecordingSession::add(const SignalDescriptor& descriptor, Accessor& accessor,
                                      const vtu::ustring& datasetName, SampleOrder order) {
  chooseStorage();
  adoptNewClients();
  auto owned = std::make_unique<MemoryRecorder>(MemoryRecorder::defaultType(descriptor), descriptor, builder_, order);
  MemoryRecorder& recorder = *owned;
  Attached attached{&accessor, nullptr, 0, datasetNumber(datasetName)};
  if (hasSnapshots()) {
    attached.snapshots = accessor.getSnapshotInterface();
    catchUp(*attached.snapshots);
  }
  Undo undo(*this, descriptor, datasetName);
  catalogue_.addClient(std::move(owned), datasetName);
  undo.added(recorder);
  adoptNewClients();
  attached.recorder = recorder.id();
  attached_.insert_or_assign(&descriptor, std::move(attached));
  accessor.addClient(recorder);
  undo.done();
  return recorder;
}

// With the first signal: the settings are complete by then.
void RecordingSession::chooseStorage() {
  if (isStorageChosen_) return;
  if (catalogue_.settings(Catalogue::SignalLoggingToPersistentStorage) == u"on") {
    const std::string set = vtu::to_string(catalogue_.settings(Catalogue::SignalStorageParameters));
    const std::string file = set.empty() ? "signals.qat" : set;
    if (auto* known = dynamic_cast<StreamResource*>(catalogue_.getSharedResource(file))) {
      stream_ = known;
      builder_ = known->builder();
    } else {
      auto made = std::make_unique<StreamResource>(catalogue_, file, builder_);
      StreamResource* stream = made.get();
      catalogue_.addSharedResource(std::move(made));
      stream_ = stream;
      stream_->flushInterval(flushInterval_);
      stream_->syncs(syncsToDisk_);
    }
  }
  isStorageChosen_ = true;
}

void RecordingSession::streamTo(const std::string& fileName) {
  if (fileName.empty()) throw std::invalid_argument("The name of the file to stream into is empty");
  if (isStorageChosen_) throw std::logic_error("Cannot stream into '" + fileName + "': a signal is attached already");
  catalogue_.settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
  catalogue_.settings(Catalogue::SignalStorageParameters, vtu::to_ustring(fileName));
}

void RecordingSession::flushInterval(double seconds) {
  if (!(seconds >= 0)) throw std::invalid_argument("A flush interval of " + std::to_string(seconds) + " s is negative");
  flushInterval_ = seconds;
  if (stream_ != nullptr) stream_->flushInterval(seconds);
}

void RecordingSession::syncToDisk(bool atEachFlush) {
  syncsToDisk_ = atEachFlush;
  if (stream_ != nullptr) stream_->syncs(atEachFlush);
}

void RecordingSession::flush() {
  if (stream_ == nullptr) return;
  stream_->flush();
  if (!stream_->failure().empty()) throw std::runtime_error(stream_->failure());
}

std::string RecordingSession::streamFailure() const { return stream_ != nullptr ? stream_->failure() : std::string(); }

std::uint32_t RecordingSession::datasetNumber(const vtu::ustring& name) {
  const auto found = std::find(datasets_.begin(), datasets_.end(), name);
  if (found != datasets_.end()) return static_cast<std::uint32_t>(found - datasets_.begin());
  datasets_.push_back(name);
  return static_cast<std::uint32_t>(datasets_.size() - 1);
}

void RecordingSession::catchUp(vtsim::SnapshotInterface& late) const {
  if (hasInitial_) late.captureSnapshot(true);
  for (std::size_t i = 0; i < snapshots_; ++i) late.captureSnapshot(false);
}

void RecordingSession::adoptNewClients() {
  const auto& interfaces = catalogue_.snapshotInterfaces();
  adopted_ = std::min(adopted_, interfaces.size());
  for (; adopted_ < interfaces.size(); ++adopted_) catchUp(*interfaces[adopted_]);
}

// Accessors get their snapshot interfaces when the first snapshot is taken: most runs take none.
void RecordingSession::takeUpAccessors() {
  for (auto& [descriptor, attached] : attached_) {
    if (attached.accessor != nullptr && attached.snapshots == nullptr) {
      attached.snapshots = attached.accessor->getSnapshotInterface();
    }
  }
}

template <typename Operation>
void RecordingSession::forEach(const Operation& operation) {
  adoptNewClients();
  for (const auto& snapshots : catalogue_.snapshotInterfaces()) operation(*snapshots);
  for (auto& [descriptor, attached] : attached_) {
    if (attached.snapshots != nullptr) operation(*attached.snapshots);
  }
}

void RecordingSession::detach(const Accessor& accessor) {
  const auto found = attached_.find(&accessor.signalDescriptor());
  if (found == attached_.end() || found->second.accessor != &accessor) return;
  found->second.accessor = nullptr;
  found->second.snapshots = nullptr;
}

void RecordingSession::save(const std::string& fileName) { saveResults(catalogue_, fileName); }

void RecordingSession::save(const vtu::ustring& fileName) { save(vtu::to_string(fileName)); }

std::uint64_t RecordingSession::lostSamples() const {
  std::uint64_t lost = 0;
  for (const auto& [descriptor, attached] : attached_) {
    if (const auto* recorder = dynamic_cast<const MemoryRecorder*>(recorderOf(attached))) {
      lost += recorder->lostSamples();
    }
  }
  return lost;
}

void RecordingSession::captureSnapshot(bool initial) {
  takeUpAccessors();
  std::size_t captured = 0;
  try {
    forEach([&](vtsim::SnapshotInterface& snapshots) {
      snapshots.captureSnapshot(initial);
      ++captured;
    });
  } catch (...) {
    if (!initial) {
      forEach([&captured](vtsim::SnapshotInterface& snapshots) {
        if (captured > 0) snapshots.popLatest(1);
        captured -= captured > 0 ? 1 : 0;
      });
    }
    throw;
  }
  if (initial) {
    hasInitial_ = true;
  } else {
    ++snapshots_;
  }
}

void RecordingSession::rollBack() {
  if (snapshots_ == 0) throw std::logic_error("Cannot roll back: no snapshot was taken");
  forEach([](vtsim::SnapshotInterface& snapshots) { snapshots.rollBack(); });
}

void RecordingSession::reset() {
  if (!hasInitial_) throw std::logic_error("Cannot reset: no initial snapshot was taken");
  forEach([](vtsim::SnapshotInterface& snapshots) { snapshots.reset(); });
}

void RecordingSession::clearSnapshots() {
  forEach([](vtsim::SnapshotInterface& snapshots) { snapshots.clear(); });
  snapshots_ = 0;
}

void RecordingSession::popLatestSnapshots(int n) {
  forEach([n](vtsim::SnapshotInterface& snapshots) { snapshots.popLatest(n); });
  snapshots_ -= std::min(snapshots_, static_cast<std::size_t>(std::max(n, 0)));
}

void RecordingSession::popOldestSnapshots(int n) {
  forEach([n](vtsim::SnapshotInterface& snapshots) { snapshots.popOldest(n); });
  snapshots_ -= std::min(snapshots_, static_cast<std::size_t>(std::max(n, 0)));
}

void RecordingSession::limitSnapshots(int n) {
  const int most = std::max(n, 0);
  forEach([most](vtsim::SnapshotInterface& snapshots) { snapshots.size(most); });
  snapshots_ = std::min(snapshots_, static_cast<std::size_t>(most));
}

}  // namespace vtio::recorders
