// Function 473 end to end: the amount table of the three language forms
// through the handler of each syntax, the language chosen by the
// application and the France or Belgian/Swiss form by the device's locale.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "host/refhost/host.h"
#include "tests/text/words_cases.h"

namespace refhost {
namespace {

constexpr std::uint32_t kNumberInWords = 473;
constexpr std::uint32_t kTextResult = 121;

using text::testing::kWordsCases;
using text::testing::ParseAmount;
using text::testing::WordsForm;

class NumberWordsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char *was = std::getenv("LC_ALL")) saved_ = was;
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override {
    host_.Stop();
    if (saved_) {
      setenv("LC_ALL", saved_->c_str(), 1);
    } else {
      unsetenv("LC_ALL");
    }
  }
  // The device's locale, read by the component as its user language.
  static void SetLocale(const char *locale) { setenv("LC_ALL", locale, 1); }

  // The amount with the syntax its names ask for: three arguments, two, or
  // the amount alone.
  CallResult Words(const char *amount, const char16_t *unit,
                   const char16_t *sub_unit) {
    std::vector<Arg> args = {Arg(ParseAmount(amount))};
    if (unit != nullptr) args.emplace_back(unit);
    if (sub_unit != nullptr) args.emplace_back(sub_unit);
    return host_.CallArgs(kNumberInWords, 4 - static_cast<int>(args.size()),
                          args);
  }

  Host host_;
  std::optional<std::string> saved_;
};

struct Setting {
  WordsForm form;
  const char *locale;
  std::int32_t language;
};
const Setting kSettings[] = {
    {WordsForm::kFrance, "fr_FR.UTF-8", 1},
    {WordsForm::kFrance, "fr_LU", 6},
    {WordsForm::kBelgianSwiss, "fr_BE.UTF-8", 1},
    {WordsForm::kBelgianSwiss, "fr_CH", 6},
    {WordsForm::kEnglish, "en_US.UTF-8", 2},
    {WordsForm::kEnglish, "fr_BE", 0},
};

TEST_F(NumberWordsTest, AmountTableThroughEachSyntax) {
  for (const Setting &s : kSettings) {
    SetLocale(s.locale);
    host_.SetLanguage(s.language);
    for (const auto &c : kWordsCases) {
      if (c.form != s.form) continue;
      SCOPED_TRACE(text::testing::Describe(c) + " " + s.locale);
      const CallResult r = Words(c.amount, c.unit, c.sub_unit);
      ASSERT_TRUE(r.called()) << r.refused;
      EXPECT_EQ(Value(std::u16string(c.words)), r.value);
      EXPECT_EQ(kTextResult, r.set_type);
      EXPECT_FALSE(r.error.raised());
      EXPECT_EQ(0, r.block_delta);
    }
  }
}

// clang-format off
struct LanguageCase { std::int32_t language; const char* locale; std::u16string words; };
const LanguageCase kLanguageCases[] = {
  {1, "fr_FR", u"soixante et onze euros et quatre-vingts centimes"},
  {6, "fr_FR", u"soixante et onze euros et quatre-vingts centimes"},
  {1, "fr_BE", u"septante et un euros et quatre-vingts centimes"},
  {1, "fr_CA", u"soixante et onze euros et quatre-vingts centimes"},
  {1, "C",     u"soixante et onze euros et quatre-vingts centimes"},
  {0, "fr_BE", u"seventy-one euros and eighty centimes"},
  {2, "fr_FR", u"seventy-one euros and eighty centimes"},
  {3, "fr_CH", u"seventy-one euros and eighty centimes"},
  {7, "fr_FR", u"seventy-one euros and eighty centimes"},
};
// clang-format on

// French for the application's languages 1 and 6 only; the device's
// locale picks the French form and is read again on every call.
TEST_F(NumberWordsTest, LanguageAndFormAreReadOnEveryCall) {
  for (const LanguageCase &c : kLanguageCases) {
    SCOPED_TRACE(std::to_string(c.language) + " " + c.locale);
    host_.SetLanguage(c.language);
    SetLocale(c.locale);
    const CallResult r = Words("71.80", u"euro(s)", u"centime(s)");
    EXPECT_EQ(Value(c.words), r.value);
  }
}

}  // namespace
}  // namespace refhost
