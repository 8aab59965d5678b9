// system/command_line.h: a program launch's command line split into the
// program's path and the arguments handed to it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sys {

// The command line is read through a buffer of this many characters, the
// terminator included: characters past it are not seen.
inline constexpr std::size_t kCommandLineBuffer = 4096;
// The program's path keeps at most this many characters.
inline constexpr std::size_t kMaxProgramPath = 260;

struct CommandLine {
  std::u16string program;    // without its surrounding quotes
  std::u16string arguments;  // everything after the separator, as it is
};

// A command that starts with a double quote ends its path at the next one;
// any other ends it at the first blank. Without that character the whole
// command is the path and there are no arguments. The path is cut to
// kMaxProgramPath characters, then loses one leading and one trailing
// double quote.
CommandLine SplitCommandLine(std::u16string_view command);

}  // namespace sys
