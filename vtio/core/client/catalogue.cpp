#include "vtio/core/client/catalogue.hpp"

#include <stdexcept>
#include <utility>

#include "vtio/core/utils/vtio_collection_snapshot_interface.hpp"

namespace vtio::core::client {

Catalogue::Catalogue() = default;

Catalogue::~Catalogue() { closeSharedResources(); }

unsigned long Catalogue::sequenceNumber() { return ++sequenceCounter_; }

const SignalDescriptor& Catalogue::keep(std::unique_ptr<SignalDescriptor> descriptor) {
  descriptors_.push_back(std::move(descriptor));
  return *descriptors_.back();
}

const SignalDescriptor& Catalogue::createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                          unsigned long maxPoints, unsigned long decimation,
                                                          const ustring& signalName, const ustring& propagatedName,
                                                          vtu::FullBlkPathToTopMdl blockPath,
                                                          unsigned long connectedPortIndex) {
  return createSignalDescriptor(std::move(root), numberOfInputPorts, maxPoints, decimation, signalName, propagatedName,
                                blockPath, connectedPortIndex, std::vector<unsigned long>(), std::vector<int>());
}

const SignalDescriptor& Catalogue::createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                          unsigned long maxPoints, unsigned long decimation,
                                                          const ustring& signalName, const ustring& propagatedName,
                                                          const vtu::FullBlkPathToTopMdl& blockPath,
                                                          unsigned long connectedPortIndex,
                                                          const std::vector<unsigned long>& foreachDimensions,
                                                          const std::vector<int>& foreachIterationIndices) {
  return keep(std::make_unique<SignalDescriptor>(descriptors_.size(), std::move(root), numberOfInputPorts, maxPoints,
                                                 decimation, signalName, propagatedName, blockPath, connectedPortIndex,
                                                 foreachDimensions, foreachIterationIndices));
}

const SignalDescriptor& Catalogue::createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                          enum InportOutportSignalDescriptor::portType kind,
                                                          unsigned long maxPoints, unsigned long decimation,
                                                          const ustring& signalName, const ustring& propagatedName,
                                                          const vtu::FullBlkPathToTopMdl& blockPath,
                                                          unsigned long connectedPortIndex) {
  return createSignalDescriptor(std::move(root), numberOfInputPorts, kind, maxPoints, decimation, signalName,
                                propagatedName, blockPath, connectedPortIndex, {}, {});
}

const SignalDescriptor& Catalogue::createSignalDescriptor(
    std::unique_ptr<Node> root, unsigned long numberOfInputPorts, enum InportOutportSignalDescriptor::portType kind,
    unsigned long maxPoints, unsigned long decimation, const ustring& signalName, const ustring& propagatedName,
    const vtu::FullBlkPathToTopMdl& blockPath, unsigned long connectedPortIndex,
    const std::vector<unsigned long>& foreachDimensions, const std::vector<int>& foreachIterationIndices) {
  return keep(std::make_unique<InportOutportSignalDescriptor>(
      descriptors_.size(), std::move(root), numberOfInputPorts, kind, maxPoints, decimation, signalName, propagatedName,
      blockPath, connectedPortIndex, foreachDimensions, foreachIterationIndices));
}

const SignalDescriptor& Catalogue::createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                          unsigned long maxPoints, unsigned long decimation,
                                                          const ustring& signalName, const ustring& propagatedName,
                                                          const vtu::FullBlkPathToTopMdl& blockPath,
                                                          unsigned long connectedPortIndex, unsigned long inportOrder) {
  return keep(std::make_unique<InportOutportSignalDescriptor>(
      descriptors_.size(), std::move(root), numberOfInputPorts, maxPoints, decimation, signalName, propagatedName,
      blockPath, connectedPortIndex, std::vector<unsigned long>(), std::vector<int>(), inportOrder));
}

void Catalogue::addClient(std::unique_ptr<Client> client, const ustring& datasetName) {
  client->id_ = sequenceNumber();
  client->creationSequenceNumber(client->id_);
  if (!hasDataset(datasetName)) registerDataset(datasetName);
  std::unique_ptr<vtsim::SnapshotInterface> snapshots = client->getSnapshotInterface();
  const bool keepsSnapshots = snapshots != nullptr && client->signalDescriptor().signalType() != utils::unspecified;
  if (keepsSnapshots) snapshotInterfaces_.push_back(std::move(snapshots));
  bool added = false;
  try {
    client->datasetName_ = datasetName;
    const unsigned long id = client->id_;
    added = clientCollection(datasetName).emplace(id, std::move(client)).second;
  } catch (...) {
    if (keepsSnapshots) snapshotInterfaces_.pop_back();
    throw;
  }
  if (!added && keepsSnapshots) snapshotInterfaces_.pop_back();
}

void Catalogue::registerDataset(const ustring& name) { datasets_.emplace(name, std::make_unique<ClientCollection>()); }

void Catalogue::unregisterDataset(const ustring& name) {
  const auto found = datasets_.find(name);
  if (found != datasets_.end() && found->second->empty()) datasets_.erase(found);
}

ClientCollection& Catalogue::clientCollection(ustring name) const {
  const auto found = datasets_.find(name);
  if (found == datasets_.end()) {
    throw std::out_of_range("no dataset of the name \"" + vtu::to_string(name) + "\" is registered");
  }
  return *found->second;
}

const ClientCollection* Catalogue::findCollection(const ustring& name) const {
  const auto found = datasets_.find(name);
  return found == datasets_.end() ? nullptr : found->second.get();
}

void Catalogue::deleteClient(const Client& client) {
  clientCollection(client.datasetName_).erase(client.creationSequenceNumber());
}

void Catalogue::removeClient(unsigned long id, const ustring& datasetName) { clientCollection(datasetName).erase(id); }

std::vector<std::unique_ptr<vtsim::SnapshotInterface>>& Catalogue::snapshotInterfaces() { return snapshotInterfaces_; }

std::unique_ptr<vtsim::SnapshotInterface> Catalogue::getSnapshotInterface() {
  return std::make_unique<utils::VtioCollectionSnapshotInterface>(snapshotInterfaces_);
}

smartlog::LoggingInterval& Catalogue::disabledLoggingIntervals() { return disabledLoggingIntervals_; }

bool Catalogue::empty() { return datasets_.empty(); }

}  // namespace vtio::core::client
