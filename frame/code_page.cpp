// frame/code_page.cpp: code page 1252 and UTF-8 conversions.
#include "frame/code_page.h"

#include <algorithm>
#include <iterator>

namespace frame {
namespace {

// Bytes 0x80 to 0x9F; the rest of the code page is Latin-1.
constexpr char16_t kHighControls[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

bool IsHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void AppendUtf16(std::u16string& out, char32_t code_point) {
  if (code_point < 0x10000) {
    out += static_cast<char16_t>(code_point);
    return;
  }
  code_point -= 0x10000;
  out += static_cast<char16_t>(0xD800 + (code_point >> 10));
  out += static_cast<char16_t>(0xDC00 + (code_point & 0x3FF));
}

void AppendUtf8(std::string& out, char32_t code_point) {
  if (code_point < 0x80) {
    out += static_cast<char>(code_point);
  } else if (code_point < 0x800) {
    out += static_cast<char>(0xC0 | (code_point >> 6));
    out += static_cast<char>(0x80 | (code_point & 0x3F));
  } else if (code_point < 0x10000) {
    out += static_cast<char>(0xE0 | (code_point >> 12));
    out += static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code_point & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code_point >> 18));
    out += static_cast<char>(0x80 | ((code_point >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code_point & 0x3F));
  }
}

}  // namespace

char16_t AnsiToChar(std::uint8_t byte) {
  if (byte >= 0x80 && byte <= 0x9F) return kHighControls[byte - 0x80];
  return byte;
}

char CharToAnsi(char16_t c) {
  if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<char>(c);
  const auto* found =
      std::find(std::begin(kHighControls), std::end(kHighControls), c);
  if (found == std::end(kHighControls)) return kAnsiReplacement;
  return static_cast<char>(0x80 + (found - std::begin(kHighControls)));
}

std::u16string AnsiToUtf16(std::string_view bytes) {
  std::u16string out;
  out.reserve(bytes.size());
  for (const char byte : bytes) {
    out += AnsiToChar(static_cast<std::uint8_t>(byte));
  }
  return out;
}

std::string Utf16ToAnsi(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsHighSurrogate(text[i]) && i + 1 < text.size() &&
        IsLowSurrogate(text[i + 1])) {
      ++i;
      out += kAnsiReplacement;
      continue;
    }
    out += CharToAnsi(text[i]);
  }
  return out;
}

std::u16string Utf8ToUtf16(std::string_view bytes) {
  std::u16string out;
  out.reserve(bytes.size());
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<std::uint8_t>(bytes[i]);
    if (lead < 0x80) {
      out += static_cast<char16_t>(lead);
      ++i;
      continue;
    }
    // Sequence length and the range of the second byte, which rules out
    // overlong forms, surrogates and code points above U+10FFFF.
    int length = 0;
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;
    char32_t code_point = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
      code_point = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      code_point = lead & 0x0F;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      code_point = lead & 0x07;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    }
    ++i;
    bool complete = length != 0;
    for (int k = 1; k < length; ++k) {
      if (i >= bytes.size()) {
        complete = false;
        break;
      }
      const auto next = static_cast<std::uint8_t>(bytes[i]);
      if (next < low || next > high) {
        complete = false;  // the offending byte starts the next sequence
        break;
      }
      code_point = (code_point << 6) | (next & 0x3F);
      low = 0x80;
      high = 0xBF;
      ++i;
    }
    if (complete) {
      AppendUtf16(out, code_point);
    } else {
      out += kReplacementChar;
    }
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (IsHighSurrogate(c) && i + 1 < text.size() &&
        IsLowSurrogate(text[i + 1])) {
      AppendUtf8(out, 0x10000 + ((char32_t{c} - 0xD800) << 10) +
                          (char32_t{text[i + 1]} - 0xDC00));
      ++i;
    } else if (IsHighSurrogate(c) || IsLowSurrogate(c)) {
      AppendUtf8(out, kReplacementChar);
    } else {
      AppendUtf8(out, c);
    }
  }
  return out;
}

}  // namespace frame
