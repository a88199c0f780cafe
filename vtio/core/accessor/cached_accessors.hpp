/// @file
/// The accessors that generated code gets: Scalar and VirtualBus with a cache of what a step reads. Not installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <typeinfo>

#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/delivery_epoch.hpp"
#include "vtio/core/utils/node.hpp"
#include "vtio/core/utils/slab.hpp"

namespace vtio::core::accessor {

/// Cache of a signal's decimation and of its client if it has just one, for a signal none of whose nodes transforms
/// data, as most are.
///
/// It saves each step the reads of the descriptor, the nodes and the list of clients, which are most of what a step
/// costs in a model of a thousand signals.
class DeliveryCache final {
 public:
  /// Whether the signal transforms nothing and nothing has changed since refresh().
  [[nodiscard]] bool isValid() const { return epoch_ == utils::DeliveryEpoch::now() && decimation_ != kNotCached; }

  /// The decimation, while the cache is valid.
  [[nodiscard]] unsigned long decimation() const { return decimation_; }

  /// The only client, while the cache is valid; null if there are more, or none.
  [[nodiscard]] client::Client* onlyClient() const { return onlyClient_; }

  /// Reads the signal again, if something has changed since this was last done.
  /// @param nodes The nodes that the accessor delivers.
  void refresh(const Accessor& accessor, const utils::Node* const* nodes, std::size_t count);

 private:
  static constexpr std::uint32_t kNotCached = 0xFFFFFFFF;  // a node transforms data, or the decimation is at least this

  std::uint32_t epoch_ = 0;
  std::uint32_t decimation_ = kNotCached;
  client::Client* onlyClient_ = nullptr;
};

/// Scalar that reads neither descriptor nor nodes while the cache is valid and the time is in the logged stretch that
/// was found last.
class CachedScalar final : public Scalar {
 public:
  CachedScalar(const utils::SignalDescriptor& descriptor, const smartlog::LoggingInterval& interval)
      : Scalar(descriptor, interval) {}

  static void* operator new(std::size_t size) { return utils::Slab<CachedScalar>::take(size); }
  static void operator delete(void* memory, std::size_t size) noexcept {
    utils::Slab<CachedScalar>::give(memory, size);
  }

  using Scalar::update;

  void update(const double* time, const void* data, unsigned long index) override {
    if (!loggingInterval().isLoggedAsLastTime(*time) || !cache_.isValid()) [[unlikely]] {
      return updateUncached(time, data, index);
    }
    if (decimationCounter_ == cache_.decimation()) [[likely]] {
      decimationCounter_ = 0;
      if (client::Client* only = cache_.onlyClient()) [[likely]] {
        only->update(time, data);
      } else {
        deliverToAll(time, data);
      }
    }
    ++decimationCounter_;
  }

 private:
  void updateUncached(const double* time, const void* data, unsigned long index);
  void deliverToAll(const double* time, const void* data) const;

  DeliveryCache cache_;
};

/// VirtualBus that uses the cache in the same cases.
class CachedVirtualBus final : public VirtualBus {
 public:
  CachedVirtualBus(const utils::SignalDescriptor& descriptor, const smartlog::LoggingInterval& interval)
      : VirtualBus(descriptor, interval) {}

  static void* operator new(std::size_t size) { return utils::Slab<CachedVirtualBus>::take(size); }
  static void operator delete(void* memory, std::size_t size) noexcept {
    utils::Slab<CachedVirtualBus>::give(memory, size);
  }

  using VirtualBus::update;

  void update(const double* time, const void* data, unsigned long leafIndex) override {
    if (!loggingInterval().isLoggedAsLastTime(*time) || !cache_.isValid()) [[unlikely]] {
      return updateUncached(time, data, leafIndex);
    }
    unsigned long& counter = decimationCounters_[leafIndex];
    if (counter == cache_.decimation()) [[likely]] {
      counter = 0;
      if (client::Client* only = cache_.onlyClient()) [[likely]] {
        only->update(leafIndex, time, data);
      } else {
        deliverToAll(leafIndex, time, data);
      }
    }
    ++counter;
  }

 private:
  void updateUncached(const double* time, const void* data, unsigned long leafIndex);
  void deliverToAll(unsigned long leafIndex, const double* time, const void* data) const;

  DeliveryCache cache_;
};

/// The accessor of a descriptor: CachedVirtualBus for a root of class TopBusNode, else CachedScalar. Both references
/// must outlive it.
[[nodiscard]] std::unique_ptr<Accessor> makeAccessor(const utils::SignalDescriptor& descriptor,
                                                     const smartlog::LoggingInterval& interval);

/// accessor.update(time, data, index), without a virtual call for what makeAccessor() makes.
inline void updateAccessor(Accessor& accessor, const double* time, const void* data, unsigned long index) {
  const std::type_info* type = &typeid(accessor);
  if (type == &typeid(CachedScalar)) [[likely]] {
    static_cast<CachedScalar&>(accessor).update(time, data, index);
  } else if (type == &typeid(CachedVirtualBus)) [[likely]] {
    static_cast<CachedVirtualBus&>(accessor).update(time, data, index);
  } else {
    accessor.update(time, data, index);
  }
}

}  // namespace vtio::core::accessor
