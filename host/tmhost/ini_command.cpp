// host/tmhost/ini_command.cpp: `tmhost ini`: one entry of an INI file.
// `set` is language function 218 called through the host; `get` has no
// language function, so it runs the component's read side linked into
// tmhost (the library's exports give no way in).
#include <cstdio>
#include <string>

#include "files/ini.h"
#include "host/common/encoding.h"
#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"
#include "platform/platform.h"

namespace tmhost {
namespace {

// Statuses of `ini`, which scripts test.
enum IniStatus : int {
  kIniDone = 0,
  kIniNotFound = 1,
  kIniUsage = kExitUsage,
  kIniFailed = 3,
};

// Function 218, syntax 4: section, key, value, file.
constexpr std::uint32_t kIniWriteFunction = 218;
constexpr int kIniWriteTextSyntax = 4;

void PrintText(const std::u16string& text) {
  std::string out = common::Utf16ToUtf8(text);
  // A list comes joined by CR LF: one name a line here.
  for (std::size_t at; (at = out.find("\r\n")) != std::string::npos;) {
    out.erase(at, 1);
  }
  std::printf("%s\n", out.c_str());
}

// The words in UTF-16; false when one is not UTF-8.
bool Widen(std::span<const std::string> words, std::u16string* out) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (!common::Utf8ToUtf16(words[i], &out[i])) return false;
  }
  return true;
}

int Get(std::span<const std::string> words) {
  if (words.size() < 2 || words.size() > 3) {
    return UsageError("ini get takes FILE SECTION [KEY]", "ini");
  }
  std::u16string w[3];  // file, section, key
  if (!Widen(words, w)) return UsageError("arguments must be UTF-8", "ini");
  if (w[1].empty() && words.size() == 3) {
    return UsageError("a KEY needs a SECTION", "ini");
  }
  const bool keyed = words.size() == 3 && !w[2].empty();
  std::u16string text;
  const files::IniFound found =
      files::IniLookup(w[1].c_str(), w[2].c_str(), w[0].c_str(), &text);
  if (found == files::IniFound::kMissing) return kIniNotFound;
  if (found == files::IniFound::kNoFile) {
    const plat::SysErr error = plat::Current().system.LastError();
    if (error == plat::kErrFileNotFound || error == plat::kErrPathNotFound) {
      return kIniNotFound;
    }
    std::fprintf(
        stderr, "tmhost: %s cannot be read: %s (%u)\n", words[0].c_str(),
        common::Utf16ToUtf8(plat::Current().system.ErrorText(error)).c_str(),
        error);
    return kIniFailed;
  }
  if (!text.empty() || keyed) PrintText(text);
  return kIniDone;
}

int Set(const GlobalOptions& options, std::span<const std::string> words) {
  if (words.size() != 4) {
    return UsageError("ini set takes FILE SECTION KEY VALUE", "ini");
  }
  std::u16string w[4];  // file, section, key, value
  if (!Widen(words, w)) return UsageError("arguments must be UTF-8", "ini");
  refhost::Host host;
  if (!StartHost(options, &host)) return kIniUsage;
  const refhost::CallResult r = host.CallSyntax(
      kIniWriteFunction, kIniWriteTextSyntax, w[1], w[2], w[3], w[0]);
  host.Stop();
  if (!r.called()) {
    std::fprintf(stderr, "tmhost: %s\n", r.refused.c_str());
    return kIniUsage;
  }
  if (r.value == refhost::Value(true)) return kIniDone;
  if (r.error.raised()) {
    std::fprintf(stderr, "error %u: %s\n", r.error.number,
                 common::Utf16ToUtf8(r.error.Message()).c_str());
  } else {
    std::fprintf(stderr, "tmhost: %s was not written\n", words[0].c_str());
  }
  return kIniFailed;
}

}  // namespace

int IniCommand(GlobalOptions options, std::span<const std::string> words) {
  std::size_t i = 0;
  for (; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(kIniHelp, stdout);
      return kIniDone;
    }
    if (ReadGlobalOption(words, &i, &options, &error)) {
      if (!error.empty()) return UsageError(error, "ini");
    } else {
      break;
    }
  }
  if (i >= words.size()) return UsageError("ini needs get or set", "ini");
  const std::span<const std::string> rest = words.subspan(i + 1);
  if (words[i] == "get") return Get(rest);
  if (words[i] == "set") return Set(options, rest);
  return UsageError("ini needs get or set, not \"" + words[i] + "\"", "ini");
}

}  // namespace tmhost
