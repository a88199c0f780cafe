#include "vtio/core/accessor/accessor.hpp"

#include <stdexcept>

#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/delivery_epoch.hpp"

namespace vtio::core::accessor {

Accessor::Accessor(const utils::SignalDescriptor& signalDescriptor, const smartlog::LoggingInterval& loggingInterval)
    : signalDescriptor_(signalDescriptor), loggingInterval_(loggingInterval) {}

Accessor::~Accessor() = default;

void Accessor::addClient(client::Client& client) {
  clients_.push_back(&client);
  client.accessorSlot_ = clients_.size() - 1;
  utils::DeliveryEpoch::advance();
}

void Accessor::removeClient(const client::Client& client) {
  if (clients_.empty()) throw std::length_error("Accessor::removeClient: the signal has no subscribed clients");
  if (clients_.size() >= 2) {
    client::Client* last = clients_.back();
    last->accessorSlot_ = client.accessorSlot_;
    clients_[client.accessorSlot_] = last;
  }
  clients_.pop_back();
  utils::DeliveryEpoch::advance();
}

std::vector<client::Client*>& Accessor::clients() {
  utils::DeliveryEpoch::advance();  // the caller may change the list
  return clients_;
}

}  // namespace vtio::core::accessor
