// text/dates.h: the calendar core shared by the date and time functions:
// serial day numbers (1 = 1 January 1800), the checks of date, time and
// date-time strings, week numbers, Easter, and times in hundredths.
//
//   day numbers   | leap years, the two day-number routines, date of a day
//   strings       | checkers (raising only when given a record), writers
//   weeks, Easter | plain and "<ISO8601>" week numbers, first day of a week
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "frame/abi.h"
#include "frame/xerror_record.h"

namespace text {

// Day 1 (1 January 1800) lies this many days after the calendar's origin.
inline constexpr std::int64_t kDayOrigin = 657071;
inline constexpr std::int32_t kHundredthsPerDay = 8640000;

struct Date {
  int year = 0;
  int month = 0;
  int day = 0;
  bool operator==(const Date&) const = default;
};

struct TimeOfDay {
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  int milliseconds = 0;
  std::int32_t Hundredths() const {
    return ((hours * 60 + minutes) * 60 + seconds) * 100 + milliseconds / 10;
  }
};

// ---- Day numbers ------------------------------------------------------------

// Gregorian from 1583; the Julian rule (every fourth year) before.
bool IsLeapYear(int year);
// Days in `month` (1..12) of `year`, February after IsLeapYear.
int MonthLength(int year, int month);

// The day number of a date; none for a negative year or a month or day out
// of range. Used by every date function but the differences.
std::optional<std::int64_t> DayNumber(const Date& date);
// The differences' own routine: the date must pass the strict string check
// too, and its Julian correction differs from DayNumber's.
std::optional<std::int64_t> DayNumberStrict(const Date& date);
// The date of a day number; none when the year falls below 0, beyond 9999,
// or the year estimate leaves more days than the year has.
std::optional<Date> DateOfDay(std::int64_t day);

// Weekday of a day number: 0 = Sunday ... 6 = Saturday.
int WeekdayOfDay(std::int64_t day);
// The language's weekday: 1 = Monday ... 7 = Sunday.
int LanguageWeekday(std::int64_t day);

// ---- Strings ----------------------------------------------------------------

// A null text parameter is the empty text.
inline std::u16string_view TextArg(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

// "AAAAMMJJ": raises 80121..80127 into `record` when it is not null.
bool CheckDate(std::u16string_view text, Date* out, frame::CXError* record);
// "HHMMSSLLL", filled on the right with "0": raises 80128..80131.
bool CheckTime(std::u16string_view text, TimeOfDay* out,
               frame::CXError* record);
// A date and time digits, 8 to 17 characters: raises 7319, then as above.
bool CheckDateTime(std::u16string_view text, Date* date, TimeOfDay* time,
                   frame::CXError* record);
// The differences' time parser: "HHMMSSCC", at most 8 characters read,
// filled with "0"; never raises.
bool ParseTimeShort(std::u16string_view text, TimeOfDay* out);

// "AAAAMMJJ" (years 0..9999).
std::u16string DateText(const Date& date);
// Sets a text result from 8-bit characters.
void SetText(char16_t** result, std::string_view chars);

// ---- Weeks and Easter -------------------------------------------------------

// The plain week number of a day: days before the first Monday of a year
// that opens on Friday to Sunday are week 0. Needs the day's own date.
std::optional<int> PlainWeek(std::int64_t day, const Date& date);
// The "<ISO8601>" week number of a date.
std::optional<int> IsoWeek(const Date& date);
// The day number of the first day of week `week` of `year`.
std::optional<std::int64_t> WeekFirstDayNumber(int week, int year, bool iso);
// Easter Sunday of a year 1583..9999.
std::optional<Date> EasterSunday(int year);

// ---- Clock ------------------------------------------------------------------

// Today's date from the local clock.
Date Today();
// The time of day in milliseconds, refined between clock ticks (see
// clock.cpp).
TimeOfDay CurrentTimeOfDay();
// The next reading takes fresh references, as on the first call.
void ResetClockReferences();

}  // namespace text
