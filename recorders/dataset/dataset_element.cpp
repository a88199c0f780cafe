#include "recorders/dataset/dataset_element.hpp"

#include <algorithm>
#include <utility>

#include "recorders/dataset/repeated_array.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"
#include "vtio/core/utils/utilities.hpp"

namespace vtio::recorders {
namespace {

std::u16string_view portKind(const core::utils::SignalDescriptor& descriptor) {
  using core::utils::InportOutportSignalDescriptor;
  const auto* port = dynamic_cast<const InportOutportSignalDescriptor*>(&descriptor);
  if (port == nullptr) return u"";
  return port->portType() == InportOutportSignalDescriptor::outport ? u"outport" : u"inport";
}

}  // namespace

vtu::qxArrayWrapper charArray(std::u16string_view text) {
  return vtu::qxArrayWrapper(qxCreateUString(text.data(), text.size()));
}

vtu::qxArrayWrapper uint64Array(const std::vector<std::uint64_t>& values) {
  const std::size_t rows = values.size();
  vtu::qxArrayWrapper array(qxCreateNumericArray(1, &rows, qxUINT64, false));
  if (rows != 0) std::copy(values.begin(), values.end(), static_cast<std::uint64_t*>(qxGetData(array.get())));
  return array;
}

vtu::qxArrayWrapper valuesOfElement(const vtu::qxArrayWrapper& element) {
  if (!element || qxGetClassID(element.get()) != qxSTRUCT) return vtu::qxArrayWrapper();
  const qxArray* values = qxGetField(element.get(), 0, "Values");
  return vtu::qxArrayWrapper(values != nullptr ? qxShareArray(values) : nullptr);
}

vtu::qxArrayWrapper datasetElementOf(const core::utils::SignalDescriptor& descriptor,
                                     const std::vector<std::uint64_t>& iterations, vtu::qxArrayWrapper values) {
  thread_local RepeatedArray<std::u16string> propagatedName, subPath, kind;
  thread_local RepeatedArray<std::uint64_t> portIndex, inportOrder, decimation, maxPoints;
  vtu::qxStructWrapper element(
      {"Name", "PropagatedName", "BlockPath", "SubPath", "PortIndex", "PortKind", "InportOrder"});
  element.set("Name", charArray(descriptor.signalName()));
  element.set("PropagatedName", propagatedName.of(descriptor.propagatedName()));
  element.set("BlockPath", core::utils::Utilities::createBlockPathCellArray(descriptor.blockPath()));
  element.set("SubPath", subPath.of(descriptor.blockPath().subPath()));
  element.set("PortIndex", portIndex.of(descriptor.connectedPortIndex()));
  element.set("PortKind", kind.of(std::u16string(portKind(descriptor))));
  element.set("InportOrder", inportOrder.of(descriptor.inportOrder()));
  const std::vector<unsigned long>& dimensions = descriptor.foreachDimensions();
  if (!dimensions.empty()) {
    vtu::qxStructWrapper forEach({"Dimensions", "Iteration"});
    forEach.set("Dimensions", uint64Array({dimensions.begin(), dimensions.end()}));
    forEach.set("Iteration", uint64Array(iterations));
    element.set("ForEach", std::move(forEach));
  }
  element.set("Decimation", decimation.of(descriptor.decimation()));
  element.set("MaxPoints", maxPoints.of(descriptor.maxPoints()));
  element.set("Values", std::move(values));
  return element;
}

}  // namespace vtio::recorders
