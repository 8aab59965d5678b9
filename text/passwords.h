// text/passwords.h: pronounceable passwords (function 470): syllables of
// consonants and vowels with at most one short run of digits.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace text {

// A source of non-negative random numbers; the language function draws
// from the C runtime's rand(), tests from a script.
using RandomDraw = std::function<int()>;

// The password of `length` characters (empty for 0 or less). A `set` of two
// characters or more gives characters drawn from it alone.
std::u16string MakePassword(std::int32_t length, std::u16string_view set,
                            const RandomDraw &draw);

}  // namespace text
