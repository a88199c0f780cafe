// Catalogue::createSignalDescriptor() from a description.
#include "vtio/core/client/signal_description.hpp"

#include <stdexcept>
#include <utility>

#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/utils/leaf_nv_bus_iterator.hpp"

namespace vtio::core::client {
namespace {

vtu::FullBlkPathToTopMdl pathOf(const std::vector<ustring>& levels) {
  vtu::FullBlkPathToTopMdl path;
  for (const ustring& level : levels) path.append(vtu::InternedUstring(level));
  return path;
}

unsigned long leafPositions(const Node& root) {
  unsigned long count = 0;
  for (utils::LeafNVBusIterator leaves(root); *leaves != nullptr; ++leaves) ++count;
  return count;
}

}  // namespace

const SignalDescriptor& Catalogue::createSignalDescriptor(SignalDescription signal) {
  if (signal.root == nullptr) {
    throw std::invalid_argument("The signal '" + vtu::to_string(signal.name) + "' has no tree: its root is null");
  }
  if (signal.numberOfInputPorts == 0) signal.numberOfInputPorts = leafPositions(*signal.root);
  const vtu::FullBlkPathToTopMdl path = pathOf(signal.blockPath);
  switch (signal.kind) {
    case SignalDescription::Kind::inport:
      return keep(std::make_unique<InportOutportSignalDescriptor>(
          descriptors_.size(), std::move(signal.root), signal.numberOfInputPorts, signal.maxPoints, signal.decimation,
          signal.name, signal.propagatedName, path, signal.port, signal.foreachDimensions,
          signal.foreachIterationIndices, signal.inportOrder));
    case SignalDescription::Kind::outport:
      return createSignalDescriptor(std::move(signal.root), signal.numberOfInputPorts,
                                    InportOutportSignalDescriptor::outport, signal.maxPoints, signal.decimation,
                                    signal.name, signal.propagatedName, path, signal.port, signal.foreachDimensions,
                                    signal.foreachIterationIndices);
    case SignalDescription::Kind::signal:
      break;
  }
  return createSignalDescriptor(std::move(signal.root), signal.numberOfInputPorts, signal.maxPoints, signal.decimation,
                                signal.name, signal.propagatedName, path, signal.port, signal.foreachDimensions,
                                signal.foreachIterationIndices);
}

}  // namespace vtio::core::client
