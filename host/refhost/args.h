// host/refhost/args.h: typed arguments of a language call, their command
// line form ("i:12", "s:text", ...) and which parameter codes each fits.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/abi.h"
#include "host/common/encoding.h"

namespace refhost {

enum class ArgKind {
  kInt,      // i:  32-bit integer
  kInt64,    // l:  64-bit integer
  kBool,     // b:  0 or 1
  kReal,     // r:  8-byte real
  kDecimal,  // d:  ten-byte decimal
  kText,     // s:  text
  kBytes,    // h:  byte buffer
  kWord,     // a machine word handed through as it is
  kEmpty,    // a composite value holding nothing
};

struct Arg {
  Arg(int v) : kind(ArgKind::kInt), integer(v) {}             // NOLINT
  Arg(std::int64_t v) : kind(ArgKind::kInt64), integer(v) {}  // NOLINT
  Arg(bool v) : kind(ArgKind::kBool), integer(v ? 1 : 0) {}   // NOLINT
  Arg(double v) : kind(ArgKind::kReal), real(v) {}            // NOLINT
  Arg(const frame::Decimal& v)
      : kind(ArgKind::kDecimal), decimal(v) {}                         // NOLINT
  Arg(std::u16string v) : kind(ArgKind::kText), text(std::move(v)) {}  // NOLINT
  Arg(const char16_t* v) : kind(ArgKind::kText), text(v) {}            // NOLINT
  Arg(common::Bytes v)
      : kind(ArgKind::kBytes), bytes(std::move(v)) {}  // NOLINT

  static Arg Word(frame::Word w);
  static Arg Empty();

  ArgKind kind;
  std::int64_t integer = 0;  // int, int64, bool, word
  double real = 0;
  frame::Decimal decimal{};
  std::u16string text;
  common::Bytes bytes;
};

// Reads the command line form KIND:VALUE. i: and l: take a decimal number
// or 0x and hexadecimal digits, within range; b: 0 or 1; r: a real; d:
// [+|-]digits[.digits]; s: UTF-8 text; h: pairs of hexadecimal digits.
// False with a message in *error otherwise.
bool ParseArg(std::string_view text, Arg* out, std::string* error);

// Whether an argument of `kind` may stand for a parameter of type `code`
// (its base type decides). `extended` adds the pass-through codes that the
// second round of syntax choice accepts.
bool Fits(ArgKind kind, std::uint32_t code, bool extended);

// The command line prefix of a kind ("i:"), or a name for the others.
const char* KindName(ArgKind kind);

}  // namespace refhost
