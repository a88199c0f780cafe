#include "benchmarks/logged_model.hpp"

#include <stdexcept>
#include <string>

#include "vtio/mdlref_simtarget/mdlref_simtarget.h"

namespace vtio::benchmarks {

namespace zet = mdlref_simtarget;

namespace {

void addLeaf(void* treeVector, const std::string& name, const char* type, std::vector<unsigned> dimensions = {}) {
  zet::zetAddLeafNode(0, name.c_str(), "zoh", 0, dimensions.data(), static_cast<unsigned>(dimensions.size()), type,
                      "m/s", "0.001", 0.001, 1e6, treeVector);
}

void addDouble(void* treeVector, const std::string& name) { addLeaf(treeVector, name, "double"); }

}  // namespace

LoggedModel::~LoggedModel() {
  for (const LoggedSignal& signal : signals_) {
    zet::zetDestructAccessorPointer(signal.handle);
  }
}

const LoggedSignal& LoggedModel::addScalar(unsigned decimation) {
  void* treeVector = zet::zetGetTreeVector();
  addDouble(treeVector, "value");
  return finish(treeVector, 1, decimation);
}

const LoggedSignal& LoggedModel::addVirtualBus(unsigned leaves, unsigned decimation) {
  void* treeVector = zet::zetGetTreeVector();
  zet::zetAddTopBusNode("bus", leaves, treeVector);
  for (unsigned i = 0; i < leaves; ++i) {
    addDouble(treeVector, "leaf" + std::to_string(i));
  }
  zet::zetPopNVBusNode(treeVector);
  return finish(treeVector, leaves, decimation);
}

const LoggedSignal& LoggedModel::addStructure(unsigned decimation) {
  constexpr unsigned kSingle = 1, kBytes = 40;
  const std::vector<unsigned> offsets{0, 24, 28, 32};
  void* treeVector = zet::zetGetTreeVector();
  zet::zetAddTopNVBusNode(0, "structure", 4, &kSingle, 1, kBytes, offsets.data(), "0.001", 0.001, 1e6, treeVector);
  addLeaf(treeVector, "position", "double", {3});
  addLeaf(treeVector, "count", "int32");
  addLeaf(treeVector, "on", "boolean");
  addLeaf(treeVector, "level", "single");
  zet::zetPopNVBusNode(treeVector);
  return finish(treeVector, 1, decimation);
}

const LoggedSignal& LoggedModel::finish(void* treeVector, unsigned inputPorts, unsigned decimation) {
  const std::string name = "signal" + std::to_string(signals_.size());
  const std::string block = "model/block" + std::to_string(signals_.size());
  const void* descriptor =
      zet::zetGetSignalDescriptor(treeVector, inputPorts, 3, 0, decimation, name.c_str(), name.c_str(), "",
                                  block.c_str(), 0, 0, &catalogue_, nullptr, 0, nullptr, 0);
  if (descriptor == nullptr) {
    throw std::runtime_error("no descriptor for " + name);
  }
  void* handle = zet::zetGetAccessor(descriptor, &interval_);
  if (handle == nullptr) {
    throw std::runtime_error("no accessor for " + name);
  }
  signals_.push_back({static_cast<const core::utils::SignalDescriptor*>(descriptor), handle,
                      static_cast<core::accessor::Accessor*>(zet::zetGetPointerFromUniquePtr(handle))});
  return signals_.back();
}

}  // namespace vtio::benchmarks
