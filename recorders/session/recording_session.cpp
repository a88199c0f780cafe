#include "recorders/session/recording_session.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/utils/vtio_accessor_snapshot_element.hpp"
#include "vtio/core/utils/vtio_scalar_accessor_snapshot_handler.hpp"
#include "vtio/core/utils/vtio_vbus_accessor_snapshot_handler.hpp"

namespace vtio::recorders {

using core::accessor::Accessor;
using core::accessor::Scalar;
using core::accessor::VirtualBus;
using core::utils::SignalDescriptor;
using core::utils::VtioAccessorSnapshotElement;
using core::utils::VtioScalarAccessorSnapshotHandler;
using core::utils::VtioVBusAccessorSnapshotHandler;

namespace {

template <typename Handler>
void restartIfFresh(Handler handler, unsigned long before, unsigned long now, std::size_t counters) {
  if (handler.captureSnapshot()->decimationCounter(0) != before) return;
  VtioAccessorSnapshotElement fresh(std::vector<unsigned long>(counters, now));
  handler.rollBack(fresh);
}

// An accessor made before the logging selection changed the decimation still counts to the old one, and if that is the
// larger one it would never deliver: if it has not been used yet, it starts with the new one.
void followDecimation(Accessor& accessor, unsigned long before, std::size_t positions) {
  const SignalDescriptor& descriptor = accessor.signalDescriptor();
  const unsigned long now = descriptor.decimation();
  if (now == before) return;
  if (auto* scalar = dynamic_cast<Scalar*>(&accessor)) {
    restartIfFresh(VtioScalarAccessorSnapshotHandler(*scalar), before, now, 1);
  } else if (auto* bus = dynamic_cast<VirtualBus*>(&accessor); bus != nullptr && descriptor.numberOfInputPorts() != 0) {
    restartIfFresh(VtioVBusAccessorSnapshotHandler(*bus), before, now, positions);
  }
}

}  // namespace

RecordingSession::RecordingSession(core::client::Catalogue& catalogue, SampleOrder order)
    : catalogue_(catalogue), order_(order), times_(makeTimeBase()), recorders_(catalogue.getSnapshotInterface()) {}

RecordingSession::~RecordingSession() = default;

vtu::ustring RecordingSession::defaultDataset(const SignalDescriptor& descriptor) {
  return MemoryRecorder::defaultType(descriptor) == core::client::Client::OutportLogging ? u"yout" : u"logsout";
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
  if (&accessor.signalDescriptor() != &descriptor) {
    throw std::invalid_argument("Cannot attach a recorder: the accessor belongs to the signal '" +
                                vtu::to_string(accessor.signalDescriptor().signalName()) + "', the descriptor to '" +
                                vtu::to_string(descriptor.signalName()) + "'");
  }
  const unsigned long decimation = descriptor.decimation();
  if (!catalogue_.signalLoggingOverride(descriptor)) return nullptr;
  MemoryRecorder& recorder = add(descriptor, accessor, datasetName, order);
  followDecimation(accessor, decimation, recorder.positions());
  addAccessor(accessor);
  return &recorder;
}

MemoryRecorder& RecordingSession::add(const SignalDescriptor& descriptor, Accessor& accessor,
                                      const vtu::ustring& datasetName, SampleOrder order) {
  auto owned = std::make_unique<MemoryRecorder>(MemoryRecorder::defaultType(descriptor), descriptor, times_, order);
  MemoryRecorder& recorder = *owned;
  const std::size_t before = catalogue_.snapshotInterfaces().size();
  catalogue_.addClient(std::move(owned), datasetName);
  try {
    if (catalogue_.snapshotInterfaces().size() > before) catchUp(*catalogue_.snapshotInterfaces().back());
    accessor.addClient(recorder);
  } catch (...) {
    catalogue_.removeClient(recorder.id(), datasetName);
    throw;
  }
  return recorder;
}

void RecordingSession::addAccessor(Accessor& accessor) {
  const auto same = [&accessor](const AttachedAccessor& attached) { return attached.accessor == &accessor; };
  if (std::any_of(accessors_.begin(), accessors_.end(), same)) return;
  std::unique_ptr<vtsim::SnapshotInterface> snapshots = accessor.getSnapshotInterface();
  catchUp(*snapshots);
  accessors_.push_back({&accessor, std::move(snapshots)});
}

// What is attached late has in all earlier snapshots the state in which it is now.
void RecordingSession::catchUp(vtsim::SnapshotInterface& late) const {
  if (hasInitial_) late.captureSnapshot(true);
  for (std::size_t i = 0; i < snapshots_; ++i) late.captureSnapshot(false);
}

void RecordingSession::detach(const Accessor& accessor) {
  std::erase_if(accessors_, [&accessor](const AttachedAccessor& attached) { return attached.accessor == &accessor; });
}

void RecordingSession::captureSnapshot(bool initial) {
  forEach([initial](vtsim::SnapshotInterface& snapshots) { snapshots.captureSnapshot(initial); });
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
