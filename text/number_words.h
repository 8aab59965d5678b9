// text/number_words.h: whole numbers written in words, in French (France
// and Belgian/Swiss forms) and in English, and the word tables they use.
// Amounts with unit names are in text/amount_words.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace text {

// Word tables, indexed from 0 (units: 1-19; tens: by tens digit from 2;
// scales: by group from 10^3). They are the whole vocabulary, with the
// fixed words below, of what the writers produce.
extern const std::u16string_view kFrenchUnits[19];
extern const std::u16string_view kFranceTens[7];        // 2-8
extern const std::u16string_view kBelgianSwissTens[8];  // 2-9
extern const std::u16string_view kFrenchScales[7];
extern const std::u16string_view kEnglishUnits[19];
extern const std::u16string_view kEnglishTens[8];  // 2-9
extern const std::u16string_view kEnglishScales[7];

inline constexpr std::u16string_view kZero = u"zéro";
inline constexpr std::u16string_view kFrenchMinus = u"moins";
inline constexpr std::u16string_view kEnglishMinus = u"minus";

// Appends the words of a value given as sign and magnitude, so that every
// 64-bit magnitude is written, -2^63 included. No space is added before
// the first word. A zero magnitude is "zéro" whatever the sign.
//
// French reads the France or Belgian/Swiss form from the device's user
// language before each group of three digits.
void AppendFrenchNumber(std::u16string *out, bool negative,
                        std::uint64_t magnitude);
void AppendEnglishNumber(std::u16string *out, bool negative,
                         std::uint64_t magnitude);

// Calls group(g, exponent) for each non-zero group of three digits, from
// the top; exponent is 3 times the group's index (0 for the units).
template <class Group>
void ForEachGroup(std::uint64_t value, Group group) {
  int exponent = 0;
  std::uint64_t divisor = 1;
  for (std::uint64_t rest = value / 1000; rest != 0; rest /= 1000) {
    exponent += 3;
    divisor *= 1000;
  }
  while (value != 0) {
    const auto g = static_cast<int>(value / divisor);
    value -= static_cast<std::uint64_t>(g) * divisor;
    if (g != 0) group(g, exponent);
    exponent -= 3;
    divisor /= 1000;
  }
}

// Appends `word`, after a space unless the text from `start` is empty.
inline void AppendWord(std::u16string *out, std::size_t start,
                       std::u16string_view word) {
  if (out->size() > start) out->push_back(u' ');
  out->append(word);
}

}  // namespace text
