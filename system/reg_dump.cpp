// system/reg_dump.cpp: a subtree as indented lines, values rendered by type.
#include "system/reg_dump.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace sys {
namespace {

// Binary data longer than this shows its first bytes and its size.
constexpr std::size_t kShownBytes = 32;

void AppendAscii(std::u16string* out, const char* s) {
  while (*s != 0) *out += static_cast<char16_t>(*s++);
}

std::u16string DecodeUtf16(std::span<const std::uint8_t> data) {
  std::u16string text(data.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(data[2 * i] | data[2 * i + 1] << 8);
  }
  return text;
}

// Quoted with \\, \", \r, \n and \t; other control characters as \xNN.
void AppendQuoted(std::u16string* out, std::u16string_view text) {
  *out += u'"';
  for (const char16_t c : text) {
    switch (c) {
      case u'\\':
        *out += u"\\\\";
        break;
      case u'"':
        *out += u"\\\"";
        break;
      case u'\r':
        *out += u"\\r";
        break;
      case u'\n':
        *out += u"\\n";
        break;
      case u'\t':
        *out += u"\\t";
        break;
      default:
        if (c < 0x20) {
          char hex[8];
          std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned>(c));
          AppendAscii(out, hex);
        } else {
          *out += c;
        }
    }
  }
  *out += u'"';
}

std::u16string Bytes(std::span<const std::uint8_t> data) {
  if (data.empty()) return u"(empty)";
  std::u16string out;
  char hex[4];
  for (std::size_t i = 0; i < data.size() && i < kShownBytes; ++i) {
    std::snprintf(hex, sizeof hex, i == 0 ? "%02x" : " %02x", data[i]);
    AppendAscii(&out, hex);
  }
  if (data.size() > kShownBytes) {
    char tail[48];
    std::snprintf(tail, sizeof tail, " ... (%zu bytes)", data.size());
    AppendAscii(&out, tail);
  }
  return out;
}

std::u16string Number(unsigned long long value, int hex_digits) {
  char text[48];
  std::snprintf(text, sizeof text, "%llu (0x%0*llx)", value, hex_digits, value);
  std::u16string out;
  AppendAscii(&out, text);
  return out;
}

class Dumper final : public RegVisitor {
 public:
  explicit Dumper(std::u16string* out) : out_(out) {}

  void Key(std::u16string_view path, std::size_t depth) override {
    depth_ = depth;
    Indent(depth);
    if (depth > 0) path = path.substr(path.rfind(u'\\') + 1);
    out_->append(u"[").append(path).append(u"]\n");
  }
  void Value(std::u16string_view name, std::uint32_t type,
             std::span<const std::uint8_t> data) override {
    Indent(depth_ + 1);
    if (name.empty()) {
      *out_ += u'@';
    } else {
      AppendQuoted(out_, name);
    }
    out_->append(u" ").append(RegTypeName(type)).append(u" ");
    out_->append(RenderRegData(type, data)).append(u"\n");
  }

 private:
  void Indent(std::size_t depth) { out_->append(2 * depth, u' '); }

  std::u16string* out_;
  std::size_t depth_ = 0;
};

}  // namespace

std::u16string RegTypeName(std::uint32_t type) {
  static constexpr std::u16string_view kNames[] = {
      u"REG_NONE",
      u"REG_SZ",
      u"REG_EXPAND_SZ",
      u"REG_BINARY",
      u"REG_DWORD",
      u"REG_DWORD_BIG_ENDIAN",
      u"REG_LINK",
      u"REG_MULTI_SZ",
      u"REG_RESOURCE_LIST",
      u"REG_FULL_RESOURCE_DESCRIPTOR",
      u"REG_RESOURCE_REQUIREMENTS_LIST",
      u"REG_QWORD",
  };
  if (type < std::size(kNames)) return std::u16string(kNames[type]);
  char text[24];
  std::snprintf(text, sizeof text, "type 0x%x", static_cast<unsigned>(type));
  std::u16string out;
  AppendAscii(&out, text);
  return out;
}

std::u16string RenderRegData(std::uint32_t type,
                             std::span<const std::uint8_t> data) {
  const bool whole_chars = data.size() % 2 == 0;
  std::u16string out;
  if ((type == plat::kRegSz || type == plat::kRegExpandSz) && whole_chars) {
    std::u16string text = DecodeUtf16(data);
    if (!text.empty() && text.back() == 0) text.pop_back();
    AppendQuoted(&out, text);
    return out;
  }
  if (type == plat::kRegMultiSz && whole_chars) {
    // The list ends with an empty string: "a\0b\0\0".
    std::u16string text = DecodeUtf16(data);
    if (!text.empty() && text.back() == 0) text.pop_back();
    if (!text.empty() && text.back() == 0) text.pop_back();
    out = u"[";
    for (std::size_t at = 0; !text.empty() && at <= text.size();) {
      const std::size_t end = std::min(text.find(u'\0', at), text.size());
      if (at > 0) out += u", ";
      AppendQuoted(&out, std::u16string_view(text).substr(at, end - at));
      at = end + 1;
    }
    out += u"]";
    return out;
  }
  if ((type == plat::kRegDword || type == plat::kRegDwordBigEndian) &&
      data.size() == 4) {
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i) {
      const int shift = type == plat::kRegDword ? 8 * i : 8 * (3 - i);
      v |= static_cast<std::uint32_t>(data[i]) << shift;
    }
    return Number(v, 8);
  }
  if (type == plat::kRegQword && data.size() == 8) {
    unsigned long long v = 0;
    for (int i = 0; i < 8; ++i) {
      v |= static_cast<unsigned long long>(data[i]) << 8 * i;
    }
    return Number(v, 16);
  }
  return Bytes(data);
}

plat::SysErr DumpRegTree(const RegKeyPath& start, std::u16string* out,
                         const RegProgress& progress, RegStoreError* error) {
  out->clear();
  Dumper dumper(out);
  return WalkRegTree(start, &dumper, progress, error);
}

}  // namespace sys
