// files/ini.cpp: INI files over IXStream, and language function 218.
//
//   8-bit text rules | reading | writing | function 218
#include "files/ini.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "files/ini_lines.h"
#include "frame/code_page.h"
#include "frame/implementations.h"
#include "frame/vm_services.h"
#include "frame/xerror.h"
#include "platform/platform.h"

namespace files {
namespace {

constexpr std::uint32_t kShareAll = plat::kShareRead | plat::kShareWrite;
constexpr plat::SysErr kErrNotEnoughMemory = 8;

// 8-bit text, or nothing for an absent argument.
using Text = std::optional<std::string>;

plat::SystemInfo& System() { return plat::Current().system; }

// ---- 8-bit text rules -------------------------------------------------------

bool IsEmpty(const char16_t* text) { return text == nullptr || *text == 0; }

const char16_t* FileOrDefault(const char16_t* file) {
  return IsEmpty(file) ? kDefaultIniFile : file;
}

Text Narrow(const char16_t* text) {
  if (text == nullptr) return std::nullopt;
  return frame::Utf16ToAnsi(text);
}

// Reading takes an empty section or key as none: it asks for a list.
Text NarrowName(const char16_t* text) {
  if (IsEmpty(text)) return std::nullopt;
  return frame::Utf16ToAnsi(text);
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' ||
         c == '\f';
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

// Letters of code page 1252 compare without regard to case, accented ones
// and the five of 0x8A to 0x9F included.
unsigned char Fold(unsigned char c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) {
    return static_cast<unsigned char>(c + 0x20);
  }
  switch (c) {
    case 0x8A:
    case 0x8C:
    case 0x8E:
      return static_cast<unsigned char>(c + 0x10);
    case 0x9F:
      return 0xFF;
    default:
      return c;
  }
}

bool IsLetterOrDigit(unsigned char c) {
  if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
      (c >= 'A' && c <= 'Z')) {
    return true;
  }
  if (c >= 0xC0) return c != 0xD7 && c != 0xF7;
  constexpr std::string_view kOtherLetters =
      "\x83\x8A\x8C\x8E\x9A\x9C\x9E\x9F\xAA\xB5\xBA";
  return kOtherLetters.find(static_cast<char>(c)) != std::string_view::npos;
}

enum class Case { kExact, kIgnore };

bool StartsWith(std::string_view line, std::string_view prefix, Case mode) {
  if (line.size() < prefix.size()) return false;
  if (mode == Case::kExact) return line.substr(0, prefix.size()) == prefix;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (Fold(static_cast<unsigned char>(line[i])) !=
        Fold(static_cast<unsigned char>(prefix[i]))) {
      return false;
    }
  }
  return true;
}

bool IsHeader(std::string_view line) {
  return !line.empty() && line.front() == '[' &&
         line.find(']') != std::string_view::npos;
}

// The name between "[" and the first "]" of a header.
std::string_view HeaderName(std::string_view header) {
  return header.substr(1, header.find(']') - 1);
}

bool IsKeyLine(std::string_view line) {
  return !line.empty() && line.front() != ';' &&
         line.find('=') != std::string_view::npos;
}

// Kept as is: the key only has to be followed by something that is not a
// letter or digit, so Path finds "Path = 1" and "Path=1" but not "Paths=1",
// and also "Path x=1"; files rely on the first two.
bool MatchesKey(std::string_view line, std::string_view key, Case mode) {
  return IsKeyLine(line) && line.size() > key.size() &&
         StartsWith(line, key, mode) &&
         !IsLetterOrDigit(static_cast<unsigned char>(line[key.size()]));
}

std::string_view KeyOf(std::string_view line) {
  return Trim(line.substr(0, line.find('=')));
}

// What follows the first "=", the spaces and tabs after it skipped.
std::string_view ValueOf(std::string_view line) {
  const std::string_view rest = line.substr(line.find('=') + 1);
  const std::size_t first = rest.find_first_not_of(" \t");
  return first == std::string_view::npos ? std::string_view()
                                         : rest.substr(first);
}

std::string KeyLine(const std::string& key, const std::string& value) {
  return key + " = " + value + "\r\n";
}

// ---- Reading ----------------------------------------------------------------

struct Found {
  IniFound status = IniFound::kMissing;
  bool is_list = false;
  std::string value;
  std::vector<std::string> names;
};

bool OpenForReading(IXStream* stream, const char16_t* file) {
  return stream->Open(FileOrDefault(file), plat::kGenericRead, kShareAll,
                      plat::kOpenExisting, plat::kFlagRandomAccess);
}

