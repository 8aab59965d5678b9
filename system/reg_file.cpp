// system/reg_file.cpp: .reg text, written and read.
//
//   key paths | writing | decoding a file | the parser
#include "system/reg_file.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "frame/code_page.h"
#include "text/letter_case.h"
#include "text/hex_digits.h"

namespace sys {
namespace {

using Text = std::u16string_view;

constexpr Text kRegedit4Header = u"REGEDIT4";
constexpr Text kVersion5Header = u"Windows Registry Editor Version 5.00";
constexpr Text kCrLf = u"\r\n";

// The editor breaks a hex list once a line reaches this many characters,
// after a comma, and goes on two spaces in: lines stay within 80 columns.
constexpr std::size_t kHexBreak = 77;

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

Text TrimLeft(Text t) {
  while (!t.empty() && IsBlank(t.front())) t.remove_prefix(1);
  return t;
}

Text TrimRight(Text t) {
  while (!t.empty() && IsBlank(t.back())) t.remove_suffix(1);
  return t;
}

void AppendAscii(std::u16string* out, const char* s) {
  while (*s != 0) *out += static_cast<char16_t>(*s++);
}

// ---- Key paths --------------------------------------------------------------

struct Root {
  Text name;
  Text short_name;
  plat::Key key;
};

constexpr std::array<Root, 4> kRoots = {{
    {u"HKEY_CLASSES_ROOT", u"HKCR", plat::kClassesRoot},
    {u"HKEY_CURRENT_USER", u"HKCU", plat::kCurrentUser},
    {u"HKEY_LOCAL_MACHINE", u"HKLM", plat::kLocalMachine},
    {u"HKEY_USERS", u"HKU", plat::kUsers},
}};

}  // namespace

const char* ParseRegKeyPath(Text text, bool short_names, RegKeyPath* out) {
  const std::size_t end = text.find(u'\\');
  const Text root = text.substr(0, end);
  const Root* found = nullptr;
  for (const Root& r : kRoots) {
    if (text::EqualAsciiNoCase(root, r.name) ||
        (short_names && text::EqualAsciiNoCase(root, r.short_name))) {
      found = &r;
    }
  }
  if (found == nullptr) {
    return "the key must begin with HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, "
           "HKEY_LOCAL_MACHINE or HKEY_USERS";
  }
  // One trailing "\" is dropped; any other empty name is an error.
  Text sub = end == Text::npos ? Text() : text.substr(end + 1);
  const bool trailing = !sub.empty() && sub.back() == u'\\';
  if (trailing) sub.remove_suffix(1);
  if (trailing && sub.empty()) return "the key path has an empty name";
  for (std::size_t at = 0; !sub.empty() && at <= sub.size();) {
    const std::size_t next = std::min(sub.find(u'\\', at), sub.size());
    if (next == at) return "the key path has an empty name";
    at = next + 1;
  }
  out->root = found->key;
  out->root_name = found->name;
  out->sub.assign(sub);
  return nullptr;
}

std::u16string RegKeyText(const RegKeyPath& path) {
  std::u16string text(path.root_name);
  if (!path.sub.empty()) text.append(u"\\").append(path.sub);
  return text;
}

// ---- Writing ----------------------------------------------------------------

namespace {

bool FitsAnsi(char16_t c) {
  return c == static_cast<char16_t>(frame::kAnsiReplacement) ||
         frame::CharToAnsi(c) != frame::kAnsiReplacement;
}

bool FitsAnsi(Text text) {
  for (const char16_t c : text) {
    if (!FitsAnsi(c)) return false;
  }
  return true;
}

// A name as a line can carry it: line breaks and NUL become "?".
std::u16string CleanName(RegFormat format, Text name, bool* faithful) {
  std::u16string out(name);
  for (char16_t& c : out) {
    if (c == 0 || c == u'\r' || c == u'\n') {
      c = u'?';
      *faithful = false;
    }
  }
  if (format == RegFormat::kRegedit4 && !FitsAnsi(out)) *faithful = false;
  return out;
}

void AppendQuoted(std::u16string* out, Text text) {
  *out += u'"';
  for (const char16_t c : text) {
    if (c == u'\\' || c == u'"') *out += u'\\';
    *out += c;
  }
  *out += u'"';
}

std::u16string DecodeUtf16(std::span<const std::uint8_t> data) {
  std::u16string text(data.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(data[2 * i] | data[2 * i + 1] << 8);
  }
  return text;
}

void AppendUtf16(std::vector<std::uint8_t>* out, Text text) {
  for (const char16_t c : text) {
    out->push_back(static_cast<std::uint8_t>(c & 0xFF));
    out->push_back(static_cast<std::uint8_t>(c >> 8));
  }
}

// The characters of a REG_SZ that a quoted string gives back byte for
// byte, or false.
bool QuotableText(RegFormat format, std::span<const std::uint8_t> data,
                  std::u16string* text) {
  if (data.size() < 2 || data.size() % 2 != 0) return false;
  *text = DecodeUtf16(data);
  if (text->back() != 0) return false;
  text->pop_back();
  for (const char16_t c : *text) {
    if (c == 0 || c == u'\r' || c == u'\n') return false;
  }
  return format == RegFormat::kVersion5 || FitsAnsi(*text);
}

void AppendHexList(std::u16string* out, std::size_t line_length,
                   std::span<const std::uint8_t> bytes) {
  static constexpr char16_t kDigits[] = u"0123456789abcdef";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    *out += kDigits[bytes[i] >> 4];
    *out += kDigits[bytes[i] & 0x0F];
    if (i + 1 == bytes.size()) break;
    *out += u',';
    line_length += 3;
    if (line_length >= kHexBreak) {
      *out += u"\\\r\n  ";
      line_length = 2;
    }
  }
}

}  // namespace

