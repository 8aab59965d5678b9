// host/vm/conversion.cpp: conversions through one held value: the source
// is read into a Held, then written in the target's form.
#include "host/vm/conversion.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "host/common/decimal_text.h"
#include "host/common/encoding.h"

namespace vm {
namespace {

using frame::Decimal;

struct Held {
  enum class Kind { kBool, kInt, kReal, kDecimal, kText, kBytes };
  Kind kind = Kind::kInt;
  std::int64_t integer = 0;  // also the boolean, 0 or 1
  double real = 0;
  Decimal decimal{};
  std::u16string text;
  common::Bytes bytes;
};

bool IsWordType(std::uint32_t type) {
  return type == 13 || type == 18 || type == 110;
}

const char16_t* TextOf(const void* storage) {
  const char16_t* text;
  std::memcpy(&text, storage, sizeof(text));
  return text;
}

std::uint32_t BlockLength(const char16_t* text) {
  return text == nullptr ? 0 : Memory::Header(text)->length;
}

std::uint32_t Read(const void* storage, std::uint32_t type, Held* out) {
  switch (type) {
    case 1: {
      std::uint32_t word;
      std::memcpy(&word, storage, sizeof(word));
      out->kind = Held::Kind::kBool;
      out->integer = word != 0;
      return 0;
    }
    case 8: {
      std::int32_t v;
      std::memcpy(&v, storage, sizeof(v));
      out->kind = Held::Kind::kInt;
      out->integer = v;
      return 0;
    }
    case 9:
      out->kind = Held::Kind::kInt;
      std::memcpy(&out->integer, storage, sizeof(out->integer));
      return 0;
    case 10:
      out->kind = Held::Kind::kDecimal;
      std::memcpy(&out->decimal, storage, sizeof(out->decimal));
      return 0;
    case 12:
      out->kind = Held::Kind::kReal;
      std::memcpy(&out->real, storage, sizeof(out->real));
      return 0;
    case 16: {
      const char16_t* text = TextOf(storage);
      out->kind = Held::Kind::kText;
      if (text != nullptr) out->text.assign(text, BlockLength(text) / 2);
      return 0;
    }
    case 28: {
      const char16_t* text = TextOf(storage);
      out->kind = Held::Kind::kBytes;
      if (text != nullptr) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(text);
        out->bytes.assign(bytes, bytes + BlockLength(text));
      }
      return 0;
    }
    default:
      if (!IsWordType(type)) return kConvImpossible;
      frame::Word word;
      std::memcpy(&word, storage, sizeof(word));
      out->kind = Held::Kind::kInt;
      out->integer = static_cast<std::int64_t>(word);
      return 0;
  }
}

std::string Trimmed(const std::u16string& text, bool* ascii) {
  std::string narrow;
  *ascii = common::Narrow(text, &narrow);
  const auto first = narrow.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  const auto last = narrow.find_last_not_of(" \t");
  return narrow.substr(first, last - first + 1);
}

bool ParseReal(const std::string& s, double* out) {
  const char* begin = s.data() + (!s.empty() && s[0] == '+' ? 1 : 0);
  const char* end = s.data() + s.size();
  const auto [ptr, ec] = std::from_chars(begin, end, *out);
  return ec == std::errc() && ptr == end;
}

// Text read as a number: an integer where it is one, else a real. Empty
// text is 0.
std::uint32_t TextToNumber(const std::u16string& text, Held* out) {
  bool ascii;
  const std::string s = Trimmed(text, &ascii);
  if (!ascii) return kConvSyntax;
  out->kind = Held::Kind::kInt;
  out->integer = 0;
  if (s.empty()) return 0;
  const char* begin = s.data() + (s[0] == '+' ? 1 : 0);
  const char* end = s.data() + s.size();
  const auto [ptr, ec] = std::from_chars(begin, end, out->integer);
  if (ec == std::errc() && ptr == end) return 0;
  if (ec == std::errc::result_out_of_range && ptr == end) {
    return kConvOverflow;
  }
  out->kind = Held::Kind::kReal;
  return ParseReal(s, &out->real) ? 0 : kConvSyntax;
}

std::uint32_t ToInt64(const Held& h, std::int64_t* out) {
  switch (h.kind) {
    case Held::Kind::kBool:
    case Held::Kind::kInt:
      *out = h.integer;
      return 0;
    case Held::Kind::kReal: {
      constexpr double kLimit = 9223372036854775808.0;  // 2^63
      const double t = std::trunc(h.real);
      if (std::isnan(t) || t < -kLimit || t >= kLimit) return kConvOverflow;
      *out = static_cast<std::int64_t>(t);
      return 0;
    }
    case Held::Kind::kDecimal: {
      std::uint64_t whole = h.decimal.magnitude;
      for (int i = 0; i < frame::DecimalScale(h.decimal) && whole != 0; ++i) {
        whole /= 10;
      }
      const bool negative = frame::DecimalIsNegative(h.decimal);
      const std::uint64_t limit = std::uint64_t{1}
                                  << 63;  // |INT64_MIN|; INT64_MAX is one less
      if (whole > limit || (!negative && whole == limit)) {
        return kConvOverflow;
      }
      *out = negative ? static_cast<std::int64_t>(0 - whole)
                      : static_cast<std::int64_t>(whole);
      return 0;
    }
    case Held::Kind::kText: {
      Held number;
      if (const std::uint32_t s = TextToNumber(h.text, &number); s != 0) {
        return s;
      }
      return ToInt64(number, out);
    }
    case Held::Kind::kBytes:
      break;
  }
  return kConvImpossible;
}

std::uint32_t ToReal(const Held& h, double* out) {
  switch (h.kind) {
    case Held::Kind::kBool:
    case Held::Kind::kInt:
      *out = static_cast<double>(h.integer);
      return 0;
    case Held::Kind::kReal:
      *out = h.real;
      return 0;
    case Held::Kind::kDecimal:
      return ParseReal(common::FormatDecimal(h.decimal), out) ? 0
                                                              : kConvOverflow;
    case Held::Kind::kText: {
      Held number;
      if (const std::uint32_t s = TextToNumber(h.text, &number); s != 0) {
        return s;
      }
      return ToReal(number, out);
    }
    case Held::Kind::kBytes:
      break;
  }
  return kConvImpossible;
}

std::string RealText(double v) {
  char buffer[64];
  const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof(buffer), v);
  return ec == std::errc() ? std::string(buffer, ptr) : std::string();
}

