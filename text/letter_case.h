// text/letter_case.h: upper case and case-blind comparison of UTF-16 text,
// as the component's names and searches need them.
#pragma once

#include <string>
#include <string_view>

namespace text {

// a-z only: for root, type and key names, which are ASCII by definition.
char16_t UpperAscii(char16_t c);
bool EqualAsciiNoCase(std::u16string_view a, std::u16string_view b);
bool StartsAsciiNoCase(std::u16string_view text, std::u16string_view prefix);

// ASCII, Latin-1 and Latin Extended-A: the letters of the handheld's code
// pages, for comparing what users typed.
char16_t UpperLatin(char16_t c);
std::u16string UpperLatin(std::u16string_view text);

}  // namespace text
