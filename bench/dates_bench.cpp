// bench/dates_bench.cpp: day number <-> date string conversions per second,
// through the handler path (a call prepared once: functions 3 and 8),
// directly in the core, and with std::chrono's calendar as a plain C++
// baseline. Each iteration converts one day of a sweep over 1900..2100.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/shared_host.h"
#include "frame/implementations.h"
#include "frame/text.h"
#include "host/refhost/host.h"
#include "text/dates.h"

namespace {

using refhost::Arg;
namespace chr = std::chrono;

constexpr std::int32_t kFirstDay = 36525;   // 1 January 1900
constexpr std::int32_t kDayCount = 73415;   // to the end of 2100

std::int32_t DayAt(std::int64_t i) {
  return kFirstDay + static_cast<std::int32_t>(i % kDayCount);
}

// Handler path: one call per day number, prepared once per day of a small
// ring (preparing costs far more than the call). `arg` gives the argument
// for the ring's day number.
template <class MakeArg>
void RunRing(benchmark::State& state, std::uint32_t function, MakeArg arg) {
  refhost::Host* host = SharedHost(state);
  if (host == nullptr) return;
  std::vector<std::unique_ptr<refhost::PreparedCall>> calls;
  std::string why;
  for (int i = 0; i < 64; ++i) {
    const Arg args[] = {arg(DayAt(i * 1147))};
    calls.push_back(host->Prepare(function, 1, args, &why));
    if (calls.back() == nullptr) {
      state.SkipWithError(why.c_str());
      return;
    }
  }
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(calls[i++ & 63]->Run());
  state.SetItemsProcessed(state.iterations());
}

void HandlerDayToDate(benchmark::State& state) {
  RunRing(state, 3, [](std::int32_t day) { return Arg(day); });
}

void HandlerDateToDay(benchmark::State& state) {
  RunRing(state, 8, [](std::int32_t day) {
    return Arg(text::DateText(*text::DateOfDay(day)));
  });
}

// Direct: the implementation routines, the text released as the handler
// releases it.
void DirectDayToDate(benchmark::State& state) {
  std::int64_t i = 0;
  for (auto _ : state) {
    char16_t* result = nullptr;
    text::DayToDate(nullptr, &result, DayAt(i++), u"");
    benchmark::DoNotOptimize(result);
    frame::ReleaseText(&result);
  }
  state.SetItemsProcessed(state.iterations());
}

void DirectDateToDay(benchmark::State& state) {
  std::vector<std::u16string> dates;
  for (std::int32_t n = 0; n < kDayCount; n += 97) {
    dates.push_back(text::DateText(*text::DateOfDay(kFirstDay + n)));
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        text::DateToDay(nullptr, dates[i++ % dates.size()].c_str(), false));
  }
  state.SetItemsProcessed(state.iterations());
}

// Baseline: std::chrono's calendar with the same text forms.
const chr::sys_days kDayZero =
    chr::sys_days(chr::year(1799) / chr::December / 31);

void ChronoDayToDate(benchmark::State& state) {
  std::int64_t i = 0;
  for (auto _ : state) {
    const chr::year_month_day ymd(kDayZero + chr::days(DayAt(i++)));
    char text[16];
    std::snprintf(text, sizeof text, "%04d%02u%02u", int(ymd.year()),
                  unsigned(ymd.month()), unsigned(ymd.day()));
    std::u16string wide(text, text + 8);
    benchmark::DoNotOptimize(wide);
  }
  state.SetItemsProcessed(state.iterations());
}

void ChronoDateToDay(benchmark::State& state) {
  std::vector<std::u16string> dates;
  for (std::int32_t n = 0; n < kDayCount; n += 97) {
    dates.push_back(text::DateText(*text::DateOfDay(kFirstDay + n)));
  }
  std::size_t i = 0;
  for (auto _ : state) {
    const std::u16string& s = dates[i++ % dates.size()];
    int v[3] = {0, 0, 0};
    for (int k = 0; k < 8; ++k) v[k < 4 ? 0 : k < 6 ? 1 : 2] =
        v[k < 4 ? 0 : k < 6 ? 1 : 2] * 10 + (s[k] - u'0');
    const chr::year_month_day ymd{chr::year(v[0]), chr::month(v[1]),
                                  chr::day(v[2])};
    benchmark::DoNotOptimize(
        ymd.ok() ? (chr::sys_days(ymd) - kDayZero).count() : -1);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(HandlerDayToDate);
BENCHMARK(DirectDayToDate);
BENCHMARK(ChronoDayToDate);
BENCHMARK(HandlerDateToDay);
BENCHMARK(DirectDateToDay);
BENCHMARK(ChronoDateToDay);

}  // namespace
