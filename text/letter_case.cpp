// text/letter_case.cpp: upper case by table-free ranges; the Extended-A
// block pairs each capital with the small letter after it.
#include "text/letter_case.h"

namespace text {

char16_t UpperAscii(char16_t c) {
  return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 0x20) : c;
}

bool EqualAsciiNoCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (UpperAscii(a[i]) != UpperAscii(b[i])) return false;
  }
  return true;
}

bool StartsAsciiNoCase(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() &&
         EqualAsciiNoCase(text.substr(0, prefix.size()), prefix);
}

char16_t UpperLatin(char16_t c) {
  if (c < 0x80) return UpperAscii(c);
  if (c < 0xE0) return c;
  if (c <= 0xFE) return c == 0xF7 ? c : static_cast<char16_t>(c - 0x20);
  if (c == 0xFF) return 0x178;
  const bool odd = (c & 1) != 0;
  if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) {
    return odd ? static_cast<char16_t>(c - 1) : c;
  }
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) {
    return odd ? c : static_cast<char16_t>(c - 1);
  }
  return c;
}

std::u16string UpperLatin(std::u16string_view text) {
  std::u16string out(text);
  for (char16_t& c : out) c = UpperLatin(c);
  return out;
}

}  // namespace text
