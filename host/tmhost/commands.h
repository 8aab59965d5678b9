// host/tmhost/commands.h: tmhost's commands. Each takes the words after
// its name and returns the exit status.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/refhost/host.h"

namespace tmhost {

enum ExitStatus : int {
  kExitOk = 0,
  kExitRaised = 1,
  kExitUsage = 2,
  kExitForwarded = 3,
};

struct GlobalOptions {
  std::optional<std::int32_t> lang;
  std::string lib;  // empty: beside tmhost
};

// Reads --lang CODE or --lib PATH at words[*i] (advancing *i past its
// value). False when words[*i] is neither; sets *error for a bad value.
bool ReadGlobalOption(std::span<const std::string> words, std::size_t* i,
                      GlobalOptions* options, std::string* error);

// Prints "tmhost: message" and a pointer to `command`'s --help on stderr;
// returns kExitUsage.
int UsageError(std::string_view message, std::string_view command);

// Loads and starts `host` as the options say; prints why not on stderr.
bool StartHost(const GlobalOptions& options, refhost::Host* host);

// Reads a non-negative decimal number.
bool ParseNumber(std::string_view text, std::uint32_t* out);

int CallCommand(GlobalOptions options, std::span<const std::string> words);
int InfoCommand(GlobalOptions options, std::span<const std::string> words);
int CatalogueCommand(GlobalOptions options, std::span<const std::string> words);
int MessageCommand(GlobalOptions options, std::span<const std::string> words);
int ChildCommand(GlobalOptions options, std::span<const std::string> words);
int IniCommand(GlobalOptions options, std::span<const std::string> words);
int CompressCommand(GlobalOptions options, std::span<const std::string> words);
int ExpandCommand(GlobalOptions options, std::span<const std::string> words);
int RegCommand(GlobalOptions options, std::span<const std::string> words);

}  // namespace tmhost
