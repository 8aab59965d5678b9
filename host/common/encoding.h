// host/common/encoding.h: the text forms the host meets: UTF-8 on the
// command line and in output, UTF-16 inside the VM, code page 1252 in the
// type-name table, lower-case hexadecimal for byte buffers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace common {

using Bytes = std::vector<std::uint8_t>;

// False (and *out untouched) when `text` is not well-formed UTF-8.
bool Utf8ToUtf16(std::string_view text, std::u16string* out);
// Unpaired surrogates become U+FFFD.
std::string Utf16ToUtf8(std::u16string_view text);
std::string Cp1252ToUtf8(std::string_view text);

// ASCII to UTF-16, character by character.
std::u16string Widen(std::string_view ascii);
// UTF-16 to ASCII; false when a character is beyond 0x7F.
bool Narrow(std::u16string_view text, std::string* out);

std::string HexLower(const Bytes& bytes);
// An even number of hexadecimal digits, either case; empty is empty.
bool ParseHex(std::string_view text, Bytes* out);

}  // namespace common
