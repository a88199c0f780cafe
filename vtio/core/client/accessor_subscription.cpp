// Accessor's list of subscribers. Stands here because it writes into the clients, which the accessor folder must not
// include.
#include "vtio/core/accessor/accessor.hpp"
#include "vtio/core/client/client.hpp"

#include <stdexcept>

namespace vtio::core::accessor {

void Accessor::addClient(client::Client& client) {
  clients_.push_back(&client);
  client.accessorSlot_ = clients_.size() - 1;
}

void Accessor::removeClient(const client::Client& client) {
  if (clients_.empty()) throw std::length_error("Accessor::removeClient: the signal has no subscribed clients");
  if (clients_.size() >= 2) {
    client::Client* last = clients_.back();
    last->accessorSlot_ = client.accessorSlot_;
    clients_[client.accessorSlot_] = last;
  }
  clients_.pop_back();
}

}  // namespace vtio::core::accessor