std::u16string FormatRegValue(RegFormat format, Text name, std::uint32_t type,
                              std::span<const std::uint8_t> data,
                              bool* faithful) {
  *faithful = true;
  std::u16string out;
  if (name.empty()) {
    out = u"@";
  } else {
    AppendQuoted(&out, CleanName(format, name, faithful));
  }
  out += u'=';

  std::u16string text;
  if (type == plat::kRegSz && QuotableText(format, data, &text)) {
    AppendQuoted(&out, text);
    out += kCrLf;
    return out;
  }
  char tag[24];
  if (type == plat::kRegDword && data.size() == 4) {
    const std::uint32_t v = data[0] | data[1] << 8 | data[2] << 16 |
                            static_cast<std::uint32_t>(data[3]) << 24;
    std::snprintf(tag, sizeof tag, "dword:%08x", static_cast<unsigned>(v));
    AppendAscii(&out, tag);
    out += kCrLf;
    return out;
  }
  if (type == plat::kRegBinary) {
    std::snprintf(tag, sizeof tag, "hex:");
  } else {
    std::snprintf(tag, sizeof tag, "hex(%x):", static_cast<unsigned>(type));
  }
  AppendAscii(&out, tag);

  // REGEDIT4 writes the characters of the two string-list types as 8-bit
  // bytes, as the editor does; REG_SZ stays UTF-16, so hex(1) is exact.
  std::vector<std::uint8_t> narrow;
  if (format == RegFormat::kRegedit4 &&
      (type == plat::kRegExpandSz || type == plat::kRegMultiSz)) {
    const std::u16string chars = DecodeUtf16(data);
    if (data.size() % 2 != 0 || !FitsAnsi(chars)) *faithful = false;
    const std::string bytes = frame::Utf16ToAnsi(chars);
    narrow.assign(bytes.begin(), bytes.end());
    data = narrow;
  }
  AppendHexList(&out, out.size(), data);
  out += kCrLf;
  return out;
}

RegWriter::RegWriter(RegFormat format) : format_(format) {
  text_ = format == RegFormat::kRegedit4 ? kRegedit4Header : kVersion5Header;
  text_ += kCrLf;
}

bool RegWriter::AddKey(Text path) {
  bool faithful = true;
  text_ += kCrLf;
  text_ += u'[';
  text_ += CleanName(format_, path, &faithful);
  text_ += u']';
  text_ += kCrLf;
  return faithful;
}

bool RegWriter::AddValue(Text name, std::uint32_t type,
                         std::span<const std::uint8_t> data) {
  bool faithful = true;
  text_ += FormatRegValue(format_, name, type, data, &faithful);
  return faithful;
}

std::string RegWriter::Finish() const {
  const std::u16string text = text_ + std::u16string(kCrLf);
  if (format_ == RegFormat::kRegedit4) return frame::Utf16ToAnsi(text);
  std::string bytes = "\xFF\xFE";
  bytes.reserve(2 + text.size() * 2);
  for (const char16_t c : text) {
    bytes += static_cast<char>(c & 0xFF);
    bytes += static_cast<char>(c >> 8);
  }
  return bytes;
}

// ---- Decoding a file --------------------------------------------------------

namespace {

// The file's characters; false when a UTF-16 file ends in half of one.
bool DecodeFile(std::string_view bytes, std::u16string* text) {
  if (bytes.starts_with("\xFF\xFE")) {
    bytes.remove_prefix(2);
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    *text = DecodeUtf16({data, bytes.size()});
    return bytes.size() % 2 == 0;
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    *text = frame::Utf8ToUtf16(bytes.substr(3));
  } else {
    *text = frame::AnsiToUtf16(bytes);
  }
  return true;
}

// ---- The parser -------------------------------------------------------------

class Parser {
 public:
  Parser(Text text, RegFile* out, RegFileError* error)
      : text_(text), out_(out), error_(error) {}

