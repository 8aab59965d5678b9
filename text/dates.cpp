// text/dates.cpp: the calendar core and the date and time language
// functions built on it.
#include "text/dates.h"

#include <cstdio>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"

namespace text {
namespace {

// Day 1 (1 January 1800) lies this many days after the calendar's origin.
constexpr std::int64_t kDayOrigin = 657071;

}  // namespace

int WeekdayOfDay(std::int64_t day) {
  // Floor modulo: day numbers run negative down to year 0.
  const std::int64_t r = (day + kDayOrigin) % 7;
  return static_cast<int>(r < 0 ? r + 7 : r);
}

// Weekday 1 = Monday ... 7 = Sunday.
std::int32_t DayToWeekday(frame::Self*, std::int32_t day) {
  const int weekday = WeekdayOfDay(day);
  return weekday == 0 ? 7 : weekday;
}

// Hundredths since midnight as "HHMMSSCC"; hours are not limited to 23.
void TimeFromInteger(frame::Self* self, char16_t** result,
                     std::int32_t hundredths) {
  if (hundredths < 0) {
    frame::Raise(self, frame::kErrTimeNegative);
    return;
  }
  char digits[24];
  const int n = std::snprintf(digits, sizeof digits, "%02d%02d%02d%02d",
                              hundredths / 360000, hundredths % 360000 / 6000,
                              hundredths % 6000 / 100, hundredths % 100);
  char16_t wide[24];
  for (int i = 0; i < n; ++i) wide[i] = static_cast<char16_t>(digits[i]);
  frame::AssignText(result, wide, n);
}

}  // namespace text
