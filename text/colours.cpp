// text/colours.cpp: reading the colour of a display mask.
#include "text/colours.h"

#include "text/hex_digits.h"
#include "text/letter_case.h"

namespace text {

namespace {

struct NamedColour {
  std::u16string_view name;
  std::uint32_t value;
};

// Compared after upper-casing; "Orange" has no English twin.
constexpr NamedColour kNames[] = {
    {u"ROUGE", 0x0000FF},  {u"RED", 0x0000FF},   {u"VERT", 0x00FF00},
    {u"GREEN", 0x00FF00},  {u"BLEU", 0xFF0000},  {u"BLUE", 0xFF0000},
    {u"NOIR", 0x000000},   {u"BLACK", 0x000000}, {u"BLANC", 0xFFFFFF},
    {u"WHITE", 0xFFFFFF},  {u"JAUNE", 0x00FFFF}, {u"YELLOW", 0x00FFFF},
    {u"ORANGE", 0x0080FF},
};

// "#RRGGBB": the digits up to the first other character, as the C
// runtime's base-16 conversion reads them, red and blue then exchanged.
std::uint32_t FromHex(std::u16string_view digits) {
  const std::uint32_t rgb = ReadHexNumber(digits);
  return ((rgb & 0xFF) << 16) | (rgb & 0xFF00) | ((rgb >> 16) & 0xFF);
}

}  // namespace

std::uint32_t ReadColour(std::u16string_view name) {
  if (!name.empty() && name.front() == u'#') return FromHex(name.substr(1));
  for (const NamedColour &c : kNames) {
    if (EqualAsciiNoCase(name, c.name)) return c.value;
  }
  // Kept as is: only the lower-case spelling means transparent;
  // "Transparent" is no colour at all.
  if (name == u"transparent") return kTransparent;
  return kNoColour;
}

std::uint32_t TakeMaskColour(std::u16string *mask) {
  const std::size_t open = mask->find(u'[');
  if (open == std::u16string::npos) return kNoColour;
  const std::size_t close = mask->find(u']', open + 1);
  if (close == std::u16string::npos) return kNoColour;
  const std::uint32_t colour =
      ReadColour(std::u16string_view(*mask).substr(open + 1, close - open - 1));
  mask->erase(open, close - open + 1);
  return colour;
}

}  // namespace text
