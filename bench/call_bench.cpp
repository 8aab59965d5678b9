// bench/call_bench.cpp: the cost of one language call through the whole
// handler path (call frame, argument unpacking, the implementation, slot
// 149, release of the text result), beside a direct call of the same
// routine. Two ways through the handler: "Handler" runs a call prepared
// once (what the VM pays per call), "Host" makes the whole call through
// refhost (syntax choice, argument array, copying the result out).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/shared_host.h"
#include "frame/implementations.h"
#include "frame/text.h"
#include "host/refhost/host.h"

namespace {

using refhost::Arg;

// The calls measured: function, syntax and arguments.
struct Measured {
  const char* what;
  std::uint32_t function;  // 0: not chosen yet, the benchmark is skipped
  int syntax;
  std::vector<Arg> args;
};

// A forwarded call: the shortest handler there is.
const Measured kForwarded = {"forwarded call", 127, 1, {}};
// Weekday of a day number (an integer result) and the time of day of a
// count of hundredths (a text result).
const Measured kScalar = {"scalar result", 4, 1, {12345}};
const Measured kText = {"text result", 5, 1, {4567890}};

void HandlerCall(benchmark::State& state, const Measured& m) {
  if (m.function == 0) {
    state.SkipWithError((std::string(m.what) + ": no function chosen").c_str());
    return;
  }
  refhost::Host* host = SharedHost(state);
  if (host == nullptr) return;
  std::string why;
  const std::unique_ptr<refhost::PreparedCall> call =
      host->Prepare(m.function, m.syntax, m.args, &why);
  if (call == nullptr) {
    state.SkipWithError(why.c_str());
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(call->Run());
}

void HostCall(benchmark::State& state, const Measured& m) {
  if (m.function == 0) {
    state.SkipWithError((std::string(m.what) + ": no function chosen").c_str());
    return;
  }
  refhost::Host* host = SharedHost(state);
  if (host == nullptr) return;
  for (auto _ : state) {
    refhost::CallResult r = host->CallArgs(m.function, m.syntax, m.args);
    benchmark::DoNotOptimize(r.status);
  }
}

// The same routines called directly in the core linked into this program,
// the text released as the handler releases it.
void DirectCall(benchmark::State& state, const Measured& m) {
  const auto argument = static_cast<std::int32_t>(m.args[0].integer);
  if (m.function == kScalar.function) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(text::DayToWeekday(nullptr, argument));
    }
    return;
  }
  for (auto _ : state) {
    char16_t* result = nullptr;
    text::TimeFromInteger(nullptr, &result, argument);
    benchmark::DoNotOptimize(result);
    frame::ReleaseText(&result);
  }
}

BENCHMARK_CAPTURE(HandlerCall, Forwarded, kForwarded);
BENCHMARK_CAPTURE(HostCall, Forwarded, kForwarded);
BENCHMARK_CAPTURE(HandlerCall, Scalar, kScalar);
BENCHMARK_CAPTURE(HostCall, Scalar, kScalar);
BENCHMARK_CAPTURE(DirectCall, Scalar, kScalar);
BENCHMARK_CAPTURE(HandlerCall, Text, kText);
BENCHMARK_CAPTURE(HostCall, Text, kText);
BENCHMARK_CAPTURE(DirectCall, Text, kText);

}  // namespace
