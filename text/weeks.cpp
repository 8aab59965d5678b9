// text/weeks.cpp: week numbers (plain, and "<ISO8601>") and the first day of
// a week, with their language functions.
#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "text/dates.h"

namespace text {
namespace {

constexpr std::u16string_view kIsoOption = u"<ISO8601>";

bool OpensTuesdayToThursday(int weekday) {
  return weekday >= 2 && weekday <= 4;
}

}  // namespace

std::optional<int> PlainWeek(std::int64_t day, const Date& date) {
  const std::optional<std::int64_t> j1 = DayNumber({date.year, 1, 1});
  if (!j1) return std::nullopt;
  const std::int64_t w = LanguageWeekday(*j1);
  const std::int64_t offset = day - *j1;
  if (w <= 4) return static_cast<int>((offset + w - 1) / 7 + 1);
  // Kept as is: the days before the first Monday of a year that opens on
  // Friday to Sunday are week 0, not the last week of the year before, and
  // no week 53 is turned into week 1.
  if (offset < 8 - w) return 0;
  return static_cast<int>((offset + w - 8) / 7 + 1);
}

std::optional<int> IsoWeek(const Date& date) {
  const std::optional<std::int64_t> n = DayNumber(date);
  const std::optional<std::int64_t> j1 = DayNumber({date.year, 1, 1});
  if (!n || !j1) return std::nullopt;
  const int w = LanguageWeekday(*j1);
  std::int64_t start = w == 1 ? *j1 : w == 7 ? *j1 + 1 : *j1 - w + 8;
  if (OpensTuesdayToThursday(w)) start -= 7;
  if (*n < start) {
    // The week of 31 December before, read back as a date string, so a
    // year 0 there is refused like any other input.
    Date last;
    if (!CheckDate(DateText({date.year - 1, 12, 31}), &last, nullptr)) {
      return std::nullopt;
    }
    return IsoWeek(last);
  }
  const int week = static_cast<int>((*n - start) / 7 + 1);
  if (week == 53) {
    const std::optional<std::int64_t> next = DayNumber({date.year + 1, 1, 1});
    if (next && OpensTuesdayToThursday(LanguageWeekday(*next))) return 1;
  }
  return week;
}

std::optional<std::int64_t> WeekFirstDayNumber(int week, int year, bool iso) {
  const std::int64_t k = week;
  if (iso) {
    const std::optional<std::int64_t> j4 = DayNumber({year, 1, 4});
    if (!j4) return std::nullopt;
    return 7 * k - LanguageWeekday(*j4) + *j4 - 6;
  }
  const std::optional<std::int64_t> j1 = DayNumber({year, 1, 1});
  if (!j1) return std::nullopt;
  const int w = LanguageWeekday(*j1);
  return w != 1 ? 7 * k + *j1 - w + 1 : 7 * k + *j1 - 7;
}

// ---- 11: week number of a date string ----------------------------------------
// An invalid date gives -1 without an error; an unknown option raises.

std::int32_t WeekNumber(frame::Self*, const char16_t* date) {
  Date d;
  if (!CheckDate(TextArg(date), &d, nullptr)) return -1;
  return PlainWeek(*DayNumber(d), d).value_or(-1);
}

std::int32_t WeekNumberOption(frame::Self* self, const char16_t* date,
                              const char16_t* option) {
  if (TextArg(option) != kIsoOption) {
    frame::Raise(self, frame::kErrInvalidParameter);
    return -1;
  }
  Date d;
  if (!CheckDate(TextArg(date), &d, nullptr)) return -1;
  return IsoWeek(d).value_or(-1);
}

// ---- 13, 252: plain week number of a day number or a date string ------------

std::int32_t WeekNumberOfDay(frame::Self* self, std::int32_t day) {
  const std::optional<Date> d = DateOfDay(day);
  if (!d) {
    frame::Raise(self, frame::kErrDayNumberInvalid);
    return -1;
  }
  return PlainWeek(day, *d).value_or(-1);
}

std::int32_t WeekNumberOfDate(frame::Self* self, const char16_t* date) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return -1;
  return PlainWeek(*DayNumber(d), d).value_or(-1);
}

std::int32_t WeekNumberOfDayCompat(frame::Self* self, std::int32_t day) {
  return WeekNumberOfDay(self, day);
}
std::int32_t WeekNumberOfDateCompat(frame::Self* self, const char16_t* date) {
  return WeekNumberOfDate(self, date);
}

// ---- 467: first day of week K of year Y --------------------------------------

void WeekFirstDay(frame::Self* self, char16_t** result, std::int32_t week,
                  std::int32_t year, const char16_t* option) {
  const std::u16string_view o = TextArg(option);
  if (!o.empty() && o != kIsoOption) {
    frame::Raise(self, frame::kErrInvalidParameter);
    return;
  }
  const std::optional<std::int64_t> first =
      WeekFirstDayNumber(week, year, !o.empty());
  const std::optional<Date> d = first ? DateOfDay(*first) : std::nullopt;
  if (!d) {
    frame::Raise(self, frame::kErrDayNumberInvalid);
    return;
  }
  frame::AssignText(result, DateText(*d));
}

}  // namespace text
