#include "recorders/memory/memory_recorder.hpp"

#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/text.hpp"
#include "recorders/dataset/dataset_element.hpp"
#include "recorders/dataset/node_structure.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/row_cursor.hpp"
#include "recorders/table/sample_stream.hpp"
#include "recorders/table/time_base.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"
#include "vtio/core/utils/vtio_client_snapshot_element.hpp"

namespace vtio::recorders {

using core::utils::InportOutportSignalDescriptor;
using core::utils::SignalDescriptor;
using core::utils::VtioClientSnapshotElement;

std::shared_ptr<TimeBase> makeTimeBase() { return std::make_shared<TimeBase>(); }

struct MemoryRecorder::State {
  State(const SignalDescriptor& descriptor, std::shared_ptr<TimeBase> times, SampleOrder order)
      : timeBase(std::move(times)),
        layout(readLayout(descriptor, order)),
        cursors(timeBase->cursors().take(layout.size())) {
    streams.reserve(layout.size());
    for (std::size_t i = 0; i < layout.size(); ++i) {
      streams.emplace_back(layout[i], descriptor.maxPoints(), *timeBase, cursors[i]);
    }
  }

  std::shared_ptr<TimeBase> timeBase;  // first: the cursors and the streams' chunks belong to it
  std::vector<LayoutPosition> layout;
  CursorPool::Run cursors;            // one per position
  std::vector<SampleStream> streams;  // one per position
};

namespace {

// One saved state: the figures that the environment knows, and the chunks themselves.
class RecorderSnapshot final : public VtioClientSnapshotElement {
 public:
  RecorderSnapshot(std::shared_ptr<TimeBase> timeBase, VtioClientSnapshotElement figures,
                   std::vector<StreamState> states)
      : VtioClientSnapshotElement(std::move(figures)), timeBase_(std::move(timeBase)), states_(std::move(states)) {}

  [[nodiscard]] const std::vector<StreamState>& states() const { return states_; }

 private:
  std::shared_ptr<TimeBase> timeBase_;  // the chunks of times belong to it
  std::vector<StreamState> states_;
};

// Per position: number of samples, last time, whether the time before it was the same, and the sample where that is so.
VtioClientSnapshotElement figuresOf(const std::vector<SampleStream>& streams) {
  std::vector<unsigned long> samples;
  std::vector<double> lastTimes;
  std::vector<bool> duplicates;
  std::vector<unsigned long> latestDuplicates;
  for (const SampleStream& stream : streams) {
    const std::uint64_t count = stream.count();
    const bool isDuplicate =
        count - stream.first() >= 2 && sameTime(stream.timeOf(count - 1), stream.timeOf(count - 2));
    samples.push_back(count);
    lastTimes.push_back(count != 0 ? stream.timeOf(count - 1) : 0.0);
    duplicates.push_back(isDuplicate);
    latestDuplicates.push_back(isDuplicate ? count - 1 : 0);
  }
  return {std::move(samples), std::move(lastTimes), std::move(duplicates), std::move(latestDuplicates)};
}

// Every member once: the catalogue adds them anew each time it builds the dataset.
std::vector<core::client::Client*> distinct(const std::vector<core::client::Client*>& members) {
  std::vector<core::client::Client*> result;
  std::unordered_set<const core::client::Client*> seen;
  for (core::client::Client* member : members) {
    if (seen.insert(member).second) result.push_back(member);
  }
  return result;
}

}  // namespace

class MemoryRecorder::SnapshotHandler final : public vtsim::SnapshotHandler<RecorderSnapshot> {
 public:
  using Element = RecorderSnapshot;

