#include "vtio/core/client/client.hpp"

namespace vtio::core::client {
namespace {

constexpr unsigned int kNumberOfClientTypes = 15;

}  // namespace

Client::Client(clientType type, const SignalDescriptor& descriptor) : Client(type, descriptor, false) {}

Client::Client(clientType type, const SignalDescriptor& descriptor, bool flag)
    : type_(type), signalDescriptor_(descriptor), flag_(flag) {}

Client::~Client() = default;

std::unique_ptr<vtsim::SnapshotInterface> Client::getSnapshotInterface() { return nullptr; }

bool Client::lessThan(const Client* a, const Client* b) {
  if (const int order = a->signalDescriptor_ < b->signalDescriptor_; order != 0) return order == 1;
  return a->creationSequenceNumber_ < b->creationSequenceNumber_;
}

void Client::addForeachMember(Client* member) { foreachMembers_.push_back(member); }

void Client::creationSequenceNumber(unsigned long number) {
  if (creationSequenceNumber_ == 0) creationSequenceNumber_ = number;
}

Client::clientType Client::getClientType(unsigned int number) {
  const unsigned int index = number - 1;  // 0 wraps round and is out of range too
  return index < kNumberOfClientTypes ? static_cast<clientType>(index) : Other;
}

}  // namespace vtio::core::client
