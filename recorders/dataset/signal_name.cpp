#include "recorders/dataset/signal_name.hpp"

#include <string>

namespace vtio::recorders {

vtu::ustring signalName(const core::utils::SignalDescriptor& descriptor, bool isIteration, std::uint64_t iteration) {
  vtu::ustring name = descriptor.signalName();
  if (name.empty()) {
    const vtu::FullBlkPathToTopMdl& path = descriptor.blockPath();
    for (std::size_t i = 0; i < path.size(); ++i) {
      if (i != 0) name += u'|';
      name += path.element(i).view();
    }
    name += u':' + vtu::to_ustring(std::to_string(descriptor.connectedPortIndex()));
  }
  if (isIteration) name += u'[' + vtu::to_ustring(std::to_string(iteration)) + u']';
  return name;
}

}  // namespace vtio::recorders
