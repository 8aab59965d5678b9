// The hexadecimal dump with every flag, and the parse back: chunks,
// separators, short tails and the first bad chunk.
#include "text/hex_dump.h"

#include <gtest/gtest.h>

#include <numeric>

namespace text {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Count(int n) {
  Bytes b(static_cast<std::size_t>(n));
  std::iota(b.begin(), b.end(), std::uint8_t{0});
  return b;
}

TEST(HexDump, Layouts) {
  // clang-format off
  const struct { const char* id; Bytes bytes; std::int32_t unit, line; std::optional<std::u16string_view> dump; } cases[] = {
    {"d.1",  Count(17),                   1,     16,    u"00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\r\n10"},
    {"d.2",  {0x34, 0x12, 0x78, 0x56},    2,     0,     u"1234 5678"},
    {"d.3",  {0x34, 0x12, 0x78, 0x56},    2,     0x200, u"3412 7856"},  // big-endian, 16 a line
    {"d.4",  {1, 2, 3, 4, 5},             4,     16,    u"04030201 05"},
    {"d.5",  {1, 2, 3},                   4,     16,    u"01 02 03"},
    {"d.6",  Count(12),                   4,     6,     u"03020100 07060504\r\n0B0A0908"},
    {"d.7",  {0x41, 0x42, 0, 0x7F, 0x43}, 0x101, 4,     u"41 42 00 7F AB.\x7F\r\n43 C"},
    {"d.8",  {0x34, 0x12, 0x41, 0x80},    0x102, 2,     u"1234 4.\r\n8041 A."},  // full last line
    {"d.9",  Count(4),                    3,     16,    std::nullopt},
    {"d.10", Count(4),                    0x200 + 1, 16, std::nullopt},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.dump, DumpHex(c.bytes, c.unit, c.line));
  }
}

TEST(HexParse, Chunks) {
  // clang-format off
  const struct { const char* id; std::u16string_view text; std::int32_t unit; Bytes bytes; std::optional<std::u16string_view> bad; } cases[] = {
    {"p.1", u"0A 0B\r\n0C",         1, {0x0A, 0x0B, 0x0C}, {}},
    {"p.2", u"0a\n0b",              1, {0x0A, 0x0B},       {}},
    {"p.3", u"12345678 9ABCDEF0",   4, {0x78, 0x56, 0x34, 0x12, 0xF0, 0xDE, 0xBC, 0x9A}, {}},
    {"p.4", u"A",                   1, {0x0A},             {}},      // short last chunk
    {"p.5", u"1G000x1F",            2, {0x01, 0, 0x1F, 0}, {}},      // the runtime's conversion
    {"p.6", u"0AG1",                1, {},                 u"G1"},
    {"p.7", u"0A  0B",              1, {},                 u" 0"},   // one space only
    {"p.8", u"0A\n\r0B",            1, {},                 u"\r0"},  // space, CR, LF in order
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const HexParsed parsed = ParseHex(c.text, c.unit);
    EXPECT_EQ(c.bytes, parsed.bytes);
    EXPECT_EQ(c.bad, parsed.bad_chunk);
  }
  for (const std::int32_t unit : {1, 2, 4}) {
    EXPECT_EQ(Count(40), ParseHex(*DumpHex(Count(40), unit, 8), unit).bytes);
  }
}

}  // namespace
}  // namespace text
