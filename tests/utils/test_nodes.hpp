/// @file
/// Helpers that build nodes, policies, paths and descriptors, and nodes and policies that report their destruction.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "platform/block_path.hpp"
#include "platform/types.hpp"
#include "vtio/core/utils/bus_node.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"
#include "vtio/core/utils/leaf_iterator.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"
#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/nv_bus_node.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/core/utils/signal_descriptor_node_policy.hpp"
#include "vtio/core/utils/signal_type.hpp"
#include "vtio/core/utils/split_buffer_policy.hpp"
#include "vtio/core/utils/units.hpp"

namespace vtio::test {

using Dims = std::vector<long long>;
using PolicyPointer = std::unique_ptr<const core::utils::SignalDescriptorNodePolicy>;

/// A leaf of the given class name with data type table id 1, unit "m", interpolation "linear" and start date "now".
std::unique_ptr<core::utils::LeafNode> makeLeaf(const std::u16string& name = u"leaf",
                                                const std::string& className = "double", const Dims& dims = {},
                                                bool isComplex = false);

/// A virtual bus that announces `announced` children.
std::unique_ptr<core::utils::BusNode> makeBus(const std::u16string& name, unsigned long announced);

/// A non-virtual bus with one "double" leaf per name, leaf i at offset 8 * i, and the bus size that fits them.
std::unique_ptr<core::utils::NVBusNode> makeNVBus(const std::u16string& name, const Dims& dims,
                                                  const std::vector<std::u16string>& leafNames);

/// A split buffer policy.
PolicyPointer makeSplit(unsigned long elementSize, std::vector<unsigned long> offsets);

/// A visualisation metadata policy with the given alias.
PolicyPointer makeVisualization(const std::string& alias = "alias");

/// A block path of the given elements and further string member.
vtu::FullBlkPathToTopMdl makePath(const std::vector<std::u16string>& elements, const std::u16string& subPath = u"",
                                  std::int32_t subPathType = 0);

/// The texts of a path's elements.
std::vector<std::u16string> elementsOf(const vtu::FullBlkPathToTopMdl& path);

/// What a descriptor is made from; each test names what matters to it.
struct DescriptorArguments {
  unsigned long catalogueIndex = 0;
  unsigned long numberOfInputPorts = 1;
  unsigned long maxPoints = 0;
  unsigned long decimation = 1;
  std::u16string signalName = u"signal";
  std::u16string propagatedName = u"";
  vtu::FullBlkPathToTopMdl blockPath = makePath({u"model", u"block"});
  unsigned long connectedPortIndex = 0;
  std::vector<unsigned long> foreachDimensions = {};
  std::vector<int> foreachIterationIndices = {};
};

/// A descriptor of `root`, or of a scalar "double" leaf when `root` is null.
std::unique_ptr<core::utils::SignalDescriptor> makeDescriptor(const DescriptorArguments& arguments,
                                                              std::unique_ptr<core::utils::Node> root = nullptr);

/// A descriptor of a root inport.
std::unique_ptr<core::utils::InportOutportSignalDescriptor> makeInport(const DescriptorArguments& arguments,
                                                                       unsigned long inportOrder);

/// A descriptor of a root port of the given kind.
std::unique_ptr<core::utils::InportOutportSignalDescriptor> makePort(
    const DescriptorArguments& arguments, enum core::utils::InportOutportSignalDescriptor::portType kind);

/// The names of the next `steps` items; an item that is not a leaf gives "-".
std::vector<std::u16string> walk(core::utils::LeafIterator iterator, std::size_t steps);

/// The names of the leaves up to the first null.
std::vector<std::u16string> leafNames(core::utils::LeafIterator iterator);

/// The names of the next `steps` items; null gives "-".
std::vector<std::u16string> walk(core::utils::LeafNVBusIterator iterator, std::size_t steps);

/// Expects that `action` throws the diagnostic.
void expectDiagnostic(const std::function<void()>& action, const std::string& identifier, const std::string& key,
                      const std::vector<std::u16string>& arguments);

/// Expects that two property records are equal, field by field.
void expectSameProperties(const fxpDataTypeProp& actual, const fxpDataTypeProp& expected);

/// A record of 8-bit storage that no class name has: a signed 8-bit type with slope 1.5 * 2^-3 and bias -7.5.
fxpDataTypeProp oddProperties();

/// The class that an object has at run time.
template <typename T>
const std::type_info& typeOf(const T& object) {
  return typeid(object);
}

/// Names of what was destroyed, in order.
using Obituary = std::vector<std::u16string>;

/// A node that writes its name into an obituary when it is destroyed; copies of it do the same.
class ProbeNode : public core::utils::Node {
 public:
  ProbeNode(const std::u16string& name, Obituary& obituary);
  ~ProbeNode() override;
  ProbeNode(const ProbeNode&) = delete;
  ProbeNode& operator=(const ProbeNode&) = delete;
  std::unique_ptr<core::utils::Node> getCopy() const override;

 private:
  Obituary& obituary_;
};

/// A node whose copy throws std::runtime_error.
class UncopyableNode : public core::utils::Node {
 public:
  explicit UncopyableNode(const std::u16string& name);
  std::unique_ptr<core::utils::Node> getCopy() const override;
};

/// A policy that is not a TransformationPolicy whatever it answers, and that counts the living objects.
class ProbePolicy : public core::utils::SignalDescriptorNodePolicy {
 public:
  ProbePolicy(policyType type, bool isTransformation, int& alive);
  ~ProbePolicy() override;
  ProbePolicy(const ProbePolicy&) = delete;
  ProbePolicy& operator=(const ProbePolicy&) = delete;
  PolicyPointer getCopy() const override;
  bool isTransformationPolicy() const override;

 private:
  bool isTransformation_;
  int& alive_;
};

}  // namespace vtio::test
