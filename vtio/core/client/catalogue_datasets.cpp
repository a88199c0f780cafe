// Building the datasets of a Catalogue and saving them.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "platform/diagnostics.hpp"
#include "platform/qat.hpp"
#include "vtio/core/client/catalogue.hpp"

namespace vtio::core::client {
namespace {

constexpr const char16_t* kStreamedOutportsDataset = u"tmp_raccel_yout";
constexpr const char16_t* kStreamedSignalsDataset = u"tmp_raccel_logsout";

vtu::qxArrayWrapper text(const char* utf8) { return vtu::qxArrayWrapper(qxCreateString(utf8)); }

vtu::qxArrayWrapper text(const ustring& value) {
  return vtu::qxArrayWrapper(qxCreateUString(value.data(), value.size()));
}

vtu::qxArrayWrapper cellsOfElements(const std::vector<Client*>& clients) {
  vtu::qxCellArrayWrapper cells(1, clients.size());
  for (std::size_t i = 0; i < clients.size(); ++i) {
    if (vtu::qxArrayWrapper element = clients[i]->datasetElement()) cells.set(i, std::move(element));
  }
  return cells;
}

void putShared(QatFile* file, Client::clientType type, const vtu::qxArrayWrapper& value) {
  const vtu::qxArrayWrapper copy(qxShareArray(value.get()));
  qatPutVariable(file, Catalogue::getQatfileKey(type).c_str(), copy.get());
}

[[noreturn]] void reportOpenFailure(const ustring& fileName) {
  vtsvThrowIExceptionFromDiagnostic(vtsvCreateDiagnostic("Vortan:FileIO", "ToFromFileOpenCloseErr", {fileName}));
  std::fputs("unreachable\n", stderr);
  std::abort();
}

bool anyForeach(const std::vector<Client*>& clients) {
  return std::any_of(clients.begin(), clients.end(),
                     [](const Client* client) { return !client->signalDescriptor().foreachDimensions().empty(); });
}

}  // namespace

vtu::qxArrayWrapper Catalogue::datasetArray(ustring name) {
  closeSharedResources();
  const ClientCollection* collection = findCollection(name);
  if (collection == nullptr || collection->empty()) return vtu::qxArrayWrapper();

  std::vector<Client*> clients;
  clients.reserve(collection->size());
  for (const auto& [id, client] : *collection) clients.push_back(client.get());
  // Clients of one descriptor object are unordered, which is no strict weak order: only a merge sort is safe with it.
  std::stable_sort(clients.begin(), clients.end(), Client::lessThan);
  groupForeachIterationsMetaData(clients);

  const bool persistent = settings(SignalLoggingToPersistentStorage) == u"on";
  vtu::qxStructWrapper dataset =
      persistent ? vtu::qxStructWrapper({"Name", "FileName", "Elements"}) : vtu::qxStructWrapper({"Name", "Elements"});
  dataset.set("Name", text(name));
  if (persistent) dataset.set("FileName", text(vtu::to_string(settings(SignalStorageParameters)).c_str()));
  dataset.set("Elements", cellsOfElements(clients));

  vtu::qxStructWrapper storage({"DatasetStorageType", "Dataset"});
  storage.set("DatasetStorageType", text(persistent ? "QatFileDatasetStorage" : "RamDatasetStorage"));
  storage.set("Dataset", std::move(dataset));
  return storage;
}

vtu::qxArrayWrapper Catalogue::youtDatasetArray(ustring name) {
  const ClientCollection* collection = findCollection(name);
  if (collection == nullptr || collection->size() != 1) return vtu::qxArrayWrapper();
  return collection->begin()->second->datasetElement();
}

// Looks at neighbours only: the list has been sorted, which puts equal descriptors side by side.
void Catalogue::groupForeachIterationsMetaData(std::vector<Client*>& clients) {
  if (clients.size() < 2 || !anyForeach(clients)) return;
  const std::vector<Client*> sorted = std::exchange(clients, {});
  for (Client* client : sorted) {
    if (!clients.empty() && client->signalDescriptor() == clients.back()->signalDescriptor()) {
      clients.back()->addForeachMember(client);
    } else {
      clients.push_back(client);
    }
  }
}

bool Catalogue::hasDataset(const ustring& name) const { return findCollection(name) != nullptr; }

bool Catalogue::hasDatasetLoggingType(const ustring& name, Client::clientType type) const {
  const ClientCollection* collection = findCollection(name);
  return collection != nullptr && !collection->empty() && collection->begin()->second->type() == type;
}

std::string Catalogue::getQatfileKey(Client::clientType type) {
  switch (type) {
    case Client::SignalLogging:
      return "DATASET_SIGNAL_LOGGING";
    case Client::OutportLogging:
      return "DATASET_OUTPORT_LOGGING";
    case Client::IntrusiveAccessor:
      return "DATASET_INTRUSIVE_ACCESSOR";
    default:
      return "";
  }
}

bool Catalogue::usingSigstreamClient() const {
  return hasDatasetLoggingType(kStreamedOutportsDataset, Client::Sigstream);
}

void Catalogue::saveDatasetsToQatFile(const ustring& fileName) {
  QatFile* file = qatOpen(vtu::to_string(fileName).c_str(), "w7.3");
  if (file == nullptr) reportOpenFailure(fileName);
  if (usingSigstreamClient()) {
    const vtu::qxArrayWrapper outports = youtDatasetArray(kStreamedOutportsDataset);
    if (outports && !qxIsEmpty(outports.get())) putShared(file, Client::OutportLogging, outports);
    const vtu::qxArrayWrapper signals = datasetArray(kStreamedSignalsDataset);
    if (signals) putShared(file, Client::SignalLogging, signals);
  } else {
    for (const auto& [name, collection] : datasets_) {
      if (name.empty()) continue;
      const vtu::qxArrayWrapper dataset = datasetArray(name);
      if (dataset) putShared(file, collection->begin()->second->type(), dataset);
    }
  }
  qatClose(file);  // an exception on the way here leaves the file open, with what was written before it
}

}  // namespace vtio::core::client