std::uint32_t ToDecimal(const Held& h, Decimal* out) {
  switch (h.kind) {
    case Held::Kind::kBool:
    case Held::Kind::kInt: {
      const bool negative = h.integer < 0;
      out->magnitude = negative ? 0 - static_cast<std::uint64_t>(h.integer)
                                : static_cast<std::uint64_t>(h.integer);
      out->field = negative ? frame::kDecimalNegative : 0;
      return 0;
    }
    case Held::Kind::kReal: {
      if (!std::isfinite(h.real)) return kConvOverflow;
      char buffer[400];
      const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof(buffer),
                                           h.real, std::chars_format::fixed);
      if (ec != std::errc()) return kConvOverflow;
      return common::ParseDecimal(std::string_view(buffer, ptr - buffer), out)
                 ? 0
                 : kConvOverflow;
    }
    case Held::Kind::kDecimal:
      *out = h.decimal;
      return 0;
    case Held::Kind::kText: {
      bool ascii;
      const std::string s = Trimmed(h.text, &ascii);
      if (!ascii) return kConvSyntax;
      if (common::ParseDecimal(s.empty() ? "0" : s, out)) return 0;
      Held number;
      if (const std::uint32_t st = TextToNumber(h.text, &number); st != 0) {
        return st;
      }
      return ToDecimal(number, out);
    }
    case Held::Kind::kBytes:
      break;
  }
  return kConvImpossible;
}

std::uint32_t ToText(const Held& h, std::u16string* out) {
  switch (h.kind) {
    case Held::Kind::kBool:
    case Held::Kind::kInt:
      *out = common::Widen(std::to_string(h.integer));
      return 0;
    case Held::Kind::kReal:
      *out = common::Widen(RealText(h.real));
      return 0;
    case Held::Kind::kDecimal:
      *out = common::Widen(common::FormatDecimal(h.decimal));
      return 0;
    case Held::Kind::kText:
      *out = h.text;
      return 0;
    case Held::Kind::kBytes:
      out->assign(h.bytes.size() / 2, u'\0');
      std::memcpy(out->data(), h.bytes.data(), out->size() * 2);
      return 0;
  }
  return kConvImpossible;
}

