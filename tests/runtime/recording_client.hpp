/// @file
/// What the runtime tests share: a client that keeps every sample, a snapshot interface that keeps every command, and
/// helpers that make trees and descriptors.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/block_path.hpp"
#include "platform/logging_selection.hpp"
#include "platform/qalc.hpp"
#include "platform/snapshot.hpp"
#include "platform/text.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/core/utils/top_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"
#include "vtio/core/utils/transformation_policy.hpp"

namespace vtio::testing {

using Events = std::vector<std::string>;

/// One call of a client's update operation.
struct Sample {
  bool perLeaf = false;
  unsigned long leaf = 0;
  const double* timeAddress = nullptr;
  double time = 0.0;
  const void* data = nullptr;
};

/// Appends every command that it gets to a shared list of events.
class RecordingSnapshotInterface : public vtsim::SnapshotInterface {
 public:
  RecordingSnapshotInterface(std::string name, Events& events) : name_(std::move(name)), events_(&events) {}
  RecordingSnapshotInterface(const RecordingSnapshotInterface&) = delete;
  RecordingSnapshotInterface& operator=(const RecordingSnapshotInterface&) = delete;
  ~RecordingSnapshotInterface() override { events_->push_back("~" + name_); }

  void captureSnapshot(bool initial) override { note(initial ? "captureSnapshot(true)" : "captureSnapshot(false)"); }
  void rollBack() override { note("rollBack()"); }
  void reset() override { note("reset()"); }
  void clear() override { note("clear()"); }
  void popLatest(int n) override { note("popLatest(" + std::to_string(n) + ")"); }
  void popOldest(int n) override { note("popOldest(" + std::to_string(n) + ")"); }
  void size(int n) override { note("size(" + std::to_string(n) + ")"); }

 private:
  void note(const std::string& what) { events_->push_back(name_ + "." + what); }

  std::string name_;
  Events* events_;
};

/// A client that keeps its samples; hooks let a test run code inside a call.
class RecordingClient : public core::client::Client {
 public:
  explicit RecordingClient(const core::utils::SignalDescriptor& descriptor, clientType type = SignalLogging)
      : Client(type, descriptor) {}
  RecordingClient(const RecordingClient&) = delete;
  RecordingClient& operator=(const RecordingClient&) = delete;
  ~RecordingClient() override {
    if (onDestruction) {
      onDestruction();
    }
  }

  void update(const double* time, const void* data) override {
    samples.push_back({false, 0, time, *time, data});
    if (onUpdate) {
      onUpdate();
    }
  }
  void update(unsigned long leafIndex, const double* time, const void* data) override {
    samples.push_back({true, leafIndex, time, *time, data});
    if (onUpdate) {
      onUpdate();
    }
  }
  std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() override {
    return makeSnapshotInterface ? makeSnapshotInterface() : Client::getSnapshotInterface();
  }
  vtu::qxArrayWrapper datasetElement() override {
    ++datasetElementCalls;
    return makeDatasetElement ? makeDatasetElement() : vtu::qxArrayWrapper();
  }

  /// Lets datasetElement() yield a double scalar.
  RecordingClient& yields(double value) {
    makeDatasetElement = [value] { return vtu::qxArrayWrapper(qxCreateDoubleScalar(value)); };
    return *this;
  }

  std::vector<double> times() const {
    std::vector<double> result;
    for (const Sample& sample : samples) {
      result.push_back(sample.time);
    }
    return result;
  }

  std::vector<Sample> samples;
  int datasetElementCalls = 0;
  std::function<void()> onUpdate;
  std::function<void()> onDestruction;
  std::function<std::unique_ptr<vtsim::SnapshotInterface>()> makeSnapshotInterface;
  std::function<vtu::qxArrayWrapper()> makeDatasetElement;
};

/// A double leaf that reports its destruction.
class ProbeLeaf : public core::utils::LeafNode {
 public:
  explicit ProbeLeaf(std::function<void()> onDestruction, core::utils::SignalType type = core::utils::leafSignal)
      : LeafNode(0, u"probe", false, "zoh", {}, "double", core::utils::units(), u"", type),
        onDestruction_(std::move(onDestruction)) {}
  ProbeLeaf(const ProbeLeaf&) = delete;
  ProbeLeaf& operator=(const ProbeLeaf&) = delete;
  ~ProbeLeaf() override { onDestruction_(); }

