// Text forms of the host: UTF-8 and UTF-16, code page 1252, hexadecimal.
#include "host/common/encoding.h"

#include <gtest/gtest.h>

#include <string>

namespace common {
namespace {

TEST(Utf8ToUtf16, ConvertsWellFormedText) {
  struct Case {
    const char* id;
    std::string utf8;
    std::u16string utf16;
  };
  // clang-format off
  const Case cases[] = {
    {"u.1", "",                     u""},
    {"u.2", "abc",                  u"abc"},
    {"u.3", "\xC3\xA9",             u"\u00E9"},
    {"u.4", "\xE2\x82\xAC",         u"\u20AC"},
    {"u.5", "\xF0\x9F\x98\x80",     u"\U0001F600"},  // a surrogate pair
    {"u.6", "\xF4\x8F\xBF\xBF",     u"\U0010FFFF"},
    {"u.7", std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    std::u16string out;
    ASSERT_TRUE(Utf8ToUtf16(c.utf8, &out));
    EXPECT_EQ(c.utf16, out);
    EXPECT_EQ(c.utf8, Utf16ToUtf8(c.utf16));
  }
}

TEST(Utf8ToUtf16, RefusesMalformedText) {
  const char* const bad[] = {"\x80",              // continuation without lead
                             "\xE2\x82",          // cut short
                             "\xC0\xAF",          // overlong
                             "\xE0\x80\xAF",      // overlong
                             "\xED\xA0\x80",      // a surrogate
                             "\xF4\x90\x80\x80",  // beyond U+10FFFF
                             "\xC3\x28",          // bad continuation
                             "\xFF"};
  for (const char* text : bad) {
    SCOPED_TRACE(testing::PrintToString(text));
    std::u16string out = u"kept";
    EXPECT_FALSE(Utf8ToUtf16(text, &out));
    EXPECT_EQ(u"kept", out);
  }
}

TEST(Cp1252ToUtf8, ShowsTypeNames) {
  EXPECT_EQ("+:061:2:PNT:Ic\xC3\xB4ne", Cp1252ToUtf8("+:061:2:PNT:Ic\xF4ne"));
  EXPECT_EQ("\xE2\x82\xAC", Cp1252ToUtf8("\x80"));
}

TEST(Hex, WritesLowerCaseAndReadsEitherCase) {
  EXPECT_EQ("000aff", HexLower({0x00, 0x0A, 0xFF}));
  EXPECT_EQ("", HexLower({}));
  Bytes out;
  ASSERT_TRUE(ParseHex("0A0bFf", &out));
  EXPECT_EQ((Bytes{0x0A, 0x0B, 0xFF}), out);
  EXPECT_FALSE(ParseHex("abc", &out));
  EXPECT_FALSE(ParseHex("0g", &out));
}

}  // namespace
}  // namespace common
