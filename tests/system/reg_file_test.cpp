// .reg text: every value type in both formats, the fallbacks that keep
// bytes exact, hex wrapping, parsing in every encoding, and malformed files
// refused at the right line.
#include "system/reg_file.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "frame/code_page.h"

namespace sys {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Utf16(std::u16string_view text) {
  Bytes out;
  for (const char16_t c : text) {
    out.push_back(c & 0xFF);
    out.push_back(c >> 8);
  }
  return out;
}

Bytes Sequence(int count) {
  Bytes out(count);
  std::iota(out.begin(), out.end(), 0);
  return out;
}

std::string Utf16File(std::u16string_view text) {
  const Bytes b = Utf16(text);
  return "\xFF\xFE" + std::string(b.begin(), b.end());
}

// clang-format off
struct FormatCase {
  const char* id;
  std::u16string_view name;
  std::uint32_t type;
  Bytes data;
  std::u16string_view v5, r4;     // the value's line(s) without CR LF
  bool faithful5, faithful4;
};

const FormatCase kFormatCases[] = {
  {"t.1", u"Str", 1, Utf16({u"a\"b\\c\0", 6}), u"\"Str\"=\"a\\\"b\\\\c\"", u"\"Str\"=\"a\\\"b\\\\c\"", true, true},
  {"t.2", u"", 1, Utf16({u"\0", 1}), u"@=\"\"", u"@=\"\"", true, true},
  {"t.3", u"q\"n\\", 4, {0x2a, 0, 0, 0}, u"\"q\\\"n\\\\\"=dword:0000002a", u"\"q\\\"n\\\\\"=dword:0000002a", true, true},
  {"t.4", u"d", 4, {1, 2, 3}, u"\"d\"=hex(4):01,02,03", u"\"d\"=hex(4):01,02,03", true, true},
  {"t.5", u"b", 3, {0x01, 0xff}, u"\"b\"=hex:01,ff", u"\"b\"=hex:01,ff", true, true},
  {"t.6", u"b", 3, {}, u"\"b\"=hex:", u"\"b\"=hex:", true, true},
  {"t.7", u"e", 2, Utf16({u"%A%\0", 4}), u"\"e\"=hex(2):25,00,41,00,25,00,00,00", u"\"e\"=hex(2):25,41,25,00", true, true},
  {"t.8", u"m", 7, Utf16({u"a\0b\0\0", 5}), u"\"m\"=hex(7):61,00,00,00,62,00,00,00,00,00", u"\"m\"=hex(7):61,00,62,00,00", true, true},
  {"t.9", u"q", 11, {8, 7, 6, 5, 4, 3, 2, 1}, u"\"q\"=hex(b):08,07,06,05,04,03,02,01", u"\"q\"=hex(b):08,07,06,05,04,03,02,01", true, true},
  {"t.10", u"n", 0, {}, u"\"n\"=hex(0):", u"\"n\"=hex(0):", true, true},
  {"t.13", u"x", 0x20000, {9}, u"\"x\"=hex(20000):09", u"\"x\"=hex(20000):09", true, true},
  // A REG_SZ that a quoted string would not give back byte for byte.
  {"s.1", u"s", 1, Utf16({u"a\0b\0", 4}), u"\"s\"=hex(1):61,00,00,00,62,00,00,00", u"\"s\"=hex(1):61,00,00,00,62,00,00,00", true, true},
  {"s.2", u"s", 1, {0x61, 0x00, 0x62}, u"\"s\"=hex(1):61,00,62", u"\"s\"=hex(1):61,00,62", true, true},
  {"s.3", u"s", 1, Utf16(u"ab"), u"\"s\"=hex(1):61,00,62,00", u"\"s\"=hex(1):61,00,62,00", true, true},
  {"s.4", u"s", 1, Utf16({u"a\r\nb\0", 5}), u"\"s\"=hex(1):61,00,0d,00,0a,00,62,00,00,00", u"\"s\"=hex(1):61,00,0d,00,0a,00,62,00,00,00", true, true},
  {"s.5", u"s", 1, {}, u"\"s\"=hex(1):", u"\"s\"=hex(1):", true, true},
  {"s.6", u"s", 1, Utf16({u"\u00e9\u20ac\0", 3}), u"\"s\"=\"\u00e9\u20ac\"", u"\"s\"=\"\u00e9\u20ac\"", true, true},
  {"s.7", u"s", 1, Utf16({u"\u03a9\0", 2}), u"\"s\"=\"\u03a9\"", u"\"s\"=hex(1):a9,03,00,00", true, true},
  // What no .reg text can carry: written with "?", reported.
  {"l.1", u"\u03a9", 4, {1, 0, 0, 0}, u"\"\u03a9\"=dword:00000001", u"\"\u03a9\"=dword:00000001", true, false},
  {"l.2", u"e", 2, Utf16({u"\u03a9\0", 2}), u"\"e\"=hex(2):a9,03,00,00", u"\"e\"=hex(2):3f,00", true, false},
  {"l.3", u"e", 7, {0x61}, u"\"e\"=hex(7):61", u"\"e\"=hex(7):", true, false},
  {"l.4", u"a\nb", 4, {1, 0, 0, 0}, u"\"a?b\"=dword:00000001", u"\"a?b\"=dword:00000001", false, false},
};
// clang-format on

// Each value in both formats; whatever is written faithfully reads back as
// the same name, type and bytes.
TEST(RegFile, FormatsEveryTypeAndRoundTrips) {
  for (const FormatCase& c : kFormatCases) {
    for (const bool v5 : {true, false}) {
      const RegFormat format = v5 ? RegFormat::kVersion5 : RegFormat::kRegedit4;
      SCOPED_TRACE(std::string(c.id) + (v5 ? " v5" : " r4"));
      bool faithful = false;
      EXPECT_EQ(std::u16string(v5 ? c.v5 : c.r4) + u"\r\n",
                FormatRegValue(format, c.name, c.type, c.data, &faithful));
      EXPECT_EQ(v5 ? c.faithful5 : c.faithful4, faithful);
      if (!faithful) continue;
      RegWriter writer(format);
      writer.AddKey(u"HKEY_USERS\\K");
      writer.AddValue(c.name, c.type, c.data);
      RegFile file;
      RegFileError error;
      ASSERT_TRUE(ParseRegFile(writer.Finish(), &file, &error)) << error.what;
      ASSERT_EQ(2u, file.changes.size());
      EXPECT_EQ(c.name, file.changes[1].name);
      EXPECT_EQ(c.type, file.changes[1].type);
      EXPECT_EQ(c.data, file.changes[1].data);
    }
  }
}

// clang-format off
struct WrapCase { const char* id; std::u16string_view name; std::uint32_t type; int bytes; std::u16string_view text; };

const WrapCase kWrapCases[] = {
  {"w.1", u"Blob", 3, 22,
   u"\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15"},
  {"w.2", u"Blob", 3, 23,
   u"\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
   u"  16"},
  {"w.4", u"", 2, 24,
   u"@=hex(2):00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
   u"  17"},
};
// clang-format on

TEST(RegFile, WrapsHexListsWithinEightyColumns) {
  for (const WrapCase& c : kWrapCases) {
    SCOPED_TRACE(c.id);
    bool faithful = false;
    EXPECT_EQ(std::u16string(c.text) + u"\r\n",
              FormatRegValue(RegFormat::kVersion5, c.name, c.type,
                             Sequence(c.bytes), &faithful));
  }
  // Any length and any name: no line beyond 80 columns.
  for (int bytes : {1, 25, 26, 77, 300}) {
    for (std::u16string_view name : {u"", u"n", u"a-rather-long-value-name"}) {
      bool faithful = false;
      const std::u16string text = FormatRegValue(
          RegFormat::kVersion5, name, 0x4000, Sequence(bytes), &faithful);
      for (std::size_t at = 0, end; at < text.size(); at = end + 2) {
        end = text.find(u"\r\n", at);
        EXPECT_LE(end - at, 80u) << bytes;
      }
    }
  }
}

// clang-format off
struct ParseCase {
  const char* id;
  std::u16string_view lines;  // after the key line
  RegChange::Kind kind;
  std::u16string_view name;
  std::uint32_t type;
  Bytes data;
};

const ParseCase kParseCases[] = {
  {"p.1", u"\"a\"=\"x\\\\y\\\"z\"", RegChange::kSetValue, u"a", 1, Utf16({u"x\\y\"z\0", 6})},
  {"p.3", u"\"a\" = \"b\"", RegChange::kSetValue, u"a", 1, Utf16({u"b\0", 2})},
  {"p.4", u"\"];=\"=\"; x\"", RegChange::kSetValue, u"];=", 1, Utf16({u"; x\0", 4})},
  {"p.5", u"\"d\"=dword:0000002A", RegChange::kSetValue, u"d", 4, {0x2a, 0, 0, 0}},
  {"p.6", u"\"d\"=DWORD:ff ; a comment", RegChange::kSetValue, u"d", 4, {0xff, 0, 0, 0}},
  {"p.7", u"\"b\"=hex:01, 02,\\\r\n  ff", RegChange::kSetValue, u"b", 3, {1, 2, 0xff}},
  {"p.8", u"\"b\"=hex:01,\\\r\n; between\r\n  2,a", RegChange::kSetValue, u"b", 3, {1, 2, 0xa}},
  {"p.11", u"\"q\"=HEX(B):01,02,03,04,05,06,07,08", RegChange::kSetValue, u"q", 11, {1, 2, 3, 4, 5, 6, 7, 8}},
  {"p.14", u"\"v\"=-", RegChange::kDeleteValue, u"v", 0, {}},
  {"p.15", u"@=-", RegChange::kDeleteValue, u"", 0, {}},
};
// clang-format on

TEST(RegFile, ParsesEveryForm) {
  for (const ParseCase& c : kParseCases) {
    SCOPED_TRACE(c.id);
    const std::u16string text =
        u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\K]"
        u"\r\n" +
        std::u16string(c.lines) + u"\r\n";
    RegFile file;
    RegFileError error;
    ASSERT_TRUE(ParseRegFile(Utf16File(text), &file, &error))
        << error.line << ": " << error.what;
    ASSERT_EQ(2u, file.changes.size());
    const RegChange& v = file.changes[1];
    EXPECT_EQ(c.kind, v.kind);
    EXPECT_EQ(4u, v.line);
    EXPECT_EQ(c.name, v.name);
    EXPECT_EQ(c.type, v.type);
    EXPECT_EQ(c.data, v.data);
  }
}

