#include "vtio/core/utils/delivery_epoch.hpp"

namespace vtio::core::utils {

std::atomic<std::uint32_t> DeliveryEpoch::number{1};

void DeliveryEpoch::advance() {
  if (number.fetch_add(1, std::memory_order_relaxed) + 1 == 0) number.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace vtio::core::utils
