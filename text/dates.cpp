// text/dates.cpp: the language functions that convert between date and time
// strings, day numbers and time integers, and the validity tests.
#include <cstdio>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "text/dates.h"

namespace text {

// ---- 3, 4, 249: day numbers to dates and weekdays ---------------------------

// The date of a day number; the selector's first character picks one part:
// "A"/"Y" the year, "J"/"D" the day, "M" the month, anything else all.
void DayToDate(frame::Self* self, char16_t** result, std::int32_t day,
               const char16_t* selector) {
  const std::optional<Date> d = DateOfDay(day);
  if (!d) {
    frame::Raise(self, frame::kErrDayNumberInvalid);
    return;
  }
  char part[16];
  switch (TextArg(selector).empty() ? u'\0' : TextArg(selector).front()) {
    case u'A': case u'a': case u'Y': case u'y':
      std::snprintf(part, sizeof part, "%04d", d->year);
      break;
    case u'J': case u'j': case u'D': case u'd':
      std::snprintf(part, sizeof part, "%02d", d->day);
      break;
    case u'M': case u'm':
      std::snprintf(part, sizeof part, "%02d", d->month);
      break;
    default:
      frame::AssignText(result, DateText(*d));
      return;
  }
  SetText(result, part);
}

// Weekday 1 = Monday ... 7 = Sunday.
std::int32_t DayToWeekday(frame::Self*, std::int32_t day) {
  return LanguageWeekday(day);
}

std::int32_t DateToWeekday(frame::Self* self, const char16_t* date) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return -1;
  return LanguageWeekday(*DayNumber(d));
}

// ---- 5, 6: time integers ----------------------------------------------------

// Hundredths since midnight as "HHMMSSCC"; hours are not limited to 23.
void TimeFromInteger(frame::Self* self, char16_t** result,
                     std::int32_t hundredths) {
  if (hundredths < 0) {
    frame::Raise(self, frame::kErrTimeNegative);
    return;
  }
  char digits[24];
  std::snprintf(digits, sizeof digits, "%02d%02d%02d%02d",
                hundredths / 360000, hundredths % 360000 / 6000,
                hundredths % 6000 / 100, hundredths % 100);
  SetText(result, digits);
}

std::int32_t TimeToInteger(frame::Self* self, const char16_t* time) {
  TimeOfDay t;
  if (!CheckTime(TextArg(time), &t, frame::ErrorRecord(self))) return -1;
  return t.Hundredths();
}

// ---- 8: date strings to day numbers -----------------------------------------

// The day number, or with `day_of_year` the day's rank in its year (1 for
// 1 January).
std::int32_t DateToDay(frame::Self* self, const char16_t* date,
                       bool day_of_year) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return -1;
  const std::int64_t n = *DayNumber(d);
  if (!day_of_year) return static_cast<std::int32_t>(n);
  return static_cast<std::int32_t>(n - *DayNumber({d.year, 1, 1}) + 1);
}

// ---- 10, 15, 242, 243, 483: validity tests, never raising -------------------

bool DateIsValid(frame::Self*, const char16_t* date) {
  return CheckDate(TextArg(date), nullptr, nullptr);
}
bool DateIsValidCompat(frame::Self* self, const char16_t* date) {
  return DateIsValid(self, date);
}

std::int32_t TimeIsValid(frame::Self*, const char16_t* time) {
  return CheckTime(TextArg(time), nullptr, nullptr) ? 1 : 0;
}
std::int32_t TimeIsValidCompat(frame::Self* self, const char16_t* time) {
  return TimeIsValid(self, time);
}

bool DateTimeIsValid(frame::Self*, const char16_t* date_time) {
  return CheckDateTime(TextArg(date_time), nullptr, nullptr, nullptr);
}

}  // namespace text