TEST(RegFile, KeysAndEncodings) {
  // The same file as UTF-16, code page 1252 and UTF-8 with its mark; REGEDIT4
  // reads hex(2) as 8-bit characters.
  const std::string body =
      "\r\n[hkey_local_machine\\A\\B\\]  \r\n\"s\"=\"caf\xE9\"\r\n"
      "\"e\"=hex(2):41,00\r\n[-HKEY_USERS\\X]\r\n";
  const std::u16string wide = frame::AnsiToUtf16("REGEDIT4" + body);
  const std::string files[] = {"REGEDIT4" + body, Utf16File(wide),
                               "\xEF\xBB\xBF" + frame::Utf16ToUtf8(wide)};
  for (const std::string& bytes : files) {
    RegFile file;
    RegFileError error;
    ASSERT_TRUE(ParseRegFile(bytes, &file, &error)) << error.what;
    EXPECT_EQ(RegFormat::kRegedit4, file.format);
    ASSERT_EQ(4u, file.changes.size());
    EXPECT_EQ(RegChange::kKey, file.changes[0].kind);
    EXPECT_EQ(plat::kLocalMachine, file.changes[0].key.root);
    EXPECT_EQ(u"A\\B", file.changes[0].key.sub);
    EXPECT_EQ(Utf16({u"caf\u00e9\0", 5}), file.changes[1].data);
    EXPECT_EQ(Utf16({u"A\0", 2}), file.changes[2].data);
    EXPECT_EQ(RegChange::kDeleteKey, file.changes[3].kind);
    EXPECT_EQ(plat::kUsers, file.changes[3].key.root);
    EXPECT_EQ(5u, file.changes[3].line);
  }
}

