// bench/words_bench.cpp: amounts in words per second (function 473) through
// the handler path (a call prepared once, as the VM pays it) and directly,
// beside a plain English speller of whole numbers as a floor.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/shared_host.h"
#include "frame/implementations.h"
#include "frame/text.h"
#include "host/refhost/host.h"
#include "text/amount_words.h"

namespace {

constexpr std::uint32_t kNumberInWords = 473;

frame::Decimal Amount(std::uint64_t magnitude, int scale) {
  return {magnitude, static_cast<std::uint16_t>(scale)};
}

// A cheque amount: 1,234,567.89 with both names.
const frame::Decimal kCheque = Amount(123456789, 2);

// 4,096 amounts of every size, two decimals.
const std::vector<frame::Decimal> &Mixed() {
  static const auto amounts = [] {
    std::vector<frame::Decimal> v;
    std::mt19937_64 random(473);
    for (int i = 0; i < 4096; ++i) v.push_back(Amount(random() >> (i % 64), 2));
    return v;
  }();
  return amounts;
}

void Handler(benchmark::State &state, std::int32_t language) {
  refhost::Host *host = SharedHost(state);
  if (host == nullptr) return;
  host->SetLanguage(language);
  const refhost::Arg args[] = {kCheque, u"euro(s)", u"centime(s)"};
  std::string why;
  const std::unique_ptr<refhost::PreparedCall> call =
      host->Prepare(kNumberInWords, 1, args, &why);
  if (call == nullptr) {
    state.SkipWithError(why.c_str());
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(call->Run());
  state.SetItemsProcessed(state.iterations());
}

// The routine as the handler calls it, the text released as it does.
void Direct(benchmark::State &state, bool french, bool mixed) {
  const auto &amounts = Mixed();
  std::size_t i = 0;
  for (auto _ : state) {
    const frame::Decimal &amount = mixed ? amounts[i++ & 4095] : kCheque;
    const std::u16string words =
        text::AmountInWords(amount, french, u"euro(s)", u"centime(s)");
    char16_t *result = nullptr;
    frame::AssignText(&result, words);
    benchmark::DoNotOptimize(result);
    frame::ReleaseText(&result);
  }
  state.SetItemsProcessed(state.iterations());
}

// --- Baseline: a minimal English speller of whole numbers ------------------

const char *const kOnes[] = {"",        "one",       "two",      "three",
                             "four",    "five",      "six",      "seven",
                             "eight",   "nine",      "ten",      "eleven",
                             "twelve",  "thirteen",  "fourteen", "fifteen",
                             "sixteen", "seventeen", "eighteen", "nineteen"};
const char *const kTens[] = {"",      "",      "twenty",  "thirty", "forty",
                             "fifty", "sixty", "seventy", "eighty", "ninety"};
const char *const kScales[] = {
    "",          " thousand",    " million",    " billion",
    " trillion", " quadrillion", " quintillion"};

void Group(std::string &out, unsigned g) {
  auto word = [&](const char *w) {
    if (!out.empty()) out += ' ';
    out += w;
  };
  if (g >= 100) {
    word(kOnes[g / 100]);
    out += " hundred";
    g %= 100;
  }
  if (g >= 20) {
    word(kTens[g / 10]);
    if (g % 10 != 0) (out += '-') += kOnes[g % 10];
  } else if (g > 0) {
    word(kOnes[g]);
  }
}

std::string Spell(std::uint64_t n) {
  if (n == 0) return "zero";
  unsigned groups[7];
  int count = 0;
  for (; n != 0; n /= 1000) groups[count++] = static_cast<unsigned>(n % 1000);
  std::string out;
  for (int k = count - 1; k >= 0; --k) {
    if (groups[k] == 0) continue;
    Group(out, groups[k]);
    out += kScales[k];
  }
  return out;
}

void Baseline(benchmark::State &state, bool mixed) {
  const auto &amounts = Mixed();
  std::size_t i = 0;
  for (auto _ : state) {
    const std::uint64_t whole =
        (mixed ? amounts[i++ & 4095] : kCheque).magnitude / 100;
    benchmark::DoNotOptimize(Spell(whole));
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK_CAPTURE(Handler, French, 1);
BENCHMARK_CAPTURE(Handler, English, 2);
BENCHMARK_CAPTURE(Direct, FrenchCheque, true, false);
BENCHMARK_CAPTURE(Direct, EnglishCheque, false, false);
BENCHMARK_CAPTURE(Direct, FrenchMixed, true, true);
BENCHMARK_CAPTURE(Direct, EnglishMixed, false, true);
BENCHMARK_CAPTURE(Baseline, Cheque, false);
BENCHMARK_CAPTURE(Baseline, Mixed, true);

}  // namespace
