// system/reg_file.h: the registry editor's .reg files in its two formats,
// "REGEDIT4" (8-bit, code page 1252) and "Windows Registry Editor Version
// 5.00" (UTF-16 LE with a byte order mark): the text of keys and values,
// and a parser that reads a whole file into a list of changes before
// anything touches the registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace sys {

enum class RegFormat { kRegedit4, kVersion5 };

// A key path split at its root: one of the four roots the store has.
struct RegKeyPath {
  plat::Key root = 0;
  std::u16string_view root_name;  // the full name, "HKEY_CURRENT_USER"
  std::u16string sub;             // empty for the root itself
};

// Splits "HKEY_CURRENT_USER\Software\X". The root is a full name in any
// case (HKEY_CURRENT_CONFIG is refused: the store has no such root); with
// `short_names` HKCR, HKCU, HKLM and HKU are taken too. One trailing "\" is
// ignored. Returns null, or what is wrong.
const char* ParseRegKeyPath(std::u16string_view text, bool short_names,
                            RegKeyPath* out);
// "HKEY_CURRENT_USER" or "HKEY_CURRENT_USER\Software\X".
std::u16string RegKeyText(const RegKeyPath& path);

// ---- Writing ----------------------------------------------------------------

// The lines of one value, each ending in CR LF. REG_SZ is a quoted string
// when its bytes are exactly its characters and one terminator, and the
// format carries every character; otherwise hex(1):, so that the bytes come
// back as they were. *faithful turns false when something is still lost: a
// name holding a line break or (REGEDIT4) a character outside code page
// 1252, or a REG_EXPAND_SZ / REG_MULTI_SZ that REGEDIT4's 8-bit bytes
// cannot carry. Lost characters are written as "?".
std::u16string FormatRegValue(RegFormat format, std::u16string_view name,
                              std::uint32_t type,
                              std::span<const std::uint8_t> data,
                              bool* faithful);

// A whole file: the header, then each key with its values and a blank
// line. Finish() gives the file's bytes.
class RegWriter {
 public:
  explicit RegWriter(RegFormat format);
  // False when the path lost characters (see FormatRegValue).
  bool AddKey(std::u16string_view path);
  bool AddValue(std::u16string_view name, std::uint32_t type,
                std::span<const std::uint8_t> data);
  std::string Finish() const;

 private:
  RegFormat format_;
  std::u16string text_;
};

// ---- Reading ----------------------------------------------------------------

// One change a file asks for, in file order. Values belong to the key of
// the last kKey before them.
struct RegChange {
  enum Kind { kKey, kDeleteKey, kSetValue, kDeleteValue };
  Kind kind = kKey;
  std::size_t line = 0;
  RegKeyPath key;       // kKey and kDeleteKey
  std::u16string name;  // kSetValue and kDeleteValue; empty: the default
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
};

struct RegFile {
  RegFormat format = RegFormat::kVersion5;
  std::vector<RegChange> changes;
};

struct RegFileError {
  std::size_t line = 0;  // 1-based
  std::string what;
};

// Reads a whole file: a UTF-16 LE byte order mark means UTF-16, a UTF-8 one
// UTF-8, none code page 1252; the header line decides how hex(2) and
// hex(7) bytes are read. False at the first malformed line, with nothing in
// *out worth applying.
bool ParseRegFile(std::string_view bytes, RegFile* out, RegFileError* error);

}  // namespace sys
