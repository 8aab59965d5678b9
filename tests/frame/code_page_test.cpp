// Code page 1252 and UTF-8 conversions.
#include "frame/code_page.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace frame {
namespace {

// clang-format off
struct ByteCase { const char* id; std::uint8_t byte; char16_t c; };

constexpr ByteCase kByteCases[] = {
  {"1.1", 0x00, 0x0000}, {"1.2", 0x41, 0x0041}, {"1.3", 0x7F, 0x007F},
  {"2.1", 0x80, 0x20AC}, {"2.2", 0x82, 0x201A}, {"2.3", 0x8A, 0x0160},
  {"2.4", 0x99, 0x2122}, {"2.5", 0x9F, 0x0178},
  {"3.1", 0x81, 0x0081}, {"3.2", 0x8D, 0x008D}, {"3.3", 0x8F, 0x008F},
  {"3.4", 0x90, 0x0090}, {"3.5", 0x9D, 0x009D},
  {"4.1", 0xA0, 0x00A0}, {"4.2", 0xE9, 0x00E9}, {"4.3", 0xFF, 0x00FF},
};
// clang-format on

TEST(AnsiCodePage, Bytes) {
  for (const ByteCase& c : kByteCases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.c, AnsiToChar(c.byte));
    EXPECT_EQ(static_cast<char>(c.byte), CharToAnsi(c.c));
  }
}

TEST(AnsiCodePage, EveryByteRoundTrips) {
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  EXPECT_EQ(all, Utf16ToAnsi(AnsiToUtf16(all)));
}

// clang-format off
struct ToAnsiCase {
  const char* id;
  std::u16string_view text;
  std::string_view ansi;
};

const ToAnsiCase kToAnsiCases[] = {
  {"1.1", u"caf\u00e9 \u20ac5", "caf\xE9 \x80" "5"},
  {"1.2", u"\u0080\u009F",      "??"},        // C1 controls the page redefines
  {"1.3", u"\u0100\u4E2D",      "??"},
  {"1.4", u"a\U0001F600b",      "a?b"},       // one character, one byte
  {"1.5", u"a\xD800" u"b",      "a?b"},       // lone surrogate
  {"1.6", u"",                  ""},
};
// clang-format on

TEST(AnsiCodePage, FromUtf16) {
  for (const ToAnsiCase& c : kToAnsiCases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.ansi, Utf16ToAnsi(c.text));
  }
}

// clang-format off
struct Utf8Case {
  const char* id;
  std::string_view utf8;
  std::u16string_view text;
};

const Utf8Case kDecodeCases[] = {
  {"1.1", "abc",                      u"abc"},
  {"1.2", "\xC3\xA9",                 u"\u00e9"},
  {"1.3", "\xE2\x82\xAC",             u"\u20ac"},
  {"1.4", "\xF0\x9F\x98\x80",         u"\U0001F600"},
  {"1.5", "\xF4\x8F\xBF\xBF",         u"\U0010FFFF"},
  {"1.6", std::string_view("a\0b", 3), std::u16string_view(u"a\0b", 3)},
  // Each maximal ill-formed subsequence is one replacement.
  {"2.1", "\xC0\xAF",                 u"\uFFFD\uFFFD"},        // overlong
  {"2.2", "\xE0\x80\xAF",             u"\uFFFD\uFFFD\uFFFD"},  // overlong
  {"2.3", "\xED\xA0\x80",             u"\uFFFD\uFFFD\uFFFD"},  // surrogate
  {"2.4", "\xF4\x90\x80\x80",         u"\uFFFD\uFFFD\uFFFD\uFFFD"},
  {"2.5", "\xE2\x82",                 u"\uFFFD"},              // cut short
  {"2.6", "\xF0\x9F\x98" "A",         u"\uFFFD" u"A"},
  {"2.7", "\x80" "a\xFF",             u"\uFFFD" u"a\uFFFD"},
  {"2.8", "\xC3" "\xC3\xA9",          u"\uFFFD\u00e9"},
};
// clang-format on

TEST(Utf8, Decode) {
  for (const Utf8Case& c : kDecodeCases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.text, Utf8ToUtf16(c.utf8));
  }
}

// clang-format off
const Utf8Case kEncodeCases[] = {
  {"1.1", "abc",              u"abc"},
  {"1.2", "\xC3\xA9\xE2\x82\xAC", u"\u00e9\u20ac"},
  {"1.3", "\xF0\x9F\x98\x80", u"\U0001F600"},
  {"1.4", "\xEF\xBF\xBD" "a", u"\xD83D" u"a"},        // high, no low
  {"1.5", "a\xEF\xBF\xBD",    u"a\xDE00"},            // low alone
  {"1.6", "\xEF\xBF\xBD\xEF\xBF\xBD", u"\xDE00\xD83D"},  // wrong order
  {"1.7", "\xEF\xBF\xBF",     u"\uFFFF"},
};
// clang-format on

TEST(Utf8, Encode) {
  for (const Utf8Case& c : kEncodeCases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.utf8, Utf16ToUtf8(c.text));
  }
}

TEST(Utf8, EveryCharacterRoundTrips) {
  std::u16string all;
  for (char32_t c = 1; c < 0x10000; ++c) {
    if (c < 0xD800 || c > 0xDFFF) all += static_cast<char16_t>(c);
  }
  all += u"\U00010000\U0010FFFF";
  EXPECT_EQ(all, Utf8ToUtf16(Utf16ToUtf8(all)));
}

}  // namespace
}  // namespace frame
