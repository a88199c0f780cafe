// Text as bytes without loss.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/text.hpp"
#include "platform/text_bytes.hpp"

namespace {

std::string bytesOf(std::u16string_view text) {
  std::string bytes;
  vtu::appendTextBytes(text, bytes);
  return bytes;
}

TEST(TextBytes, ValidTextIsUtf8) {
  for (const char* utf8 : {"", "plain", "caf\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "a\xF4\x8F\xBF\xBFz"}) {
    EXPECT_EQ(bytesOf(vtu::to_ustring(utf8)), utf8);
    EXPECT_EQ(vtu::textFromBytes(utf8), vtu::to_ustring(utf8));
  }
}

TEST(TextBytes, UnpairedSurrogatesTakeThreeBytes) {
  const char16_t high[] = {u'a', 0xD83D, u'b'};
  const char16_t low[] = {0xDE00, 0xD83D};
  EXPECT_EQ(bytesOf({high, 3}),
            "a\xED\xA0\xBD"
            "b");
  EXPECT_EQ(bytesOf({low, 2}), "\xED\xB8\x80\xED\xA0\xBD");
}

TEST(TextBytes, AppendsBehindWhatIsThere) {
  std::string bytes = "x";
  vtu::appendTextBytes(u"y\u00E9", bytes);
  EXPECT_EQ(bytes, "xy\xC3\xA9");
}

TEST(TextBytes, EveryTextComesBack) {
  std::mt19937 random(3);
  const char16_t units[] = {u'\0',  u'a',   0x7F,   0x80,   0x7FF,  0x800, 0xD7FF,
                            0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  for (int i = 0; i < 20000; ++i) {
    std::u16string text(random() % 8, u'\0');
    for (char16_t& unit : text) unit = units[random() % std::size(units)];
    ASSERT_EQ(vtu::textFromBytes(bytesOf(text)), text) << i;
  }
}

TEST(TextBytes, MalformedBytesAreReplaced) {
  EXPECT_EQ(vtu::textFromBytes("a\xFFz"), u"a\uFFFDz");
  EXPECT_EQ(vtu::textFromBytes("\xED\xA0"), u"\uFFFD\uFFFD");
  EXPECT_EQ(vtu::textFromBytes("\xED"), u"\uFFFD");
}

}  // namespace
