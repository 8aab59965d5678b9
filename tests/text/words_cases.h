// tests/text/words_cases.h: the rows of words_amounts.inc as one table,
// shared by the direct tests and the end-to-end ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/abi.h"

namespace text::testing {

enum class WordsForm { kFrance, kBelgianSwiss, kEnglish };

struct WordsCase {
  WordsForm form;
  int line;
  const char *amount;
  const char16_t *unit;      // null: not passed
  const char16_t *sub_unit;  // null: not passed
  const char16_t *words;
};

// clang-format off
inline constexpr WordsCase kWordsCases[] = {
#define FR(amount, unit, sub, words) {WordsForm::kFrance, __LINE__, amount, unit, sub, words},
#define BE(amount, unit, sub, words) {WordsForm::kBelgianSwiss, __LINE__, amount, unit, sub, words},
#define EN(amount, unit, sub, words) {WordsForm::kEnglish, __LINE__, amount, unit, sub, words},
#include "tests/text/words_amounts.inc"
#undef FR
#undef BE
#undef EN
};
// clang-format on

inline std::string Describe(const WordsCase &c) {
  return "words_amounts.inc:" + std::to_string(c.line) + " " + c.amount;
}

// "-12.50" as the ten-byte decimal: magnitude 1250, two decimals, negative.
inline frame::Decimal ParseAmount(std::string_view text) {
  frame::Decimal d{0, 0};
  int scale = 0;
  bool point = false;
  if (!text.empty() && text.front() == '-') {
    d.field = frame::kDecimalNegative;
    text.remove_prefix(1);
  }
  for (char c : text) {
    if (c == '.') {
      point = true;
      continue;
    }
    d.magnitude = d.magnitude * 10 + static_cast<std::uint64_t>(c - '0');
    if (point) ++scale;
  }
  d.field = static_cast<std::uint16_t>(d.field | scale);
  return d;
}

}  // namespace text::testing
