/// @file
/// Descriptors of signals logged at the root-level ports of the model.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "vtio/core/utils/signal_descriptor.hpp"

namespace vtio::core::utils {

/// A signal of a root inport, which has a position, or of a root outport. Orders by position before anything else.
class VTIO_EXPORT InportOutportSignalDescriptor : public SignalDescriptor {
 public:
  enum portType : std::int32_t { inport = 0, outport = 1 };

  /// A port of the given kind at position 0; used for outports.
  InportOutportSignalDescriptor(unsigned long catalogueIndex, std::unique_ptr<Node> root,
                                unsigned long numberOfInputPorts, enum portType kind, unsigned long maxPoints,
                                unsigned long decimation, const ustring& signalName, const ustring& propagatedName,
                                vtu::FullBlkPathToTopMdl blockPath, unsigned long connectedPortIndex,
                                const std::vector<unsigned long>& foreachDimensions,
                                const std::vector<int>& foreachIterationIndices);

  /// An inport.
  InportOutportSignalDescriptor(unsigned long catalogueIndex, std::unique_ptr<Node> root,
                                unsigned long numberOfInputPorts, unsigned long maxPoints, unsigned long decimation,
                                const ustring& signalName, const ustring& propagatedName,
                                vtu::FullBlkPathToTopMdl blockPath, unsigned long connectedPortIndex,
                                const std::vector<unsigned long>& foreachDimensions,
                                const std::vector<int>& foreachIterationIndices, unsigned long inportOrder);
  ~InportOutportSignalDescriptor() override;

  /// As in the base, with inportOrder() as the first key; plain descriptors count as position 0.
  [[nodiscard]] int operator<(const SignalDescriptor& other) const override;
  [[nodiscard]] unsigned long inportOrder() const override;

  [[nodiscard]] enum portType portType() const { return portType_; }

 private:
  enum portType portType_;
  unsigned long inportOrder_;
};

}  // namespace vtio::core::utils
