/// @file
/// The registry of one simulation: descriptors, clients, settings, shared resources; builds and saves the datasets.
///
///     Catalogue catalogue;
///     const SignalDescriptor& speed = catalogue.createSignalDescriptor({.root = std::move(root), .name = u"speed"});
///     catalogue.addClient(std::move(recorder), u"logsout");
///     ...                                             // run
///     catalogue.saveDatasetsToQatFile(u"results.qat");
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/block_path.hpp"
#include "platform/logging_interval.hpp"
#include "platform/logging_selection.hpp"
#include "platform/qalc.hpp"
#include "platform/snapshot.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/client/shared_resource.hpp"
#include "vtio/core/client/signal_description.hpp"
#include "vtio/core/utils/inport_outport_signal_descriptor.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/export.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::client {

using utils::InportOutportSignalDescriptor;
using utils::Node;

/// Clients of one dataset by id, which is the order of addClient() calls.
using ClientCollection = std::map<unsigned long, std::unique_ptr<Client>>;

/// Owns what one simulation logs. Descriptors are valid until the catalogue is destroyed, clients until then or until
/// they are deleted here. Used by the one simulation thread.
class VTIO_EXPORT Catalogue {
 public:
  /// Run settings. Switches hold exactly u"on" or u"off".
  enum SettingKeys : std::int32_t {
    SignalLoggingToPersistentStorage = 0,
    DisableSignalLoggingToR2forXIL = 1,
    SignalStorageParameters = 2,
    Reserved3 = 3,  // reserved values exist for the binary interface alone
    Reserved4 = 4,
    Reserved5 = 5,
    OutputLogging = 6,
    SignalLogging = 7,
    DSMLogging = 8
  };

  Catalogue();
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  /// Closes every shared resource first; an exception from one ends the process.
  virtual ~Catalogue();

  /// The next number of the counter that numbers clients; the first is 1.
  unsigned long sequenceNumber();

