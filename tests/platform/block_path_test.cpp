#include "platform/block_path.hpp"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/platform/diagnostic_matcher.hpp"

namespace {

using vtu::FullBlkPathToTopMdl;
using vtu::InternedUstring;
using vtu::ustring;
using Texts = std::vector<ustring>;

FullBlkPathToTopMdl pathOf(const Texts& elements, const ustring& subPath = u"") {
  FullBlkPathToTopMdl path;
  for (const ustring& element : elements) path.append(InternedUstring(element));
  path.subPath(subPath);
  return path;
}

Texts elementsOf(const FullBlkPathToTopMdl& path) {
  Texts result;
  for (std::size_t i = 0; i < path.size(); ++i) result.emplace_back(path.element(i).view());
  return result;
}

Texts decoded(const ustring& encoded) {
  FullBlkPathToTopMdl path;
  vtu::BlockPathUtil::decodeBlockPath(encoded, path);
  return elementsOf(path);
}

TEST(FullBlkPathToTopMdl, startsEmpty) {
  const FullBlkPathToTopMdl path;
  EXPECT_EQ(path.size(), 0U);
  EXPECT_EQ(path.subPath(), u"");
  EXPECT_EQ(path.subPathType(), 0);
}

TEST(FullBlkPathToTopMdl, keepsWhatItIsGiven) {
  FullBlkPathToTopMdl path = pathOf({u"top/Model", u"model/Gain"});
  path.subPath(u"State");
  path.subPathType(-7);
  const FullBlkPathToTopMdl copy = path;
  path.append(InternedUstring(u"more"));
  EXPECT_EQ(elementsOf(copy), (Texts{u"top/Model", u"model/Gain"}));
  EXPECT_EQ(copy.subPath(), u"State");
  EXPECT_EQ(copy.subPathType(), -7);
  EXPECT_EQ(path.size(), 3U);
  EXPECT_THROW(static_cast<void>(copy.element(2)), std::out_of_range);
}

TEST(FullBlkPathToTopMdl, replacesLineFeedsInElementsOnly) {
  FullBlkPathToTopMdl path = pathOf({u"x\ny\nz", u"plain", u"\n", u"", u"\r\n"}, u"a\nb");
  const InternedUstring plain = path.element(1);
  path.replaceNewlineWithSpace();
  EXPECT_EQ(elementsOf(path), (Texts{u"x y z", u"plain", u" ", u"", u"\r "}));
  EXPECT_EQ(path.element(1), plain);
  EXPECT_EQ(path.subPath(), u"a\nb");
}

TEST(BlockPathOrder, shorterPathsComeFirst) {
  EXPECT_LT(pathOf({u"z", u"z"}), pathOf({u"a", u"a", u"a"}));
  EXPECT_FALSE(pathOf({u"a", u"a", u"a"}) < pathOf({u"z", u"z"}));
  EXPECT_LT(pathOf({}, u"sub"), pathOf({u"a"}));
}

TEST(BlockPathOrder, anEmptySubPathComesFirst) {
  EXPECT_LT(pathOf({u"b"}), pathOf({u"a"}, u"s"));
  EXPECT_FALSE(pathOf({u"a"}, u"s") < pathOf({u"b"}));
  EXPECT_LT(pathOf({}), pathOf({}, u"s"));
}

TEST(BlockPathOrder, pathsWithoutElementsDoNotCompareTheirSubPaths) {
  EXPECT_FALSE(pathOf({}, u"a") < pathOf({}, u"b"));
  EXPECT_FALSE(pathOf({}, u"b") < pathOf({}, u"a"));
}

TEST(BlockPathOrder, theFirstDifferentElementDecides) {
  EXPECT_LT(pathOf({u"a", u"z"}), pathOf({u"b", u"a"}));
  EXPECT_FALSE(pathOf({u"b", u"a"}) < pathOf({u"a", u"z"}));
  EXPECT_LT(pathOf({u"a", u"\U0001F680"}), pathOf({u"a", u"\uFFFD"})) << "by code unit";
  EXPECT_LT(pathOf({u"a"}, u"z"), pathOf({u"b"}, u"a"));
}

TEST(BlockPathOrder, subPathsDecideLast) {
  EXPECT_LT(pathOf({u"a"}, u"s"), pathOf({u"a"}, u"st"));
  EXPECT_FALSE(pathOf({u"a"}, u"st") < pathOf({u"a"}, u"s"));
  EXPECT_FALSE(pathOf({u"a"}, u"s") < pathOf({u"a"}, u"s"));
}

TEST(DecodeBlockPath, splitsAtBars) {
  EXPECT_EQ(decoded(u"a"), (Texts{u"a"}));
  EXPECT_EQ(decoded(u"top/Plant|plant/Wheel"), (Texts{u"top/Plant", u"plant/Wheel"}));
  EXPECT_EQ(decoded(u"|"), (Texts{u"", u""}));
  EXPECT_EQ(decoded(u"a||b|"), (Texts{u"a", u"", u"b", u""}));
  EXPECT_EQ(decoded(u""), Texts());
}

TEST(DecodeBlockPath, resolvesEscapes) {
  EXPECT_EQ(decoded(u"a%7Cb|100%25"), (Texts{u"a|b", u"100%"}));
  EXPECT_EQ(decoded(u"a%7cb"), (Texts{u"a|b"}));
  EXPECT_EQ(decoded(u"%C3%A9t%c3%a9"), (Texts{u"\u00E9t\u00E9"}));
  EXPECT_EQ(decoded(u"%F0%9F%9A%80"), (Texts{u"\U0001F680"}));
  EXPECT_EQ(decoded(u"%2541"), (Texts{u"%41"})) << "decoded once";
  EXPECT_EQ(decoded(u"a%00b"), (Texts{ustring(u"a\0b", 3)}));
  EXPECT_EQ(decoded(u"\u00E9%0A"), (Texts{u"\u00E9\n"}));
  EXPECT_EQ(decoded(ustring{0xD800, u'|', u'x'}), (Texts{ustring{0xD800}, u"x"})) << "kept unit by unit";
}

TEST(DecodeBlockPath, appends) {
  FullBlkPathToTopMdl path = pathOf({u"first"});
  vtu::BlockPathUtil::decodeBlockPath(u"second|third", path);
  EXPECT_EQ(elementsOf(path), (Texts{u"first", u"second", u"third"}));
}

TEST(DecodeBlockPath, refusesWhatIsMalformedAndLeavesThePath) {
  for (const ustring& encoded :
       Texts{u"%",       u"a%",        u"a%2",    u"%2",  u"%G0",      u"%0G",          u"%%41",
             u"% 1",     u"%+1",       u"a|%|b",  u"%2|", u"%FF",      u"%C3",          u"%C3|%A9",
             u"%C3x%A9", u"%ED%A0%80", u"%C0%80", u"%A9", u"good|%zz", u"%\u01C1\u01C1"}) {
    FullBlkPathToTopMdl path = pathOf({u"before"}, u"sub");
    const vtsv::Diagnostic diagnostic =
        vtio_test::thrownBy([&] { vtu::BlockPathUtil::decodeBlockPath(encoded, path); });
    EXPECT_EQ(diagnostic.identifier, "Vortan:BlockPath") << vtu::to_string(encoded);
    EXPECT_EQ(diagnostic.key, "BadEncoding");
    EXPECT_EQ(diagnostic.arguments, Texts{encoded});
    EXPECT_EQ(elementsOf(path), Texts{u"before"});
    EXPECT_EQ(path.subPath(), u"sub");
  }
}

/// Encodes every byte of every element that `choose` picks, and always those that must be.
template <typename Choose>
ustring encode(const Texts& elements, Choose choose) {
  std::string result;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    result += i == 0 ? "" : "|";
    for (const char byte : vtu::to_string(elements[i])) {
      // Bytes beyond ASCII are escaped together: part of a character cannot be converted to 16-bit text.
      const bool ascii = static_cast<unsigned char>(byte) < 0x80;
      char escape[4];
      std::snprintf(escape, sizeof escape, choose() ? "%%%02X" : "%%%02x", static_cast<unsigned char>(byte));
      result += (!ascii || byte == '|' || byte == '%' || choose()) ? std::string(escape) : std::string(1, byte);
    }
  }
  return vtu::to_ustring(result);
}

TEST(DecodeBlockPath, undoesAnEncoder) {
  std::mt19937 random(8);
  const Texts pieces = {u"a", u"|", u"%", u"/", u"\u00E9", u"\U0001F680", u"\n", u"7C", u"\u20AC"};
  for (int round = 0; round < 3000; ++round) {
    Texts elements(1 + random() % 4);
    for (ustring& element : elements) {
      for (auto n = random() % 6; n > 0; --n) element += pieces[random() % pieces.size()];
    }
    if (elements == Texts{u""}) elements = {u"x"};
    const ustring encoded = encode(elements, [&] { return random() % 2 == 0; });
    ASSERT_EQ(decoded(encoded), elements) << vtu::to_string(encoded);
  }
}

}  // namespace
