// platform/posix/command_line.cpp: splitting a command line into words.
#include "platform/posix/command_line.h"

namespace plat::posix {
namespace {

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

}  // namespace

std::vector<std::u16string> SplitArguments(std::u16string_view line) {
  std::vector<std::u16string> words;
  std::size_t i = 0;
  const std::size_t n = line.size();
  for (;;) {
    while (i < n && IsBlank(line[i])) ++i;
    if (i == n) return words;
    std::u16string word;
    bool quoted = false;
    while (i < n && (quoted || !IsBlank(line[i]))) {
      if (line[i] == u'\\') {
        std::size_t slashes = 0;
        while (i < n && line[i] == u'\\') ++slashes, ++i;
        if (i < n && line[i] == u'"') {
          word.append(slashes / 2, u'\\');
          if (slashes % 2 == 1) word.push_back(u'"'), ++i;
        } else {
          word.append(slashes, u'\\');
        }
      } else if (line[i] == u'"') {
        if (quoted && i + 1 < n && line[i + 1] == u'"') {
          word.push_back(u'"');
          i += 2;
        } else {
          quoted = !quoted;
          ++i;
        }
      } else {
        word.push_back(line[i++]);
      }
    }
    words.push_back(std::move(word));
  }
}

}  // namespace plat::posix
