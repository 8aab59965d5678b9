// host/common/decimal_text.cpp: reading and writing decimals as text.
#include "host/common/decimal_text.h"

#include <cstdint>
#include <limits>

namespace common {

bool ParseDecimal(std::string_view text, frame::Decimal* out) {
  bool negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  std::uint64_t magnitude = 0;
  int digits = 0;
  int scale = 0;
  bool point = false;
  for (char c : text) {
    if (c == '.' && !point) {
      point = true;
      continue;
    }
    if (c < '0' || c > '9') return false;
    const std::uint64_t d = static_cast<std::uint64_t>(c - '0');
    if (magnitude > (std::numeric_limits<std::uint64_t>::max() - d) / 10) {
      return false;
    }
    magnitude = magnitude * 10 + d;
    ++digits;
    if (point) ++scale;
  }
  if (digits == 0 || scale > 0xFF) return false;
  out->magnitude = magnitude;
  out->field = static_cast<std::uint16_t>(
      scale | (negative ? frame::kDecimalNegative : 0));
  return true;
}

std::string FormatDecimal(const frame::Decimal& value) {
  const std::size_t scale =
      static_cast<std::size_t>(frame::DecimalScale(value));
  std::string digits = std::to_string(value.magnitude);
  if (digits.size() <= scale) {
    digits.insert(0, scale + 1 - digits.size(), '0');
  }
  if (scale > 0) digits.insert(digits.size() - scale, 1, '.');
  if (frame::DecimalIsNegative(value)) digits.insert(0, 1, '-');
  return digits;
}

}  // namespace common
