/// @file
/// Drives the generated-code entry functions from bytes: builds a tree that follows the protocol or violates it,
/// registers it, gets an accessor, iterates over the tree and copies it, feeds samples; compares every step with the
/// model of tree_model.hpp.

#include <cmath>
#include <cstdarg>
#include <limits>

#include "fuzz/byte_reader.hpp"
#include "fuzz/tree_model.hpp"
#include "fuzz/tree_script.hpp"
#include "platform/logging_interval.hpp"
#include "platform/qalc.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/leaf_iterator.hpp"
#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/core/utils/top_bus_node.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace {

namespace zet = mdlref_simtarget;
using vtio::core::accessor::Accessor;
using vtio::core::client::Catalogue;
using vtio::core::client::Client;
using vtio::core::utils::BusNode;
using vtio::core::utils::LeafIterator;
using vtio::core::utils::LeafNode;
using vtio::core::utils::LeafNVBusIterator;
using vtio::core::utils::Node;
using vtio::core::utils::NVBusNode;
using vtio::core::utils::SignalDescriptor;
using vtio::core::utils::TopBusNode;
using vtio::core::utils::TopNVBusNode;
using vtio::fuzz::ByteReader;
using vtio::fuzz::ModelNode;
using vtio::fuzz::NodeClass;
using vtio::fuzz::TreeScript;

constexpr std::uint64_t kMostSampleBytes = 1 << 16;  // larger samples are delivered, but not read

/// Counts what arrives and reads every byte of it.
class CountingClient final : public Client {
 public:
  explicit CountingClient(const SignalDescriptor& descriptor) : Client(Client::clientType::SignalLogging, descriptor) {}

  void update(const double* time, const void* data) override { receive(0, time, data); }
  void update(unsigned long leafIndex, const double* time, const void* data) override {
    receive(leafIndex, time, data);
  }
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(); }

  std::vector<std::uint64_t> sampleBytes;  // by leaf position
  std::vector<unsigned> received;

 private:
  void receive(unsigned long leafIndex, const double* time, const void* data) {
    VTIO_FUZZ_CHECK(leafIndex < received.size());
    ++received[leafIndex];
    const auto* bytes = static_cast<const unsigned char*>(data);
    unsigned sum = static_cast<unsigned>(std::isnan(*time));
    for (std::uint64_t i = 0; i < sampleBytes[leafIndex]; ++i) {
      sum += bytes[i];
    }
    VTIO_FUZZ_CHECK(sum == 0 || std::isnan(*time));  // samples are zeros
  }
};

void updateByArguments(int mode, int numArgs, ...) {
  va_list args;
  va_start(args, numArgs);
  VTIO_FUZZ_CHECK(zet::rt_VtioAccessorUpdate(mode, numArgs, reinterpret_cast<char*>(args)) == nullptr);
  va_end(args);
}

/// Same class, name and children on both sides; notes the real node of every model node.
void compareTrees(ModelNode& model, const Node& real) {
  model.real = &real;
  const auto* bus = dynamic_cast<const BusNode*>(&real);
  VTIO_FUZZ_CHECK(model.isBus() == (bus != nullptr));
  VTIO_FUZZ_CHECK(model.isNonVirtual() == (dynamic_cast<const NVBusNode*>(&real) != nullptr));
  VTIO_FUZZ_CHECK((model.nodeClass == NodeClass::topNvBus) == (dynamic_cast<const TopNVBusNode*>(&real) != nullptr));
  VTIO_FUZZ_CHECK((model.nodeClass == NodeClass::topBus) == (dynamic_cast<const TopBusNode*>(&real) != nullptr));
  VTIO_FUZZ_CHECK(real.signalName() == model.name);
  VTIO_FUZZ_CHECK(real.numberOfChildren() == model.announced);
  if (bus == nullptr) {
    const auto* leaf = dynamic_cast<const LeafNode*>(&real);
    VTIO_FUZZ_CHECK(leaf != nullptr && leaf->dataDimensions() == model.dims);
    VTIO_FUZZ_CHECK(leaf->numberOfValuesPerSample() == vtio::fuzz::normalisedProduct(model.dims));
    VTIO_FUZZ_CHECK(leaf->isComplexDataType() == model.isComplex);
    return;
  }
  VTIO_FUZZ_CHECK(bus->children().size() == model.children.size());
  for (std::size_t i = 0; i < model.children.size(); ++i) {
    const Node& child = *bus->children()[i];
    VTIO_FUZZ_CHECK(child.parent() == &real && child.childOrderInParent() == static_cast<int>(i));
    compareTrees(*model.children[i], child);
  }
}

void checkSizes(const ModelNode& model) {
  VTIO_FUZZ_CHECK(model.real->bytesPerSample() == vtio::fuzz::expectedBytes(model));
  for (const auto& child : model.children) {
    checkSizes(*child);
  }
}

