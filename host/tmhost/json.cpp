// host/tmhost/json.cpp: JSON strings and numbers.
#include "host/tmhost/json.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "host/common/encoding.h"

namespace tmhost {

std::string JsonString(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof(escape), "\\u%04x",
                        static_cast<unsigned>(c));
          out += escape;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

std::string JsonString(std::u16string_view text) {
  return JsonString(common::Utf16ToUtf8(text));
}

std::string RealText(double value) {
  char buffer[64];
  const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof(buffer), value);
  return ec == std::errc() ? std::string(buffer, ptr) : std::string("?");
}

std::string JsonReal(double value) {
  return std::isfinite(value) ? RealText(value) : std::string("null");
}

}  // namespace tmhost
