#include "recorders/memory/memory_recorder.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/text.hpp"
#include "recorders/dataset/dataset_element.hpp"
#include "recorders/dataset/node_structure.hpp"
#include "recorders/dataset/signal_name.hpp"
#include "recorders/layout/signal_layout.hpp"
#include "recorders/table/table_builder.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"
#include "vtio/core/utils/slab.hpp"

namespace vtio::recorders {

using core::utils::InportOutportSignalDescriptor;
using core::utils::SignalDescriptor;

std::shared_ptr<TableBuilder> makeTableBuilder() { return std::make_shared<TableBuilder>(); }

struct MemoryRecorder::State {
  State(const SignalDescriptor& descriptor, std::shared_ptr<TableBuilder> shared, SampleOrder order)
      : builder(std::move(shared)),
        layout(readLayout(descriptor, order)),
        positions(builder->add(layout, descriptor.maxPoints())) {}
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() { builder->remove(positions.first, layout.size()); }

  std::shared_ptr<TableBuilder> builder;
  std::vector<LayoutPosition> layout;
  TableBuilder::Added positions;
};

class MemoryRecorder::SnapshotHandler final : public vtsim::SnapshotHandler<std::shared_ptr<const BuilderSnapshot>> {
 public:
  using Element = std::shared_ptr<const BuilderSnapshot>;

