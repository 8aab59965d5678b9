// text/hex_dump.h: hexadecimal dump of a buffer (function 454) and its
// inverse (455).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace text {

// Flags added to the unit size and the line length of a dump.
inline constexpr std::int32_t kDumpTextColumn = 0x100;
inline constexpr std::int32_t kDumpBigEndian = 0x200;
inline constexpr std::int32_t kDumpDefaultLine = 16;

// The dump, or nothing when the unit (flags aside) is not 1, 2 or 4.
std::optional<std::u16string> DumpHex(std::span<const std::uint8_t> bytes,
                                      std::int32_t unit, std::int32_t line);

// What ParseHex read: the bytes, or the first chunk that does not begin
// with a hexadecimal digit.
struct HexParsed {
  std::vector<std::uint8_t> bytes;
  std::optional<std::u16string> bad_chunk;
};
// `unit` must be 1, 2 or 4 (the caller checks); units are stored
// little-endian.
HexParsed ParseHex(std::u16string_view text, std::int32_t unit);

}  // namespace text
