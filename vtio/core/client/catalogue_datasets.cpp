// Building the datasets of a Catalogue and saving them.
#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/client/results_file.hpp"

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

// Compares neighbours only: the list is sorted, so that equal descriptors are adjacent.
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

std::vector<Catalogue::ResultsVariable> Catalogue::resultsVariables() const {
  if (usingSigstreamClient()) {
    return {{getQatfileKey(Client::OutportLogging), kStreamedOutportsDataset, true},
            {getQatfileKey(Client::SignalLogging), kStreamedSignalsDataset, false}};
  }
  std::vector<ResultsVariable> variables;
  for (const auto& [name, clients] : datasets_) {
    if (name.empty()) continue;
    variables.push_back({clients->empty() ? "" : getQatfileKey(clients->begin()->second->type()), name, false});
  }
  return variables;
}

vtu::qxArrayWrapper Catalogue::resultsArray(const ResultsVariable& variable) {
  if (!variable.isElementAlone) return datasetArray(variable.dataset);
  vtu::qxArrayWrapper element = youtDatasetArray(variable.dataset);
  return element && !qxIsEmpty(element.get()) ? std::move(element) : vtu::qxArrayWrapper();
}

void Catalogue::saveDatasetsToQatFile(const ustring& fileName) { static_cast<void>(writeResults(*this, fileName)); }

}  // namespace vtio::core::client