  explicit SnapshotHandler(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::unique_ptr<Element> captureSnapshot() override { return std::make_unique<Element>(state_->builder->capture()); }

  void rollBack(Element& element) override {
    state_->builder->rollBack(state_->positions.first, state_->layout.size(), element);
  }

  void reset(Element& element) override { rollBack(element); }

 private:
  std::shared_ptr<State> state_;
};

namespace {

// Every member once: the catalogue adds them anew each time it builds the dataset.
std::vector<core::client::Client*> distinct(const std::vector<core::client::Client*>& members) {
  std::vector<core::client::Client*> result;
  std::unordered_set<const core::client::Client*> seen;
  for (core::client::Client* member : members) {
    if (seen.insert(member).second) result.push_back(member);
  }
  return result;
}

// Whether rows hold the same bytes for both.
bool haveSameSamples(const LayoutPosition& one, const LayoutPosition& other) {
  const auto same = [](const LeafColumn& a, const LeafColumn& b) {
    return a.type.id == b.type.id && a.type.isComplex == b.type.isComplex && a.bytesPerRow() == b.bytesPerRow() &&
           a.busDimensions == b.busDimensions && a.leaf->dataDimensions() == b.leaf->dataDimensions();
  };
  return std::equal(one.columns.begin(), one.columns.end(), other.columns.begin(), other.columns.end(), same);
}

}  // namespace

MemoryRecorder::MemoryRecorder(const SignalDescriptor& descriptor, SampleOrder order)
    : MemoryRecorder(defaultType(descriptor), descriptor, nullptr, order) {}

MemoryRecorder::MemoryRecorder(clientType type, const SignalDescriptor& descriptor,
                               std::shared_ptr<TableBuilder> builder, SampleOrder order)
    : Client(type, descriptor),
      state_(std::make_shared<State>(descriptor, builder != nullptr ? std::move(builder) : makeTableBuilder(), order)) {
  cursors_ = state_->positions.cursors;
  positions_ = state_->layout.size();
  builder_ = state_->builder.get();
  first_ = state_->positions.first;
}

MemoryRecorder::~MemoryRecorder() = default;

void* MemoryRecorder::operator new(std::size_t size) { return core::utils::Slab<MemoryRecorder>::take(size); }

void MemoryRecorder::operator delete(void* memory, std::size_t size) noexcept {
  core::utils::Slab<MemoryRecorder>::give(memory, size);
}

void MemoryRecorder::update(const double* time, const void* data) {
  if (positions_ != 1 || !cursors_->write(*time, data)) [[unlikely]]
    appendAll(*time, data);
}

void MemoryRecorder::appendAll(double time, const void* data) {
  for (std::size_t i = 0; i < positions_; ++i) {  // the offset of the first is 0: the layout is read for others only
    append(first_ + static_cast<std::uint32_t>(i), time,
           static_cast<const std::byte*>(data) + (i == 0 ? 0 : state_->layout[i].packedOffset));
  }
}

void MemoryRecorder::update(unsigned long leafIndex, const double* time, const void* data) {
  if (leafIndex < positions_ && cursors_[leafIndex].write(*time, data)) return;
  if (leafIndex >= positions_) ++lostSamples_;
  append(numberOf(leafIndex), *time, data);
}

void MemoryRecorder::append(std::uint32_t number, double time, const void* data) {
  RowSink* sink = builder_->sink();
  if (sink != nullptr && sink->isStopped()) {
    ++lostSamples_;
    return;
  }
  try {
    builder_->append(number, time, data);
  } catch (const std::exception& error) {
    ++lostSamples_;
    if (sink == nullptr) throw;
    sink->lost(error);
  }
}

std::unique_ptr<vtsim::SnapshotInterface> MemoryRecorder::getSnapshotInterface() {
  return std::make_unique<vtsim::DefaultSnapshotInterface<SnapshotHandler>>(std::make_unique<SnapshotHandler>(state_));
}

vtu::qxArrayWrapper MemoryRecorder::nodes(bool areIterations) const {
  const vtu::ustring name = signalName(signalDescriptor(), areIterations, foreachIteration());
  return nodeStructure(*signalDescriptor().root(), name, state_->layout, *builder_, first_);
}

std::vector<LeafRun> MemoryRecorder::runs() const {
  const bool areIterations = !signalDescriptor().foreachDimensions().empty();
  const vtu::ustring name = signalName(signalDescriptor(), areIterations, foreachIteration());
  return leafRuns(*signalDescriptor().root(), name, state_->layout, *builder_, first_);
}

vtu::qxArrayWrapper MemoryRecorder::datasetElement() {
  const bool areIterations = !signalDescriptor().foreachDimensions().empty();
  vtu::qxArrayWrapper values = nodes(areIterations);
  std::vector<std::uint64_t> iterations{foreachIteration()};
  const std::vector<Client*> members = distinct(foreachMembers());
  if (!members.empty()) {
    vtu::qxCellArrayWrapper cells(1, members.size() + 1);
    cells.set(0, std::move(values));
    for (std::size_t i = 0; i < members.size(); ++i) {
      Client& member = *members[i];
      const std::uint64_t described = member.signalDescriptor().foreachIterationIdx();
      if (const auto* recorder = dynamic_cast<const MemoryRecorder*>(&member)) {
        iterations.push_back(recorder->foreachIteration());
        cells.set(i + 1, recorder->nodes(areIterations));
      } else {
        iterations.push_back(described);
        cells.set(i + 1, valuesOfElement(member.datasetElement()));
      }
    }
    values = std::move(cells);
  }
  return datasetElementOf(signalDescriptor(), iterations, std::move(values));
}

core::client::Client::clientType MemoryRecorder::defaultType(const SignalDescriptor& descriptor) {
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&descriptor);
  return port != nullptr && port->portType() == InportOutportSignalDescriptor::outport ? OutportLogging : SignalLogging;
}

std::size_t MemoryRecorder::positions() const { return positions_; }

std::uint64_t MemoryRecorder::recordedSamples(std::size_t position) const {
  return builder_->recorded(numberOf(position));
}

std::uint64_t MemoryRecorder::heldSamples(std::size_t position) const { return builder_->held(numberOf(position)); }

void MemoryRecorder::shareSamples(std::size_t position, const MemoryRecorder& other, std::size_t otherPosition) {
  const std::uint32_t number = numberOf(position);
  const std::uint32_t source = other.numberOf(otherPosition);
  const bool fits =
      builder_ == other.builder_ && signalDescriptor().maxPoints() == other.signalDescriptor().maxPoints();
  if (!fits || !haveSameSamples(state_->layout[position], other.state_->layout[otherPosition])) {
    throw std::invalid_argument("Signal '" + vtu::to_string(signalDescriptor().signalName()) +
                                "' cannot share the samples of '" +
                                vtu::to_string(other.signalDescriptor().signalName()) + "'");
  }
  builder_->share(number, source);
}

std::uint64_t MemoryRecorder::foreachIteration() const {
  if (signalDescriptor().hasForeachIterationIdx()) return signalDescriptor().foreachIterationIdx();
  return foreachIteration_.value_or(0);
}

std::uint32_t MemoryRecorder::numberOf(std::size_t position) const {
  if (position >= positions_) {
    throw std::out_of_range("Signal '" + vtu::to_string(signalDescriptor().signalName()) + "' has " +
                            std::to_string(positions_) + " leaf positions, so none of number " +
                            std::to_string(position));
  }
  return first_ + static_cast<std::uint32_t>(position);
}

}  // namespace vtio::recorders
