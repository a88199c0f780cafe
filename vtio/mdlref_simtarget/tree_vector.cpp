#include "vtio/mdlref_simtarget/tree_vector.hpp"

#include <stdexcept>
#include <utility>

#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/enum_leaf_node.hpp"
#include "vtio/core/utils/fixed_point_leaf_node.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/top_bus_node.hpp"
#include "vtio/core/utils/top_nv_bus_node.hpp"
#include "vtio/core/utils/visualization_metadata_policy.hpp"
#include "vtio/mdlref_simtarget/generated_code.hpp"
#include "vtio/mdlref_simtarget/last_error.hpp"
#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace mdlref_simtarget {
namespace {

using namespace vtio::core::utils;

constexpr int kNoDatatypeTableId = -1;
constexpr unsigned kComplex = 1;

using OpenBuses = std::vector<std::unique_ptr<BusNode>>;

void closeBus(OpenBuses& open, std::unique_ptr<Node>& root) {
  if (open.empty()) throw std::invalid_argument("a closing marker while no bus is open");
  std::unique_ptr<Node> closed = std::move(open.back());
  open.pop_back();
  if (open.empty()) {
    root = std::move(closed);
  } else {
    open.back()->addChild(std::move(closed));
  }
}

void addLeaf(OpenBuses& open, std::unique_ptr<Node> leaf) {
  if (open.empty()) throw std::invalid_argument("a leaf while no bus is open");
  open.back()->addChild(std::move(leaf));
}

std::unique_ptr<const SignalDescriptorNodePolicy> metadata(const char* sampleTime, double discreteInc,
                                                           double stopTime) {
  return std::make_unique<const VisualizationMetadataPolicy>(plainText(sampleTime), discreteInc, stopTime, "");
}

units unit(const char* text) { return units(unescapedText(text)); }

std::vector<long long> dimensions(const unsigned* values, unsigned count) { return widened<long long>(values, count); }

// Makes a node, and its policy if it has one, and appends it. The append comes last: a failure leaves the vector as it
// was.
template <typename Make>
void append(const char* function, void* treeVector, Make make) noexcept {
  try {
    std::unique_ptr<Node> node = make();
    inHandle<TreeVector>(&required<void*>(treeVector, "tree vector"))->push_back(std::move(node));
  } catch (...) {
    noteException(function);
  }
}

}  // namespace

std::vector<std::string> arrayToStrVector(const char** strings, unsigned long count) {
  std::vector<std::string> result;
  result.reserve(count);
  for (unsigned long i = 0; i < count; ++i) result.emplace_back(textOrEmpty(strings[i]));
  return result;
}

std::unique_ptr<Node> rootFromTreeVector(TreeVector& treeVector) {
  if (treeVector.size() == 1) return std::move(treeVector.front());
  OpenBuses open;
  std::unique_ptr<Node> root;
  for (auto& entry : treeVector) {
    if (entry == nullptr) {
      closeBus(open, root);
      if (root != nullptr) return root;
    } else if (auto* bus = dynamic_cast<BusNode*>(entry.get())) {
      open.emplace_back();  // may throw: until here the entry owns the bus
      static_cast<void>(entry.release());
      open.back().reset(bus);
    } else {
      addLeaf(open, std::move(entry));
    }
  }
  return nullptr;
}

