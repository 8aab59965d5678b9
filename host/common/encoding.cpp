// host/common/encoding.cpp: UTF-8, UTF-16, code page 1252 and hexadecimal.
#include "host/common/encoding.h"

#include "frame/code_page.h"

namespace common {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool Utf8ToUtf16(std::string_view text, std::u16string* out) {
  std::u16string result;
  result.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    int extra;
    char32_t c;
    if (lead < 0x80) {
      extra = 0;
      c = lead;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      extra = 1;
      c = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      extra = 2;
      c = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      extra = 3;
      c = lead & 0x07;
    } else {
      return false;
    }
    if (i + extra >= text.size()) return false;  // cut short
    for (int k = 1; k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      c = (c << 6) | (next & 0x3F);
    }
    const bool overlong =
        (extra == 2 && c < 0x800) || (extra == 3 && c < 0x10000);
    if (overlong || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      return false;
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      result.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      result.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      result.push_back(static_cast<char16_t>(c));
    }
    i += extra + 1;
  }
  *out = std::move(result);
  return true;
}

// The component's own conversions: the host shows texts as it reads them.
std::string Utf16ToUtf8(std::u16string_view text) {
  return frame::Utf16ToUtf8(text);
}

std::string Cp1252ToUtf8(std::string_view text) {
  return frame::Utf16ToUtf8(frame::AnsiToUtf16(text));
}

std::u16string Widen(std::string_view ascii) {
  std::u16string out;
  out.reserve(ascii.size());
  for (char c : ascii) out.push_back(static_cast<unsigned char>(c));
  return out;
}

bool Narrow(std::u16string_view text, std::string* out) {
  std::string result;
  result.reserve(text.size());
  for (char16_t c : text) {
    if (c > 0x7F) return false;
    result.push_back(static_cast<char>(c));
  }
  *out = std::move(result);
  return true;
}

std::string HexLower(const Bytes& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (std::uint8_t b : bytes) {
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 0x0F]);
  }
  return out;
}

bool ParseHex(std::string_view text, Bytes* out) {
  if (text.size() % 2 != 0) return false;
  Bytes result;
  result.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    result.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  *out = std::move(result);
  return true;
}

}  // namespace common
