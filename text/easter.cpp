// text/easter.cpp: Easter Sunday (function 334) by the anonymous Gregorian
// algorithm.
#include <cstdio>

#include "frame/implementations.h"
#include "text/dates.h"

namespace text {
namespace {

// One full cycle of Gregorian Easter dates: adding it changes no date and
// keeps every intermediate value positive.
constexpr std::int64_t kEasterCycle = 5700000;

void SetEaster(char16_t** result, std::int64_t year) {
  if (year < 1583 || year > 9999) return;
  const std::optional<Date> d = EasterSunday(static_cast<int>(year));
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", d->year, d->month, d->day);
  SetText(result, text);
}

}  // namespace

std::optional<Date> EasterSunday(int year) {
  if (year < 1583 || year > 9999) return std::nullopt;
  const std::int64_t y = year + kEasterCycle;
  const std::int64_t a = y % 19, b = y / 100, c = y % 100;
  const std::int64_t d = b / 4, e = b % 4;
  const std::int64_t f = (b + 8) / 25, g = (b - f + 1) / 3;
  const std::int64_t h = (19 * a + b - d - g + 15) % 30;
  const std::int64_t i = c / 4, k = c % 4;
  const std::int64_t l = (32 + 2 * e + 2 * i - h - k) % 7;
  const std::int64_t m = (a + 11 * h + 22 * l) / 451;
  const std::int64_t n = h + l - 7 * m + 114;
  return Date{year, static_cast<int>(n / 31), static_cast<int>(n % 31) + 1};
}

void EasterOfYear(frame::Self*, char16_t** result, std::int32_t year) {
  SetEaster(result, year);
}

// The year is the first four characters of a date string; nothing else of
// it is read.
void EasterOfDate(frame::Self*, char16_t** result, const char16_t* date) {
  const std::u16string_view text = TextArg(date);
  if (text.size() < 4) return;
  std::int64_t year = 0;
  for (char16_t c : text.substr(0, 4)) {
    if (c < u'0' || c > u'9') return;
    year = year * 10 + (c - u'0');
  }
  SetEaster(result, year);
}

}  // namespace text
