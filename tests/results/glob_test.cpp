#include "results/signals/glob.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace {

using vtio::results::matchesGlob;

TEST(Glob, takesNamesAsTheyAre) {
  EXPECT_TRUE(matchesGlob("wheels.speed", "wheels.speed"));
  EXPECT_FALSE(matchesGlob("wheels.speed", "wheels.speeds"));
  EXPECT_FALSE(matchesGlob("wheels.speed", "Wheels.speed"));
  EXPECT_TRUE(matchesGlob("", ""));
  EXPECT_FALSE(matchesGlob("", "a"));
}

TEST(Glob, starMatchesAnyTextWithDotsSlashesAndBars) {
  EXPECT_TRUE(matchesGlob("*", ""));
  EXPECT_TRUE(matchesGlob("top*out", "top/a|b.c:1 out"));
  EXPECT_TRUE(matchesGlob("wheels.*", "wheels.front.left"));
  EXPECT_FALSE(matchesGlob("wheels.*", "wheels"));
  EXPECT_TRUE(matchesGlob("*a*b", "xxaxxbxxb"));
}

TEST(Glob, questionMarkMatchesOneCharacterOfUtf8) {
  EXPECT_TRUE(matchesGlob("a?c", "abc"));
  EXPECT_TRUE(matchesGlob("a?c", "aäc"));
  EXPECT_TRUE(matchesGlob("a?c", "a\U0001F6F0c"));
  EXPECT_FALSE(matchesGlob("a??c", "aäc"));
  EXPECT_FALSE(matchesGlob("a?", "a"));
  EXPECT_TRUE(matchesGlob("a?c",
                          "a\xFF"
                          "c"));
}

TEST(Glob, bracketsAndBackslashesAreThemselves) {
  EXPECT_TRUE(matchesGlob("x[0]", "x[0]"));
  EXPECT_FALSE(matchesGlob("x[0-9]", "x5"));
  EXPECT_FALSE(matchesGlob("x\\*", "x*"));
}

TEST(Glob, manyStarsTakeNoExponentialTime) {
  EXPECT_FALSE(matchesGlob("*a*a*a*a*a*a*a*a*a*a*a*a*b", std::string(2000, 'a')));
}

// By definition: a star is nothing, or one more character.
bool byDefinition(std::string_view pattern, std::string_view name) {
  if (pattern.empty()) return name.empty();
  if (pattern[0] == '*') {
    return byDefinition(pattern.substr(1), name) || (!name.empty() && byDefinition(pattern, name.substr(1)));
  }
  if (name.empty() || (pattern[0] != '?' && pattern[0] != name[0])) return false;
  return byDefinition(pattern.substr(1), name.substr(1));
}

TEST(Glob, agreesWithItsDefinition) {
  std::mt19937 random(1);
  const auto text = [&](std::string_view letters, std::size_t most) {
    std::string result(random() % (most + 1), ' ');
    for (char& c : result) c = letters[random() % letters.size()];
    return result;
  };
  int matches = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string pattern = text("ab*?", 7);
    const std::string name = text("ab", 8);
    ASSERT_EQ(matchesGlob(pattern, name), byDefinition(pattern, name)) << pattern << " " << name;
    matches += matchesGlob(pattern, name) ? 1 : 0;
  }
  EXPECT_GT(matches, 1000);
}

}  // namespace