  /// Each overload takes the root over, numbers the descriptor by the count of those before it, and returns it; valid
  /// until the catalogue is destroyed. If it throws, the root is destroyed and no number taken. Parameters: see
  /// SignalDescriptor and InportOutportSignalDescriptor.
  const SignalDescriptor& createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                 unsigned long maxPoints, unsigned long decimation,
                                                 const ustring& signalName, const ustring& propagatedName,
                                                 vtu::FullBlkPathToTopMdl blockPath, unsigned long connectedPortIndex);
  const SignalDescriptor& createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                 unsigned long maxPoints, unsigned long decimation,
                                                 const ustring& signalName, const ustring& propagatedName,
                                                 const vtu::FullBlkPathToTopMdl& blockPath,
                                                 unsigned long connectedPortIndex,
                                                 const std::vector<unsigned long>& foreachDimensions,
                                                 const std::vector<int>& foreachIterationIndices);
  /// A port of the given kind.
  const SignalDescriptor& createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                 enum InportOutportSignalDescriptor::portType kind,
                                                 unsigned long maxPoints, unsigned long decimation,
                                                 const ustring& signalName, const ustring& propagatedName,
                                                 const vtu::FullBlkPathToTopMdl& blockPath,
                                                 unsigned long connectedPortIndex);
  const SignalDescriptor& createSignalDescriptor(
      std::unique_ptr<Node> root, unsigned long numberOfInputPorts, enum InportOutportSignalDescriptor::portType kind,
      unsigned long maxPoints, unsigned long decimation, const ustring& signalName, const ustring& propagatedName,
      const vtu::FullBlkPathToTopMdl& blockPath, unsigned long connectedPortIndex,
      const std::vector<unsigned long>& foreachDimensions, const std::vector<int>& foreachIterationIndices);
  /// An inport.
  const SignalDescriptor& createSignalDescriptor(std::unique_ptr<Node> root, unsigned long numberOfInputPorts,
                                                 unsigned long maxPoints, unsigned long decimation,
                                                 const ustring& signalName, const ustring& propagatedName,
                                                 const vtu::FullBlkPathToTopMdl& blockPath,
                                                 unsigned long connectedPortIndex, unsigned long inportOrder);

  /// The same from named fields; the number of inputs follows from the tree unless it is given.
  /// @throws std::invalid_argument with the signal's name if it has no root.
  const SignalDescriptor& createSignalDescriptor(SignalDescription signal);

  /// Takes the client over, numbers it and files it under the dataset name, which is registered if it is new. Its
  /// snapshot interface is taken unless its signal is of type `unspecified`.
  void addClient(std::unique_ptr<Client> client, const ustring& datasetName);

  /// Registers an empty dataset; one of the name that exists already is kept.
  void registerDataset(const ustring& name);

  /// Removes a dataset that has no clients; any other is kept.
  void unregisterDataset(const ustring& name);

  /// The clients of a dataset; valid until the catalogue is destroyed.
  /// @throws std::out_of_range with the name if it is not registered.
  [[nodiscard]] ClientCollection& clientCollection(ustring name) const;

  /// Destroys the client whose id in the client's dataset is the client's creation sequence number, which may differ
  /// from its id.
  /// @throws std::out_of_range with the dataset name if it is not registered.
  void deleteClient(const Client& client);

  /// Destroys the client of that id; an unknown id is ignored.
  /// @throws std::out_of_range with the dataset name if it is not registered.
  void removeClient(unsigned long id, const ustring& datasetName);

  /// The clients' snapshot interfaces, in the order of addClient().
  [[nodiscard]] std::vector<std::unique_ptr<vtsim::SnapshotInterface>>& snapshotInterfaces();

  /// A new interface that forwards to all clients; the catalogue must outlive it.
  [[nodiscard]] std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface();

  /// The times at which logging is switched off; accessors borrow it.
  [[nodiscard]] smartlog::LoggingInterval& disabledLoggingIntervals();

  /// Whether no dataset is registered.
  [[nodiscard]] bool empty();

  /// Closes the shared resources and builds the dataset's structure: "DatasetStorageType" and "Dataset" with "Name",
  /// "FileName" if the run logs to persistent storage, and "Elements".
  /// @return Empty if the dataset is not registered or has no clients.
  [[nodiscard]] vtu::qxArrayWrapper datasetArray(ustring name);

  /// The element of the dataset's only client; empty unless there is exactly one.
  [[nodiscard]] vtu::qxArrayWrapper youtDatasetArray(ustring name);

  /// Merges runs of clients on equal descriptors into the first of each run, if any descriptor has for-each dimensions.
  void groupForeachIterationsMetaData(std::vector<Client*>& clients);

  [[nodiscard]] bool hasDataset(const ustring& name) const;

  /// Whether the dataset's first client is of the type; false for one that is not registered or empty.
  [[nodiscard]] bool hasDatasetLoggingType(const ustring& name, Client::clientType type) const;

  /// The setting's text; empty if it was never set. Valid until the key is set again.
  [[nodiscard]] const ustring& settings(SettingKeys key) const;
  void settings(SettingKeys key, ustring value);

  /// Replaces the model's logging selection by the one in a Qat file. If reading throws, the partly filled one stays.
  /// @throws vtsv::IException as sigstg::ModelLoggingInfo does.
  void setModelLoggingInfo(const ustring& fileName);
  void setModelLoggingInfo(const qxArray* selection);

  /// Applies the model's logging selection to the signal.
  /// @return Whether the signal is logged; true without a selection.
  bool signalLoggingOverride(const SignalDescriptor& descriptor);

  /// The resource of the name; null if there is none. Valid until the catalogue is destroyed.
  [[nodiscard]] SharedResource* getSharedResource(const std::string& name) const;

  /// Opens the resource and keeps it; destroys it if there is one of the name already, or if opening throws.
  void addSharedResource(std::unique_ptr<SharedResource> resource);
  void reopenSharedResource();
  /// Closes each resource in turn; an exception stops it and propagates.
  void closeSharedResources();

  /// Variable name of a dataset whose first client is of the type; empty for types without one.
  [[nodiscard]] static std::string getQatfileKey(Client::clientType type);

  /// Whether root outports are streamed: the first client of "tmp_raccel_yout" is a streaming one.
  [[nodiscard]] bool usingSigstreamClient() const;

  /// A variable of the results file.
  struct ResultsVariable {
    std::string key;  ///< Its name in the file: that of the type of the dataset's first client.
    ustring dataset;
    bool isElementAlone = false;  ///< Whether the value is the dataset's only element, without the structure around it.
  };

  /// What saveDatasetsToQatFile() writes, in its order. A variable without a value, see resultsArray(), is not written.
  [[nodiscard]] std::vector<ResultsVariable> resultsVariables() const;

  /// The value of a results variable; empty if the dataset has nothing to write.
  [[nodiscard]] vtu::qxArrayWrapper resultsArray(const ResultsVariable& variable);

  /// Writes the results variables into a new Qat file. Failures of writing and closing are ignored; an exception while
  /// a dataset is built leaves the file open, with what was written before. recorders/recording_session.hpp has a
  /// save() that reports both.
  /// @throws vtsv::IException "Vortan:FileIO" / "ToFromFileOpenCloseErr" with the name if the file cannot be created.
  void saveDatasetsToQatFile(const ustring& fileName);

 private:
  const SignalDescriptor& keep(std::unique_ptr<SignalDescriptor> descriptor);
  [[nodiscard]] const ClientCollection* findCollection(const ustring& name) const;

  ustring emptySetting_;
  std::map<SettingKeys, ustring> settings_;
  std::map<ustring, std::unique_ptr<ClientCollection>> datasets_;
  std::vector<std::unique_ptr<SignalDescriptor>> descriptors_;
  unsigned long sequenceCounter_ = 0;
  std::vector<std::unique_ptr<vtsim::SnapshotInterface>> snapshotInterfaces_;
  std::vector<std::unique_ptr<SharedResource>> sharedResources_;
  std::unique_ptr<sigstg::ModelLoggingInfo> modelLoggingInfo_;
  smartlog::LoggingInterval disabledLoggingIntervals_;
};

}  // namespace vtio::core::client
