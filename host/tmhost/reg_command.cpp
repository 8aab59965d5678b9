// host/tmhost/reg_command.cpp: `tmhost reg`: .reg files into and out of
// the registry store, and a readable dump of a subtree. No language function
// moves whole subtrees, so this runs the component's code linked into
// tmhost on the POSIX store, as `ini get` does.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/common/encoding.h"
#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"
#include "platform/platform.h"
#include "system/reg_dump.h"
#include "system/reg_file.h"
#include "system/reg_tree.h"

namespace tmhost {
namespace {

// Statuses of `reg`, which scripts test.
enum RegStatus : int {
  kRegDone = 0,
  kRegNotFound = 1,
  kRegUsage = kExitUsage,
  kRegFailed = 3,
  kRegMalformed = 4,
};

// Warnings name this many lossy entries, then count the rest.
constexpr std::size_t kLossyShown = 10;

// One line on stderr, redrawn at most every 100 ms, and only on a terminal:
// a short run shows nothing and a log file gets no carriage returns.
class Progress {
 public:
  Progress(const char* verb, const char* unit)
      : verb_(verb), unit_(unit), on_(isatty(STDERR_FILENO) == 1) {}

  sys::RegProgress Callback() {
    if (!on_) return nullptr;
    return [this](std::size_t done, std::size_t total) { Show(done, total); };
  }
  // Ends the line if one was drawn.
  void Done() {
    if (!drawn_) return;
    Draw();
    std::fputc('\n', stderr);
  }

