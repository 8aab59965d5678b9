// platform/posix/host_text.cpp: UTF-16 to UTF-8 and back.
#include "platform/posix/host_text.h"

namespace plat::posix {
namespace {

void AppendUtf8(char32_t c, std::string* out) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (c >> 6)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (c >> 12)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (c >> 18)));
    out->push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

void AppendUtf16(char32_t c, std::u16string* out) {
  if (c < 0x10000) {
    out->push_back(static_cast<char16_t>(c));
  } else {
    c -= 0x10000;
    out->push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
  }
}

}  // namespace

bool ToHostText(std::u16string_view text, std::string* out) {
  out->clear();
  out->reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00) {
      if (i + 1 >= text.size() || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF)
        return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      return false;
    }
    AppendUtf8(c, out);
  }
  return true;
}

std::u16string FromHostText(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto b = static_cast<unsigned char>(text[i]);
    int extra = b < 0x80                ? 0
                : b >= 0xF0 && b < 0xF5 ? 3
                : b >= 0xE0             ? 2
                : b >= 0xC2 && b < 0xE0 ? 1
                                        : -1;
    char32_t c = extra == 0   ? b
                 : extra == 1 ? b & 0x1F
                 : extra == 2 ? b & 0x0F
                              : b & 0x07;
    bool ok = extra >= 0 && i + static_cast<std::size_t>(extra) < text.size();
    for (int k = 1; ok && k <= extra; ++k) {
      const auto t = static_cast<unsigned char>(text[i + k]);
      if ((t & 0xC0) != 0x80) ok = false;
      c = (c << 6) | (t & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    if (ok && ((extra == 2 && c < 0x800) || (extra == 3 && c < 0x10000) ||
               (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF))
      ok = false;
    if (!ok) {
      out.push_back(u'\uFFFD');
      ++i;
      continue;
    }
    AppendUtf16(c, &out);
    i += static_cast<std::size_t>(extra) + 1;
  }
  return out;
}

}  // namespace plat::posix
