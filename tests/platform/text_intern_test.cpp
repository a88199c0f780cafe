#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "platform/text.hpp"

namespace {

using vtu::InternedUstring;
using vtu::str_compare;
using vtu::ustring;

ustring numbered(int i) { return vtu::to_ustring("block " + std::to_string(i)); }

TEST(InternedUstring, isOneWordWide) { EXPECT_EQ(sizeof(InternedUstring), sizeof(void*)); }

TEST(InternedUstring, ofEqualTextsIsTheSame) {
  const ustring text = u"controller";
  const ustring sameText = u"cont" + ustring(u"roller");
  EXPECT_EQ(InternedUstring(text), InternedUstring(sameText));
  EXPECT_EQ(InternedUstring(text).c_str(), InternedUstring(sameText).c_str());
  EXPECT_FALSE(InternedUstring(text) == InternedUstring(u"controllers"));
}

TEST(InternedUstring, keepsItsOwnCopyOfTheText) {
  ustring text = u"a text that is long enough to be on the heap";
  const InternedUstring interned(text);
  text.assign(text.size(), u'x');
  EXPECT_EQ(ustring(interned.c_str()), u"a text that is long enough to be on the heap");
}

TEST(InternedUstring, ofNoTextIsTheEmptyOne) {
  EXPECT_EQ(InternedUstring(), InternedUstring(u""));
  EXPECT_TRUE(InternedUstring().view().empty());
  EXPECT_EQ(str_compare(InternedUstring(), InternedUstring(u"")), 0);
}

TEST(InternedUstring, tellsTextsApartThatDifferAfterANul) {
  const ustring a(u"x\0a", 3);
  const ustring b(u"x\0b", 3);
  EXPECT_FALSE(InternedUstring(a) == InternedUstring(b));
  EXPECT_EQ(InternedUstring(a).view(), a);
  EXPECT_LT(str_compare(InternedUstring(a), InternedUstring(b)), 0);
}

TEST(InternedUstring, canBeAHashKey) {
  const std::unordered_set<InternedUstring> set = {InternedUstring(u"a"), InternedUstring(u"b"), InternedUstring(u"a")};
  EXPECT_EQ(set.size(), 2U);
}

TEST(StrCompare, ordersByUnsignedCodeUnit) {
  // As code points U+1F680 is after U+FFFD; as code units D83D is before FFFD.
  EXPECT_LT(str_compare(InternedUstring(u"\U0001F680"), InternedUstring(u"\uFFFD")), 0);
  EXPECT_GT(str_compare(InternedUstring(u"\u8000"), InternedUstring(u"\u7FFF")), 0);
  EXPECT_LT(str_compare(InternedUstring(u"ab"), InternedUstring(u"abc")), 0);
  EXPECT_GT(str_compare(InternedUstring(u"a"), InternedUstring()), 0);
  EXPECT_LT(str_compare(InternedUstring(), InternedUstring(u"a")), 0);
  EXPECT_EQ(str_compare(InternedUstring(u"same"), InternedUstring(u"same")), 0);
}

TEST(StrCompare, agreesWithVectorsOfNumbers) {
  std::mt19937 random(4);
  const auto text = [&] {
    ustring result(random() % 4, u'\0');
    for (char16_t& unit : result) unit = static_cast<char16_t>(0x7FFE + random() % 4);
    return result;
  };
  for (int round = 0; round < 5000; ++round) {
    const ustring a = text();
    const ustring b = text();
    const std::vector<unsigned> x(a.begin(), a.end());
    const std::vector<unsigned> y(b.begin(), b.end());
    const int order = str_compare(InternedUstring(a), InternedUstring(b));
    ASSERT_EQ(order < 0, x < y);
    ASSERT_EQ(order == 0, x == y);
  }
}

TEST(InternedUstring, isTheSameForAllThreads) {
  constexpr int kThreads = 8;
  constexpr int kTexts = 2000;
  std::vector<std::vector<InternedUstring>> seen(kThreads, std::vector<InternedUstring>(kTexts));
  std::atomic<bool> go = false;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::vector<int> order(kTexts);
      for (int i = 0; i < kTexts; ++i) order[static_cast<std::size_t>(i)] = i;
      std::shuffle(order.begin(), order.end(), std::mt19937(static_cast<unsigned>(t)));
      while (!go) std::this_thread::yield();
      for (const int i : order) {
        seen[static_cast<std::size_t>(t)][static_cast<std::size_t>(i)] = InternedUstring(numbered(i));
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < kTexts; ++i) {
    ASSERT_EQ(seen[0][static_cast<std::size_t>(i)].view(), numbered(i));
    for (int t = 1; t < kThreads; ++t) {
      ASSERT_EQ(seen[static_cast<std::size_t>(t)][static_cast<std::size_t>(i)], seen[0][static_cast<std::size_t>(i)]);
    }
  }
}

}  // namespace
