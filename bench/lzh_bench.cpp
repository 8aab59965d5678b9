// bench/lzh_bench.cpp: packing and restoring beside the standard LHA
// programs, one run each, on the files scripts/make_corpus.py writes (a
// big.bin of STD8_BENCH_LZH_MB megabytes, 100 unless set) in a device root
// of its own:
//
//   Pack/direct      nfCompacte called in this process
//   Pack/tmhost      `tmhost compress`, start to exit, with its peak memory
//   Pack/lha         `lha -aqo5` (jlha) making an -lh5- archive of the file
//   Restore/direct   nfDecompacte of our packed file, in this process
//   Restore/tmhost   `tmhost expand`, start to exit, with its peak memory
//   Restore/lhasa    `lhasa` extracting lha's archive
//
// "packed" is the lh5 stream's size (both headers hold it at offset 7),
// "ratio" that size over the original's; "peak_kb" the child's peak
// resident memory (GNU time's %M). Children run under /usr/bin/time; the
// times include its start, as they include the programs' own.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/shared_host.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

const char* const kFiles[] = {"english.txt", "binary.bin", "random.bin",
                              "big.bin"};

fs::path& Root() {
  static fs::path root;
  return root;
}

int BigMegabytes() {
  const char* given = std::getenv("STD8_BENCH_LZH_MB");
  const int mb = given == nullptr ? 100 : std::atoi(given);
  return mb > 0 ? mb : 100;
}

struct Child {
  bool ok = false;
  double seconds = 0;
  long peak_kb = 0;
};

// Runs a program to its end with its output thrown away, under GNU time
// for its peak memory: the rusage of a spawned child also counts the
// spawning process, whose size would hide a smaller child's.
Child Run(std::vector<std::string> args) {
  const fs::path peak = fs::temp_directory_path() / "std8_lzh_bench_peak";
  args.insert(args.begin(), {"/usr/bin/time", "-f", "%M", "-o", peak.string()});
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  Child child;
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) ==
      0) {
    int status = 0;
    waitpid(pid, &status, 0);
    child.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  child.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start)
          .count();
  posix_spawn_file_actions_destroy(&actions);
  std::ifstream(peak) >> child.peak_kb;
  return child;
}

