// text/amount_words.cpp: function 473, an amount in words with optional
// unit and sub-unit names: the split of the decimal into a whole part and
// hundredths, the names and their agreement, and the assembly.
#include "text/amount_words.h"

#include <cmath>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/vm_services.h"
#include "text/number_words.h"

namespace text {
namespace {

constexpr std::u16string_view kPluralMarker = u"(s)";

// A space, `prefix` and a name with its "(s)" marker resolved; a name
// without one is written as given in the singular and the plural. Nothing
// is left at the end but the name's last letter, so a name that resolves
// to nothing adds nothing.
void AppendName(std::u16string *out, std::u16string_view prefix,
                std::u16string_view name, bool plural) {
  const std::size_t start = out->size();
  out->push_back(u' ');
  out->append(prefix);
  const std::size_t marker = name.find(kPluralMarker);
  if (marker == std::u16string_view::npos) {
    out->append(name);
  } else {
    out->append(name.substr(0, marker));
    if (plural) out->push_back(u's');
    out->append(name.substr(marker + kPluralMarker.size()));
  }
  while (out->size() > start && out->back() == u' ') out->pop_back();
}

bool StartsWithVowel(std::u16string_view name) {
  return !name.empty() &&
         std::u16string_view(u"aeiouyAEIOUY").find(name.front()) !=
             std::u16string_view::npos;
}

void AppendNumber(std::u16string *out, bool french, bool negative,
                  std::uint64_t magnitude) {
  if (french) {
    AppendFrenchNumber(out, negative, magnitude);
  } else {
    AppendEnglishNumber(out, negative, magnitude);
  }
}

}  // namespace

// The amount is split as sign and magnitude: the whole part toward zero,
// the hundredths rounded from the decimals as written, and a carry of 100
// hundredths adding one to the magnitude. Splitting at the floor and
// stepping back toward zero, as a signed split would, reads the decimals of
// a negative amount from the wrong side (-12.25 would end in 75) and
// carries the wrong way (-12.999 would be -11); here -12.25 is "moins
// douze" and 25, and -12.999 is "moins treize".
AmountParts SplitAmount(const frame::Decimal &amount) {
  const int scale = frame::DecimalScale(amount);
  AmountParts parts;
  parts.negative = frame::DecimalIsNegative(amount);
  double fraction = 0;
  if (scale == 0) {
    parts.whole = amount.magnitude;
  } else if (scale <= 19) {
    std::uint64_t power = 1;
    for (int i = 0; i < scale; ++i) power *= 10;
    parts.whole = amount.magnitude / power;
    const std::uint64_t decimals = amount.magnitude % power;
    fraction = static_cast<double>(decimals) / static_cast<double>(power);
  } else {
    fraction = static_cast<double>(amount.magnitude) * std::pow(10.0, -scale);
  }
  parts.hundredths = static_cast<int>(std::floor(fraction * 100 + 0.5));
  // A scale of one or more leaves room below 2^64 for the carry.
  if (parts.hundredths == 100) {
    ++parts.whole;
    parts.hundredths = 0;
  }
  if (parts.whole == 0) parts.negative = false;  // "zéro" carries no sign
  return parts;
}

std::u16string AmountInWords(const frame::Decimal &amount, bool french,
                             std::u16string_view unit,
                             std::u16string_view sub_unit) {
  const AmountParts parts = SplitAmount(amount);
  std::u16string out;
  out.reserve(160);
  AppendNumber(&out, french, parts.negative, parts.whole);
  if (!unit.empty()) {
    // un million d'euros, deux millions de dollars; un million un euros.
    std::u16string_view prefix;
    if (french && parts.whole != 0 && parts.whole % 1000000 == 0) {
      prefix = StartsWithVowel(unit) ? u"d'" : u"de ";
    }
    AppendName(&out, prefix, unit, parts.whole > 1);  // -1, 0, 1: singular
  }
  if (parts.hundredths != 0) {
    // With a unit but no sub-unit the hundredths follow the unit directly:
    // "douze euros cinquante".
    if (unit.empty()) out.append(french ? u" virgule" : u" point");
    if (!sub_unit.empty()) out.append(french ? u" et" : u" and");
    out.push_back(u' ');
    AppendNumber(&out, french, false,
                 static_cast<std::uint64_t>(parts.hundredths));
    if (!sub_unit.empty()) AppendName(&out, {}, sub_unit, parts.hundredths > 1);
  }
  return out;
}

// 473: French when the application's language is French, English else.
void NumberInWords(frame::Self *, char16_t **result, frame::Decimal amount,
                   const char16_t *unit, const char16_t *sub_unit) {
  const std::u16string words = AmountInWords(
      amount, frame::IsFrench(),
      unit == nullptr ? std::u16string_view() : std::u16string_view(unit),
      sub_unit == nullptr ? std::u16string_view()
                          : std::u16string_view(sub_unit));
  frame::AssignText(result, words);
}

}  // namespace text
