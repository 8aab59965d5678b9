// frame/code_page.h: 8-bit text in the ANSI code page (1252) and UTF-8, to
// and from the component's UTF-16.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace frame {

inline constexpr std::uint32_t kAnsiCodePage = 1252;
// What a character without an 8-bit form becomes.
inline constexpr char kAnsiReplacement = '?';
// What ill-formed UTF-8 or a lone surrogate becomes.
inline constexpr char16_t kReplacementChar = u'\uFFFD';

// One byte of code page 1252. The five bytes the code page leaves undefined
// (0x81, 0x8D, 0x8F, 0x90, 0x9D) map to the control characters of the same
// value, so every byte round-trips.
char16_t AnsiToChar(std::uint8_t byte);
// The byte for a UTF-16 character, or kAnsiReplacement.
char CharToAnsi(char16_t c);

std::u16string AnsiToUtf16(std::string_view bytes);
// A surrogate pair (one character) gives one replacement byte.
std::string Utf16ToAnsi(std::u16string_view text);

// Each maximal ill-formed subsequence becomes one kReplacementChar.
std::u16string Utf8ToUtf16(std::string_view bytes);
std::string Utf16ToUtf8(std::u16string_view text);

}  // namespace frame
