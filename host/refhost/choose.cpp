// host/refhost/choose.cpp: the syntax choice rule.
#include "host/refhost/choose.h"

#include <cstdio>

namespace refhost {
namespace {

std::string Hex(Word code) {
  char buffer[24];
  std::snprintf(buffer, sizeof(buffer), "0x%llX",
                static_cast<unsigned long long>(code));
  return buffer;
}

}  // namespace

bool SyntaxFits(const SyntaxRecord& s, std::span<const Arg> args, bool extended,
                std::string* why) {
  const auto n = static_cast<int>(args.size());
  const int listed = s.param_count();
  if (n != listed && !(s.takes_more() && n > listed)) {
    *why = "takes " + std::to_string(listed) +
           (s.takes_more() ? " or more" : "") + " argument(s), not " +
           std::to_string(n);
    return false;
  }
  for (int i = 0; i < listed; ++i) {
    if (static_cast<int>(s.signature.size()) <= i + 1) {
      *why = "its signature lists fewer parameters than its count";
      return false;
    }
    const auto code = static_cast<std::uint32_t>(s.param(i));
    if (!Fits(args[i].kind, code, extended)) {
      *why = "argument " + std::to_string(i + 1) + " (" +
             KindName(args[i].kind) + ") does not fit parameter type " +
             Hex(code);
      return false;
    }
  }
  return true;
}

int ChooseSyntax(const FunctionRecord& f, std::span<const Arg> args) {
  for (bool extended : {false, true}) {
    for (std::size_t k = 0; k < f.syntaxes.size(); ++k) {
      std::string why;
      if (SyntaxFits(f.syntaxes[k], args, extended, &why)) {
        return static_cast<int>(k + 1);
      }
    }
  }
  return 0;
}

std::string SignatureText(const SyntaxRecord& s) {
  std::string text = Hex(s.result()) + " (";
  for (std::size_t i = 1; i < s.signature.size(); ++i) {
    if (i > 1) text += ", ";
    text += Hex(s.signature[i]);
  }
  if (s.takes_more()) text += s.signature.size() > 1 ? ", ..." : "...";
  return text + ")";
}

}  // namespace refhost
