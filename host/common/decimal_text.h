// host/common/decimal_text.h: the ten-byte decimal written as text, the way
// the VM shows it: an optional "-", the digits, and as many decimals as the
// scale says ("1234.56", "-0.999", "1.50").
#pragma once

#include <string>
#include <string_view>

#include "frame/abi.h"

namespace common {

// Reads [+|-]digits[.digits] with at least one digit. False when the text
// has another form or the digits do not fit the 64-bit magnitude. A "-"
// sets the sign even on zero.
bool ParseDecimal(std::string_view text, frame::Decimal* out);

std::string FormatDecimal(const frame::Decimal& value);

}  // namespace common
