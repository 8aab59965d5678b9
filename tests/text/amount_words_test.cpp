// Amounts in words, called directly: the split of the decimal, the amount
// table of the three language forms, and the shape of the text over every
// integer up to 100,000 and random 64-bit amounts.
#include "text/amount_words.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <string_view>

#include "platform/fake/fake_platform.h"
#include "tests/text/words_cases.h"
#include "text/number_words.h"

namespace text {
namespace {

using testing::kWordsCases;
using testing::WordsForm;

frame::Decimal Dec(std::uint64_t magnitude, int scale, bool negative) {
  return {magnitude, static_cast<std::uint16_t>(
                         scale | (negative ? frame::kDecimalNegative : 0))};
}

// clang-format off
struct SplitCase {
  const char* id; frame::Decimal amount; bool negative; std::uint64_t whole; int hundredths;
};
const SplitCase kSplitCases[] = {
  {"1.1", Dec(1250, 2, false),             false, 12, 50},
  {"1.2", Dec(1250, 2, true),              true,  12, 50},
  {"1.3", Dec(50, 2, true),                false, 0,  50},  // the sign goes with the zero
  {"1.4", Dec(1, 0, true),                 true,  1,  0},
  {"1.5", Dec(0, 0, true),                 false, 0,  0},
  {"2.1", Dec(999, 3, false),              false, 1,  0},   // carry
  {"2.2", Dec(995, 3, false),              false, 1,  0},
  {"2.3", Dec(994, 3, false),              false, 0,  99},
  {"2.4", Dec(12004, 3, true),             true,  12, 0},   // sign and magnitude
  {"2.5", Dec(12999, 3, true),             true,  13, 0},   // the carry adds
  {"2.6", Dec(1, 3, true),                 false, 0,  0},
  {"3.1", Dec(UINT64_MAX, 0, false),       false, UINT64_MAX, 0},
  {"3.2", Dec(UINT64_MAX, 0, true),        true,  UINT64_MAX, 0},
  {"3.3", Dec(UINT64_MAX, 2, true),        true,  UINT64_MAX / 100, 15},
  {"3.4", Dec(UINT64_MAX, 19, false),      false, 1, 84},
  {"3.5", Dec(UINT64_MAX, 20, false),      false, 0, 18},
  {"3.6", Dec(UINT64_MAX, 255, true),      false, 0, 0},
  {"3.7", Dec(5, 255, false),              false, 0, 0},
};
// clang-format on

TEST(SplitAmount, WholePartAndHundredths) {
  for (const SplitCase &c : kSplitCases) {
    SCOPED_TRACE(c.id);
    const AmountParts p = SplitAmount(c.amount);
    EXPECT_EQ(c.negative, p.negative);
    EXPECT_EQ(c.whole, p.whole);
    EXPECT_EQ(c.hundredths, p.hundredths);
  }
}

// The language forms as the device and the application choose them.
struct FormSetting {
  WordsForm form;
  std::uint16_t lang_id;
  bool french;
};
constexpr FormSetting kSettings[] = {
    {WordsForm::kFrance, 1036, true},        // fr-FR
    {WordsForm::kFrance, 3084, true},        // fr-CA: France form
    {WordsForm::kBelgianSwiss, 2060, true},  // fr-BE
    {WordsForm::kBelgianSwiss, 4108, true},  // fr-CH
    {WordsForm::kEnglish, 1033, false},
    {WordsForm::kEnglish, 2060, false},  // the device's form is French only
};

// One setting per form for the long runs.
constexpr FormSetting kOnePerForm[] = {kSettings[0], kSettings[2],
                                       kSettings[4]};

TEST(AmountInWords, Table) {
  int rows[3] = {};
  for (const auto &c : kWordsCases) ++rows[static_cast<int>(c.form)];
  for (int count : rows) EXPECT_LE(150, count);
  plat::FakePlatform fake;
  for (const FormSetting &s : kSettings) {
    fake.system().SetLangId(s.lang_id);
    for (const auto &c : kWordsCases) {
      if (c.form != s.form) continue;
      SCOPED_TRACE(testing::Describe(c) + " lang " + std::to_string(s.lang_id));
      EXPECT_EQ(std::u16string(c.words),
                AmountInWords(testing::ParseAmount(c.amount), s.french,
                              c.unit ? c.unit : std::u16string_view(),
                              c.sub_unit ? c.sub_unit : std::u16string_view()));
    }
  }
}

// --- Well-formed text ------------------------------------------------------

// Every token the writers may produce: the tables' words (split at their
// hyphens), the plurals that agreement adds, the fixed words and the names
// the random amounts pass.
std::set<std::u16string, std::less<>> Vocabulary() {
  std::set<std::u16string, std::less<>> words = {
      u"zéro",  u"moins",   u"minus",    u"virgule", u"point",   u"et",
      u"and",   u"cent",    u"cents",    u"vingts",  u"hundred", u"euro",
      u"euros", u"centime", u"centimes", u"d'euros"};
  auto add = [&](std::u16string_view word, bool plural) {
    for (std::size_t from = 0;;) {
      const std::size_t dash = word.find(u'-', from);
      words.emplace(word.substr(from, dash - from));
      if (dash == std::u16string_view::npos) break;
      from = dash + 1;
    }
    if (plural) words.emplace(std::u16string(word) + u's');
  };
  for (auto w : kFrenchUnits) add(w, false);
  for (auto w : kFranceTens) add(w, false);
  for (auto w : kBelgianSwissTens) add(w, false);
  for (auto w : kFrenchScales) add(w, true);
  for (auto w : kEnglishUnits) add(w, false);
  for (auto w : kEnglishTens) add(w, false);
  for (auto w : kEnglishScales) add(w, false);
  return words;
}

// Empty when the text is well formed, else what is wrong with it.
std::string Fault(std::u16string_view text, WordsForm form) {
  static const auto vocabulary = Vocabulary();
  if (text.empty()) return "empty";
  if (text.front() == u' ' || text.back() == u' ') return "outer space";
  if (text.find(u"  ") != std::u16string_view::npos) return "double space";
  const bool france = form == WordsForm::kFrance;
  for (std::u16string_view other : {u"septante", u"nonante"}) {
    if (france && text.find(other) != std::u16string_view::npos) {
      return "Belgian/Swiss word in the France form";
    }
  }
  if (form == WordsForm::kBelgianSwiss &&
      (text.find(u"soixante-dix") != std::u16string_view::npos ||
       text.find(u"vingt-dix") != std::u16string_view::npos)) {
    return "France word in the Belgian/Swiss form";
  }
  for (std::size_t from = 0; from <= text.size();) {
    std::size_t end = text.find_first_of(u" -", from);
    if (end == std::u16string_view::npos) end = text.size();
    if (!vocabulary.contains(text.substr(from, end - from))) {
      return "word out of the tables at " + std::to_string(from);
    }
    from = end + 1;
  }
  return {};
}

TEST(AmountInWords, EveryIntegerToOneHundredThousandIsWellFormed) {
  plat::FakePlatform fake;
  for (const FormSetting &s : kOnePerForm) {
    fake.system().SetLangId(s.lang_id);
    for (std::uint64_t n = 0; n <= 100000; ++n) {
      const std::u16string words =
          AmountInWords(Dec(n, 0, false), s.french, {}, {});
      const std::string fault = Fault(words, s.form);
      ASSERT_EQ("", fault) << n << " lang " << s.lang_id;
    }
  }
}

TEST(AmountInWords, RandomAmountsAreWellFormed) {
  plat::FakePlatform fake;
  std::mt19937_64 random(473);
  for (const FormSetting &s : kOnePerForm) {
    fake.system().SetLangId(s.lang_id);
    for (int i = 0; i < 10000; ++i) {
      const std::uint64_t bits = random();
      // Any magnitude, either sign, up to four decimals; names on half.
      const frame::Decimal amount =
          Dec(random() >> (bits & 63),
              static_cast<int>(bits >> 6 & 3) * static_cast<int>(bits >> 8 & 1),
              (bits >> 9 & 1) != 0);
      const bool names = (bits >> 10 & 1) != 0;
      const std::u16string words =
          AmountInWords(amount, s.french, names ? u"euro(s)" : u"",
                        names ? u"centime(s)" : u"");
      const std::string fault = Fault(words, s.form);
      ASSERT_EQ("", fault) << amount.magnitude << " field " << amount.field
                           << " lang " << s.lang_id;
    }
  }
}

}  // namespace
}  // namespace text
