// Tests of the interface that forwards each command to many.

#include "vtio/core/utils/vtio_collection_snapshot_interface.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/runtime/recording_client.hpp"

namespace vtio::testing {
namespace {

using core::utils::VtioCollectionSnapshotInterface;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(std::is_base_of_v<vtsim::SnapshotInterface, VtioCollectionSnapshotInterface>);

class VtioCollectionSnapshotInterfaceTest : public ::testing::Test {
 protected:
  void add(const std::string& name) {
    interfaces_.push_back(std::make_unique<RecordingSnapshotInterface>(name, events_));
  }
  // What reached the members since the last call.
  Events taken() { return std::exchange(events_, {}); }

  Events events_;
  std::vector<std::unique_ptr<vtsim::SnapshotInterface>> interfaces_;
  VtioCollectionSnapshotInterface collection_{interfaces_};
};

TEST_F(VtioCollectionSnapshotInterfaceTest, forwardsEveryCommandWithItsArgumentInOrder) {
  add("a");
  add("b");
  collection_.captureSnapshot(true);
  EXPECT_THAT(taken(), ElementsAre("a.captureSnapshot(true)", "b.captureSnapshot(true)"));
  collection_.captureSnapshot(false);
  EXPECT_THAT(taken(), ElementsAre("a.captureSnapshot(false)", "b.captureSnapshot(false)"));
  collection_.rollBack();
  EXPECT_THAT(taken(), ElementsAre("a.rollBack()", "b.rollBack()"));
  collection_.reset();
  EXPECT_THAT(taken(), ElementsAre("a.reset()", "b.reset()"));
  collection_.clear();
  EXPECT_THAT(taken(), ElementsAre("a.clear()", "b.clear()"));
  collection_.popLatest(-3);
  EXPECT_THAT(taken(), ElementsAre("a.popLatest(-3)", "b.popLatest(-3)"));
  collection_.popOldest(4);
  EXPECT_THAT(taken(), ElementsAre("a.popOldest(4)", "b.popOldest(4)"));
  collection_.size(5);
  EXPECT_THAT(taken(), ElementsAre("a.size(5)", "b.size(5)"));
}

TEST_F(VtioCollectionSnapshotInterfaceTest, reachesInterfacesThatJoinLater) {
  add("a");
  collection_.rollBack();
  add("b");
  collection_.rollBack();
  EXPECT_THAT(taken(), ElementsAre("a.rollBack()", "a.rollBack()", "b.rollBack()"));
}

TEST_F(VtioCollectionSnapshotInterfaceTest, ownsNothing) {
  add("a");
  { VtioCollectionSnapshotInterface another(interfaces_); }
  EXPECT_THAT(events_, IsEmpty());
  interfaces_.clear();
  EXPECT_THAT(events_, ElementsAre("~a"));
}

TEST_F(VtioCollectionSnapshotInterfaceTest, withoutMembersEveryCommandIsFine) {
  collection_.captureSnapshot(true);
  collection_.captureSnapshot(false);
  collection_.rollBack();
  collection_.reset();
  collection_.clear();
  collection_.popLatest(1);
  collection_.popOldest(1);
  collection_.size(0);
  EXPECT_THAT(events_, IsEmpty());
}

}  // namespace
}  // namespace vtio::testing