 private:
  void Show(std::size_t done, std::size_t total) {
    done_ = done;
    total_ = total;
    const auto now = std::chrono::steady_clock::now();
    if (now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    Draw();
  }
  void Draw() {
    drawn_ = true;
    if (total_ > 0) {
      std::fprintf(stderr, "\rtmhost: %s %zu of %zu %s", verb_, done_, total_,
                   unit_);
    } else {
      std::fprintf(stderr, "\rtmhost: %s %zu %s", verb_, done_, unit_);
    }
    std::fflush(stderr);
  }

  const char* verb_;
  const char* unit_;
  bool on_;
  bool drawn_ = false;
  std::size_t done_ = 0;
  std::size_t total_ = 0;
  std::chrono::steady_clock::time_point last_ =
      std::chrono::steady_clock::now();
};

std::string Utf8(const std::u16string& text) {
  return common::Utf16ToUtf8(text);
}

int StoreFailed(const sys::RegStoreError& error) {
  std::fprintf(stderr, "tmhost: the registry store failed at %s: %s (%u)\n",
               Utf8(error.where).c_str(),
               Utf8(plat::Current().system.ErrorText(error.code)).c_str(),
               error.code);
  return kRegFailed;
}

// FILE "-" is standard input.
bool ReadAll(const std::string& name, std::string* bytes) {
  FILE* file = name == "-" ? stdin : std::fopen(name.c_str(), "rb");
  if (file == nullptr) return false;
  char buffer[65536];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    bytes->append(buffer, n);
  }
  const bool ok = std::ferror(file) == 0;
  if (file != stdin) std::fclose(file);
  return ok;
}

// FILE "-" is standard output.
bool WriteAll(const std::string& name, const std::string& bytes) {
  FILE* file = name == "-" ? stdout : std::fopen(name.c_str(), "wb");
  if (file == nullptr) return false;
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  ok = std::fflush(file) == 0 && ok;
  if (file != stdout) ok = std::fclose(file) == 0 && ok;
  return ok;
}

int FileFailed(const std::string& name, const char* what) {
  std::fprintf(stderr, "tmhost: %s cannot be %s: %s\n", name.c_str(), what,
               std::strerror(errno));
  return kRegFailed;
}

// KEY in full or with a short root name; false after a usage message.
bool ReadKey(const std::string& word, sys::RegKeyPath* key) {
  std::u16string text;
  if (!common::Utf8ToUtf16(word, &text)) {
    UsageError("KEY must be UTF-8", "reg");
    return false;
  }
  if (const char* what = sys::ParseRegKeyPath(text, true, key)) {
    UsageError(word + ": " + what, "reg");
    return false;
  }
  return true;
}

int Import(std::span<const std::string> words) {
  if (words.size() != 1) return UsageError("reg import takes FILE", "reg");
  const std::string& name = words[0];
  std::string bytes;
  errno = 0;
  if (!ReadAll(name, &bytes)) return FileFailed(name, "read");
  sys::RegFile file;
  sys::RegFileError bad;
  if (!sys::ParseRegFile(bytes, &file, &bad)) {
    std::fprintf(stderr, "%s:%zu: %s\n", name.c_str(), bad.line,
                 bad.what.c_str());
    return kRegMalformed;
  }
  Progress progress("imported", "changes");
  sys::RegStoreError error;
  const plat::SysErr err = sys::ApplyRegFile(file, progress.Callback(), &error);
  progress.Done();
  return err == plat::kOk ? kRegDone : StoreFailed(error);
}

int Export(std::span<const std::string> words) {
  sys::RegFormat format = sys::RegFormat::kVersion5;
  std::vector<std::string> positional;
  for (const std::string& word : words) {
    if (word == "--regedit4") {
      format = sys::RegFormat::kRegedit4;
    } else if (word.size() > 1 && word[0] == '-') {
      return UsageError("unknown option " + word, "reg");
    } else {
      positional.push_back(word);
    }
  }
  if (positional.size() != 2) {
    return UsageError("reg export takes [--regedit4] KEY FILE", "reg");
  }
  sys::RegKeyPath key;
  if (!ReadKey(positional[0], &key)) return kRegUsage;
  Progress progress("exported", "keys");
  sys::RegExport exported;
  sys::RegStoreError error;
  const plat::SysErr err =
      sys::ExportRegTree(key, format, &exported, progress.Callback(), &error);
  progress.Done();
  if (err == plat::kErrFileNotFound) {
    std::fprintf(stderr, "tmhost: %s: no such key\n", positional[0].c_str());
    return kRegNotFound;
  }
  if (err != plat::kOk) return StoreFailed(error);
  errno = 0;
  if (!WriteAll(positional[1], exported.bytes)) {
    return FileFailed(positional[1], "written");
  }
  const std::size_t lossy = exported.lossy.size();
  for (std::size_t i = 0; i < lossy && i < kLossyShown; ++i) {
    std::fprintf(stderr,
                 "tmhost: warning: %s: the format cannot carry it whole; "
                 "written with \"?\"\n",
                 Utf8(exported.lossy[i]).c_str());
  }
  if (lossy > kLossyShown) {
    std::fprintf(stderr, "tmhost: warning: and %zu more\n",
                 lossy - kLossyShown);
  }
  return kRegDone;
}

int Dump(std::span<const std::string> words) {
  if (words.size() != 1) return UsageError("reg dump takes KEY", "reg");
  sys::RegKeyPath key;
  if (!ReadKey(words[0], &key)) return kRegUsage;
  std::u16string text;
  sys::RegStoreError error;
  const plat::SysErr err = sys::DumpRegTree(key, &text, nullptr, &error);
  if (err == plat::kErrFileNotFound) {
    std::fprintf(stderr, "tmhost: %s: no such key\n", words[0].c_str());
    return kRegNotFound;
  }
  if (err != plat::kOk) return StoreFailed(error);
  std::fputs(Utf8(text).c_str(), stdout);
  return kRegDone;
}

}  // namespace

int RegCommand(GlobalOptions options, std::span<const std::string> words) {
  std::size_t i = 0;
  for (; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(kRegHelp, stdout);
      return kRegDone;
    }
    if (ReadGlobalOption(words, &i, &options, &error)) {
      if (!error.empty()) return UsageError(error, "reg");
    } else {
      break;
    }
  }
  if (i >= words.size()) {
    return UsageError("reg needs import, export or dump", "reg");
  }
  const std::span<const std::string> rest = words.subspan(i + 1);
  for (const std::string& word : rest) {
    if (word == "--help") {
      std::fputs(kRegHelp, stdout);
      return kRegDone;
    }
  }
  if (words[i] == "import") return Import(rest);
  if (words[i] == "export") return Export(rest);
  if (words[i] == "dump") return Dump(rest);
  return UsageError(
      "reg needs import, export or dump, not \"" + words[i] + "\"", "reg");
}

}  // namespace tmhost
