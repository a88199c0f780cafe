#include "platform/text.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using vtu::to_string;
using vtu::to_ustring;
using vtu::to_ustring_with_unescape;
using vtu::ustring;
using namespace std::string_literals;

/// Encodes a code point as UTF-8, from the bit layout.
std::string encode(char32_t c) {
  const auto tail = [&](unsigned shift) { return static_cast<char>(0x80U | ((c >> shift) & 0x3FU)); };
  if (c < 0x80) return {static_cast<char>(c)};
  if (c < 0x800) return {static_cast<char>(0xC0U | (c >> 6U)), tail(0)};
  if (c < 0x10000) return {static_cast<char>(0xE0U | (c >> 12U)), tail(6), tail(0)};
  return {static_cast<char>(0xF0U | (c >> 18U)), tail(12), tail(6), tail(0)};
}

ustring encode16(char32_t c) {
  if (c < 0x10000) return {static_cast<char16_t>(c)};
  const char32_t offset = c - 0x10000;
  return {static_cast<char16_t>(0xD800 + offset / 0x400), static_cast<char16_t>(0xDC00 + offset % 0x400)};
}

bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

TEST(ToUstring, convertsEveryLengthOfSequence) {
  EXPECT_EQ(to_ustring(""), u"");
  EXPECT_EQ(to_ustring("abc"), u"abc");
  EXPECT_EQ(to_ustring("caf\xC3\xA9"), u"caf\u00E9");
  EXPECT_EQ(to_ustring("\xE2\x82\xAC"), u"\u20AC");
  EXPECT_EQ(to_ustring("\xF0\x9F\x9B\xB0"), u"\U0001F6F0");
}

TEST(ToUstring, keepsNul) { EXPECT_EQ(to_ustring("a\0b"s), u"a\0b"s); }

TEST(ToUstring, ignoresTheFlag) {
  EXPECT_EQ(to_ustring("\xC3\xA9", true), u"\u00E9");
  EXPECT_EQ(to_ustring("\xC3\xA9", false), u"\u00E9");
}

TEST(ToUstring, convertsEveryCodePointBothWays) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (isSurrogate(c)) continue;
    ASSERT_EQ(to_ustring(encode(c)), encode16(c)) << "code point " << static_cast<unsigned>(c);
    ASSERT_EQ(to_string(encode16(c)), encode(c)) << "code point " << static_cast<unsigned>(c);
  }
}

struct MalformedCase {
  std::string utf8;
  ustring expected;
};