 private:
  std::function<void()> onDestruction_;
};

/// Delivers a fixed address in place of the caller's, and keeps the addresses that it was given.
class SubstitutePolicy : public core::utils::TransformationPolicy {
 public:
  struct Log {
    std::vector<const void*> seen;
  };

  SubstitutePolicy(const void* delivered, Log& log)
      : TransformationPolicy(core::utils::SignalDescriptorNodePolicy::splitBuffer), delivered_(delivered), log_(&log) {}
  std::unique_ptr<const core::utils::SignalDescriptorNodePolicy> getCopy() const override { return {}; }
  const void* transformedDataPointer(const void* data) const override {
    log_->seen.push_back(data);
    return delivered_;
  }

 private:
  const void* delivered_;
  Log* log_;
};

inline std::unique_ptr<core::utils::LeafNode> makeLeaf(const std::u16string& name = u"x",
                                                       const std::string& className = "double",
                                                       std::vector<long long> dimensions = {}) {
  return std::make_unique<core::utils::LeafNode>(0, name, false, "zoh", std::move(dimensions), className,
                                                 core::utils::units(), u"", core::utils::leafSignal);
}

/// A virtual bus of `count` double leaves named a, b, c, ...
inline std::unique_ptr<core::utils::TopBusNode> makeTopBus(std::size_t count) {
  auto bus = std::make_unique<core::utils::TopBusNode>(-1, u"bus", count);
  for (std::size_t i = 0; i < count; ++i) {
    bus->addChild(makeLeaf(std::u16string(1, static_cast<char16_t>(u'a' + i))));
  }
  return bus;
}

/// A single non-virtual bus of two doubles.
inline std::unique_ptr<core::utils::TopNVBusNode> makeTopNVBus() {
  const std::vector<long long> dimensions{1};
  const std::vector<long long> offsets{0, 8};
  auto bus = std::make_unique<core::utils::TopNVBusNode>(3, u"nv", 2, dimensions, offsets, 16);
  bus->addChild(makeLeaf(u"p"));
  bus->addChild(makeLeaf(u"q"));
  return bus;
}

inline vtu::FullBlkPathToTopMdl makePath(const std::vector<std::u16string>& elements) {
  vtu::FullBlkPathToTopMdl path;
  for (const std::u16string& element : elements) {
    path.append(vtu::InternedUstring(element));
  }
  return path;
}

/// The elements of a path as plain text.
inline std::vector<std::u16string> elementsOf(const vtu::FullBlkPathToTopMdl& path) {
  std::vector<std::u16string> result;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char16_t* text = path.element(i).c_str();
    result.emplace_back(text == nullptr ? u"" : text);
  }
  return result;
}

/// Everything about a signal but its tree.
struct SignalSetup {
  std::u16string name = u"signal";
  std::u16string propagatedName = u"";
  std::vector<std::u16string> path = {u"model/block"};
  unsigned long port = 0;
  unsigned long inputs = 1;
  unsigned long maxPoints = 0;
  unsigned long decimation = 1;
  std::vector<unsigned long> foreachDimensions = {};
  std::vector<int> foreachIndices = {};
  unsigned long catalogueIndex = 0;
};

inline std::unique_ptr<core::utils::SignalDescriptor> makeDescriptor(std::unique_ptr<core::utils::Node> root,
                                                                     const SignalSetup& setup = {}) {
  return std::make_unique<core::utils::SignalDescriptor>(
      setup.catalogueIndex, std::move(root), setup.inputs, setup.maxPoints, setup.decimation, setup.name,
      setup.propagatedName, makePath(setup.path), setup.port, setup.foreachDimensions, setup.foreachIndices);
}

/// Overrides a descriptor's decimation as a logging selection does.
inline void setDecimation(core::utils::SignalDescriptor& descriptor, unsigned long decimation) {
  sigstg::LoggingInfo info;
  info.setDecimateData(true);
  info.setDecimation(decimation);
  descriptor.overrideSignal(info);
}

}  // namespace vtio::testing
