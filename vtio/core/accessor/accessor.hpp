/// @file
/// Entry point through which the values of one logged signal arrive. See scalar.hpp and virtual_bus.hpp.
#pragma once

#include <memory>
#include <vector>

#include "platform/logging_interval.hpp"
#include "platform/snapshot.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/export.hpp"

namespace vtio::core::client {
class Client;
}

namespace vtio::core::accessor {

/// Routes each sample of one signal to the subscribed clients. Copies no data.
///
/// Borrows everything it points at: descriptor, logging interval and clients must outlive it, or a client be removed
/// first. Used by the one simulation thread.
class VTIO_EXPORT Accessor {
 public:
  /// @param loggingInterval Decides at each step whether it is logged; borrowed.
  Accessor(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval);

  Accessor(const Accessor&) = delete;
  Accessor& operator=(const Accessor&) = delete;

  /// Subscribes the client as the last one. A client is subscribed to at most one accessor at a time.
  virtual void addClient(client::Client& client);

  /// One step with explicit addresses, to all clients.
  /// @param time Time in seconds; must be valid.
  /// @param data The sample's bytes.
  /// @param index Leaf position of a virtual bus; ignored by a scalar accessor.
  virtual void update(const double* time, const void* data, unsigned long index) = 0;

  /// One step with the addresses bound at construction, to all clients.
  virtual void update(unsigned long index) = 0;

  virtual ~Accessor();

  /// A new snapshot interface over the decimation state, with nothing captured yet. The accessor must outlive it.
  [[nodiscard]] virtual std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface() = 0;

  /// Unsubscribes in constant time: the last subscriber takes the client's place.
  /// @throws std::length_error if there are no subscribers.
  void removeClient(const client::Client& client);

  /// The subscribers, in the order of delivery.
  [[nodiscard]] const std::vector<client::Client*>& clients() const { return clients_; }
  /// For changing the list, until the next update.
  [[nodiscard]] std::vector<client::Client*>& clients();

  [[nodiscard]] const utils::SignalDescriptor& signalDescriptor() const { return signalDescriptor_; }
  [[nodiscard]] bool hasSubscribedClients() const { return !clients_.empty(); }

 protected:
  [[nodiscard]] const smartlog::LoggingInterval& loggingInterval() const { return loggingInterval_; }

 private:
  const utils::SignalDescriptor& signalDescriptor_;
  std::vector<client::Client*> clients_;
  const smartlog::LoggingInterval& loggingInterval_;

 protected:
  /// Whether the data given to a virtual bus is the address of a pointer to the leaf's data.
  bool indirectData = false;  // NOLINT(readability-identifier-naming): set under this name by derived accessors
};

}  // namespace vtio::core::accessor
