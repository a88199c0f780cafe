/// @file
/// Describes one logged signal: its name, block path, port, limits, and the tree of its data.
///
///     const SignalDescriptor& speed = catalogue.createSignalDescriptor({.root = std::move(root), .name = u"speed"});
///     speed.blockPath();
///
/// Made by the Catalogue (catalogue.hpp). Ports of the top model: inport_outport_signal_descriptor.hpp.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/block_path.hpp"
#include "platform/logging_selection.hpp"
#include "platform/qalc.hpp"
#include "vtio/core/utils/leaf_iterator.hpp"
#include "vtio/core/utils/leaf_node.hpp"
#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"
#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/signal_type.hpp"
#include "vtio/export.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::client {
class Catalogue;
}

namespace vtio::core::utils {

/// Name, block path, port, limits and tree of one logged signal.
///
/// Owned by the catalogue and destroyed with it; accessors and clients borrow it. Changed after construction only by a
/// logging override and by the for-each dimensions. Returned references are valid as long as the descriptor.
class VTIO_EXPORT SignalDescriptor {
 public:
  /// @param catalogueIndex Position among the catalogue's descriptors.
  /// @param root The signal's tree, not null; taken over, and destroyed if construction fails.
  /// @param numberOfInputPorts Separately fed inputs of the signal.
  /// @param maxPoints Most points to log; 0 means no limit.
  /// @param decimation Log every N-th sample; 1 means each.
  /// @param blockPath Path from the top model; line feeds in it become spaces.
  /// @param connectedPortIndex Index of the producing block's output port.
  /// @param foreachDimensions Iteration counts of the for-each loops around the signal, outermost first.
  /// @param foreachIterationIndices Iteration of each of these loops; empty for no position.
  SignalDescriptor(unsigned long catalogueIndex, std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                   unsigned long maxPoints, unsigned long decimation, const ustring& signalName,
                   const ustring& propagatedName, const vtu::FullBlkPathToTopMdl& blockPath,
                   unsigned long connectedPortIndex, const std::vector<unsigned long>& foreachDimensions,
                   const std::vector<int>& foreachIterationIndices);

  SignalDescriptor(const SignalDescriptor&) = delete;
  SignalDescriptor& operator=(const SignalDescriptor&) = delete;

  virtual ~SignalDescriptor();

  /// Orders by block path, name and port index.
  /// @return 1 when this one comes first, -1 when it comes after (also compared with itself), 0 for a tie.
  [[nodiscard]] virtual int operator<(const SignalDescriptor& other) const;

  /// A new descriptor of class SignalDescriptor with a deep copy of the tree; a port's kind and order are not copied.
  [[nodiscard]] virtual std::unique_ptr<SignalDescriptor> getCopy() const;

  /// Position of a root inport; 0 for all others.
  [[nodiscard]] virtual unsigned long inportOrder() const;

  /// Same port, name and block path.
  [[nodiscard]] bool operator==(const SignalDescriptor& other) const;

  [[nodiscard]] const Node* root() const { return root_.get(); }
  [[nodiscard]] unsigned long numberOfInputPorts() const { return numberOfInputPorts_; }
  [[nodiscard]] SignalType signalType() const { return signalType_; }
  [[nodiscard]] unsigned long maxPoints() const { return maxPoints_; }
  [[nodiscard]] unsigned long decimation() const { return decimation_; }
  [[nodiscard]] const ustring& signalName() const { return signalName_; }
  [[nodiscard]] const ustring& propagatedName() const { return propagatedName_; }
  [[nodiscard]] const vtu::FullBlkPathToTopMdl& blockPath() const { return blockPath_; }
  [[nodiscard]] unsigned long connectedPortIndex() const { return connectedPortIndex_; }
  [[nodiscard]] const std::vector<unsigned long>& foreachDimensions() const { return foreachDimensions_; }
  /// Replaces the dimensions and recomputes foreachIterationIdx().
  void foreachDimensions(const std::vector<unsigned long>& dimensions);
  [[nodiscard]] bool hasForeachIterationIdx() const { return !foreachIterationIndices_.empty(); }
  /// The iteration as one number, the innermost loop counting fastest; 0 without a position.
  [[nodiscard]] unsigned long foreachIterationIdx() const { return foreachIterationIdx_; }

  [[nodiscard]] LeafIterator leafIterator() const;
  [[nodiscard]] LeafNVBusIterator leafNVBusIterator() const;

  /// Applies an override: the custom name if the override has one; decimation and point limit always, reset to 1 and 0
  /// when they are not used.
  void overrideSignal(const sigstg::LoggingInfo& info);

  /// Whether the name is one of the twelve built-in data types.
  [[nodiscard]] static bool isBuiltInType(const std::string& typeName);

  /// Array class of a built-in numeric type; the logical class for every other name.
  [[nodiscard]] static qxClassID classNameToQxClassID(const std::string& className);

  /// A fresh leaf like the given one but of other dimensions, without its policies. Fixed-point, string and enumerated
  /// leaves keep their class, all others become a LeafNode.
  /// @param dimensions Empty for a scalar.
  [[nodiscard]] static std::unique_ptr<LeafNode> getLeafNode(LeafNode& leaf, const std::vector<long long>& dimensions);

 protected:
  /// The three-valued comparison by block path, name and port index, of two distinct descriptors.
  [[nodiscard]] int compareByPathNamePort(const SignalDescriptor& other) const;

 private:
  friend class client::Catalogue;  // finds its own, modifiable descriptor by the index

  unsigned long catalogueIndex_;
  std::unique_ptr<Node> root_;
  unsigned long numberOfInputPorts_;
  SignalType signalType_;
  unsigned long maxPoints_;
  unsigned long decimation_;
  ustring signalName_;
  ustring propagatedName_;
  vtu::FullBlkPathToTopMdl blockPath_;
  unsigned long connectedPortIndex_;
  std::vector<unsigned long> foreachDimensions_;
  std::vector<std::int32_t> foreachIterationIndices_;
  unsigned long foreachIterationIdx_ = 0;
};

}  // namespace vtio::core::utils
