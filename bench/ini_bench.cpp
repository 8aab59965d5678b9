// bench/ini_bench.cpp: one key read from, and one key written into the
// middle of, an INI file of 10,000 lines: IniRead and IniWrite called
// directly, the write through function 218 (a call prepared once, as the VM
// makes it), and Python's configparser doing the same on the same file. The
// Python figures are timed inside the interpreter over many repetitions, so
// its start-up is not counted; each is one benchmark iteration whose time is
// the time of one operation.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/shared_host.h"
#include "files/ini.h"
#include "host/refhost/host.h"

namespace {

constexpr int kSections = 100;
constexpr int kKeysPerSection = 99;  // with the headers: 10,000 lines
constexpr int kPythonRepetitions = 200;

// The key in the middle of the file, and the two values writes alternate
// between (same length: the file keeps its size).
constexpr char16_t kSection[] = u"section050";
constexpr char16_t kKey[] = u"key050";
constexpr char16_t kValueA[] = u"first-value";
constexpr char16_t kValueB[] = u"other-value";
constexpr char16_t kFile[] = u"\\bench.ini";

std::filesystem::path& Root() {
  static std::filesystem::path root;
  return root;
}

std::string FileText() {
  std::string text;
  char line[64];
  for (int s = 0; s < kSections; ++s) {
    std::snprintf(line, sizeof line, "[section%03d]\r\n", s);
    text += line;
    for (int k = 0; k < kKeysPerSection; ++k) {
      std::snprintf(line, sizeof line, "key%03d = value-%03d-%03d\r\n", k, s,
                    k);
      text += line;
    }
  }
  return text;
}

// One configparser read (and, for "write", a set and the whole file written
// back: configparser has no other way), timed inside Python.
constexpr char kPythonScript[] = R"(import configparser, sys, time
path, section, key, n, mode = sys.argv[1:6]
n = int(n)
start = time.perf_counter()
for i in range(n):
    parser = configparser.ConfigParser(interpolation=None)
    parser.read(path, encoding='cp1252')
    if mode == 'read':
        parser.get(section, key)
    else:
        parser.set(section, key, 'first-value' if i % 2 else 'other-value')
        with open(path, 'w', encoding='cp1252', newline='\r\n') as f:
            parser.write(f)
print((time.perf_counter() - start) / n)
)";

// A device root of its own holding bench.ini and a copy for Python.
void Prepare() {
  if (!Root().empty()) return;
  std::string pattern =
      (std::filesystem::temp_directory_path() / "std8_ini_bench_XXXXXX")
          .string();
  if (mkdtemp(pattern.data()) == nullptr) return;
  Root() = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(Root(), ignored);
  });
  setenv("TESSEL_ROOT", pattern.c_str(), 1);
  const std::string text = FileText();
  std::ofstream(Root() / "bench.ini", std::ios::binary) << text;
  std::ofstream(Root() / "python.ini", std::ios::binary) << text;
  std::ofstream(Root() / "bench.py") << kPythonScript;
}

void IniReadDirect(benchmark::State& state) {
  Prepare();
  char16_t buffer[256];
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        files::IniRead(kSection, kKey, u"", buffer, 256, kFile));
  }
}
BENCHMARK(IniReadDirect);

void IniWriteDirect(benchmark::State& state) {
  Prepare();
  bool flip = false;
  for (auto _ : state) {
    flip = !flip;
    benchmark::DoNotOptimize(
        files::IniWrite(kSection, kKey, flip ? kValueA : kValueB, kFile));
  }
}
BENCHMARK(IniWriteDirect);

void IniWriteFunction218(benchmark::State& state) {
  Prepare();
  refhost::Host* host = SharedHost(state);
  if (host == nullptr) return;
  std::unique_ptr<refhost::PreparedCall> calls[2];
  const char16_t* values[2] = {kValueA, kValueB};
  for (int i = 0; i < 2; ++i) {
    const refhost::Arg args[] = {kSection, kKey, values[i], kFile};
    std::string why;
    calls[i] = host->Prepare(218, 4, args, &why);
    if (calls[i] == nullptr) {
      state.SkipWithError(why.c_str());
      return;
    }
  }
  int flip = 0;
  for (auto _ : state) {
    flip ^= 1;
    benchmark::DoNotOptimize(calls[flip]->Run());
  }
}
BENCHMARK(IniWriteFunction218);

void PythonConfigparser(benchmark::State& state, const char* mode) {
  Prepare();
  const std::string command =
      std::string(STD8_PYTHON) + " " + (Root() / "bench.py").string() + " " +
      (Root() / "python.ini").string() + " section050 key050 " +
      std::to_string(kPythonRepetitions) + " " + mode;
  for (auto _ : state) {
    FILE* pipe = popen(command.c_str(), "r");
    double seconds = -1;
    if (pipe == nullptr || std::fscanf(pipe, "%lf", &seconds) != 1) {
      if (pipe != nullptr) pclose(pipe);
      state.SkipWithError("python3 did not run");
      return;
    }
    pclose(pipe);
    state.SetIterationTime(seconds);
  }
}
BENCHMARK_CAPTURE(PythonConfigparser, read, "read")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(PythonConfigparser, write, "write")
    ->UseManualTime()
    ->Iterations(1);

}  // namespace
