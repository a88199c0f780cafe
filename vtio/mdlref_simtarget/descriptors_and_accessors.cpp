// Registration of signals, and their accessors, from generated code.
#include <cstdarg>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/accessor/cached_accessors.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/utils/slab.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"
#include "vtio/mdlref_simtarget/block_path.hpp"
#include "vtio/mdlref_simtarget/generated_code.hpp"
#include "vtio/mdlref_simtarget/last_error.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"
#include "vtio/mdlref_simtarget/tree_vector.hpp"

namespace mdlref_simtarget {
namespace {

using vtio::core::accessor::Accessor;
using vtio::core::accessor::makeAccessor;
using vtio::core::accessor::updateAccessor;
using vtio::core::client::Catalogue;
using vtio::core::utils::InportOutportSignalDescriptor;
using vtio::core::utils::Node;
using vtio::core::utils::SignalDescriptor;
using vtio::core::utils::TopNVBusNode;

constexpr unsigned kRootOutport = 1;
constexpr unsigned kOrdinarySignal = 3;
constexpr int kActingMode = 1;

// The cell of an accessor's handle. Cells are adjacent in memory: each step reads those of all signals.
struct AccessorCell {
  void* accessor;
};
using AccessorCells = vtio::core::utils::Slab<AccessorCell>;

// Takes the vector over and frees its handle.
std::unique_ptr<TreeVector> takeTreeVector(void* handle) {
  std::unique_ptr<TreeVector> vector(&required<TreeVector>(required<void*>(handle, "tree vector"), "tree vector"));
  delete static_cast<void**>(handle);
  return vector;
}

std::unique_ptr<Node> takeRoot(std::unique_ptr<TreeVector> vector) {
  std::unique_ptr<Node> root = rootFromTreeVector(*vector);
  if (root == nullptr) throw std::invalid_argument("the tree has no root: no node was added, or a bus was not closed");
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

// A va_list can be cast to char* where it is an array type, which decays to a pointer to its element (x86-64), or a
// plain pointer (32-bit x86, Windows). Where it is a structure (64-bit ARM under Linux), the entry functions need
// another shape.
static_assert(std::is_array_v<std::va_list> || std::is_pointer_v<std::va_list>,
              "the rt_ functions cannot take this platform's va_list as char*");

// Reads the arguments behind a va_list that was cast to char*.
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
    const ustring name = unescapedText(signalName);
    const ustring propagated = unescapedText(propagatedName);
    const std::vector<unsigned long> foreachDimensions = joined(dims1, numDims1, dims2, numDims2);
    auto& target = required<Catalogue>(catalogue, "catalogue");
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
    noteExceptionBefore("zetGetSignalDescriptor");
    return nullptr;
  }
}

void** zetGetAccessor(const void* descriptor, const void* loggingInterval) {
  clearLastError();
  try {
    std::unique_ptr<Accessor> accessor =
        makeAccessor(required<SignalDescriptor>(descriptor, "descriptor"),
                     required<smartlog::LoggingInterval>(loggingInterval, "logging interval"));
    auto* cell = new (AccessorCells::take(sizeof(AccessorCell))) AccessorCell{accessor.get()};
    static_cast<void>(accessor.release());  // owned by the handle from here on
    return &cell->accessor;
  } catch (...) {
    noteException("zetGetAccessor");
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
  AccessorCells::give(accessorHandle, sizeof(AccessorCell));
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