extern "C" {

void* zetGetTreeVector(void) {
  clearLastError();
  auto treeVector = std::make_unique<TreeVector>();
  void** handle = newHandle(treeVector.get());
  static_cast<void>(treeVector.release());  // owned by the handle from here on
  return handle;
}

void zetAddTopNVBusNode(unsigned dataTypeId, const char* name, unsigned numChildren, const unsigned* dims,
                        unsigned numDims, unsigned busSize, const unsigned* childOffsets, const char* sampleTime,
                        double discreteInc, double stopTime, void* treeVector) {
  append(__func__, treeVector, [&] {
    auto node =
        std::make_unique<TopNVBusNode>(static_cast<int>(dataTypeId), unescapedText(name), numChildren,
                                       dimensions(dims, numDims), dimensions(childOffsets, numChildren), busSize);
    node->addPolicy(metadata(sampleTime, discreteInc, stopTime));
    return node;
  });
}

void zetAddNVBusNode(unsigned dataTypeId, const char* name, unsigned numChildren, const unsigned* dims,
                     unsigned numDims, unsigned busSize, const unsigned* childOffsets, void* treeVector) {
  append(__func__, treeVector, [&] {
    return std::make_unique<NVBusNode>(static_cast<int>(dataTypeId), unescapedText(name), numChildren,
                                       dimensions(dims, numDims), dimensions(childOffsets, numChildren), busSize);
  });
}

void zetAddTopBusNode(const char* name, unsigned numChildren, void* treeVector) {
  append(__func__, treeVector,
         [&] { return std::make_unique<TopBusNode>(kNoDatatypeTableId, unescapedText(name), numChildren); });
}

void zetAddBusNode(const char* name, unsigned numChildren, void* treeVector) {
  append(__func__, treeVector,
         [&] { return std::make_unique<BusNode>(kNoDatatypeTableId, unescapedText(name), numChildren, virtualBus); });
}

void zetAddLeafNode(unsigned dataTypeId, const char* name, const char* interpolation, unsigned complexity,
                    const unsigned* dims, unsigned numDims, const char* dataTypeName, const char* unitText,
                    const char* sampleTime, double discreteInc, double stopTime, void* treeVector) {
  append(__func__, treeVector, [&] {
    auto node =
        std::make_unique<LeafNode>(static_cast<int>(dataTypeId), unescapedText(name), complexity == kComplex,
                                   std::string(textOrEmpty(interpolation)), dimensions(dims, numDims),
                                   std::string(textOrEmpty(dataTypeName)), unit(unitText), ustring(), leafSignal);
    node->addPolicy(metadata(sampleTime, discreteInc, stopTime));
    return node;
  });
}

void zetAddFixedPointLeafNode(unsigned dataTypeId, const char* name, const char* interpolation, unsigned complexity,
                              const unsigned* dims, unsigned numDims, const char* dataTypeName, const char* unitText,
                              bool isSigned, int wordLength, double slopeAdjustmentFactor, int fixedExponent,
                              double bias, const char* sampleTime, double discreteInc, double stopTime,
                              void* treeVector) {
  append(__func__, treeVector, [&] {
    auto node = std::make_unique<FixedPointLeafNode>(
        static_cast<int>(dataTypeId), unescapedText(name), complexity == kComplex,
        std::string(textOrEmpty(interpolation)), dimensions(dims, numDims), std::string(textOrEmpty(dataTypeName)),
        unit(unitText), ustring(), isSigned, wordLength, slopeAdjustmentFactor, fixedExponent, bias);
    node->addPolicy(metadata(sampleTime, discreteInc, stopTime));
    return node;
  });
}

void zetAddEnumLeafNode(unsigned dataTypeId, const char* name, const char* interpolation, const unsigned* dims,
                        unsigned numDims, const char* dataTypeName, const char* unitText, const char* resolvedClassName,
                        const char* sampleTime, double discreteInc, double stopTime, const unsigned* enumValues,
                        const char** enumLabels, unsigned numEnums, void* treeVector) {
  append(__func__, treeVector, [&] {
    auto node = std::make_unique<EnumLeafNode>(
        static_cast<int>(dataTypeId), unescapedText(name), std::string(textOrEmpty(interpolation)),
        dimensions(dims, numDims), std::string(textOrEmpty(dataTypeName)), unit(unitText), ustring(),
        std::string(textOrEmpty(resolvedClassName)), widened<int>(enumValues, numEnums),
        arrayToStrVector(enumLabels, numEnums));
    node->addPolicy(metadata(sampleTime, discreteInc, stopTime));
    return node;
  });
}

void zetPopNVBusNode(void* treeVector) { inHandle<TreeVector>(treeVector)->push_back(nullptr); }

}  // extern "C"
}  // namespace mdlref_simtarget