// clang-format off
struct MalformedCase { const char* id; std::string file; std::size_t line; const char* what; };

const char kHead[] = "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\K]\r\n";

const MalformedCase kMalformedCases[] = {
  {"m.1", "", 1, "empty"},
  {"m.2", "REGEDIT5\r\n[HKEY_USERS\\A]\r\n", 1, "first line"},
  {"m.3", "REGEDIT4\r\n\r\n\"a\"=\"b\"\r\n", 3, "before any [key]"},
  {"m.4", "REGEDIT4\r\n[HKEY_CURRENT_CONFIG\\X]\r\n", 2, "must begin with"},
  {"m.5", "REGEDIT4\r\n[HKEY_USERSX\\X]\r\n", 2, "must begin with"},
  {"m.6", "REGEDIT4\r\n[HKCU\\X]\r\n", 2, "must begin with"},
  {"m.7", "REGEDIT4\r\n[HKEY_USERS\\A\\\\B]\r\n", 2, "empty name"},
  {"m.8", "REGEDIT4\r\n[HKEY_USERS\\A\r\n", 2, "must end with"},
  {"m.9", "REGEDIT4\r\n[-HKEY_USERS]\r\n", 2, "root key cannot be deleted"},
  {"m.10", "REGEDIT4\r\n[-HKEY_USERS\\A]\r\n\"a\"=\"b\"\r\n", 3, "[-key]"},
  {"m.11", std::string(kHead) + "\"a\"=\"b\r\n", 4, "no closing"},
  {"m.12", std::string(kHead) + "\"a\"=\"C:\\Windows\"\r\n", 4, "may follow a backslash"},
  {"m.13", std::string(kHead) + "\"a\"=\"b\" x\r\n", 4, "text follows"},
  {"m.14", std::string(kHead) + "\"a\"\r\n", 4, "followed by \"=\""},
  {"m.15", std::string(kHead) + "\"a\"=-x\r\n", 4, "text follows"},
  {"m.16", std::string(kHead) + "\"a\"=dword:123456789\r\n", 4, "1 to 8"},
  {"m.17", std::string(kHead) + "\"a\"=hex:01,,02\r\n", 4, "hexadecimal byte"},
  {"m.18", std::string(kHead) + "\"a\"=hex:012\r\n", 4, "separated by commas"},
  {"m.19", std::string(kHead) + "\"a\"=hex(x):01\r\n", 4, "hex(N)"},
  {"m.20", std::string(kHead) + "\"a\"=hex:01 \\ x\r\n", 4, "must end its line"},
  {"m.21", std::string(kHead) + "\"a\"=hex:01,\\\r\n", 4, "ends inside"},
  {"m.22", std::string(kHead) + "\"a\"=hex:01,\\\r\n\r\n  02\r\n", 5, "blank line"},
  {"m.23", std::string(kHead) + "\"a\"=str:1\r\n", 4, "the data must be"},
  {"m.24", std::string(kHead) + "\"a\"=\"1\"\r\n# note\r\n", 5, "expected a [key]"},
  {"m.25", Utf16File(u"REGEDIT4\r\n") + "x", 2, "half a character"},
};
// clang-format on

TEST(RegFile, MalformedFilesAreRefusedAtTheirLine) {
  for (const MalformedCase& c : kMalformedCases) {
    SCOPED_TRACE(c.id);
    RegFile file;
    RegFileError error;
    EXPECT_FALSE(ParseRegFile(c.file, &file, &error));
    EXPECT_EQ(c.line, error.line);
    EXPECT_NE(std::string::npos, error.what.find(c.what)) << error.what;
    EXPECT_TRUE(file.changes.empty());
  }
}

}  // namespace
}  // namespace sys
