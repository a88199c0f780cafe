#include "results/signals/near_names.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using vtio::results::didYouMean;
using vtio::results::editDistance;
using vtio::results::nearNames;

TEST(EditDistance, countsInsertedDeletedReplacedAndSwapped) {
  EXPECT_EQ(editDistance("speed", "speed", 9), 0U);
  EXPECT_EQ(editDistance("speed", "sped", 9), 1U);
  EXPECT_EQ(editDistance("speed", "speeds", 9), 1U);
  EXPECT_EQ(editDistance("speed", "spead", 9), 1U);
  EXPECT_EQ(editDistance("speed", "seped", 9), 1U);
  EXPECT_EQ(editDistance("", "abc", 9), 3U);
  EXPECT_EQ(editDistance("kitten", "sitting", 9), 3U);
}

TEST(EditDistance, stopsBeyondItsLimit) {
  EXPECT_EQ(editDistance("aaaa", "bbbb", 2), 3U);
  EXPECT_EQ(editDistance("a", "aaaaaaaa", 2), 3U);
}

TEST(EditDistance, takesStarsAsAnyTextAndQuestionMarksAsAnyByte) {
  EXPECT_EQ(editDistance("wheel.*", "wheels.speed", 9), 1U);
  EXPECT_EQ(editDistance("*.sped", "wheels.speed", 9), 1U);
  EXPECT_EQ(editDistance("*", "anything", 0), 0U);
  EXPECT_EQ(editDistance("a*", "", 9), 1U);
  EXPECT_EQ(editDistance("w?eel", "wheels", 9), 1U);
}

TEST(NearNames, giveTheNearestFirst) {
  const std::vector<std::string> names = {"wheels.speeds", "mode", "wheels.speed", "body.rate"};
  EXPECT_THAT(nearNames("wheel.speed", names), testing::ElementsAre("wheels.speed", "wheels.speeds"));
}

TEST(NearNames, ignoreCaseAndKnowTheLastPart) {
  const std::vector<std::string> names = {"Body.Rate", "wheels.speed"};
  EXPECT_THAT(nearNames("body.rate", names), testing::ElementsAre("Body.Rate"));
  EXPECT_THAT(nearNames("speed", names), testing::ElementsAre("wheels.speed"));
}

TEST(NearNames, ofAPatternDifferInAThirdOfItsText) {
  const std::vector<std::string> names = {"wheels.speed", "Wheels.torque", "mode"};
  EXPECT_THAT(nearNames("wheel.*", names), testing::ElementsAre("wheels.speed", "Wheels.torque"));
  EXPECT_THAT(nearNames("speed*", names), testing::ElementsAre("wheels.speed"));
  EXPECT_THAT(nearNames("*x*", names), testing::ElementsAre());
  EXPECT_THAT(nearNames("*", names), testing::ElementsAre());
}

TEST(NearNames, areAFewAtMost) {
  const std::vector<std::string> names(50, "abcdeg");
  EXPECT_EQ(nearNames("abcdef", names).size(), 3U);
}

TEST(DidYouMean, readsAsASentence) {
  EXPECT_EQ(didYouMean("x", std::vector<std::string>{"something else"}), "");
  EXPECT_EQ(didYouMean("wheel.speed", std::vector<std::string>{"wheels.speed"}), "; did you mean 'wheels.speed'?");
  EXPECT_EQ(didYouMean("abcd", std::vector<std::string>{"abcx", "abcy"}), "; did you mean 'abcx' or 'abcy'?");
}

}  // namespace
