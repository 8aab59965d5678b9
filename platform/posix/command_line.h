// platform/posix/command_line.h: the argument part of a command line split
// into words, as a Windows program would receive them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace plat::posix {

// The rules of the Windows C runtime and CommandLineToArgvW:
// - words are separated by runs of spaces and tabs outside quotes;
// - a quote starts or ends a quoted part and is not kept; inside one, two
//   quotes in a row give one literal quote and the part goes on;
// - 2n backslashes before a quote give n backslashes and the quote acts;
//   2n+1 give n backslashes and a literal quote;
// - any other backslash is literal; "" is an empty word.
std::vector<std::u16string> SplitArguments(std::u16string_view line);

}  // namespace plat::posix
