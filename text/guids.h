// text/guids.h: the two text forms of a GUID (function 408).
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace text {

// The GUID record as it lies in memory: a 32-bit, two 16-bit fields
// (little-endian) and eight bytes. Lower-case hexadecimal, 32 characters
// bare or 38 with braces and hyphens.
std::u16string FormatGuid(std::span<const std::uint8_t, 16> guid, bool braced);

}  // namespace text
