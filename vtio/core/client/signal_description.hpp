/// @file
/// What a descriptor is made from, by name.
///
///     catalogue.createSignalDescriptor({.root = std::move(leaf),
///                                       .name = u"speed",
///                                       .blockPath = {u"car/Engine"},
///                                       .decimation = 10});
#pragma once

#include <memory>
#include <vector>

#include "vtio/core/utils/node.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::client {

/// The arguments of Catalogue::createSignalDescriptor(), each with a default but the root.
struct SignalDescription {
  enum class Kind { signal, inport, outport };

  std::unique_ptr<utils::Node> root = {};  ///< The signal's tree; taken over.
  ustring name = {};
  std::vector<ustring> blockPath =
      {};                        ///< The block's path in each model, top model first; one entry without references.
  unsigned long port = 0;        ///< Index of the block's output port.
  unsigned long decimation = 1;  ///< Every how many samples one is logged, at least 1.
  unsigned long maxPoints = 0;   ///< Most samples kept, the newest; 0: no limit.
  ustring propagatedName = {};
  Kind kind = Kind::signal;              ///< An ordinary signal, or a port of the top model.
  unsigned long inportOrder = 0;         ///< Position of an inport; not used for any other kind.
  unsigned long numberOfInputPorts = 0;  ///< Inputs fed separately; 0: one, or one per leaf position of a virtual bus.
  std::vector<unsigned long> foreachDimensions = {};  ///< Iterations of the for-each loops around it, outermost first.
  std::vector<int> foreachIterationIndices = {};      ///< Its iteration of each of these loops; empty: none given.
};

}  // namespace vtio::core::client