std::uint32_t ToBool(const Held& h, bool* out) {
  if (h.kind == Held::Kind::kText) {
    bool ascii;
    std::string s = Trimmed(h.text, &ascii);
    for (char& c : s) c = static_cast<char>(std::tolower(c));
    if (s == "true" || s == "vrai") {
      *out = true;
      return 0;
    }
    if (s == "false" || s == "faux") {
      *out = false;
      return 0;
    }
  }
  switch (h.kind) {
    case Held::Kind::kDecimal:
      *out = h.decimal.magnitude != 0;
      return 0;
    case Held::Kind::kReal:
      *out = h.real != 0;
      return 0;
    case Held::Kind::kBytes:
      return kConvImpossible;
    default: {
      double v;
      if (const std::uint32_t s = ToReal(h, &v); s != 0) return s;
      *out = v != 0;
      return 0;
    }
  }
}

// A new text object holding `size` bytes; null for none.
std::uint32_t NewBlock(Memory& memory, const void* bytes, std::size_t size,
                       char16_t** out) {
  if (size == 0) {
    *out = nullptr;
    return 0;
  }
  if (size > 0x7FFFFEFF) return kConvNoMemory;
  char16_t* text = nullptr;
  const auto n = static_cast<std::uint32_t>(size);
  if (memory.Resize(&text, n) != 0) return kConvNoMemory;
  std::memcpy(text, bytes, size);
  Memory::Header(text)->length = n;
  *out = text;
  return 0;
}

template <class T>
std::uint32_t Put(const T& value, void* dest) {
  std::memcpy(dest, &value, sizeof(value));
  return 0;
}

std::uint32_t Write(Memory& memory, const Held& h, std::uint32_t target,
                    void* dest) {
  std::uint32_t status = 0;
  switch (target) {
    case 1: {
      bool b = false;
      status = ToBool(h, &b);
      return status != 0 ? status : Put(std::uint32_t{b ? 1u : 0u}, dest);
    }
    case 8: {
      std::int64_t v = 0;
      status = ToInt64(h, &v);
      if (status != 0) return status;
      if (v < std::numeric_limits<std::int32_t>::min() ||
          v > std::numeric_limits<std::int32_t>::max()) {
        return kConvOverflow;
      }
      return Put(static_cast<std::int32_t>(v), dest);
    }
    case 9: {
      std::int64_t v = 0;
      status = ToInt64(h, &v);
      return status != 0 ? status : Put(v, dest);
    }
    case 10: {
      Decimal d{};
      status = ToDecimal(h, &d);
      return status != 0 ? status : Put(d, dest);
    }
    case 12: {
      double v = 0;
      status = ToReal(h, &v);
      return status != 0 ? status : Put(v, dest);
    }
    case 16: {
      std::u16string text;
      status = ToText(h, &text);
      if (status != 0) return status;
      char16_t* block = nullptr;
      status = NewBlock(memory, text.data(), text.size() * 2, &block);
      return status != 0 ? status : Put(block, dest);
    }
    case 28: {
      if (h.kind != Held::Kind::kText && h.kind != Held::Kind::kBytes) {
        return kConvImpossible;
      }
      const void* bytes = h.kind == Held::Kind::kText
                              ? static_cast<const void*>(h.text.data())
                              : static_cast<const void*>(h.bytes.data());
      const std::size_t size =
          h.kind == Held::Kind::kText ? h.text.size() * 2 : h.bytes.size();
      char16_t* block = nullptr;
      status = NewBlock(memory, bytes, size, &block);
      return status != 0 ? status : Put(block, dest);
    }
    default: {
      if (!IsWordType(target)) return kConvImpossible;
      std::int64_t v = 0;
      status = ToInt64(h, &v);
      return status != 0 ? status : Put(static_cast<frame::Word>(v), dest);
    }
  }
}

}  // namespace

std::uint32_t Convert(Memory& memory, const void* storage, std::uint32_t type,
                      void* dest, std::uint32_t target) {
  Held held;
  if (const std::uint32_t status = Read(storage, type, &held); status != 0) {
    return status;
  }
  return Write(memory, held, target, dest);
}

}  // namespace vm
