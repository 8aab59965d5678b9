// platform/posix/name_match.h: file names compared as the handheld's file
// system compares them: without regard to case, with "*" and "?" patterns.
#pragma once

#include <string_view>

namespace plat::posix {

// The upper-case form used for comparing names: ASCII, Latin-1, Latin
// Extended-A, Greek and Cyrillic letters; other characters stand as they are.
char16_t FoldCase(char16_t c);
bool SameName(std::u16string_view a, std::u16string_view b);

bool HasWildcards(std::u16string_view name);
// "*" matches any run of characters, "?" exactly one, other characters match
// without regard to case. As on the handheld, "*" and "*.*" match every name,
// and a pattern ending in "." or ".*" also matches the names without a dot
// that match what comes before ("*." finds the names without extension).
bool MatchesPattern(std::u16string_view pattern, std::u16string_view name);

}  // namespace plat::posix
