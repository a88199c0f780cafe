/// @file
/// What the tests of the recorders share: trees in one line, a catalogue to record in, and readers of arrays.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/text.hpp"
#include "recorders/memory_recorder.hpp"
#include "recorders/recording_session.hpp"
#include "vtio/vtio.hpp"

namespace recording {

using namespace vtio::core::utils;  // NOLINT(google-build-using-namespace): the trees are the subject here
using vtio::core::accessor::Accessor;
using vtio::core::accessor::Scalar;
using vtio::core::accessor::VirtualBus;
using vtio::core::client::Catalogue;
using vtio::core::client::Client;
using vtio::core::client::SignalDescription;
using vtio::recorders::MemoryRecorder;
using vtio::recorders::RecordingSession;

using NodePtr = std::unique_ptr<Node>;
using Dims = std::vector<long long>;

inline std::unique_ptr<LeafNode> leaf(const char16_t* name, const char* type = "double", Dims dims = {},
                                      bool isComplex = false) {
  return std::make_unique<LeafNode>(0, name, isComplex, "linear", std::move(dims), type, units(u"m"), u"today",
                                    leafSignal);
}

inline std::unique_ptr<TopBusNode> topBus(const char16_t* name) { return std::make_unique<TopBusNode>(-1, name, 8); }

inline std::unique_ptr<BusNode> bus(const char16_t* name) { return std::make_unique<BusNode>(-1, name, 8, virtualBus); }

inline std::unique_ptr<NVBusNode> nvBus(const char16_t* name, const Dims& dims, const Dims& offsets,
                                        unsigned long size) {
  return std::make_unique<NVBusNode>(-1, name, offsets.size(), dims, offsets, size);
}

inline std::unique_ptr<TopNVBusNode> topNvBus(const char16_t* name, const Dims& dims, const Dims& offsets,
                                              unsigned long size) {
  return std::make_unique<TopNVBusNode>(-1, name, offsets.size(), dims, offsets, size);
}

/// Adds children to a bus and settles how many there are.
template <typename Bus, typename... Children>
std::unique_ptr<Bus> with(std::unique_ptr<Bus> parent, Children... children) {
  (parent->addChild(std::move(children)), ...);
  parent->overrideNumberOfChildren();
  return parent;
}

/// A signal with its accessor and its recorder.
struct Recorded {
  const SignalDescriptor* descriptor = nullptr;
  std::unique_ptr<Accessor> accessor;
  MemoryRecorder* recorder = nullptr;

  template <typename T>
  void add(double time, const T& value, unsigned long position = 0) {
    accessor->update(&time, &value, position);
  }
  vtu::qxArrayWrapper element() const { return recorder->datasetElement(); }
};

inline vtu::FullBlkPathToTopMdl pathOf(const char16_t* block) {
  vtu::FullBlkPathToTopMdl path;
  path.append(vtu::InternedUstring(block));
  return path;
}

class Recording : public ::testing::Test {
 protected:
  const SignalDescriptor& describe(NodePtr root, unsigned long maxPoints = 0, unsigned long decimation = 1,
                                   const char16_t* name = u"signal") {
    if (auto* top = dynamic_cast<TopNVBusNode*>(root.get())) top->generateLeafDataOffsets();
    return catalogue_.createSignalDescriptor(std::move(root), 512, maxPoints, decimation, name, u"",
                                             pathOf(u"model/block"), 0);
  }

  std::unique_ptr<Accessor> access(const SignalDescriptor& descriptor) {
    const smartlog::LoggingInterval& interval = catalogue_.disabledLoggingIntervals();
    if (dynamic_cast<const TopBusNode*>(descriptor.root()) != nullptr) {
      return std::make_unique<VirtualBus>(descriptor, interval);
    }
    return std::make_unique<Scalar>(descriptor, interval);
  }

  Recorded record(NodePtr root, unsigned long maxPoints = 0, unsigned long decimation = 1) {
    Recorded recorded;
    recorded.descriptor = &describe(std::move(root), maxPoints, decimation);
    recorded.accessor = access(*recorded.descriptor);
    recorded.recorder = session_.attach(*recorded.descriptor, *recorded.accessor);
    return recorded;
  }

  Catalogue catalogue_;
  RecordingSession session_{catalogue_};
};

/// The same with a streamed file of its own for each test; before the first signal is recorded, stream() is called.
class StreamedFile {
 public:
  StreamedFile() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string test = std::string(info->test_suite_name()) + "_" + info->name();
    std::replace(test.begin(), test.end(), '/', '_');
    folder_ = std::filesystem::temp_directory_path() / ("vtio_stream_" + test + "_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder_);
  }
  StreamedFile(const StreamedFile&) = delete;
  StreamedFile& operator=(const StreamedFile&) = delete;
  ~StreamedFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  [[nodiscard]] std::string path(const std::string& name = "stream.qat") const { return (folder_ / name).string(); }

  /// Makes a catalogue stream into the file.
  void stream(Catalogue& catalogue) const {
    catalogue.settings(Catalogue::SignalLoggingToPersistentStorage, u"on");
    catalogue.settings(Catalogue::SignalStorageParameters, vtu::to_ustring(path()));
  }

 private:
  std::filesystem::path folder_;
};

inline const qxArray* field(const qxArray* structure, const char* name) {
  const qxArray* value = qxGetField(structure, 0, name);
  if (value == nullptr) throw std::runtime_error(std::string("no field ") + name);
  return value;
}

/// The field at the end of a path of field names, from the element's Values on.
template <typename... Names>
const qxArray* values(const vtu::qxArrayWrapper& element, Names... names) {
  const qxArray* at = field(element.get(), "Values");
  ((at = field(at, names)), ...);
  return at;
}

inline std::string text(const qxArray* array) {
  return vtu::to_string(std::u16string_view(qxGetChars(array), qxGetNumberOfElements(array)));
}

inline std::vector<std::size_t> dimensions(const qxArray* array) {
  return {qxGetDimensions(array), qxGetDimensions(array) + qxGetNumberOfDimensions(array)};
}

/// The column-major values.
template <typename T>
std::vector<T> numbers(const qxArray* array) {
  const auto* data = static_cast<const T*>(qxGetConstData(array));
  return std::vector<T>(data, data + qxGetNumberOfElements(array) * (qxIsComplex(array) ? 2 : 1));
}

inline std::vector<std::string> fieldNames(const qxArray* structure) {
  std::vector<std::string> names;
  for (int i = 0; i < qxGetNumberOfFields(structure); ++i) names.emplace_back(qxGetFieldName(structure, i));
  return names;
}

}  // namespace recording
