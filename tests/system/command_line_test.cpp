// Splitting a launch's command line: quoted and plain paths, the quotes
// removed, and the two buffer limits.
#include "system/command_line.h"

#include <gtest/gtest.h>

#include <string>

namespace sys {
namespace {

std::u16string Repeat(char16_t c, std::size_t n) {
  return std::u16string(n, c);
}

TEST(LaunchCommandLine, SplitsPathAndArguments) {
  const std::u16string long_path = u"\\" + Repeat(u'p', 299);
  const std::u16string long_quoted = u"\"\\" + Repeat(u'q', 300) + u"\" -x";
  const std::u16string long_command = u"\\p " + Repeat(u'a', 5000);
  // clang-format off
  const struct { const char* id; std::u16string command, program, arguments; } cases[] = {
    {"1.1",  u"\\Windows\\prog.exe",              u"\\Windows\\prog.exe",     u""},
    {"1.2",  u"\\Windows\\prog.exe -a b",         u"\\Windows\\prog.exe",     u"-a b"},
    {"1.3",  u"\"\\Program Files\\x.exe\" -x",    u"\\Program Files\\x.exe",  u" -x"},
    {"1.4",  u"\"\\Program Files\\x.exe",         u"\\Program Files\\x.exe",  u""},
    {"1.5",  u"prog.exe",                         u"prog.exe",                u""},
    {"1.6",  u"\"\"",                             u"",                        u""},
    {"1.7",  u"\\a\" b",                          u"\\a",                     u"b"},
    {"1.8",  u" \\x",                             u"",                        u"\\x"},
    {"1.9",  u"",                                 u"",                        u""},
    {"1.10", u"\\x  two",                         u"\\x",                     u" two"},
    {"2.1",  long_path,                           long_path.substr(0, 260),   u""},
    {"2.2",  long_quoted,                         long_quoted.substr(1, 259), u" -x"},
    {"2.3",  long_command,                        u"\\p",                     Repeat(u'a', 4092)},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const CommandLine split = SplitCommandLine(c.command);
    EXPECT_EQ(c.program, split.program);
    EXPECT_EQ(c.arguments, split.arguments);
  }
}

}  // namespace
}  // namespace sys
