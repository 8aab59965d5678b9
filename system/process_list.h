// system/process_list.h: the running programs as the system's tool-help
// library lists them, and the name rules by which the process functions
// pick programs out of that list.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace sys {

// A path cut into its directory (up to and including the last "\" or "/"),
// file name and extension (from the last "." of the file name on).
struct ProgramName {
  std::u16string_view directory;
  std::u16string_view name;
  std::u16string_view extension;
};
ProgramName SplitProgramName(std::u16string_view path);

// Both texts equal without regard to case.
bool SameNameNoCase(std::u16string_view a, std::u16string_view b);

// Does a listed executable answer to a name given by the language? Its file
// name must equal the given one and, when the given name has an extension,
// so must its extension; the given directory plays no part.
bool MatchesProgram(std::u16string_view listed, const ProgramName& wanted);

// A name held in a fixed array of a snapshot record, up to its terminator.
template <std::size_t N>
std::u16string_view RecordName(const char16_t (&chars)[N]) {
  std::size_t n = 0;
  while (n < N && chars[n] != u'\0') ++n;
  return {chars, n};
}

// One running program: its executable's file name and its identifier.
struct ProcessRecord {
  std::u16string exe_file;
  plat::ProcessId id = 0;
};

// The running programs whose executable has the extension ".EXE" (any
// case), read afresh from a snapshot of "TOOLHELP.DLL". False when the
// library, one of its three required entry points or the snapshot is
// missing; *error then holds the system's error code, when it gave one.
bool ReadProcessList(std::vector<ProcessRecord>* out, plat::SysErr* error);

}  // namespace sys
