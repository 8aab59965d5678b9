// host/tmhost/info_command.cpp: `tmhost info` and `tmhost message`.
#include <cstdio>
#include <set>

#include "host/common/encoding.h"
#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"
#include "host/tmhost/json.h"

namespace tmhost {
namespace {

constexpr std::uint32_t kLastInfoCode = 44;

std::uint32_t Crc32(const unsigned char* data, std::size_t size) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (std::size_t i = 0; i < size; ++i) {
    crc ^= data[i];
    for (int k = 0; k < 8; ++k) {
      crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
  }
  return ~crc;
}

std::string Text16(frame::Word pointer) {
  const auto* text = reinterpret_cast<const char16_t*>(pointer);
  return text == nullptr ? "null" : JsonString(std::u16string_view(text));
}

// What an address answer leads to, for the codes that give one.
std::string Describe(refhost::Host& host, std::uint32_t code,
                     frame::Word value) {
  switch (code) {
    case 4:
    case 39:
      return "entry 0 " + Text16(value);
    case 23:
      return "constant table";
    case 25:
      return "typed-entry table";
    case 29: {
      const auto* table = reinterpret_cast<const frame::Word*>(value);
      if (table == nullptr) return "";
      return "text table: entry 0 " + Text16(table[0]) + ", entry 1 " +
             Text16(table[1]);
    }
    case 31:
      return "type-name table";
    case 33:
      return "function table";
    case 40: {
      const frame::Word size = host.Info(41);
      if (value == 0) return "";
      char crc[32];
      std::snprintf(crc, sizeof(crc), "%08x",
                    Crc32(reinterpret_cast<const unsigned char*>(value),
                          static_cast<std::size_t>(size)));
      return "resource block, " + std::to_string(size) + " bytes, CRC-32 " +
             crc;
    }
    default:
      return "";
  }
}

bool IsAddressCode(std::uint32_t code) {
  return code == 23 || code == 25 || code == 29 || code == 31 || code == 33 ||
         code == 40 || code == 4 || code == 39;
}

void PrintCounts(const refhost::Catalogue& c) {
  int with_handler = 0;
  int without = 0;
  int functions_without = 0;
  std::set<frame::Word> handlers;
  for (const refhost::FunctionRecord& f : c.functions) {
    bool any = false;
    for (const refhost::SyntaxRecord& s : f.syntaxes) {
      if (s.handler != 0) {
        ++with_handler;
        handlers.insert(s.handler);
        any = true;
      } else {
        ++without;
      }
    }
    if (!any) ++functions_without;
  }
  int text_constants = 0;
  for (const refhost::ConstantRecord& k : c.constants) {
    text_constants += k.is_text ? 1 : 0;
  }
  int writable = 0;
  for (const refhost::MemberRecord& m : c.members) {
    writable += m.write != 0 ? 1 : 0;
  }
  std::printf("tables\n");
  std::printf("  functions       %zu (%d without any handler)\n",
              c.functions.size(), functions_without);
  std::printf("  syntaxes        %d (%d with a handler, %d without)\n",
              with_handler + without, with_handler, without);
  std::printf("  handlers        %zu distinct\n", handlers.size());
  std::printf("  constants       %zu (%d text)\n", c.constants.size(),
              text_constants);
  std::printf("  typed entries   %zu\n", c.typed.size());
  std::printf("  type names      %zu\n", c.type_names.size());
  std::printf("  members         %zu (%d writable)\n", c.members.size(),
              writable);
}

}  // namespace

int InfoCommand(GlobalOptions options, std::span<const std::string> words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(kInfoHelp, stdout);
      return kExitOk;
    }
    if (ReadGlobalOption(words, &i, &options, &error)) {
      if (!error.empty()) return UsageError(error, "info");
      continue;
    }
    return UsageError("info takes no argument \"" + words[i] + "\"", "info");
  }
  refhost::Host host;
  if (!StartHost(options, &host)) return kExitUsage;
  std::printf("InfoComposante\n");
  for (std::uint32_t code = 0; code <= kLastInfoCode; ++code) {
    const frame::Word value = host.Info(code, 0);
    if (IsAddressCode(code)) {
      std::printf("  %2u: %s", code, value == 0 ? "null" : "address");
      const std::string what = Describe(host, code, value);
      if (!what.empty()) std::printf(" (%s)", what.c_str());
      std::printf("\n");
    } else {
      std::printf("  %2u: %lld\n", code,
                  static_cast<long long>(static_cast<std::int32_t>(value)));
    }
  }
  PrintCounts(host.catalogue());
  std::fflush(stdout);
  host.Stop();
  return kExitOk;
}

int MessageCommand(GlobalOptions options, std::span<const std::string> words) {
  bool json = false;
  std::optional<std::uint32_t> number;
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(kMessageHelp, stdout);
      return kExitOk;
    }
    if (words[i] == "--json") {
      json = true;
    } else if (ReadGlobalOption(words, &i, &options, &error)) {
      if (!error.empty()) return UsageError(error, "message");
    } else {
      std::uint32_t n = 0;
      if (number || !ParseNumber(words[i], &n)) {
        return UsageError("message takes one message number", "message");
      }
      number = n;
    }
  }
  if (!number) return UsageError("no message number", "message");
  refhost::Host host;
  if (!StartHost(options, &host)) return kExitUsage;
  // An error number is shown with its definition and its message's text;
  // any other number is taken as a message number.
  const std::optional<refhost::ErrorDefinition> definition =
      host.FindErrorDefinition(*number);
  const std::optional<refhost::Message> m =
      host.FetchMessage(definition ? definition->message : *number);
  host.Stop();
  if (!m) {
    std::fprintf(stderr, "tmhost: no message %u\n", *number);
    return kExitRaised;
  }
  if (definition && json) {
    std::printf("{\"number\":%u,\"severity\":%u,\"subcode\":%u,"
                "\"message\":%u,\"class\":%d,\"text\":%s}\n",
                *number, definition->severity, definition->subcode,
                definition->message, m->message_class,
                JsonString(m->text).c_str());
  } else if (definition) {
    std::printf("error %u, severity %u, message %u\n%s\n", *number,
                definition->severity, definition->message,
                common::Utf16ToUtf8(m->text).c_str());
  } else if (json) {
    std::printf("{\"number\":%u,\"class\":%d,\"text\":%s}\n", *number,
                m->message_class, JsonString(m->text).c_str());
  } else {
    std::printf("message %u, class %d\n%s\n", *number, m->message_class,
                common::Utf16ToUtf8(m->text).c_str());
  }
  return kExitOk;
}

}  // namespace tmhost