// Reading looks at trimmed lines and ignores case.
Found FindIn(IXStream* stream, const Text& section, const Text& key) {
  Found found;
  IniLineReader lines(stream);
  found.is_list = !section || !key;
  if (!section) {
    found.status = IniFound::kFound;
    while (lines.Next()) {
      const std::string_view line = Trim(lines.text());
      if (IsHeader(line)) found.names.emplace_back(HeaderName(line));
    }
    return found;
  }
  // Kept as is: reading ignores case and leading blanks where writing does
  // not, so a write with other case adds a section that reads never reach.
  const std::string header = "[" + *section + "]";
  bool in_section = false;
  while (!in_section && lines.Next()) {
    in_section = StartsWith(Trim(lines.text()), header, Case::kIgnore);
  }
  if (!in_section) return found;
  if (!key) found.status = IniFound::kFound;
  while (lines.Next()) {
    const std::string_view line = Trim(lines.text());
    if (IsHeader(line)) break;
    if (!IsKeyLine(line)) continue;  // comments, lines without "="
    if (!key) {
      found.names.emplace_back(KeyOf(line));
    } else if (MatchesKey(line, *key, Case::kIgnore)) {
      found.status = IniFound::kFound;
      found.value = ValueOf(line);
      break;
    }
  }
  return found;
}

Found Find(const char16_t* section, const char16_t* key, const char16_t* file,
           bool* opened) {
  IXStream stream;
  *opened = OpenForReading(&stream, file);
  if (!*opened) return {};
  Found found = FindIn(&stream, NarrowName(section), NarrowName(key));
  stream.Close();
  return found;
}

std::size_t Place(std::u16string_view text, char16_t* buffer,
                  std::size_t size) {
  const std::size_t n = text.size() < size ? text.size() : size - 1;
  std::copy_n(text.begin(), n, buffer);
  buffer[n] = 0;
  return n;
}

// Whole names only: a cut one would name something else.
std::size_t PlaceList(const std::vector<std::string>& names, char16_t* buffer,
                      std::size_t size) {
  std::size_t placed = 0;
  bool first = true;
  for (const std::string& name : names) {
    const std::size_t separator = first ? 0 : 2;
    if (placed + separator + name.size() > size - 1) break;
    if (!first) {
      buffer[placed++] = u'\r';
      buffer[placed++] = u'\n';
    }
    for (const char c : name) {
      buffer[placed++] = frame::AnsiToChar(static_cast<std::uint8_t>(c));
    }
    first = false;
  }
  buffer[placed] = 0;
  return placed;
}

// ---- Writing ----------------------------------------------------------------

// The file's size; leaves the stream at its end.
bool SizeOf(IXStream* stream, std::uint64_t* size) {
  if (!stream->Seek(0, plat::kSeekEnd)) return false;
  *size = stream->Tell();
  return true;
}

bool Fail(plat::SysErr error) {
  System().SetLastError(error);
  return false;
}

// A write that takes fewer bytes without an error met a full volume.
bool WriteAll(IXStream* stream, const char* bytes, std::uint64_t count) {
  if (count > std::numeric_limits<std::uint32_t>::max()) {
    return Fail(kErrNotEnoughMemory);
  }
  const auto n = static_cast<std::uint32_t>(count);
  std::uint32_t written = 0;
  if (!stream->Write(bytes, n, &written)) return false;
  return written == n || Fail(plat::kErrDiskFull);
}

// Puts `text` in place of the bytes from `from` to `to`: only what follows
// `to` is read into memory and written back after the text, then the file
// is cut at its new end. No copy is kept: a failure leaves the file as the
// system left it.
bool Replace(IXStream* stream, std::uint64_t from, std::uint64_t to,
             std::string_view text) {
  std::uint64_t size = 0;
  if (!SizeOf(stream, &size)) return false;
  if (to > size) to = size;
  const std::uint64_t tail = size - to;
  const std::uint64_t total = text.size() + tail;
  if (total > std::numeric_limits<std::uint32_t>::max()) {
    return Fail(kErrNotEnoughMemory);
  }
  std::unique_ptr<char[]> bytes(new (std::nothrow) char[total + 1]);
  if (bytes == nullptr) return Fail(kErrNotEnoughMemory);
  if (!text.empty()) std::memcpy(bytes.get(), text.data(), text.size());
  if (tail != 0 && !stream->ReadAt(to, bytes.get() + text.size(),
                                   static_cast<std::uint32_t>(tail))) {
    return false;
  }
  return stream->Seek(static_cast<std::int64_t>(from), plat::kSeekBegin) &&
         WriteAll(stream, bytes.get(), total) && stream->SetSize(from + total);
}

