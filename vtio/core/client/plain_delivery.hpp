/// @file
/// The short way of a sample through the accessors, and what they remember of their signal for it. Not installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <typeinfo>
#include <vector>

#include "vtio/core/accessor/scalar.hpp"
#include "vtio/core/accessor/virtual_bus.hpp"
#include "vtio/core/client/client.hpp"
#include "vtio/core/utils/delivery_epoch.hpp"
#include "vtio/core/utils/node.hpp"

namespace vtio::core::client {

/// A signal is plain when every sample inside the logging interval goes to the clients as it is: its decimation is 1 and
/// none of its nodes transforms data. Most signals are, and knowing it spares each step the way to descriptor and nodes.
class PlainDelivery final {
 public:
  /// Whether the signal of a scalar accessor is plain. Looks only after a change, see utils::DeliveryEpoch.
  [[nodiscard]] static bool holds(accessor::Scalar& accessor) {
    if (!isKnown(accessor)) [[unlikely]] {
      const utils::Node* root = accessor.signalDescriptor().root();
      learn(accessor, &root, 1);
    }
    return accessor.isPlain_;
  }

  /// The same for all leaves of a virtual bus.
  [[nodiscard]] static bool holds(accessor::VirtualBus& accessor) {
    if (!isKnown(accessor)) [[unlikely]]
      learn(accessor, accessor.leaves_.data(), accessor.leaves_.size());
    return accessor.isPlain_;
  }

  /// The data that a node of a signal that is not plain delivers.
  [[nodiscard]] static const void* transformed(const utils::Node& node, const void* data);

  /// A whole step of a signal that is known to be plain, with one client, at a time that is logged as the last one was:
  /// what nearly all steps are. Does nothing and returns false for any other.
  [[nodiscard]] static bool deliver(accessor::Scalar& accessor, const double* time, const void* data) {
    if (!isShort(accessor, *time) || accessor.decimationCounter_ != 1) return false;
    accessor.decimationCounter_ = 0;
    accessor.clients_.front()->update(time, data);
    ++accessor.decimationCounter_;
    return true;
  }

  /// The same for one leaf of a virtual bus.
  [[nodiscard]] static bool deliver(accessor::VirtualBus& accessor, const double* time, const void* data,
                                    unsigned long leafIndex) {
    if (!isShort(accessor, *time) || accessor.indirectData) return false;
    unsigned long& counter = accessor.decimationCounters_[leafIndex];
    if (counter != 1) return false;
    counter = 0;
    accessor.clients_.front()->update(leafIndex, time, data);
    ++counter;
    return true;
  }

  /// The same for an accessor of either class; false for a class derived from them, which may have its own way.
  [[nodiscard]] static bool deliver(accessor::Accessor& accessor, const double* time, const void* data,
                                    unsigned long index) {
    const std::type_info* type = &typeid(accessor);
    if (type == &typeid(accessor::Scalar)) return deliver(static_cast<accessor::Scalar&>(accessor), time, data);
    if (type != &typeid(accessor::VirtualBus)) return false;
    return deliver(static_cast<accessor::VirtualBus&>(accessor), time, data, index);
  }

 private:
  [[nodiscard]] static bool isKnown(const accessor::Accessor& accessor) {
    return accessor.learnedAt_ == utils::DeliveryEpoch::now();
  }

  [[nodiscard]] static bool isShort(const accessor::Accessor& accessor, double time) {
    return accessor.loggingInterval_.isLoggedAsLastTime(time) && isKnown(accessor) && accessor.isPlain_ &&
           accessor.clients_.size() == 1;
  }

  static void learn(accessor::Accessor& accessor, const utils::Node* const* nodes, std::size_t count);
};

}  // namespace vtio::core::client