bool Prepare() {
  if (!Root().empty()) return true;
  std::string pattern =
      (fs::temp_directory_path() / "std8_lzh_bench_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) return false;
  Root() = pattern;
  std::atexit([] {
    std::error_code ignored;
    fs::remove_all(Root(), ignored);
  });
  setenv("TESSEL_ROOT", pattern.c_str(), 1);
  return Run({"/usr/bin/python3",
              std::string(STD8_SOURCE_DIR) + "/scripts/make_corpus.py", pattern,
              "--big", std::to_string(BigMegabytes())})
      .ok;
}

// The lh5 stream's size: ours and a level-2 LHA header both hold it at
// offset 7. A plain copy (packing gained nothing) counts whole.
std::uint64_t StreamSize(const fs::path& packed) {
  std::ifstream in(packed, std::ios::binary);
  unsigned char b[11] = {};
  in.read(reinterpret_cast<char*>(b), sizeof b);
  if (std::memcmp(b, " -lh5-", 6) != 0 && std::memcmp(b + 2, "-lh", 3) != 0) {
    return fs::file_size(packed);
  }
  return b[7] | (b[8] << 8) | (b[9] << 16) |
         (static_cast<std::uint64_t>(b[10]) << 24);
}

std::u16string Device(const std::string& name) {
  return u"\\" + std::u16string(name.begin(), name.end());
}

void Report(benchmark::State& state, const std::string& file,
            const fs::path& packed, long peak_kb) {
  const auto size = static_cast<double>(fs::file_size(Root() / file));
  state.SetBytesProcessed(static_cast<std::int64_t>(size));
  if (!packed.empty()) {
    const auto stream = static_cast<double>(StreamSize(packed));
    state.counters["packed"] = stream;
    state.counters["ratio"] = size > 0 ? stream / size : 0;
  }
  if (peak_kb > 0) state.counters["peak_kb"] = static_cast<double>(peak_kb);
}

void PackDirect(benchmark::State& state, std::string file) {
  refhost::Host* host = Prepare() ? SharedHost(state) : nullptr;
  if (host == nullptr) return;
  const std::u16string src = Device(file);
  const std::u16string dst = Device(file + ".lzh");
  for (auto _ : state) {
    if (host->exports().compact(src.c_str(), dst.c_str()) != 0) {
      state.SkipWithError("nfCompacte failed");
    }
  }
  Report(state, file, Root() / (file + ".lzh"), 0);
}

void PackTmhost(benchmark::State& state, std::string file) {
  if (!Prepare()) return state.SkipWithError("no corpus");
  Child child;
  for (auto _ : state) {
    child = Run({STD8_TMHOST_PATH, "--lib", STD8_COMPONENT_PATH, "compress",
                 "\\" + file, "\\" + file + ".t.lzh"});
    if (!child.ok) state.SkipWithError("tmhost compress failed");
    state.SetIterationTime(child.seconds);
  }
  Report(state, file, Root() / (file + ".t.lzh"), child.peak_kb);
}

void PackLha(benchmark::State& state, std::string file) {
  if (!Prepare()) return state.SkipWithError("no corpus");
  const fs::path archive = Root() / (file + ".x.lzh");
  Child child;
  for (auto _ : state) {
    fs::remove(archive);
    child = Run(
        {"/usr/bin/lha", "-aqo5", archive.string(), (Root() / file).string()});
    if (!child.ok) state.SkipWithError("lha failed");
    state.SetIterationTime(child.seconds);
  }
  Report(state, file, archive, child.peak_kb);
}

void RestoreDirect(benchmark::State& state, std::string file) {
  refhost::Host* host = Prepare() ? SharedHost(state) : nullptr;
  if (host == nullptr) return;
  const std::u16string src = Device(file + ".lzh");
  const std::u16string dst = Device(file + ".out");
  host->exports().compact(Device(file).c_str(), src.c_str());
  for (auto _ : state) {
    if (host->exports().decompact(src.c_str(), dst.c_str()) != 0) {
      state.SkipWithError("nfDecompacte failed");
    }
  }
  Report(state, file, {}, 0);
}

void RestoreTmhost(benchmark::State& state, std::string file) {
  if (!Prepare()) return state.SkipWithError("no corpus");
  Child child;
  for (auto _ : state) {
    child = Run({STD8_TMHOST_PATH, "--lib", STD8_COMPONENT_PATH, "expand",
                 "\\" + file + ".t.lzh", "\\" + file + ".t.out"});
    if (!child.ok) state.SkipWithError("tmhost expand failed");
    state.SetIterationTime(child.seconds);
  }
  Report(state, file, {}, child.peak_kb);
}

void RestoreLhasa(benchmark::State& state, std::string file) {
  if (!Prepare()) return state.SkipWithError("no corpus");
  const fs::path into = Root() / "lhasa";
  fs::create_directories(into);
  Child child;
  for (auto _ : state) {
    child = Run({"/usr/bin/lhasa", "-xqfw=" + into.string(),
                 (Root() / (file + ".x.lzh")).string()});
    if (!child.ok) state.SkipWithError("lhasa failed");
    state.SetIterationTime(child.seconds);
  }
  Report(state, file, {}, child.peak_kb);
}

// One run of each, in this order for every file, so that each restore
// finds the archives the packing runs made.
const int kRegistered = [] {
  for (const char* f : kFiles) {
    const std::string file = f;
    benchmark::RegisterBenchmark(("Pack/direct/" + file).c_str(), PackDirect,
                                 file)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Pack/tmhost/" + file).c_str(), PackTmhost,
                                 file)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Pack/lha/" + file).c_str(), PackLha, file)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Restore/direct/" + file).c_str(),
                                 RestoreDirect, file)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Restore/tmhost/" + file).c_str(),
                                 RestoreTmhost, file)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Restore/lhasa/" + file).c_str(),
                                 RestoreLhasa, file)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  return 0;
}();

}  // namespace
