// bench/files_bench.cpp: DirectorySize over a generated tree of files
// (100,000 unless STD8_BENCH_FILES says otherwise, 1,000 to a directory),
// called directly, through function 350 (a call prepared once, as the VM
// makes it), and beside `du -sb` on the same tree, timed from its start to
// its exit. The tree is made once in a temporary device root and removed at
// exit. du counts the directories' own sizes too, so its total is larger.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/shared_host.h"
#include "frame/implementations.h"
#include "frame/xerror_record.h"
#include "host/refhost/host.h"

extern char** environ;

namespace {

constexpr int kFilesPerDirectory = 1000;
constexpr char16_t kTree[] = u"\\tree";

std::filesystem::path& Root() {
  static std::filesystem::path root;
  return root;
}

int FileCount() {
  const char* given = std::getenv("STD8_BENCH_FILES");
  const int count = given == nullptr ? 100000 : std::atoi(given);
  return count > 0 ? count : 100000;
}

// The bytes the tree holds: file i has i % 4096 bytes (sparse: only the
// size is set).
std::int64_t Expected() {
  std::int64_t total = 0;
  for (int i = 0; i < FileCount(); ++i) total += i % 4096;
  return total;
}

// A device root of its own holding \tree\dNNN\fNNNN.
bool Prepare() {
  if (!Root().empty()) return true;
  std::string pattern =
      (std::filesystem::temp_directory_path() / "std8_files_bench_XXXXXX")
          .string();
  if (mkdtemp(pattern.data()) == nullptr) return false;
  Root() = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(Root(), ignored);
  });
  setenv("TESSEL_ROOT", pattern.c_str(), 1);
  const int count = FileCount();
  char name[64];
  for (int i = 0; i < count; ++i) {
    const std::filesystem::path dir =
        Root() / "tree" / ("d" + std::to_string(i / kFilesPerDirectory));
    if (i % kFilesPerDirectory == 0) std::filesystem::create_directories(dir);
    std::snprintf(name, sizeof name, "f%06d", i);
    const int fd =
        open((dir / name).c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    if (fd < 0) return false;
    const bool sized = ftruncate(fd, i % 4096) == 0;
    close(fd);
    if (!sized) return false;
  }
  return true;
}

void DirectorySizeDirect(benchmark::State& state) {
  if (!Prepare()) {
    state.SkipWithError("the tree cannot be made");
    return;
  }
  frame::CXError record;
  frame::Self self{nullptr, 0, &record};
  for (auto _ : state) {
    const std::int64_t size =
        files::DirectorySize(&self, reinterpret_cast<frame::Word>(kTree), 0);
    if (size != Expected()) state.SkipWithError("wrong total");
    benchmark::DoNotOptimize(size);
  }
  state.counters["files"] = FileCount();
}
BENCHMARK(DirectorySizeDirect)->Unit(benchmark::kMillisecond);

void DirectorySizeFunction350(benchmark::State& state) {
  if (!Prepare()) {
    state.SkipWithError("the tree cannot be made");
    return;
  }
  refhost::Host* host = SharedHost(state);
  if (host == nullptr) return;
  const refhost::Arg args[] = {kTree, 0};
  std::string why;
  const std::unique_ptr<refhost::PreparedCall> call =
      host->Prepare(350, 2, args, &why);
  if (call == nullptr) {
    state.SkipWithError(why.c_str());
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(call->Run());
  state.counters["files"] = FileCount();
}
BENCHMARK(DirectorySizeFunction350)->Unit(benchmark::kMillisecond);

// `du -sb` on the same tree: process start to exit.
void DuSb(benchmark::State& state) {
  if (!Prepare()) {
    state.SkipWithError("the tree cannot be made");
    return;
  }
  const std::string tree = (Root() / "tree").string();
  char du[] = "du";
  char sb[] = "-sb";
  std::string path = tree;
  char* argv[] = {du, sb, path.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawnp(&pid, "du", &actions, nullptr, argv, environ) != 0) {
      state.SkipWithError("du does not start");
      break;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    const auto end = std::chrono::steady_clock::now();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      state.SkipWithError("du failed");
      break;
    }
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
  }
  posix_spawn_file_actions_destroy(&actions);
  state.counters["files"] = FileCount();
}
BENCHMARK(DuSb)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