  explicit SnapshotHandler(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::unique_ptr<Element> captureSnapshot() override {
    std::vector<StreamState> states;
    states.reserve(state_->streams.size());
    for (SampleStream& stream : state_->streams) states.push_back(stream.capture());
    return std::make_unique<Element>(state_->timeBase, figuresOf(state_->streams), std::move(states));
  }

  void rollBack(Element& element) override {
    for (std::size_t i = 0; i < state_->streams.size(); ++i) state_->streams[i].restore(element.states()[i]);
  }

  void reset(Element& element) override { rollBack(element); }

 private:
  std::shared_ptr<State> state_;
};

MemoryRecorder::MemoryRecorder(const SignalDescriptor& descriptor, SampleOrder order)
    : MemoryRecorder(defaultType(descriptor), descriptor, nullptr, order) {}

MemoryRecorder::MemoryRecorder(clientType type, const SignalDescriptor& descriptor, std::shared_ptr<TimeBase> times,
                               SampleOrder order)
    : Client(type, descriptor),
      cursors_(nullptr),
      positions_(0),
      state_(std::make_shared<State>(descriptor, times != nullptr ? std::move(times) : makeTimeBase(), order)) {
  cursors_ = state_->cursors.get();
  positions_ = state_->streams.size();
}

MemoryRecorder::~MemoryRecorder() = default;

void MemoryRecorder::update(const double* time, const void* data) {
  if (positions_ == 1 && cursors_->append(*time, data)) return;
  try {
    append(*time, data);
  } catch (...) {
    ++lostSamples_;
    throw;
  }
}

void MemoryRecorder::update(unsigned long leafIndex, const double* time, const void* data) {
  if (leafIndex < positions_ && cursors_[leafIndex].append(*time, data)) return;
  try {
    (void)streamAt(leafIndex);
    state_->streams[leafIndex].append(*time, data);
  } catch (...) {
    ++lostSamples_;
    throw;
  }
}

void MemoryRecorder::append(double time, const void* data) {
  for (SampleStream& stream : state_->streams) {
    stream.append(time, static_cast<const std::byte*>(data) + stream.position().packedOffset);
  }
}

std::unique_ptr<vtsim::SnapshotInterface> MemoryRecorder::getSnapshotInterface() {
  return std::make_unique<vtsim::DefaultSnapshotInterface<SnapshotHandler>>(std::make_unique<SnapshotHandler>(state_));
}

vtu::qxArrayWrapper MemoryRecorder::datasetElement() {
  vtu::qxArrayWrapper values = nodeStructure(*signalDescriptor().root(), state_->streams);
  std::vector<std::uint64_t> iterations{foreachIteration()};
  const std::vector<Client*> members = distinct(foreachMembers());
  if (!members.empty()) {
    vtu::qxCellArrayWrapper nodes(1, members.size() + 1);
    nodes.set(0, std::move(values));
    for (std::size_t i = 0; i < members.size(); ++i) {
      Client& member = *members[i];
      const SignalDescriptor& signal = member.signalDescriptor();
      if (const auto* recorder = dynamic_cast<const MemoryRecorder*>(&member)) {
        iterations.push_back(recorder->foreachIteration());
        nodes.set(i + 1, nodeStructure(*signal.root(), recorder->state_->streams));
      } else {
        iterations.push_back(signal.foreachIterationIdx());
        nodes.set(i + 1, valuesOfElement(member.datasetElement()));
      }
    }
    values = std::move(nodes);
  }
  return datasetElementOf(signalDescriptor(), iterations, std::move(values));
}

core::client::Client::clientType MemoryRecorder::defaultType(const SignalDescriptor& descriptor) {
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&descriptor);
  return port != nullptr && port->portType() == InportOutportSignalDescriptor::outport ? OutportLogging : SignalLogging;
}

std::size_t MemoryRecorder::positions() const { return positions_; }

std::uint64_t MemoryRecorder::recordedSamples(std::size_t position) const { return streamAt(position).count(); }

std::uint64_t MemoryRecorder::heldSamples(std::size_t position) const {
  return streamAt(position).count() - streamAt(position).first();
}

std::uint64_t MemoryRecorder::foreachIteration() const {
  if (signalDescriptor().hasForeachIterationIdx()) return signalDescriptor().foreachIterationIdx();
  return foreachIteration_.value_or(0);
}

const SampleStream& MemoryRecorder::streamAt(std::size_t position) const {
  if (position >= state_->streams.size()) {
    throw std::out_of_range("Signal '" + vtu::to_string(signalDescriptor().signalName()) + "' has " +
                            std::to_string(state_->streams.size()) + " leaf positions, so none of number " +
                            std::to_string(position));
  }
  return state_->streams[position];
}

}  // namespace vtio::recorders
