// text/colours.h: the colour a numeric or currency display mask may carry
// between "[" and "]" ("[Red]", "[#FF8000]", "[transparent]"). The mask
// code takes the colour out before it reads the mask.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace text {

// Colours are 0x00BBGGRR, red in the low byte.
inline constexpr std::uint32_t kNoColour = 0xFBADC0DE;
inline constexpr std::uint32_t kTransparent = 0xFFFFFFFF;  // -1

// The colour of the text between the brackets: "#RRGGBB", a French or
// English name in any case, or "transparent" in lower case; kNoColour for
// anything else.
std::uint32_t ReadColour(std::u16string_view name);

// Finds the first "[" and the next "]", removes that part (brackets
// included) from *mask and returns its colour. Without both brackets the
// mask is left alone and the answer is kNoColour.
std::uint32_t TakeMaskColour(std::u16string *mask);

}  // namespace text
