// host/refhost/args.cpp: reading typed arguments and matching them against
// parameter codes.
#include "host/refhost/args.h"

#include <charconv>
#include <cstdlib>
#include <limits>

#include "host/common/decimal_text.h"

namespace refhost {
namespace {

// One-word codes that handlers hand through to the implementation as they
// stand: handles, host-side values and the rare codes. Not 0x83: handlers
// read it as a text pointer.
constexpr std::uint32_t kOneWordCodes[] = {0x0E, 0x0F, 0x12, 0x13, 0x1A, 0x2C,
                                           0x2E, 0x39, 0x43, 0x50, 0x59, 0x67,
                                           0x6F, 0x70, 0x7B, 0x7C};

bool IsOneWordCode(std::uint32_t base) {
  for (std::uint32_t c : kOneWordCodes) {
    if (c == base) return true;
  }
  return false;
}

// Decimal, or hexadecimal after "0x"; an optional sign before either.
bool ParseInteger(std::string_view s, std::int64_t min, std::int64_t max,
                  std::int64_t* out) {
  bool negative = false;
  if (!s.empty() && (s.front() == '-' || s.front() == '+')) {
    negative = s.front() == '-';
    s.remove_prefix(1);
  }
  int base = 10;
  if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    base = 16;
    s.remove_prefix(2);
  }
  if (s.empty() || s.front() == '-' || s.front() == '+') return false;
  std::uint64_t magnitude = 0;
  const auto [ptr, ec] =
      std::from_chars(s.data(), s.data() + s.size(), magnitude, base);
  if (ec != std::errc() || ptr != s.data() + s.size()) return false;
  if (negative) {
    if (magnitude > static_cast<std::uint64_t>(-(min + 1)) + 1) return false;
    *out = magnitude == 0 ? 0 : -static_cast<std::int64_t>(magnitude - 1) - 1;
  } else {
    if (magnitude > static_cast<std::uint64_t>(max)) return false;
    *out = static_cast<std::int64_t>(magnitude);
  }
  return true;
}

bool ParseReal(std::string_view s, double* out) {
  if (!s.empty() && s.front() == '+') s.remove_prefix(1);
  if (s.empty() || s.front() == '+') return false;
  const auto [ptr, ec] = std::from_chars(s.data(), s.data() + s.size(), *out);
  return ec == std::errc() && ptr == s.data() + s.size();
}

}  // namespace

Arg Arg::Word(frame::Word w) {
  Arg a(0);
  a.kind = ArgKind::kWord;
  a.integer = static_cast<std::int64_t>(w);
  return a;
}

Arg Arg::Empty() {
  Arg a(0);
  a.kind = ArgKind::kEmpty;
  return a;
}

bool ParseArg(std::string_view text, Arg* out, std::string* error) {
  const auto fail = [&](const char* what) {
    *error = "argument \"" + std::string(text) + "\": " + what;
    return false;
  };
  if (text.size() < 2 || text[1] != ':') {
    return fail("expected KIND:VALUE with KIND one of i l b r d s h");
  }
  const std::string_view value = text.substr(2);
  switch (text[0]) {
    case 'i': {
      std::int64_t v;
      if (!ParseInteger(value, std::numeric_limits<std::int32_t>::min(),
                        std::numeric_limits<std::int32_t>::max(), &v)) {
        return fail("not a 32-bit integer");
      }
      *out = Arg(static_cast<int>(v));
      return true;
    }
    case 'l': {
      std::int64_t v;
      if (!ParseInteger(value, std::numeric_limits<std::int64_t>::min(),
                        std::numeric_limits<std::int64_t>::max(), &v)) {
        return fail("not a 64-bit integer");
      }
      *out = Arg(v);
      return true;
    }
    case 'b':
      if (value != "0" && value != "1") return fail("a boolean is 0 or 1");
      *out = Arg(value == "1");
      return true;
    case 'r': {
      double v;
      if (!ParseReal(value, &v)) return fail("not a real number");
      *out = Arg(v);
      return true;
    }
    case 'd': {
      frame::Decimal d;
      if (!common::ParseDecimal(value, &d)) {
        return fail("not a decimal ([-]digits[.digits], 64-bit magnitude)");
      }
      *out = Arg(d);
      return true;
    }
    case 's': {
      std::u16string s;
      if (!common::Utf8ToUtf16(value, &s)) return fail("not valid UTF-8");
      *out = Arg(std::move(s));
      return true;
    }
    case 'h': {
      common::Bytes bytes;
      if (!common::ParseHex(value, &bytes)) {
        return fail("not pairs of hexadecimal digits");
      }
      *out = Arg(std::move(bytes));
      return true;
    }
    default:
      return fail("unknown kind; use one of i l b r d s h");
  }
}

bool Fits(ArgKind kind, std::uint32_t code, bool extended) {
  const std::uint32_t base = frame::BaseType(code);
  if (base == frame::kTypeAny) return true;
  switch (kind) {
    case ArgKind::kInt:
      return base == frame::kTypeInt || (extended && IsOneWordCode(base));
    case ArgKind::kInt64:
      return base == frame::kTypeInt64;
    case ArgKind::kBool:
      return base == frame::kTypeBool;
    case ArgKind::kReal:
      return base == frame::kTypeReal;
    case ArgKind::kDecimal:
      return base == frame::kTypeDecimal;
    case ArgKind::kText:
      return base == frame::kTypeTextParam || base == frame::kTypeGeneric ||
             base == frame::kTypeWordParam ||
             (extended &&
              (base == frame::kTypeHostText || base == frame::kTypeText ||
               base == frame::kTypeText82 || base == frame::kTypeBinaryText));
    case ArgKind::kBytes:
      return base == frame::kTypeBufferParam ||
             base == frame::kTypeBinaryText || base == frame::kTypeBuffer;
    case ArgKind::kWord:
      return base == frame::kTypeInt || base == frame::kTypeBool ||
             IsOneWordCode(base);
    case ArgKind::kEmpty:
      return false;
  }
  return false;
}

const char* KindName(ArgKind kind) {
  switch (kind) {
    case ArgKind::kInt:
      return "i:";
    case ArgKind::kInt64:
      return "l:";
    case ArgKind::kBool:
      return "b:";
    case ArgKind::kReal:
      return "r:";
    case ArgKind::kDecimal:
      return "d:";
    case ArgKind::kText:
      return "s:";
    case ArgKind::kBytes:
      return "h:";
    case ArgKind::kWord:
      return "word";
    case ArgKind::kEmpty:
      return "empty value";
  }
  return "?";
}

}  // namespace refhost
