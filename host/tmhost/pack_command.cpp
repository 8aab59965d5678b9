// host/tmhost/pack_command.cpp: `tmhost compress` and `tmhost expand`:
// nfCompacte and nfDecompacte of the library, called as the VM calls
// them, with their progress on a terminal and their status as the exit
// status.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <string>

#include "host/common/encoding.h"
#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"

namespace tmhost {
namespace {

// Not a status of either entry point: bad usage, or no library to call.
constexpr int kPackUsage = 64;

volatile std::sig_atomic_t interrupted = 0;
void OnInterrupt(int) { interrupted = 1; }

// The percentages the component reports, as one line on stderr once the
// work has lasted half a second, and only on a terminal. An interrupt
// makes the VM answer the next step with a cancel.
class Meter {
 public:
  Meter(const char* verb, vm::Control* control)
      : verb_(verb),
        control_(control),
        on_(isatty(STDERR_FILENO) == 1),
        start_(std::chrono::steady_clock::now()) {
    control_->SetProgressListener(&Meter::Step, this);
  }
  ~Meter() {
    control_->SetProgressListener(nullptr, nullptr);
    if (drawn_) std::fputc('\n', stderr);
  }

 private:
  static void Step(void* self, int percent) {
    auto* meter = static_cast<Meter*>(self);
    if (interrupted != 0) meter->control_->CancelAtPercent(0);
    if (!meter->on_) return;
    if (!meter->drawn_ && std::chrono::steady_clock::now() - meter->start_ <
                              std::chrono::milliseconds(500)) {
      return;
    }
    meter->drawn_ = true;
    std::fprintf(stderr, "\rtmhost: %s %3d%%", meter->verb_, percent);
    std::fflush(stderr);
  }

  const char* verb_;
  vm::Control* control_;
  bool on_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point start_;
};

struct Operation {
  const char* name;  // the command
  const char* help;
  const char* verb;  // on the progress line
  frame::NfCompacteFn refhost::Exports::*entry;
  const char* entry_name;
  const char* const* reasons;  // by status
  std::size_t reason_count;
};

const char* const kCompressReasons[] = {
    nullptr,
    "the source cannot be read",
    "the destination cannot be created",
    nullptr,
    "packing failed",
    "not enough memory",
    "interrupted; the destination is deleted",
    "packing failed: the disk is full",
};
const char* const kExpandReasons[] = {
    nullptr,
    "the source cannot be read",
    "the destination cannot be created",
    "not a packed file, or a corrupt one",
    "writing failed",
    "not enough memory",
    "interrupted; the destination is deleted",
};

const Operation kCompress = {"compress",
                             kCompressHelp,
                             "packing",
                             &refhost::Exports::compact,
                             "nfCompacte",
                             kCompressReasons,
                             std::size(kCompressReasons)};
const Operation kExpand = {"expand",
                           kExpandHelp,
                           "restoring",
                           &refhost::Exports::decompact,
                           "nfDecompacte",
                           kExpandReasons,
                           std::size(kExpandReasons)};

int Run(const Operation& op, GlobalOptions options,
        std::span<const std::string> words) {
  std::size_t i = 0;
  for (; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(op.help, stdout);
      return 0;
    }
    if (!ReadGlobalOption(words, &i, &options, &error)) break;
    if (!error.empty()) {
      UsageError(error, op.name);
      return kPackUsage;
    }
  }
  if (words.size() - i != 2) {
    UsageError(std::string(op.name) + " takes SRC and DST", op.name);
    return kPackUsage;
  }
  std::u16string source;
  std::u16string destination;
  if (!common::Utf8ToUtf16(words[i], &source) ||
      !common::Utf8ToUtf16(words[i + 1], &destination)) {
    UsageError("paths must be UTF-8", op.name);
    return kPackUsage;
  }
  refhost::Host host;
  if (!StartHost(options, &host)) return kPackUsage;
  const frame::NfCompacteFn entry = host.exports().*op.entry;
  if (entry == nullptr) {
    std::fprintf(stderr, "tmhost: the library has no %s entry point\n",
                 op.entry_name);
    host.Stop();
    return kPackUsage;
  }
  interrupted = 0;
  struct sigaction action = {};
  struct sigaction previous = {};
  action.sa_handler = &OnInterrupt;
  sigaction(SIGINT, &action, &previous);
  std::int16_t status = 0;
  {
    Meter meter(op.verb, &host.vm());
    status = entry(source.c_str(), destination.c_str());
  }
  sigaction(SIGINT, &previous, nullptr);
  host.Stop();
  if (status != 0) {
    const char* reason =
        status > 0 && static_cast<std::size_t>(status) < op.reason_count
            ? op.reasons[status]
            : nullptr;
    std::fprintf(stderr, "tmhost: %s %s: %s (status %d)\n", op.name,
                 words[i].c_str(), reason != nullptr ? reason : "failed",
                 status);
  }
  return status;
}

}  // namespace

int CompressCommand(GlobalOptions options, std::span<const std::string> words) {
  return Run(kCompress, options, words);
}

int ExpandCommand(GlobalOptions options, std::span<const std::string> words) {
  return Run(kExpand, options, words);
}

}  // namespace tmhost