void checkLeafOffsets(const ModelNode& root) {
  if (root.nodeClass != NodeClass::topNvBus) {
    return;
  }
  vtio::fuzz::Dimensions expected;
  vtio::fuzz::appendLeafOffsets(root, 0, true, expected);
  auto* real = const_cast<TopNVBusNode*>(dynamic_cast<const TopNVBusNode*>(root.real));
  VTIO_FUZZ_CHECK(real->leafDataOffsets() == expected);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    VTIO_FUZZ_CHECK(real->leafDataOffset(i) == expected[i]);
  }
  const auto count = static_cast<std::uint64_t>(vtio::fuzz::normalisedProduct(root.dims));
  VTIO_FUZZ_CHECK(real->storedSize() == root.busSize * count);
}

/// Iterating and copying require that no more children are announced than there are.
void settleCounts(ModelNode& model) {
  if (model.announced > model.children.size() && model.isBus()) {
    auto* bus = const_cast<BusNode*>(dynamic_cast<const BusNode*>(model.real));
    bus->overrideNumberOfChildren();
    model.announced = static_cast<unsigned>(model.children.size());
    VTIO_FUZZ_CHECK(bus->numberOfChildren() == model.announced);
  }
  for (const auto& child : model.children) {
    settleCounts(*child);
  }
}

void checkLeafWalk(const ModelNode& root, LeafIterator iterator, bool unroll) {
  std::vector<const Node*> walk;
  for (long long k = unroll ? root.repetitions() : 1; k > 0; --k) {
    vtio::fuzz::appendWalk(root, false, unroll, walk);
  }
  for (const Node* expected : walk) {
    const auto* leaf = dynamic_cast<const LeafNode*>(expected);
    VTIO_FUZZ_CHECK(*iterator == leaf);
    if (leaf == nullptr) {
      return;  // an empty bus: here callers stop
    }
    ++iterator;
  }
  VTIO_FUZZ_CHECK(*iterator == nullptr);
}

std::vector<const Node*> checkNonVirtualWalk(const ModelNode& root, LeafNVBusIterator iterator) {
  std::vector<const Node*> walk;
  vtio::fuzz::appendWalk(root, true, false, walk);
  for (const Node* expected : walk) {
    VTIO_FUZZ_CHECK(*iterator == expected);
    ++iterator;
  }
  VTIO_FUZZ_CHECK(*iterator == nullptr);
  return walk;
}

void checkCopy(const SignalDescriptor& descriptor, const ModelNode& root) {
  const std::unique_ptr<SignalDescriptor> copy = descriptor.getCopy();
  VTIO_FUZZ_CHECK(copy->root() != root.real && copy->root()->bytesPerSample() == root.real->bytesPerSample());
  VTIO_FUZZ_CHECK(copy->root()->parent() == nullptr);
  VTIO_FUZZ_CHECK(copy->foreachIterationIdx() == descriptor.foreachIterationIdx());
  LeafIterator theirs = copy->leafIterator();
  LeafIterator ours = descriptor.leafIterator();
  for (; *ours != nullptr; ++ours, ++theirs) {
    VTIO_FUZZ_CHECK(*theirs != nullptr && (*theirs)->bytesPerSample() == (*ours)->bytesPerSample());
    VTIO_FUZZ_CHECK((*theirs)->transformationPolicies() == nullptr);
  }
  VTIO_FUZZ_CHECK(*theirs == nullptr);
}

/// The logging intervals of one run, and the times that they let through.
struct Intervals {
  explicit Intervals(ByteReader& in) : mode(in.below(3)), start(in.below(8)), stop(start + in.below(8)) {
    if (mode == 1) {
      platform.disable(start, stop);
    } else if (mode == 2) {
      platform = smartlog::LoggingInterval::within({{start, stop}});
    }
  }
  [[nodiscard]] bool lets(double time) const {
    if (mode == 0) {
      return true;
    }
    return !std::isnan(time) && (time >= start && time <= stop) == (mode == 2);
  }

  unsigned mode;
  double start;
  double stop;
  smartlog::LoggingInterval platform;
};

