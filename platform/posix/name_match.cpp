// platform/posix/name_match.cpp: case folding and wildcard matching of names.
#include "platform/posix/name_match.h"

namespace plat::posix {
namespace {

// Plain glob: "*" any run, "?" one character. Backtracks to the last "*".
bool Glob(std::u16string_view pattern, std::u16string_view name) {
  std::size_t p = 0;
  std::size_t n = 0;
  std::size_t star = std::u16string_view::npos;
  std::size_t resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      resume = n;
    } else if (p < pattern.size() &&
               (pattern[p] == u'?' ||
                FoldCase(pattern[p]) == FoldCase(name[n]))) {
      ++p;
      ++n;
    } else if (star != std::u16string_view::npos) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

}  // namespace

char16_t FoldCase(char16_t c) {
  if (c < 0x80) return c >= u'a' && c <= u'z' ? c - 0x20 : c;
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return c - 0x20;
  if (c == 0xFF) return 0x178;
  // Latin Extended-A pairs its letters upper then lower, with two runs offset.
  if (c >= 0x100 && c <= 0x137) return c & ~1u;
  if (c >= 0x139 && c <= 0x148) return (c & 1u) ? c : c - 1;
  if (c >= 0x14A && c <= 0x177) return c & ~1u;
  if (c >= 0x179 && c <= 0x17E) return (c & 1u) ? c : c - 1;
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return c - 0x20;
  if (c >= 0x430 && c <= 0x44F) return c - 0x20;
  if (c >= 0x450 && c <= 0x45F) return c - 0x50;
  return c;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (FoldCase(a[i]) != FoldCase(b[i])) return false;
  return true;
}

bool HasWildcards(std::u16string_view name) {
  return name.find_first_of(u"*?") != std::u16string_view::npos;
}

bool MatchesPattern(std::u16string_view pattern, std::u16string_view name) {
  if (pattern == u"*" || pattern == u"*.*") return true;
  if (Glob(pattern, name)) return true;
  if (name.find(u'.') != std::u16string_view::npos) return false;
  if (pattern.size() >= 2 && pattern.substr(pattern.size() - 2) == u".*")
    return Glob(pattern.substr(0, pattern.size() - 2), name);
  if (!pattern.empty() && pattern.back() == u'.')
    return Glob(pattern.substr(0, pattern.size() - 1), name);
  return false;
}

}  // namespace plat::posix
