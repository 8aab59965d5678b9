// text/amount_words.h: amounts in words as cheques and invoices write them
// (function 473): the whole part, the unit name, the hundredths and the
// sub-unit name, in French or English.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/abi.h"

namespace text {

// An amount cut into its whole part (sign and magnitude) and hundredths
// 0-99, rounded as the words are written.
struct AmountParts {
  bool negative = false;
  std::uint64_t whole = 0;
  int hundredths = 0;
};
AmountParts SplitAmount(const frame::Decimal &amount);

// The amount in words. An empty unit or sub-unit name is no name; a name
// may hold "(s)", written "s" in the plural and nothing in the singular.
std::u16string AmountInWords(const frame::Decimal &amount, bool french,
                             std::u16string_view unit,
                             std::u16string_view sub_unit);

}  // namespace text
