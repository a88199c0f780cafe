// Registration of signals, and their accessors, from generated code.
#include <cstdarg>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/client/quick_accessors.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"
#include "vtio/mdlref_simtarget/block_path.hpp"
#include "vtio/mdlref_simtarget/generated_code.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"
#include "vtio/mdlref_simtarget/tree_vector.hpp"

namespace mdlref_simtarget {
namespace {

using vtio::core::accessor::Accessor;
using vtio::core::client::Catalogue;
using vtio::core::client::makeAccessor;
using vtio::core::client::updateAccessor;
using vtio::core::utils::InportOutportSignalDescriptor;
using vtio::core::utils::Node;
using vtio::core::utils::SignalDescriptor;
using vtio::core::utils::TopNVBusNode;

constexpr unsigned kRootOutport = 1;
constexpr unsigned kOrdinarySignal = 3;
constexpr int kActingMode = 1;

// Takes the vector over and frees its handle.
std::unique_ptr<TreeVector> takeTreeVector(void* handle) {
  std::unique_ptr<TreeVector> vector(inHandle<TreeVector>(handle));
  delete static_cast<void**>(handle);
  return vector;
}

std::unique_ptr<Node> takeRoot(std::unique_ptr<TreeVector> vector) {
  std::unique_ptr<Node> root = rootFromTreeVector(*vector);
  if (auto* bus = dynamic_cast<TopNVBusNode*>(root.get())) bus->generateLeafDataOffsets();
  return root;
}

vtu::FullBlkPathToTopMdl fullPath(const char* encodedPath, const char* blockPath) {
  vtu::FullBlkPathToTopMdl path;
  computeFullBlockPath(unescapedText(encodedPath), unescapedText(blockPath), path);
  return path;
}

std::vector<unsigned long> joined(const unsigned* dims1, unsigned numDims1, const unsigned* dims2, unsigned numDims2) {
  std::vector<unsigned long> result = widened<unsigned long>(dims1, numDims1);
  const std::vector<unsigned long> rest = widened<unsigned long>(dims2, numDims2);
  result.insert(result.end(), rest.begin(), rest.end());
  return result;
}

// Reads the arguments behind a va_list that was cast to char*: where va_list is an array type, the pointer that it
// decays to; elsewhere the list itself.
class Arguments {
 public:
  explicit Arguments(char* list) {
    if constexpr (std::is_array_v<std::va_list>) {
      va_copy(list_, *reinterpret_cast<std::va_list*>(list));  // NOLINT(clang-analyzer-valist.Uninitialized)
    } else {
      va_copy(list_, reinterpret_cast<std::va_list&>(list));
    }
  }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments() { va_end(list_); }

  template <typename T>
  T next() {
    return va_arg(list_, T);
  }

 private:
  std::va_list list_;
};

}  // namespace

extern "C" {

const void* zetGetSignalDescriptor(void* treeVector, unsigned numberOfInputPorts, unsigned kind, unsigned maxPoints,
                                   unsigned decimation, const char* signalName, const char* propagatedName,
                                   const char* encodedPath, const char* blockPath, unsigned connectedPortIndex,
                                   unsigned long inportOrder, void* catalogue, const unsigned* dims1, unsigned numDims1,
                                   const unsigned* dims2, unsigned numDims2) {
  try {
    std::unique_ptr<TreeVector> vector = takeTreeVector(treeVector);
    const vtu::FullBlkPathToTopMdl path = fullPath(encodedPath, blockPath);
    std::unique_ptr<Node> root = takeRoot(std::move(vector));
    if (root == nullptr) return nullptr;
    const ustring name = unescapedText(signalName);
    const ustring propagated = unescapedText(propagatedName);
    const std::vector<unsigned long> foreachDimensions = joined(dims1, numDims1, dims2, numDims2);
    auto& target = *static_cast<Catalogue*>(catalogue);
    switch (kind) {
      case kRootOutport:
        return &target.createSignalDescriptor(std::move(root), numberOfInputPorts,
                                              InportOutportSignalDescriptor::outport, maxPoints, decimation, name,
                                              propagated, path, connectedPortIndex, foreachDimensions, {});
      case kOrdinarySignal:
        return &target.createSignalDescriptor(std::move(root), numberOfInputPorts, maxPoints, decimation, name,
                                              propagated, path, connectedPortIndex, foreachDimensions, {});
      default:
        return &target.createSignalDescriptor(std::move(root), numberOfInputPorts, maxPoints, decimation, name,
                                              propagated, path, connectedPortIndex, inportOrder);
    }
  } catch (...) {
    return nullptr;
  }
}

void** zetGetAccessor(const void* descriptor, const void* loggingInterval) {
  try {
    std::unique_ptr<Accessor> accessor = makeAccessor(*static_cast<const SignalDescriptor*>(descriptor),
                                                      *static_cast<const smartlog::LoggingInterval*>(loggingInterval));
    void** handle = newHandle(accessor.get());
    static_cast<void>(accessor.release());  // owned by the handle from here on
    return handle;
  } catch (...) {
    return nullptr;
  }
}

void zetVtioUpdateAccessor(void* accessorHandle, unsigned index, double time, const void* data) {
  if (data == nullptr) return;
  try {
    updateAccessor(*inHandle<Accessor>(accessorHandle), &time, data, index);
  } catch (...) {
    // A client's failure must not stop the simulation.
  }
}

void* zetGetPointerFromUniquePtr(void* handle) { return *static_cast<void**>(handle); }

void zetDestructAccessorPointer(void* accessorHandle) {
  if (accessorHandle == nullptr) return;
  delete inHandle<Accessor>(accessorHandle);
  delete static_cast<void**>(accessorHandle);
}

bool zetLogRootOutport(const void* catalogue) {
  try {
    return static_cast<const Catalogue*>(catalogue)->settings(Catalogue::OutputLogging) == u"on";
  } catch (...) {
    return false;
  }
}

void* rt_VtioAccessorUpdate(int mode, int numArgs, char* args) {
  if (mode != kActingMode) return nullptr;
  Arguments arguments(args);
  auto* accessor = static_cast<Accessor*>(arguments.next<void*>());
  const double time = arguments.next<double>();
  const void* data = arguments.next<const void*>();
  const int index = numArgs >= 4 ? arguments.next<int>() : 0;
  if (data != nullptr) updateAccessor(*accessor, &time, data, static_cast<unsigned long>(long{index}));
  return nullptr;
}

void* rt_VtioAccessorRelease(int mode, int /*numArgs*/, char* args) {
  if (mode == kActingMode) delete static_cast<Accessor*>(Arguments(args).next<void*>());
  return nullptr;
}

}  // extern "C"
}  // namespace mdlref_simtarget