// A last line without CR LF is ended first, so that the new lines do not
// run into it.
bool AppendLines(IXStream* stream, std::string text) {
  std::uint64_t size = 0;
  if (!SizeOf(stream, &size)) return false;
  if (size != 0) {
    char last[2] = {0, 0};
    const std::uint32_t n = size >= 2 ? 2 : 1;
    if (!stream->ReadAt(size - n, last + 2 - n, n)) return false;
    if (last[0] != '\r' || last[1] != '\n') text.insert(0, "\r\n");
  }
  return stream->Seek(static_cast<std::int64_t>(size), plat::kSeekBegin) &&
         WriteAll(stream, text.data(), text.size());
}

// A line that begins another block: a header, or an empty line (one that
// starts with CR or LF once its own CR LF is counted).
bool EndsBlock(std::string_view line) {
  return line.empty() || line.front() == '[' || line.front() == '\r' ||
         line.front() == '\n';
}

// Kept as is: writing compares lines as they stand and with case, so an
// indented or differently cased header is not found and a new section is
// added at the end; reads still find the first one.
bool WriteIn(IXStream* stream, const std::string& section, const Text& key,
             const Text& value) {
  IniLineReader lines(stream);
  const std::string header = "[" + section + "]";
  bool found = false;
  while (!found && lines.Next()) {
    found = StartsWith(lines.text(), header, Case::kExact);
  }
  // A read that fails part way has not seen the whole file: nothing is
  // written on what it saw.
  if (lines.failed()) return false;
  if (!found) {
    if (!key) return true;
    std::string text = header + "\r\n";
    if (value) text += KeyLine(*key, *value);
    return AppendLines(stream, std::move(text));
  }
  const std::uint64_t body = lines.end();
  if (!key) {
    // The section ends at the next header, looked for on trimmed lines as
    // a read does; the header itself stays.
    std::uint64_t end = std::numeric_limits<std::uint64_t>::max();
    while (lines.Next()) {
      if (IsHeader(Trim(lines.text()))) {
        end = lines.start();
        break;
      }
    }
    if (lines.failed()) return false;
    return Replace(stream, body, end, {});
  }
  while (lines.Next()) {
    const std::string_view line = lines.text();
    if (MatchesKey(line, *key, Case::kExact)) {
      return Replace(stream, lines.start(), lines.end(),
                     value ? KeyLine(*key, *value) : std::string());
    }
    if (EndsBlock(line)) {
      return !value || Replace(stream, lines.start(), lines.start(),
                               KeyLine(*key, *value));
    }
  }
  if (lines.failed()) return false;
  return !value || AppendLines(stream, KeyLine(*key, *value));
}

// ---- Function 218 -----------------------------------------------------------

std::uint32_t MessageOf(std::uint32_t error) {
  for (int i = 0; i < frame::kErrorDefCount; ++i) {
    if (frame::gstErrorDef[i][0] == error) {
      return static_cast<std::uint32_t>(frame::gstErrorDef[i][1]);
    }
  }
  return 0;
}

// Runs `write` on the named file: a failure raises 80294 with the system's
// text for the last error; with the host's performance trace on, the time
// taken goes to the trace (after the error, when there is one).
template <class Write>
bool OnNamedFile(frame::Self* self, const char16_t* file, Write write) {
  const bool trace = frame::PerformanceTraceOn();
  const std::uint32_t started = trace ? System().TickCount() : 0;
  const bool ok = write();
  const plat::SysErr cause = ok ? plat::kOk : System().LastError();
  const std::uint32_t elapsed = trace ? System().TickCount() - started : 0;
  if (!ok) {
    frame::Raise(self, frame::kErrIniWriteFailed,
                 {file, frame::SystemErrorText(cause)});
    frame::AttachSystemError(frame::ErrorRecord(self), cause);
    if (trace) {
      frame::AddMessage(frame::ErrorRecord(self),
                        MessageOf(frame::kErrTraceIniWrite), {file, elapsed});
    }
  } else if (trace) {
    frame::Raise(self, frame::kErrTraceIniWrite, {file, elapsed});
  }
  return ok;
}

}  // namespace

