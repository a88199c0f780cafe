/// @file
/// The consumer of logged samples. Implement it to store, stream or show a signal.
///
///     class Printer final : public Client {
///      public:
///       explicit Printer(const SignalDescriptor& descriptor) : Client(Other, descriptor) {}
///       void update(const double* time, const void* data) override { ... }
///       void update(unsigned long leafIndex, const double* time, const void* data) override { ... }
///       vtu::qxArrayWrapper datasetElement() override { return {}; }
///     };
///
/// Give it to Catalogue::addClient() and subscribe it with Accessor::addClient().
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/qalc.hpp"
#include "platform/snapshot.hpp"
#include "vtio/core/utils/signal_descriptor.hpp"
#include "vtio/export.hpp"
#include "vtio/ustring.hpp"

namespace vtio::core::accessor {
class Accessor;
}

namespace vtio::core::client {

using utils::SignalDescriptor;
class Catalogue;

/// Receives the samples of one signal and turns them into a dataset element at the end.
///
/// Owned by the catalogue once added to it. Borrows its descriptor, which must outlive it, and its for-each members.
class VTIO_EXPORT Client {
 public:
  enum clientType : std::uint32_t {
    SignalLogging = 0,
    Reserved1 = 1,       // reserved values exist for the binary interface alone
    OutportLogging = 2,  ///< Root outports.
    Other = 3,           ///< Any client whose type number is not known.
    Reserved4 = 4,
    Sigstream = 5,  ///< Streams its data: what it logs is not saved from memory.
    Reserved6 = 6,
    Reserved7 = 7,
    Reserved8 = 8,
    Reserved9 = 9,
    Reserved10 = 10,
    Reserved11 = 11,
    IntrusiveAccessor = 12,
    Reserved13 = 13,
    Reserved14 = 14
  };

  Client(clientType type, const SignalDescriptor& descriptor);
  /// @param flag For the binary interface alone; stored and never read.
  Client(clientType type, const SignalDescriptor& descriptor, bool flag);

  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  virtual ~Client();

  /// One sample of a signal that is not a virtual bus.
  /// @param time Time in seconds.
  /// @param data The sample's bytes as the descriptor's root describes them. Both are valid during the call only.
  virtual void update(const double* time, const void* data) = 0;

  /// One sample of one leaf of a virtual bus.
  /// @param leafIndex Leaf position in the virtual bus accessor.
  /// @param time Time in seconds.
  /// @param data The leaf's bytes. Both are valid during the call only.
  virtual void update(unsigned long leafIndex, const double* time, const void* data) = 0;

  /// What captures and restores the client's own state; empty if there is none worth restoring.
  [[nodiscard]] virtual std::unique_ptr<vtsim::SnapshotInterface> getSnapshotInterface();

  /// The logged data as one dataset element; empty if there is nothing to contribute.
  [[nodiscard]] virtual vtu::qxArrayWrapper datasetElement() = 0;

  [[nodiscard]] clientType type() const { return type_; }
  /// Id in the catalogue; 0 until added.
  [[nodiscard]] unsigned long id() const { return id_; }
  [[nodiscard]] const SignalDescriptor& signalDescriptor() const { return signalDescriptor_; }

  /// Order of clients in a dataset: by descriptor, then by creation sequence number. Clients of the very same
  /// descriptor object are unordered.
  [[nodiscard]] static bool lessThan(const Client* a, const Client* b);

  /// Groups a further iteration of the same signal under this client; borrowed.
  void addForeachMember(Client* member);
  [[nodiscard]] const std::vector<Client*>& foreachMembers() const { return foreachMembers_; }

  [[nodiscard]] unsigned long creationSequenceNumber() const { return creationSequenceNumber_; }
  /// Sets the number if it is still 0, else does nothing.
  void creationSequenceNumber(unsigned long number);

  /// Type of a 1-based type number; `Other` outside 1 to 15.
  [[nodiscard]] static clientType getClientType(unsigned int number);

 private:
  friend class accessor::Accessor;  // writes the accessor slot
  friend class Catalogue;           // writes the id and the dataset name

  clientType type_;
  unsigned long id_ = 0;
  const SignalDescriptor& signalDescriptor_;
  std::vector<Client*> foreachMembers_;
  unsigned long accessorSlot_ = 0;  // position among the subscribers of the accessor
  ustring datasetName_;
  unsigned long creationSequenceNumber_ = 0;
  [[maybe_unused]] bool flag_;
};

}  // namespace vtio::core::client
