/// @file
/// The accessors that generated code gets: Scalar and VirtualBus with a short way for the steps that nearly all steps
/// are. Not installed.
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

namespace vtio::core::client {

/// Whether a signal is plain, which is to say that none of its nodes transforms data, and its decimation. Most signals are.
/// Remembering it spares each step the way to the descriptor and to the nodes, which is most of what a step costs in a
/// model of a thousand signals.
class PlainSignal final {
 public:
  /// True if the signal was plain when last looked at and nothing has changed since.
  [[nodiscard]] bool isKnown() const { return lookedAt_ == utils::DeliveryEpoch::now() && decimation_ != kNotPlain; }

  /// Of a signal that is known to be plain.
  [[nodiscard]] unsigned long decimation() const { return decimation_; }

  /// Looks, if something has changed since it last did.
  /// @param nodes The nodes that the accessor delivers.
  void look(const utils::SignalDescriptor& descriptor, const utils::Node* const* nodes, std::size_t count);

 private:
  static constexpr std::uint32_t kNotPlain = 0xFFFFFFFF;  // and decimations from there on, which are no matter of speed

  std::uint32_t lookedAt_ = 0;
  std::uint32_t decimation_ = kNotPlain;
};

/// Scalar, short where the signal is plain and the time is logged as the last one was.
class QuickScalar final : public accessor::Scalar {
 public:
  QuickScalar(const utils::SignalDescriptor& descriptor, const smartlog::LoggingInterval& interval)
      : Scalar(descriptor, interval) {}

  using Scalar::update;

  void update(const double* time, const void* data, unsigned long index) override {
    if (!loggingInterval().isLoggedAsLastTime(*time) || !signal_.isKnown()) [[unlikely]] {
      return updateAtLength(time, data, index);
    }
    if (decimationCounter_ == signal_.decimation()) [[likely]] {
      decimationCounter_ = 0;
      if (clients().size() == 1) [[likely]] {
        clients().front()->update(time, data);
      } else {
        deliverToAll(time, data);
      }
    }
    ++decimationCounter_;
  }

 private:
  void updateAtLength(const double* time, const void* data, unsigned long index);
  void deliverToAll(const double* time, const void* data) const;

  PlainSignal signal_;
};

/// VirtualBus, short in the same cases.
class QuickVirtualBus final : public accessor::VirtualBus {
 public:
  QuickVirtualBus(const utils::SignalDescriptor& descriptor, const smartlog::LoggingInterval& interval)
      : VirtualBus(descriptor, interval) {}

  using VirtualBus::update;

  void update(const double* time, const void* data, unsigned long leafIndex) override {
    if (!loggingInterval().isLoggedAsLastTime(*time) || !signal_.isKnown()) [[unlikely]] {
      return updateAtLength(time, data, leafIndex);
    }
    unsigned long& counter = decimationCounters_[leafIndex];
    if (counter == signal_.decimation()) [[likely]] {
      counter = 0;
      if (clients().size() == 1) [[likely]] {
        clients().front()->update(leafIndex, time, data);
      } else {
        deliverToAll(leafIndex, time, data);
      }
    }
    ++counter;
  }

 private:
  void updateAtLength(const double* time, const void* data, unsigned long leafIndex);
  void deliverToAll(unsigned long leafIndex, const double* time, const void* data) const;

  PlainSignal signal_;
};

/// The accessor of a descriptor: QuickVirtualBus for a root of class TopBusNode, else QuickScalar. Both references must
/// outlive it.
[[nodiscard]] std::unique_ptr<accessor::Accessor> makeAccessor(const utils::SignalDescriptor& descriptor,
                                                               const smartlog::LoggingInterval& interval);

/// accessor.update(time, data, index), without a virtual call for what makeAccessor() makes.
inline void updateAccessor(accessor::Accessor& accessor, const double* time, const void* data, unsigned long index) {
  const std::type_info* type = &typeid(accessor);
  if (type == &typeid(QuickScalar)) [[likely]] {
    static_cast<QuickScalar&>(accessor).update(time, data, index);
  } else if (type == &typeid(QuickVirtualBus)) [[likely]] {
    static_cast<QuickVirtualBus&>(accessor).update(time, data, index);
  } else {
    accessor.update(time, data, index);
  }
}

}  // namespace vtio::core::client
