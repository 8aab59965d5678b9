// system/command_line.cpp: splitting a launch's command line.
#include "system/command_line.h"

#include <algorithm>

namespace sys {

CommandLine SplitCommandLine(std::u16string_view command) {
  command = command.substr(0, std::min(command.size(), kCommandLineBuffer - 1));
  const std::size_t end = !command.empty() && command.front() == u'"'
                              ? command.find(u'"', 1)
                              : command.find(u' ');
  CommandLine out;
  std::u16string_view program = command.substr(0, end);
  if (end != std::u16string_view::npos) {
    out.arguments = command.substr(end + 1);
  }
  program = program.substr(0, std::min(program.size(), kMaxProgramPath));
  // The closing quote of a quoted path is its separator, so only an opening
  // quote is left there; an unquoted path may still end with one.
  if (!program.empty() && program.front() == u'"') program.remove_prefix(1);
  if (!program.empty() && program.back() == u'"') program.remove_suffix(1);
  out.program = program;
  return out;
}

}  // namespace sys
