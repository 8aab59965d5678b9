// host/tmhost/main.cpp: tmhost, the command-line host of the component.
// Global options come first, then the command and its words.
#include <cstdio>
#include <string>
#include <vector>

#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  tmhost::GlobalOptions options;
  std::size_t i = 0;
  for (; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(tmhost::kMainHelp, stdout);
      return tmhost::kExitOk;
    }
    if (!tmhost::ReadGlobalOption(words, &i, &options, &error)) break;
    if (!error.empty()) return tmhost::UsageError(error, "");
  }
  if (i >= words.size()) return tmhost::UsageError("no command", "");
  const std::string& command = words[i];
  const std::span<const std::string> rest(words.data() + i + 1,
                                          words.size() - i - 1);
  if (command == "call") return tmhost::CallCommand(options, rest);
  if (command == "info") return tmhost::InfoCommand(options, rest);
  if (command == "catalogue") return tmhost::CatalogueCommand(options, rest);
  if (command == "message") return tmhost::MessageCommand(options, rest);
  if (command == "child") return tmhost::ChildCommand(options, rest);
  if (command == "ini") return tmhost::IniCommand(options, rest);
  if (command == "compress") return tmhost::CompressCommand(options, rest);
  if (command == "expand") return tmhost::ExpandCommand(options, rest);
  if (command == "reg") return tmhost::RegCommand(options, rest);
  return tmhost::UsageError("unknown command \"" + command + "\"", "");
}