  bool Run(bool whole_characters) {
    Text line;
    if (!NextLine(&line)) return Fail("the file is empty: no header line");
    line = TrimRight(line);
    if (line == kVersion5Header) {
      out_->format = RegFormat::kVersion5;
    } else if (line == kRegedit4Header) {
      out_->format = RegFormat::kRegedit4;
    } else {
      return Fail(
          "the first line must be \"Windows Registry Editor Version 5.00\" "
          "or \"REGEDIT4\"");
    }
    while (NextLine(&line)) {
      line = TrimLeft(line);
      if (line.empty() || line.front() == u';') continue;
      bool ok = false;
      if (line.front() == u'[') {
        ok = KeyLine(line);
      } else if (line.front() == u'"' || line.front() == u'@') {
        ok = ValueLine(line);
      } else {
        ok = Fail("expected a [key], a value or a ; comment");
      }
      if (!ok) return false;
    }
    if (!whole_characters) {
      // The odd byte sits after the last line break.
      line_number_ = std::count(text_.begin(), text_.end(), u'\n') + 1;
      return Fail("the file ends in half a character");
    }
    return true;
  }

 private:
  bool Fail(const char* what) {
    error_->line = line_number_ == 0 ? 1 : line_number_;
    error_->what = what;
    return false;
  }

  // The next line without its CR LF or LF.
  bool NextLine(Text* line) {
    if (at_ >= text_.size()) return false;
    std::size_t end = text_.find(u'\n', at_);
    if (end == Text::npos) end = text_.size();
    *line = text_.substr(at_, end - at_);
    if (!line->empty() && line->back() == u'\r') line->remove_suffix(1);
    at_ = end + 1;
    ++line_number_;
    return true;
  }

  // Only blanks or a comment may follow.
  bool AtEnd(Text rest) {
    rest = TrimLeft(rest);
    return rest.empty() || rest.front() == u';';
  }

  bool KeyLine(Text line) {
    const std::size_t close = line.rfind(u']');
    if (close == Text::npos || !TrimLeft(line.substr(close + 1)).empty()) {
      return Fail("a key line must end with \"]\"");
    }
    Text inner = line.substr(1, close - 1);
    RegChange change;
    change.line = line_number_;
    change.kind = RegChange::kKey;
    if (!inner.empty() && inner.front() == u'-') {
      change.kind = RegChange::kDeleteKey;
      inner.remove_prefix(1);
    }
    if (const char* what = ParseRegKeyPath(inner, false, &change.key)) {
      return Fail(what);
    }
    if (change.kind == RegChange::kDeleteKey && change.key.sub.empty()) {
      return Fail("a root key cannot be deleted");
    }
    key_state_ = change.kind == RegChange::kKey ? kOpen : kDeleted;
    out_->changes.push_back(std::move(change));
    return true;
  }

  // After an opening quote: the text up to the closing one, with \\ and \"
  // unescaped.
  bool Quoted(Text* rest, std::u16string* out) {
    for (std::size_t i = 0; i < rest->size(); ++i) {
      const char16_t c = (*rest)[i];
      if (c == u'"') {
        rest->remove_prefix(i + 1);
        return true;
      }
      if (c == u'\\') {
        if (i + 1 == rest->size() ||
            ((*rest)[i + 1] != u'\\' && (*rest)[i + 1] != u'"')) {
          return Fail("only \\\\ and \\\" may follow a backslash in quotes");
        }
        ++i;
      }
      *out += (*rest)[i];
    }
    return Fail("a quoted text has no closing quotation mark");
  }

  bool ValueLine(Text line) {
    if (key_state_ == kNone) return Fail("a value comes before any [key]");
    if (key_state_ == kDeleted) {
      return Fail("a value follows a [-key] that deletes its key");
    }
    RegChange change;
    change.line = line_number_;
    change.kind = RegChange::kSetValue;
    Text rest = line.substr(1);
    if (line.front() == u'"' && !Quoted(&rest, &change.name)) return false;
    rest = TrimLeft(rest);
    if (rest.empty() || rest.front() != u'=') {
      return Fail("a value name must be followed by \"=\"");
    }
    rest = TrimLeft(rest.substr(1));
    if (!rest.empty() && rest.front() == u'-') {
      if (!AtEnd(rest.substr(1))) return Fail("text follows \"=-\"");
      change.kind = RegChange::kDeleteValue;
    } else if (!rest.empty() && rest.front() == u'"') {
      rest.remove_prefix(1);
      std::u16string text;
      if (!Quoted(&rest, &text)) return false;
      if (!AtEnd(rest)) return Fail("text follows the closing quotation mark");
      change.type = plat::kRegSz;
      AppendUtf16(&change.data, text);
      AppendUtf16(&change.data, Text(u"\0", 1));
    } else if (text::StartsAsciiNoCase(rest, u"dword:")) {
      if (!Dword(rest.substr(6), &change.data)) return false;
      change.type = plat::kRegDword;
    } else if (text::StartsAsciiNoCase(rest, u"hex")) {
      if (!Hex(rest.substr(3), &change.type, &change.data)) return false;
    } else {
      return Fail("the data must be \"text\", dword:, hex:, hex(N): or -");
    }
    out_->changes.push_back(std::move(change));
    return true;
  }

