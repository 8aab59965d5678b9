// text/words_fr.cpp: whole numbers in French words, France form
// ("soixante-dix", "quatre-vingt-dix") and Belgian/Swiss form ("septante",
// "nonante"), with the agreement of "cent", "vingt" and the scale words.
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "text/number_words.h"

namespace text {

const std::u16string_view kFrenchUnits[19] = {
    u"un",    u"deux",     u"trois",    u"quatre",   u"cinq",
    u"six",   u"sept",     u"huit",     u"neuf",     u"dix",
    u"onze",  u"douze",    u"treize",   u"quatorze", u"quinze",
    u"seize", u"dix-sept", u"dix-huit", u"dix-neuf"};
// 70-79 and 90-99 are written as 60 and 80 followed by 10-19.
const std::u16string_view kFranceTens[7] = {
    u"vingt",    u"trente",   u"quarante",    u"cinquante",
    u"soixante", u"soixante", u"quatre-vingt"};
const std::u16string_view kBelgianSwissTens[8] = {
    u"vingt",    u"trente",   u"quarante",     u"cinquante",
    u"soixante", u"septante", u"quatre-vingt", u"nonante"};
const std::u16string_view kFrenchScales[7] = {
    u"mille",    u"million",  u"milliard", u"billion",
    u"billiard", u"trillion", u"trillard"};

namespace {

constexpr std::uint16_t kLangFrenchBelgium = 2060;
constexpr std::uint16_t kLangFrenchSwitzerland = 4108;

// Asked for each group rather than once per call, as the handheld does:
// the device's user language, independent of the application's language.
bool BelgianSwissForm() {
  const std::uint16_t id = plat::Current().system.UserDefaultLangId();
  return id == kLangFrenchBelgium || id == kLangFrenchSwitzerland;
}

bool EndsWith(const std::u16string &text, std::u16string_view tail) {
  return text.size() >= tail.size() &&
         std::u16string_view(text).substr(text.size() - tail.size()) == tail;
}

// One group 1-999. "cent" and "quatre-vingt" take an "s" when nothing
// follows them in the group (deux cents, quatre-vingts, deux cent un).
void AppendGroup(std::u16string *out, std::size_t start, int g,
                 bool belgian_swiss) {
  const int hundreds = g / 100;
  int rest = g % 100;
  bool plural = false;
  if (hundreds >= 1) {
    if (hundreds != 1) {
      AppendWord(out, start, kFrenchUnits[hundreds - 1]);
      plural = true;
    }
    AppendWord(out, start, u"cent");
  }
  bool after_tens = false;
  bool ninety = false;
  if (rest >= 20) {
    int tens = rest / 10;
    plural = tens == 8;
    if (belgian_swiss) {
      AppendWord(out, start, kBelgianSwissTens[tens - 2]);
    } else {
      if (tens == 9) {
        tens = 8;
        ninety = true;
      } else if (tens == 7) {
        tens = 6;
      }
      AppendWord(out, start, kFranceTens[tens - 2]);
    }
    rest -= 10 * tens;
    after_tens = true;
  }
  if (rest > 0) {
    if (!after_tens) {
      AppendWord(out, start, kFrenchUnits[rest - 1]);
    } else {
      // Kept as is: 81 is "quatre-vingt et un", like 21, 31 ... 71, and
      // in the Belgian/Swiss form 91 is "nonante et un".
      const bool et =
          belgian_swiss ? rest == 1 : (rest == 1 || rest == 11) && !ninety;
      out->append(et ? u" et " : u"-");
      out->append(kFrenchUnits[rest - 1]);
    }
    plural = false;
  }
  if (plural) out->push_back(u's');
}

}  // namespace

void AppendFrenchNumber(std::u16string *out, bool negative,
                        std::uint64_t magnitude) {
  if (magnitude == 0) {
    out->append(kZero);
    return;
  }
  const std::size_t start = out->size();
  if (negative) out->append(kFrenchMinus);
  ForEachGroup(magnitude, [&](int g, int exponent) {
    if (g == 1 && exponent == 3) {
      AppendWord(out, start, kFrenchScales[0]);  // "mille", never "un mille"
      return;
    }
    AppendGroup(out, start, g, BelgianSwissForm());
    // "mille" is invariable and so is what it multiplies: deux cent mille,
    // quatre-vingt mille; "trois" only looks like a plural.
    if (exponent == 3 && EndsWith(*out, u"s") && !EndsWith(*out, u"trois")) {
      out->pop_back();
    }
    if (exponent >= 3) {
      AppendWord(out, start, kFrenchScales[exponent / 3 - 1]);
      if (g >= 2 && exponent >= 6) out->push_back(u's');
    }
  });
}

}  // namespace text