TEST(ToUstring, replacesEachMalformedByte) {
  const std::vector<MalformedCase> cases = {
      {"\xFF", u"\uFFFD"},                                // never a byte of UTF-8
      {"a\x80z", u"a\uFFFDz"},                            // continuation alone
      {"\xC3", u"\uFFFD"},                                // cut at the end
      {"\xC3z", u"\uFFFDz"},                              // cut by a letter
      {"\xE2\x82", u"\uFFFD\uFFFD"},                      // two of three
      {"\xE2\x82z", u"\uFFFD\uFFFDz"},                    //
      {"\xF0\x9F\x9B", u"\uFFFD\uFFFD\uFFFD"},            // three of four
      {"\xC0\x80", u"\uFFFD\uFFFD"},                      // overlong
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},            //
      {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  //
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond 10FFFF
      {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  //
      {"\xC3\xC3\xA9", u"\uFFFD\u00E9"},                  // valid right after malformed
      {"\xEF\xBF\xBE\xEF\xBF\xBF", u"\uFFFE\uFFFF"},      // noncharacters are characters here
  };
  for (const MalformedCase& c : cases) {
    EXPECT_EQ(to_ustring(c.utf8), c.expected) << testing::PrintToString(c.utf8);
  }
}

/// Decodes one byte or sequence at a time, with the ranges of well-formed sequences as a table.
ustring decodeByTable(std::string_view bytes) {
  struct Row {
    unsigned first, last, secondLow, secondHigh, length;
  };
  static constexpr Row kRows[] = {
      {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
      {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
      {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
  static constexpr unsigned kLeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  const auto at = [&](std::size_t i) -> unsigned { return static_cast<unsigned char>(bytes[i]); };
  ustring result;
  for (std::size_t i = 0; i < bytes.size();) {
    std::size_t taken = 0;
    for (const Row& row : kRows) {
      if (at(i) < row.first || at(i) > row.last || i + row.length > bytes.size()) continue;
      bool good = row.length == 1 || (at(i + 1) >= row.secondLow && at(i + 1) <= row.secondHigh);
      char32_t c = at(i) & kLeadMask[row.length];
      for (std::size_t k = 1; k < row.length; ++k) {
        good = good && (at(i + k) & 0xC0U) == 0x80;
        c = (c << 6U) | (at(i + k) & 0x3FU);
      }
      if (good) {
        result += encode16(c);
        taken = row.length;
      }
    }
    if (taken == 0) {
      result += u'\uFFFD';
      taken = 1;
    }
    i += taken;
  }
  return result;
}

TEST(ToUstring, agreesWithTheTableOfWellFormedSequencesOnRandomBytes) {
  std::mt19937 random(1);
  const std::string interesting =
      "\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF4\xF5\xFF"s;
  for (int round = 0; round < 50000; ++round) {
    std::string bytes(random() % 9, '\0');
    for (char& byte : bytes) byte = interesting[random() % interesting.size()];
    ASSERT_EQ(to_ustring(bytes), decodeByTable(bytes)) << testing::PrintToString(bytes);
  }
}

TEST(ToString, replacesUnpairedSurrogates) {
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(to_string(ustring{0xD800}), replaced);
  EXPECT_EQ(to_string(ustring{0xDC00}), replaced);
  EXPECT_EQ(to_string(ustring{0xDC00, 0xD800}), replaced + replaced);
  EXPECT_EQ(to_string(ustring{0xD83D, u'x'}), replaced + "x");
  EXPECT_EQ(to_string(ustring{0xD83D, 0xD83D, 0xDE80}), replaced + "\xF0\x9F\x9A\x80");
}

TEST(ToString, isUndoneByToUstringForAllPairedText) {
  std::mt19937 random(2);
  for (int round = 0; round < 2000; ++round) {
    ustring text;
    for (auto n = random() % 12; n > 0; --n) {
      const auto c = static_cast<char32_t>(random() % 0x110000);
      text += encode16(isSurrogate(c) ? U'.' : c);
    }
    ASSERT_EQ(to_ustring(to_string(text)), text);
  }
}

struct EscapeCase {
  std::string escaped;
  ustring expected;
};

ustring unescape(std::string_view text) { return to_ustring_with_unescape(text, false, 4); }

TEST(Unescape, resolvesTheEscapesOfCLiterals) {
  const std::vector<EscapeCase> cases = {
      {R"(\n\t\r\a\b\f\v)", u"\n\t\r\a\b\f\v"},
      {R"(\\\"\'\?)", u"\\\"'?"},
      {R"(\0)", u"\0"s},
      {R"(\x41\x4)", u"A\x04"},
      {R"(\x414)", u"A4"},     // two digits at most
      {R"(\xe9)", u"\u00E9"},  // one code unit, not a byte
      {R"(\101\12\7)", u"A\n\a"},
      {R"(\1018)", u"A8"},  // three digits at most
      {R"(\08)", u"\0"s + u"8"},
      {R"(\777)", ustring{0x1FF}},
      {R"(\u20AC)", u"\u20AC"},
      {R"(\uD83D\uDE80)", u"\U0001F680"},
      {R"(\uD800)", ustring{0xD800}},
      {R"(\U0001F680)", u"\U0001F680"},
      {R"(\U0010FFFF)", u"\U0010FFFF"},
      {R"(\U00000041)", u"A"},
  };
  for (const EscapeCase& c : cases) {
    EXPECT_EQ(unescape(c.escaped), c.expected) << c.escaped;
  }
}

TEST(Unescape, leavesUnknownAndUnfinishedEscapesAsTheyStand) {
  for (const char* text : {R"(\q)", R"(\)", R"(a\)", R"(\x)", R"(\xg)", R"(\u12)", R"(\u123g)", R"(\U0001F68)",
                           R"(\U00110000)", R"(\UFFFFFFFF)", R"(\8)", R"(\N)", R"(\e)"}) {
    EXPECT_EQ(unescape(text), to_ustring(text)) << text;
  }
  EXPECT_EQ(unescape(R"(\q\n)"), u"\\q\n");
  EXPECT_EQ(unescape(R"(\u12\n)"), u"\\u12\n");
  EXPECT_EQ(unescape("\\\xC3\xA9"), u"\\\u00E9");
}

TEST(Unescape, replacesMalformedBytes) { EXPECT_EQ(unescape("\xFF\\n"), u"\uFFFD\n"); }

TEST(Unescape, happensInStyle4Only) {
  for (const int style : {-1, 0, 1, 2, 3, 5, 99}) {
    EXPECT_EQ(to_ustring_with_unescape(R"(a\n)", false, style), u"a\\n") << style;
  }
}

TEST(Unescape, ignoresTheFlag) { EXPECT_EQ(to_ustring_with_unescape(R"(a\n)", true, 4), u"a\n"); }

TEST(Unescape, undoesAnEscaperOfEveryCodeUnit) {
  std::mt19937 random(3);
  for (int round = 0; round < 2000; ++round) {
    std::string escaped;
    ustring expected;
    for (auto n = random() % 10; n > 0; --n) {
      const auto unit = static_cast<char16_t>(random() % 0x10000);
      char buffer[16];
      std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(unit));
      escaped += buffer;
      expected += unit;
    }
    ASSERT_EQ(unescape(escaped), expected) << escaped;
  }
}

}  // namespace
