// Tests of the value class in which clients keep what they need to step back.

#include "vtio/core/utils/vtio_client_snapshot_element.hpp"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace vtio::testing {
namespace {

using core::utils::VtioClientSnapshotElement;

TEST(VtioClientSnapshotElementTest, givesBackTheFourVectors) {
  const VtioClientSnapshotElement element({1, 2}, {0.5}, {true, false, true}, {7});
  EXPECT_EQ(element.linearNSamples(), (std::vector<unsigned long>{1, 2}));
  EXPECT_EQ(element.lastTimestamps(), (std::vector<double>{0.5}));
  EXPECT_EQ(element.duplicateTimes(), (std::vector<bool>{true, false, true}));
  EXPECT_EQ(element.latestDuplicateTimeIdxs(), (std::vector<unsigned long>{7}));
}

TEST(VtioClientSnapshotElementTest, keepsItsOwnCopies) {
  std::vector<unsigned long> samples{1};
  std::vector<double> times{2.0};
  std::vector<bool> duplicates{true};
  std::vector<unsigned long> indices{3};
  const VtioClientSnapshotElement element(samples, times, duplicates, indices);
  samples.clear();
  times.clear();
  duplicates.clear();
  indices.clear();
  EXPECT_EQ(element.linearNSamples().size(), 1u);
  EXPECT_EQ(element.lastTimestamps().size(), 1u);
  EXPECT_EQ(element.duplicateTimes().size(), 1u);
  EXPECT_EQ(element.latestDuplicateTimeIdxs().size(), 1u);
}

TEST(VtioClientSnapshotElementTest, readersReferToTheStoredVectors) {
  const VtioClientSnapshotElement element({}, {}, {}, {});
  static_assert(std::is_same_v<decltype(element.linearNSamples()), const std::vector<unsigned long>&>);
  static_assert(std::is_same_v<decltype(element.lastTimestamps()), const std::vector<double>&>);
  static_assert(std::is_same_v<decltype(element.duplicateTimes()), const std::vector<bool>&>);
  static_assert(std::is_same_v<decltype(element.latestDuplicateTimeIdxs()), const std::vector<unsigned long>&>);
  EXPECT_EQ(&element.linearNSamples(), &element.linearNSamples());
  EXPECT_TRUE(element.latestDuplicateTimeIdxs().empty());
}

}  // namespace
}  // namespace vtio::testing
