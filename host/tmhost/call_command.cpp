// host/tmhost/call_command.cpp: `tmhost call`: one language call.
#include <cstdio>
#include <vector>

#include "host/common/encoding.h"
#include "host/refhost/args.h"
#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"
#include "host/tmhost/output.h"

namespace tmhost {
namespace {

void PrintPlain(const refhost::CallResult& r) {
  if (r.forwarded()) {
    std::printf("forwarded: component %llu, index %llu\n",
                static_cast<unsigned long long>(r.forward_component),
                static_cast<unsigned long long>(r.forward_index));
  } else if (r.set_calls > 0 &&
             !std::holds_alternative<std::monostate>(r.value)) {
    std::printf("%s\n", PlainValue(r.value).c_str());
  }
  if (r.error.raised()) {
    std::fprintf(stderr, "error %u: %s\n", r.error.number,
                 common::Utf16ToUtf8(r.error.Message()).c_str());
    if (r.error.system_code != 0) {
      std::fprintf(stderr, "system error %u: %s\n", r.error.system_code,
                   common::Utf16ToUtf8(r.error.system_text).c_str());
    }
  }
}

}  // namespace

int CallCommand(GlobalOptions options, std::span<const std::string> words) {
  bool json = false;
  int syntax = 0;
  std::size_t i = 0;
  for (; i < words.size(); ++i) {
    const std::string& w = words[i];
    std::string error;
    if (w == "--help") {
      std::fputs(kCallHelp, stdout);
      return kExitOk;
    }
    if (w == "--json") {
      json = true;
    } else if (w == "--syntax") {
      std::uint32_t k = 0;
      if (i + 1 >= words.size() || !ParseNumber(words[i + 1], &k) || k == 0 ||
          k > 255) {
        return UsageError("--syntax takes a syntax number from 1", "call");
      }
      syntax = static_cast<int>(k);
      ++i;
    } else if (ReadGlobalOption(words, &i, &options, &error)) {
      if (!error.empty()) return UsageError(error, "call");
    } else if (w.size() > 1 && w[0] == '-' && w[1] == '-') {
      return UsageError("unknown option " + w, "call");
    } else {
      break;
    }
  }
  if (i >= words.size()) return UsageError("no function number", "call");
  std::uint32_t function = 0;
  if (!ParseNumber(words[i], &function)) {
    return UsageError("\"" + words[i] + "\" is not a function number", "call");
  }
  std::vector<refhost::Arg> args;
  for (++i; i < words.size(); ++i) {
    refhost::Arg arg(0);
    std::string error;
    if (!refhost::ParseArg(words[i], &arg, &error)) {
      return UsageError(error, "call");
    }
    args.push_back(std::move(arg));
  }

  refhost::Host host;
  if (!StartHost(options, &host)) return kExitUsage;
  const refhost::CallResult r = host.CallArgs(function, syntax, args);
  if (!r.called()) {
    std::fprintf(stderr, "tmhost: %s\n", r.refused.c_str());
    return kExitUsage;
  }
  if (json) {
    std::printf("%s\n", CallJson(r).c_str());
  } else {
    PrintPlain(r);
  }
  std::fflush(stdout);
  host.Stop();
  if (r.forwarded()) return kExitForwarded;
  return r.error.raised() ? kExitRaised : kExitOk;
}

int ChildCommand(GlobalOptions, std::span<const std::string>) {
  std::fputs("tmhost child: not implemented\n", stderr);
  return kExitUsage;
}

}  // namespace tmhost
