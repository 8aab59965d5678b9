// files/ini.h: INI files: reading a value or a list of names, and writing,
// removing or clearing entries, always through the component's own stream
// on 8-bit text in the ANSI code page. Nothing is cached between calls.
//
// Texts are UTF-16 here; null means absent, which is not the same as empty
// for a value (absent removes the key). A null or empty file name means the
// default file.
#pragma once

#include <cstddef>
#include <string>

#include "files/stream.h"

namespace files {

inline constexpr char16_t kDefaultIniFile[] = u"\\Windows\\win.ini";

// The value of `key` in `section`, or a list of names: without a section
// (null or empty) the sections of the file, without a key (null or empty)
// the keys of the section. A list is one text with its names joined by
// CR LF, none after the last, as every list the component returns, so the
// host splits it the same way; only names that fit whole are taken. At most
// size - 1 characters and a terminator go to `buffer`; when nothing is
// found (an empty list included) or the file cannot be opened,
// `default_value` (if given) does. Returns the number of characters placed.
std::size_t IniRead(const char16_t* section, const char16_t* key,
                    const char16_t* default_value, char16_t* buffer,
                    std::size_t size, const char16_t* file);

// Writes "key = value" in `section`, replacing the key's line or adding
// one (the section too); an absent value removes the key, an absent key
// clears the section but keeps its header. An absent section fails. False
// when the file cannot be opened, read or written; the thread's last error
// then tells why. A write that fails after the open (a disk filling part
// way) is a failure too, so that the caller reports it instead of taking
// a cut file for success; the file stays as the system left it.
bool IniWrite(const char16_t* section, const char16_t* key,
              const char16_t* value, const char16_t* file);
// The same on a stream its caller opened for reading and writing, from its
// start.
bool IniWriteStream(IXStream* stream, const char16_t* section,
                    const char16_t* key, const char16_t* value);

// IniRead and IniWrite on the default file.
std::size_t ProfileRead(const char16_t* section, const char16_t* key,
                        const char16_t* default_value, char16_t* buffer,
                        std::size_t size);
bool ProfileWrite(const char16_t* section, const char16_t* key,
                  const char16_t* value);

// What IniRead finds, whole and without a default, for callers that must
// tell a missing entry from an empty one. A list is found when its section
// is (the list of sections whenever the file opens).
enum class IniFound { kFound, kMissing, kNoFile };
IniFound IniLookup(const char16_t* section, const char16_t* key,
                   const char16_t* file, std::u16string* out);

}  // namespace files
