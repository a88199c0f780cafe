#include "vtio/core/utils/signal_type.hpp"

#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

namespace vtio::core::utils {
namespace {

// Generated code passes these as plain numbers.
static_assert(std::is_same_v<std::underlying_type_t<SignalType>, std::int32_t>);
static_assert(leafSignal == 0);
static_assert(virtualBus == 1);
static_assert(nonVirtualBus == 2);
static_assert(arrayOfNonVirtualBuses == 3);
static_assert(assessmentLeaf == 5);
static_assert(unspecified == 7);

TEST(SignalType, roundTripsThroughTheNumberThatGeneratedCodePasses) {
  for (const std::int32_t value : {0, 1, 2, 3, 5, 7}) {
    EXPECT_EQ(static_cast<std::int32_t>(static_cast<SignalType>(value)), value);
  }
}

}  // namespace
}  // namespace vtio::core::utils
