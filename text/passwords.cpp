// text/passwords.cpp: PasswordGenerate (function 470) and the generator
// behind it. Draws come from the C runtime's rand(), seeded once per
// process from the tick count, so two programs sharing a runtime still see
// one sequence.
#include "text/passwords.h"

#include <atomic>
#include <cstdlib>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "platform/platform.h"

namespace text {

namespace {

// Capital I and O are left out of the vowels, lower-case l and both cases
// of y out of the consonants, and 0 and 1 out of the digits: the letters
// that read alike on a small screen.
constexpr std::u16string_view kVowels = u"aeiouyAEUY";
constexpr std::u16string_view kConsonants =
    u"bBcCdDfFgGhHjJkKLmMnNpPqQrRsStTvVwWxXzZ";
static_assert(kVowels.size() == 10 && kConsonants.size() == 39);
constexpr int kDigitCount = 8;  // "2" to "9"

// Three-letter syllables; '%' marks where the vowel goes.
constexpr std::u16string_view kTemplates[] = {
    u"sl%", u"cl%", u"fl%", u"qu%", u"f%r", u"m%t",
    u"ph%", u"w%n", u"d%v", u"sp%", u"st%", u"dr%",
};
constexpr int kTemplateCount = 12;

// Error of a negative length. The error table has no row for it, so the
// record carries the "no definition" trace with this number.
constexpr std::uint32_t kErrPasswordLength = 81844;

char16_t Pick(std::u16string_view letters, const RandomDraw &draw) {
  return letters[static_cast<std::size_t>(draw()) % letters.size()];
}

// The next syllable for `remaining` free positions.
std::u16string Syllable(int remaining, const RandomDraw &draw) {
  if ((remaining == 3 || remaining >= 5) && draw() % 2 == 0) {
    const char16_t vowel = Pick(kVowels, draw);
    std::u16string out(kTemplates[draw() % kTemplateCount]);
    for (char16_t &c : out) {
      if (c == u'%') c = vowel;
    }
    return out;
  }
  const char16_t consonant = Pick(kConsonants, draw);
  return {consonant, Pick(kVowels, draw)};
}

std::atomic<bool> g_seeded{false};

int RuntimeRand() {
  if (!g_seeded.exchange(true)) {
    std::srand(plat::Current().system.TickCount());
  }
  return std::rand();
}

}  // namespace

std::u16string MakePassword(std::int32_t length, std::u16string_view set,
                            const RandomDraw &draw) {
  std::u16string out;
  if (length <= 0) return out;
  const auto size = static_cast<std::size_t>(length);
  if (!set.empty()) {
    // Kept as is: a set of one character gives an empty password rather
    // than that character repeated.
    if (set.size() == 1) return out;
    out.reserve(size);
    while (out.size() < size) out += Pick(set, draw);
    return out;
  }
  if (length == 1) {
    out += draw() % 2 != 0 ? Pick(kVowels, draw) : Pick(kConsonants, draw);
    return out;
  }
  // Digits fill the positions strictly between first and first + span:
  // at most three, in one run, and none when span is 0 or 1.
  const int first = draw() % length;
  const int span = (draw() % (length / 2)) % 5;
  out.reserve(size + 2);
  while (out.size() < size) {
    const int at = static_cast<int>(out.size());
    if (at > first && at < first + span) {
      out += static_cast<char16_t>(u'2' + draw() % kDigitCount);
    } else {
      out += Syllable(length - at, draw);
    }
  }
  out.resize(size);  // a syllable may overrun the end
  return out;
}

void PasswordGenerate(frame::Self *self, char16_t **result, std::int32_t length,
                      const char16_t *set) {
  if (length < 0) {
    frame::Raise(self, kErrPasswordLength, {length});
    return;
  }
  const std::u16string password =
      MakePassword(length, set == nullptr ? u"" : set, RuntimeRand);
  if (frame::AssignText(result, password) != 0) {
    frame::Raise(self, frame::kErrOutOfMemory);
  }
}

}  // namespace text
