// host/tmhost/common_options.cpp: what every command shares: the global
// options, usage errors and starting the host.
#include <charconv>
#include <cstdio>
#include <limits>

#include "host/tmhost/commands.h"

namespace tmhost {

bool ParseNumber(std::string_view text, std::uint32_t* out) {
  if (text.empty() || text.front() == '-' || text.front() == '+') {
    return false;
  }
  const auto [ptr, ec] =
      std::from_chars(text.data(), text.data() + text.size(), *out);
  return ec == std::errc() && ptr == text.data() + text.size();
}

bool ReadGlobalOption(std::span<const std::string> words, std::size_t* i,
                      GlobalOptions* options, std::string* error) {
  const std::string& word = words[*i];
  if (word != "--lang" && word != "--lib") return false;
  if (*i + 1 >= words.size()) {
    *error = word + " needs a value";
    return true;
  }
  const std::string& value = words[++*i];
  if (word == "--lib") {
    options->lib = value;
    return true;
  }
  std::int32_t code = 0;
  const char* begin = value.data();
  const char* end = value.data() + value.size();
  const auto [ptr, ec] = std::from_chars(begin, end, code);
  if (value.empty() || ec != std::errc() || ptr != end) {
    *error = "--lang takes a language code, not \"" + value + "\"";
  } else {
    options->lang = code;
  }
  return true;
}

int UsageError(std::string_view message, std::string_view command) {
  std::fprintf(stderr, "tmhost: %.*s\n", static_cast<int>(message.size()),
               message.data());
  std::fprintf(stderr, "Try 'tmhost %.*s%s--help'.\n",
               static_cast<int>(command.size()), command.data(),
               command.empty() ? "" : " ");
  return kExitUsage;
}

bool StartHost(const GlobalOptions& options, refhost::Host* host) {
  if (!host->Load(options.lib)) {
    std::fprintf(stderr, "tmhost: %s\n", host->last_error().c_str());
    return false;
  }
  if (options.lang) host->SetLanguage(*options.lang);
  if (!host->Start()) {
    std::fprintf(stderr, "tmhost: the component did not start: %s\n",
                 host->last_error().c_str());
    return false;
  }
  return true;
}

}  // namespace tmhost
