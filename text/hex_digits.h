// text/hex_digits.h: hexadecimal digits read the way the C runtime's base-16
// conversion reads them, for the dump parser, the mask colours and .reg
// files.
#pragma once

#include <cstdint>
#include <string_view>

namespace text {

// 0-15, or -1 for a character that is no hexadecimal digit.
constexpr int HexDigitValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// An optional "0x" before digits, then the digits up to the first other
// character; bits beyond 32 are lost, as in a 32-bit conversion.
constexpr std::uint32_t ReadHexNumber(std::u16string_view text) {
  std::size_t i = 0;
  if (text.size() > 2 && text[0] == u'0' &&
      (text[1] == u'x' || text[1] == u'X') && HexDigitValue(text[2]) >= 0) {
    i = 2;
  }
  std::uint32_t value = 0;
  for (; i < text.size() && HexDigitValue(text[i]) >= 0; ++i) {
    value = (value << 4) | static_cast<std::uint32_t>(HexDigitValue(text[i]));
  }
  return value;
}

}  // namespace text