// ---- Reading ----------------------------------------------------------------

std::size_t IniRead(const char16_t* section, const char16_t* key,
                    const char16_t* default_value, char16_t* buffer,
                    std::size_t size, const char16_t* file) {
  if (buffer == nullptr || size == 0) return 0;
  buffer[0] = 0;
  bool opened = false;
  const Found found = Find(section, key, file, &opened);
  if (found.status == IniFound::kFound && !found.is_list) {
    return Place(frame::AnsiToUtf16(found.value), buffer, size);
  }
  if (!found.names.empty()) return PlaceList(found.names, buffer, size);
  return default_value == nullptr
             ? 0
             : Place(std::u16string_view(default_value), buffer, size);
}

IniFound IniLookup(const char16_t* section, const char16_t* key,
                   const char16_t* file, std::u16string* out) {
  out->clear();
  bool opened = false;
  const Found found = Find(section, key, file, &opened);
  if (!opened) return IniFound::kNoFile;
  if (found.status != IniFound::kFound) return found.status;
  if (!found.is_list) {
    *out = frame::AnsiToUtf16(found.value);
    return IniFound::kFound;
  }
  for (const std::string& name : found.names) {
    if (&name != &found.names.front()) *out += u"\r\n";
    *out += frame::AnsiToUtf16(name);
  }
  return IniFound::kFound;
}

std::size_t ProfileRead(const char16_t* section, const char16_t* key,
                        const char16_t* default_value, char16_t* buffer,
                        std::size_t size) {
  return IniRead(section, key, default_value, buffer, size, kDefaultIniFile);
}

// ---- Writing ----------------------------------------------------------------

bool IniWriteStream(IXStream* stream, const char16_t* section,
                    const char16_t* key, const char16_t* value) {
  if (section == nullptr) return Fail(plat::kErrInvalidParameter);
  return WriteIn(stream, *Narrow(section), Narrow(key), Narrow(value));
}

bool IniWrite(const char16_t* section, const char16_t* key,
              const char16_t* value, const char16_t* file) {
  if (section == nullptr) return Fail(plat::kErrInvalidParameter);
  // The stream's reports are kept only for the system error they carry.
  frame::CXError reports;
  IXStream stream(&reports);
  const bool ok =
      stream.Open(FileOrDefault(file), plat::kGenericRead | plat::kGenericWrite,
                  kShareAll, plat::kOpenAlways, plat::kFlagRandomAccess) &&
      IniWriteStream(&stream, section, key, value);
  const plat::SysErr cause =
      ok ? plat::kOk
         : (reports.system_code != plat::kOk ? reports.system_code
                                             : System().LastError());
  stream.Close();
  return ok || Fail(cause);
}

bool ProfileWrite(const char16_t* section, const char16_t* key,
                  const char16_t* value) {
  return IniWrite(section, key, value, kDefaultIniFile);
}

// ---- Function 218 -----------------------------------------------------------

// A later argument counts only when every earlier one is non-empty, and an
// empty value is absent too, which removes the key. Without a file name the
// write goes to the default file, untimed and unreported.
bool INIWrite(frame::Self* self, const char16_t* section, const char16_t* key,
              const char16_t* value, const char16_t* file) {
  if (IsEmpty(section)) {
    section = key = value = nullptr;
  } else if (IsEmpty(key)) {
    key = value = nullptr;
  } else if (IsEmpty(value)) {
    value = nullptr;
  }
  if (IsEmpty(file)) return ProfileWrite(section, key, value);
  return OnNamedFile(self, file,
                     [&] { return IniWrite(section, key, value, file); });
}

bool INIWriteInteger(frame::Self* self, const char16_t* section,
                     const char16_t* key, std::int32_t value,
                     const char16_t* file) {
  const std::string digits = std::to_string(value);
  const std::u16string text(digits.begin(), digits.end());
  return INIWrite(self, section, key, text.c_str(), file);
}

// Integers in the key and value places are absent: the section is cleared.
bool INIWriteSectionOnly(frame::Self* self, const char16_t* section,
                         std::int32_t, std::int32_t, const char16_t* file) {
  return INIWrite(self, section, nullptr, nullptr, file);
}

// No section: nothing is written, but a named file is still timed.
bool INIWriteNoSection(frame::Self* self, std::int32_t, std::int32_t,
                       std::int32_t, const char16_t* file) {
  if (IsEmpty(file)) return true;
  return OnNamedFile(self, file, [] { return true; });
}

}  // namespace files