void feed(ByteReader& in, void* handle, CountingClient& client, const SignalDescriptor& descriptor,
          const Intervals& intervals) {
  const auto leaves = static_cast<unsigned>(client.received.size());
  const bool perLeaf = dynamic_cast<const TopBusNode*>(descriptor.root()) != nullptr;
  std::vector<unsigned long> counters(leaves, descriptor.decimation());
  std::vector<unsigned> expected(leaves, 0);
  for (int i = 0; i < 256 && leaves > 0 && !in.exhausted(); ++i) {
    const unsigned leaf = in.below(leaves);
    const std::uint8_t raw = in.byte();
    const double time = raw == 255 ? std::numeric_limits<double>::quiet_NaN() : raw % 16;
    const bool noData = raw == 254;
    const std::vector<unsigned char> sample(std::max<std::uint64_t>(1, client.sampleBytes[leaf]));
    const void* data = noData ? nullptr : sample.data();
    if (raw % 2 == 0) {
      zet::zetVtioUpdateAccessor(handle, leaf, time, data);
    } else {
      updateByArguments(1, 4, zet::zetGetPointerFromUniquePtr(handle), time, data, static_cast<int>(leaf));
    }
    if (noData || !intervals.lets(time)) {
      continue;
    }
    const unsigned counted = perLeaf ? leaf : 0;
    if (counters[counted] == descriptor.decimation()) {
      counters[counted] = 0;
      ++expected[counted];
    }
    ++counters[counted];
  }
  VTIO_FUZZ_CHECK(client.received == expected);
}

/// Sizes of what an update delivers, one entry for each position that may be updated.
std::vector<std::uint64_t> sampleSizes(const ModelNode& root, const std::vector<const Node*>& walk,
                                       unsigned inputPorts) {
  std::vector<std::uint64_t> sizes;
  if (root.nodeClass != NodeClass::topBus) {
    sizes.push_back(root.real->storedSize());
  } else {
    for (std::size_t i = 0; i < std::min<std::size_t>(walk.size(), inputPorts); ++i) {
      sizes.push_back(walk[i]->bytesPerSample());
    }
  }
  for (std::uint64_t& size : sizes) {
    size = size <= kMostSampleBytes ? size : 0;
  }
  return sizes;
}

void logSignal(ByteReader& in, Catalogue& catalogue, const SignalDescriptor& descriptor, const ModelNode& root,
               unsigned inputPorts) {
  const Intervals intervals(in);
  checkLeafWalk(root, descriptor.leafIterator(), false);
  checkLeafWalk(root, descriptor.root()->leafIteratorAobLoop(), true);
  const std::vector<const Node*> walk = checkNonVirtualWalk(root, descriptor.leafNVBusIterator());
  checkCopy(descriptor, root);

  void* handle = zet::zetGetAccessor(&descriptor, &intervals.platform);
  VTIO_FUZZ_CHECK(handle != nullptr);
  auto owned = std::make_unique<CountingClient>(descriptor);
  CountingClient& client = *owned;
  client.sampleBytes = sampleSizes(root, walk, inputPorts);
  client.received.resize(client.sampleBytes.size());
  catalogue.addClient(std::move(owned), u"logsout");
  static_cast<Accessor*>(zet::zetGetPointerFromUniquePtr(handle))->addClient(client);
  feed(in, handle, client, descriptor, intervals);
  zet::zetDestructAccessorPointer(handle);
}

void runOne(ByteReader& in) {
  static constexpr std::array<const char*, 5> kEncodedPaths = {"", "top/A|mid%7Cdle/B", "%zz", "a%", "%ff|b"};
  const unsigned kind = in.below(5);
  const unsigned inputPorts = in.below(32);
  const unsigned decimation = in.below(5);
  const unsigned which = in.below(kEncodedPaths.size());
  const unsigned numLoops = in.below(4);
  const std::vector<unsigned> loops(numLoops, 1 + in.below(200));

  Catalogue catalogue;
  void* treeVector = zet::zetGetTreeVector();
  TreeScript script(in, treeVector);
  script.run();
  const auto half = static_cast<unsigned>(loops.size() / 2);
  const void* raw = zet::zetGetSignalDescriptor(treeVector, inputPorts, kind, 100, decimation, "si\\tgnal", "",
                                                kEncodedPaths[which], "model/block\n", 2, 3, &catalogue, loops.data(),
                                                half, loops.data() + half, static_cast<unsigned>(loops.size()) - half);
  if (script.strayMarker()) {
    return;
  }
  const std::unique_ptr<ModelNode> root = vtio::fuzz::assemble(script.entries());
  VTIO_FUZZ_CHECK((raw != nullptr) == (root != nullptr && which < 2));
  if (raw == nullptr) {
    return;
  }
  const auto& descriptor = *static_cast<const SignalDescriptor*>(raw);
  VTIO_FUZZ_CHECK(descriptor.blockPath().size() == (which == 0 ? 1U : 3U));
  VTIO_FUZZ_CHECK(descriptor.root()->parent() == nullptr);
  compareTrees(*root, *descriptor.root());
  checkSizes(*root);
  checkLeafOffsets(*root);
  settleCounts(*root);
  logSignal(in, catalogue, descriptor, *root, inputPorts);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader in({data, size});
  runOne(in);
  return 0;
}