  bool Dword(Text rest, std::vector<std::uint8_t>* data) {
    std::uint32_t v = 0;
    std::size_t digits = 0;
    for (; digits < rest.size() && text::HexDigitValue(rest[digits]) >= 0; ++digits) {
      v = v << 4 | static_cast<std::uint32_t>(text::HexDigitValue(rest[digits]));
    }
    if (digits == 0 || digits > 8 || !AtEnd(rest.substr(digits))) {
      return Fail("dword: takes 1 to 8 hexadecimal digits");
    }
    for (int i = 0; i < 4; ++i) data->push_back((v >> 8 * i) & 0xFF);
    return true;
  }

  // After "hex": an optional "(type)", ":" and the byte list, which a "\"
  // at the end of a line continues on the next.
  bool Hex(Text rest, std::uint32_t* type, std::vector<std::uint8_t>* data) {
    *type = plat::kRegBinary;
    if (!rest.empty() && rest.front() == u'(') {
      const std::size_t close = rest.find(u')');
      const Text digits = rest.substr(1, close == Text::npos ? 0 : close - 1);
      std::uint32_t v = 0;
      bool ok = !digits.empty() && digits.size() <= 8;
      for (const char16_t c : digits) {
        ok = ok && text::HexDigitValue(c) >= 0;
        if (ok) v = v << 4 | static_cast<std::uint32_t>(text::HexDigitValue(c));
      }
      if (!ok) return Fail("hex(N) takes a type of 1 to 8 hexadecimal digits");
      *type = v;
      rest = rest.substr(close + 1);
    }
    if (rest.empty() || rest.front() != u':') {
      return Fail("hex must be followed by \":\" or \"(N):\"");
    }
    rest.remove_prefix(1);
    for (;;) {
      rest = TrimLeft(rest);
      if (rest.empty() || rest.front() == u';') break;
      if (rest.front() == u'\\') {
        if (!TrimLeft(rest.substr(1)).empty()) {
          return Fail("a continuation \"\\\" must end its line");
        }
        if (!Continue(&rest)) return false;
        continue;
      }
      const int high = text::HexDigitValue(rest.front());
      if (high < 0) return Fail("expected a hexadecimal byte");
      rest.remove_prefix(1);
      int byte = high;
      if (!rest.empty() && text::HexDigitValue(rest.front()) >= 0) {
        byte = high << 4 | text::HexDigitValue(rest.front());
        rest.remove_prefix(1);
      }
      data->push_back(static_cast<std::uint8_t>(byte));
      rest = TrimLeft(rest);
      if (!rest.empty() && rest.front() == u',') {
        rest.remove_prefix(1);
      } else if (!rest.empty() && rest.front() != u'\\' &&
                 rest.front() != u';') {
        return Fail("hexadecimal bytes must be separated by commas");
      }
    }
    // REGEDIT4 holds these two types as 8-bit characters.
    if (out_->format == RegFormat::kRegedit4 &&
        (*type == plat::kRegExpandSz || *type == plat::kRegMultiSz)) {
      const std::u16string chars =
          frame::AnsiToUtf16(std::string(data->begin(), data->end()));
      data->clear();
      AppendUtf16(data, chars);
    }
    return true;
  }

  // The line after a "\", comment lines skipped.
  bool Continue(Text* rest) {
    Text line;
    while (NextLine(&line)) {
      line = TrimLeft(line);
      if (!line.empty() && line.front() == u';') continue;
      if (line.empty()) return Fail("a continued value stops at a blank line");
      *rest = line;
      return true;
    }
    return Fail("the file ends inside a continued value");
  }

  enum KeyState { kNone, kOpen, kDeleted };

  Text text_;
  std::size_t at_ = 0;
  std::size_t line_number_ = 0;
  KeyState key_state_ = kNone;
  RegFile* out_;
  RegFileError* error_;
};

}  // namespace

bool ParseRegFile(std::string_view bytes, RegFile* out, RegFileError* error) {
  std::u16string text;
  const bool whole = DecodeFile(bytes, &text);
  *out = RegFile();
  Parser parser(text, out, error);
  if (parser.Run(whole)) return true;
  out->changes.clear();
  return false;
}

}  // namespace sys
