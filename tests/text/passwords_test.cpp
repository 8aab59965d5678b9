// Passwords from scripted draws: syllables, the digit run, the cut at the
// length and character sets.
#include "text/passwords.h"

#include <gtest/gtest.h>

#include <vector>

namespace text {
namespace {

TEST(Password, FollowsTheDraws) {
  // clang-format off
  const struct { const char* id; std::int32_t length; std::u16string_view set; std::vector<int> draws; std::u16string_view password; } cases[] = {
    {"z.1",  -3, u"",   {},                             u""},
    {"1.1",  1,  u"",   {1, 3},                         u"o"},     // odd: a vowel
    {"1.2",  1,  u"",   {2, 38},                        u"Z"},     // even: a consonant
    {"2.1",  2,  u"",   {0, 0, 4, 0},                   u"da"},    // no parity draw for 2 left
    {"3.1",  3,  u"",   {0, 0, 0, 1, 4},                u"fer"},
    {"3.2",  3,  u"",   {0, 0, 1, 2, 2, 0, 0},          u"cib"},   // the last syllable is cut
    {"3.3",  3,  u"",   {2, 7, 0, 19, 13},              u"clY"},   // draws taken modulo
    {"8.1",  8,  u"",   {2, 3, 0, 0, 11, 0, 7, 1, 38, 9, 16, 0}, u"dra29ZYL"},
    {"8.2",  8,  u"",   {7, 3, 1, 0, 1, 1, 1, 1, 1, 2, 2, 3},    u"beBeBico"},  // run past the end
    {"10.1", 10, u"",   {0, 4, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0}, u"sla3bababa"},  // a syllable covers the run
    {"s.1",  3,  u"ab", {0, 1, 3},                      u"abb"},
    {"s.2",  5,  u"x",  {},                             u""},      // one character: nothing
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    std::size_t used = 0;
    const RandomDraw script = [&] {
      if (used < c.draws.size()) return c.draws[used++];
      ADD_FAILURE() << "more draws than scripted";
      return 0;
    };
    EXPECT_EQ(c.password, MakePassword(c.length, c.set, script));
    EXPECT_EQ(c.draws.size(), used);
  }
}

}  // namespace
}  // namespace text
