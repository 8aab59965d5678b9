// host/tmhost/catalogue_command.cpp: `tmhost catalogue`, readable and as
// JSON.
#include <cstdio>
#include <string>
#include <vector>

#include "host/common/encoding.h"
#include "host/refhost/choose.h"
#include "host/tmhost/commands.h"
#include "host/tmhost/help.h"
#include "host/tmhost/json.h"

namespace tmhost {
namespace {

using refhost::Catalogue;
using refhost::FunctionRecord;
using refhost::SyntaxRecord;
using Names = std::vector<std::vector<std::string>>;

std::string N(frame::Word w) { return std::to_string(w); }

// Flags and position words: eight digits.
std::string Hex8(frame::Word w) {
  char buffer[24];
  std::snprintf(buffer, sizeof(buffer), "0x%08llX",
                static_cast<unsigned long long>(w));
  return buffer;
}

std::string Hex(frame::Word w) {
  char buffer[24];
  std::snprintf(buffer, sizeof(buffer), "0x%llX",
                static_cast<unsigned long long>(w));
  return buffer;
}

std::string FunctionJson(const FunctionRecord& f,
                         const std::vector<std::string>& names) {
  std::string out = "{\"number\":" + N(f.number) + ",\"flags\":" + N(f.flags) +
                    ",\"word6\":" + N(f.word6) +
                    ",\"position\":" + N(f.position) + ",\"syntaxes\":[";
  for (std::size_t k = 0; k < f.syntaxes.size(); ++k) {
    const SyntaxRecord& s = f.syntaxes[k];
    if (k > 0) out += ',';
    out += "{\"handler\":" +
           (names[k].empty() ? std::string("null") : JsonString(names[k])) +
           ",\"reserved\":[" + N(s.words[1]) + "," + N(s.words[2]) + "," +
           N(s.words[3]) + "],\"signature\":[";
    for (std::size_t i = 0; i < s.signature.size(); ++i) {
      if (i > 0) out += ',';
      out += N(s.signature[i]);
    }
    out += "],\"param_word\":" + N(s.param_word) + "}";
  }
  return out + "]}";
}

std::string CatalogueJson(const Catalogue& c, const Names& names) {
  std::string out = "{\"functions\":[";
  for (std::size_t i = 0; i < c.functions.size(); ++i) {
    if (i > 0) out += ',';
    out += FunctionJson(c.functions[i], names[i]);
  }
  out += "],\"constants\":[";
  for (std::size_t i = 0; i < c.constants.size(); ++i) {
    const refhost::ConstantRecord& k = c.constants[i];
    if (i > 0) out += ',';
    out += "{\"number\":" + N(k.number) + ",\"id\":" + N(k.id) +
           ",\"flags\":" + N(k.flags) + ",\"value\":" +
           (k.is_text ? JsonString(k.text) : std::to_string(k.integer())) +
           ",\"type\":" + N(k.type) + "}";
  }
  out += "],\"typed_entries\":[";
  for (std::size_t i = 0; i < c.typed.size(); ++i) {
    const refhost::TypedRecord& t = c.typed[i];
    if (i > 0) out += ',';
    out += "{\"number\":" + N(t.number) + ",\"flags\":" + N(t.flags) +
           ",\"position\":" + N(t.position) + "}";
  }
  out += "],\"type_names\":[";
  for (std::size_t i = 0; i < c.type_names.size(); ++i) {
    if (i > 0) out += ',';
    out += JsonString(common::Cp1252ToUtf8(c.type_names[i]));
  }
  out += "],\"members\":[";
  for (std::size_t i = 0; i < c.members.size(); ++i) {
    const refhost::MemberRecord& m = c.members[i];
    if (i > 0) out += ',';
    out += "{\"number\":" + N(m.number) + ",\"id\":" + N(m.id) +
           ",\"type\":" + N(m.type) +
           ",\"writable\":" + (m.write != 0 ? "true" : "false") + "}";
  }
  return out + "]}";
}

void PrintFunction(const FunctionRecord& f,
                   const std::vector<std::string>& names) {
  std::printf(
      "function %llu  flags %s  word6 %s  position %s  (%zu "
      "syntax%s)\n",
      static_cast<unsigned long long>(f.number), Hex8(f.flags).c_str(),
      Hex(f.word6).c_str(), Hex8(f.position).c_str(), f.syntaxes.size(),
      f.syntaxes.size() == 1 ? "" : "es");
  for (std::size_t k = 0; k < f.syntaxes.size(); ++k) {
    const SyntaxRecord& s = f.syntaxes[k];
    std::printf("  %2zu. %-4s  %s", k + 1,
                names[k].empty() ? "-" : names[k].c_str(),
                refhost::SignatureText(s).c_str());
    std::printf("  count %s", Hex(s.param_word).c_str());
    if (s.words[1] != 0 || s.words[2] != 0 || s.words[3] != 0) {
      std::printf("  reserved %s %s %s", Hex(s.words[1]).c_str(),
                  Hex(s.words[2]).c_str(), Hex(s.words[3]).c_str());
    }
    std::printf("\n");
  }
}

void PrintRest(const Catalogue& c) {
  for (const refhost::ConstantRecord& k : c.constants) {
    const std::string value =
        k.is_text ? JsonString(k.text) : std::to_string(k.integer());
    std::printf("constant %llu  id %llu  flags %s  type %s  value %s\n",
                static_cast<unsigned long long>(k.number),
                static_cast<unsigned long long>(k.id), Hex8(k.flags).c_str(),
                Hex(k.type).c_str(), value.c_str());
  }
  for (const refhost::TypedRecord& t : c.typed) {
    std::printf("typed %llu  flags %s  position %s\n",
                static_cast<unsigned long long>(t.number),
                Hex8(t.flags).c_str(), Hex8(t.position).c_str());
  }
  for (std::size_t i = 0; i < c.type_names.size(); ++i) {
    std::printf("type name %zu  %s\n", i + 1,
                common::Cp1252ToUtf8(c.type_names[i]).c_str());
  }
  for (const refhost::MemberRecord& m : c.members) {
    std::printf("member %llu  lead %s  id %s  type %s  %s\n",
                static_cast<unsigned long long>(m.number), Hex(m.lead).c_str(),
                Hex(m.id).c_str(), Hex(m.type).c_str(),
                m.write != 0 ? "read/write" : "read-only");
  }
}

}  // namespace

int CatalogueCommand(GlobalOptions options,
                     std::span<const std::string> words) {
  bool json = false;
  std::optional<std::uint32_t> function;
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string error;
    if (words[i] == "--help") {
      std::fputs(kCatalogueHelp, stdout);
      return kExitOk;
    }
    if (words[i] == "--json") {
      json = true;
    } else if (ReadGlobalOption(words, &i, &options, &error)) {
      if (!error.empty()) return UsageError(error, "catalogue");
    } else {
      std::uint32_t n = 0;
      if (function || !ParseNumber(words[i], &n)) {
        return UsageError("catalogue takes at most one function number",
                          "catalogue");
      }
      function = n;
    }
  }
  refhost::Host host;
  if (!StartHost(options, &host)) return kExitUsage;
  const Catalogue& c = host.catalogue();
  const Names names = refhost::HandlerNames(c);
  int status = kExitOk;
  if (function) {
    const FunctionRecord* f = c.Function(*function);
    if (f == nullptr) {
      std::fprintf(stderr,
                   "tmhost: unknown function %u: functions are "
                   "numbered 1 to %zu\n",
                   *function, c.functions.size());
      status = kExitUsage;
    } else if (json) {
      std::printf("%s\n", FunctionJson(*f, names[*function - 1]).c_str());
    } else {
      PrintFunction(*f, names[*function - 1]);
    }
  } else if (json) {
    std::printf("%s\n", CatalogueJson(c, names).c_str());
  } else {
    for (std::size_t i = 0; i < c.functions.size(); ++i) {
      PrintFunction(c.functions[i], names[i]);
    }
    PrintRest(c);
  }
  std::fflush(stdout);
  host.Stop();
  return status;
}

}  // namespace tmhost
