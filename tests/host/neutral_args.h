// tests/host/neutral_args.h: arguments of neutral value (0, false, empty
// text, no bytes) that a syntax's parameters accept, for tests that call
// handlers without caring what they compute.
#pragma once

#include <optional>
#include <vector>

#include "host/refhost/host.h"

namespace refhost {

inline std::optional<std::vector<Arg>> NeutralArgs(const SyntaxRecord& s) {
  std::vector<Arg> args;
  for (int i = 0; i < s.param_count(); ++i) {
    const auto code = static_cast<std::uint32_t>(s.param(i));
    const Arg candidates[] = {0,   std::int64_t{0},  false, 0.0,
                              frame::Decimal{}, u"", Bytes{}};
    const Arg* fit = nullptr;
    for (const Arg& a : candidates) {
      if (Fits(a.kind, code, true)) {
        fit = &a;
        break;
      }
    }
    if (fit == nullptr) return std::nullopt;
    args.push_back(*fit);
  }
  return args;
}

}  // namespace refhost
