// text/hex_dump.cpp: HexDump (function 454) and HexParse (455).
#include "text/hex_dump.h"

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "text/hex_digits.h"

namespace text {

namespace {

constexpr char16_t kUpperHex[] = u"0123456789ABCDEF";

bool IsUnitSize(std::int32_t unit) {
  return unit == 1 || unit == 2 || unit == 4;
}

char16_t Printable(std::uint8_t b) {
  // Kept as is: 127 counts as printable in the text column.
  return b >= 32 && b <= 127 ? static_cast<char16_t>(b) : u'.';
}

}  // namespace

std::optional<std::u16string> DumpHex(std::span<const std::uint8_t> bytes,
                                      std::int32_t unit, std::int32_t line) {
  const bool text_column = (unit & kDumpTextColumn) != 0;
  int size = unit & ~kDumpTextColumn;
  if (!IsUnitSize(size)) return std::nullopt;
  const bool big_endian = (line & kDumpBigEndian) != 0;
  std::int32_t per_line = line & ~kDumpBigEndian;
  if (per_line == 0) per_line = kDumpDefaultLine;

  std::u16string out;
  std::size_t line_start = 0;
  auto add_column = [&](std::size_t end) {
    out += u' ';
    for (std::size_t i = line_start; i < end; ++i) out += Printable(bytes[i]);
  };
  std::size_t at = 0;
  while (at < bytes.size()) {
    // A tail shorter than the unit goes out byte by byte.
    if (bytes.size() - at < static_cast<std::size_t>(size)) size = 1;
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i) {
      const int k = big_endian ? i : size - 1 - i;
      value = (value << 8) | bytes[at + k];
    }
    for (int shift = size * 8 - 4; shift >= 0; shift -= 4) {
      out += kUpperHex[(value >> shift) & 0xF];
    }
    at += size;
    const auto on_line = static_cast<std::int64_t>(at - line_start);
    if (on_line < per_line) {
      if (at < bytes.size()) out += u' ';
    } else if (at < bytes.size()) {
      if (text_column) add_column(at);
      out += u"\r\n";
      line_start = at;
    }
  }
  if (text_column && at > line_start) add_column(at);
  return out;
}

HexParsed ParseHex(std::u16string_view text, std::int32_t unit) {
  HexParsed parsed;
  const std::size_t width = static_cast<std::size_t>(unit) * 2;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::u16string_view chunk = text.substr(at, width);
    if (HexDigitValue(chunk[0]) < 0) {
      parsed.bytes.clear();
      parsed.bad_chunk = std::u16string(chunk);
      return parsed;
    }
    const std::uint32_t value = text::ReadHexNumber(chunk);
    for (int i = 0; i < unit; ++i) {
      parsed.bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    at += chunk.size();
    for (const char16_t skip : {u' ', u'\r', u'\n'}) {
      if (at < text.size() && text[at] == skip) ++at;
    }
  }
  return parsed;
}

void HexDump(frame::Self *self, char16_t **result, const char16_t *buffer,
             std::int32_t unit, std::int32_t line) {
  const std::optional<std::u16string> dump =
      DumpHex(frame::TextBytes(buffer), unit, line);
  if (!dump) {
    frame::Raise(self, frame::kErrInvalidParameter, {unit});
    return;
  }
  if (frame::AssignText(result, *dump) != 0) {
    frame::Raise(self, frame::kErrOutOfMemory);
  }
}

void HexParse(frame::Self *self, char16_t **result, const char16_t *text,
              std::int32_t unit) {
  if (!IsUnitSize(unit)) {
    frame::Raise(self, frame::kErrInvalidParameter, {unit});
    return;
  }
  const HexParsed parsed = ParseHex(frame::TextView(text), unit);
  if (parsed.bad_chunk) {
    frame::Raise(self, frame::kErrNotHexadecimal, {*parsed.bad_chunk});
    return;
  }
  if (frame::AssignBytes(result, parsed.bytes) != 0) {
    frame::Raise(self, frame::kErrOutOfMemory);
  }
}

}  // namespace text
