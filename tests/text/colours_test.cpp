// Colours taken out of display masks.
#include "text/colours.h"

#include <gtest/gtest.h>

namespace text {
namespace {

TEST(MaskColour, TakesTheFirstBracketedPart) {
  // clang-format off
  const struct { const char* id; std::u16string_view mask; std::uint32_t colour; std::u16string_view left; } cases[] = {
    {"c.1", u"[rouge]0.00",       0x0000FF,     u"0.00"},
    {"c.2", u"0.00 [GREEN]",      0x00FF00,     u"0.00 "},
    {"c.3", u"[Bleu][Jaune]",     0xFF0000,     u"[Jaune]"},
    {"c.4", u"[yellow]",          0x00FFFF,     u""},
    {"c.5", u"[orange]",          0x0080FF,     u""},
    {"c.6", u"[Blanc]",           0xFFFFFF,     u""},
    {"c.7", u"[#123456]",         0x563412,     u""},  // red and blue exchanged
    {"t.1", u"9 [transparent] 9", kTransparent, u"9  9"},
    {"t.2", u"[Transparent]",     kNoColour,    u""},  // case counts here alone
    {"n.1", u"[ red]",            kNoColour,    u""},
    {"b.1", u"0.00 [red",         kNoColour,    u"0.00 [red"},
    {"b.2", u"a]b[Noir]c",        0x000000,     u"a]bc"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    std::u16string mask(c.mask);
    EXPECT_EQ(c.colour, TakeMaskColour(&mask));
    EXPECT_EQ(c.left, mask);
  }
}

}  // namespace
}  // namespace text
