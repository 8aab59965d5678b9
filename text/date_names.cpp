// text/date_names.cpp: dates and times written for display: day and month
// names in the VM's language, the default forms of functions 7 and 155.
// Other display masks belong to the mask engine, which this build lacks: a
// call that needs one raises "not available" with the mask as a trace.
#include <cstdio>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/vm_services.h"
#include "frame/xerror.h"
#include "text/dates.h"

namespace text {
namespace {

constexpr std::u16string_view kDayNames[2][7] = {
    {u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday",
     u"Saturday", u"Sunday"},
    {u"Lundi", u"Mardi", u"Mercredi", u"Jeudi", u"Vendredi", u"Samedi",
     u"Dimanche"}};
constexpr std::u16string_view kMonthNames[2][12] = {
    {u"January", u"February", u"March", u"April", u"May", u"June", u"July",
     u"August", u"September", u"October", u"November", u"December"},
    {u"Janvier", u"F\u00e9vrier", u"Mars", u"Avril", u"Mai", u"Juin",
     u"Juillet", u"Ao\u00fbt", u"Septembre", u"Octobre", u"Novembre",
     u"D\u00e9cembre"}};
constexpr std::u16string_view kDefaultDateMask = u"JJ/MM/AAAA";

int Language() { return frame::IsFrench() ? 1 : 0; }

void MaskUnavailable(frame::Self* self, std::u16string_view mask) {
  frame::Raise(self, frame::kErrNotAvailable);
  frame::AddTrace(frame::ErrorRecord(self), u"##(Mask)-Mask=<%s>##", {mask});
}

void SetDayName(char16_t** result, std::int64_t day) {
  frame::AssignText(result, kDayNames[Language()][LanguageWeekday(day) - 1]);
}

void SetMonthName(char16_t** result, int month) {
  frame::AssignText(result, kMonthNames[Language()][month - 1]);
}

}  // namespace

// ---- 12, 250: day names ------------------------------------------------------

void DayName(frame::Self*, char16_t** result, std::int32_t day) {
  SetDayName(result, day);
}
void DayNameOfDate(frame::Self* self, char16_t** result,
                   const char16_t* date) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return;
  SetDayName(result, *DayNumber(d));
}
void DayNameCompat(frame::Self* self, char16_t** result, std::int32_t day) {
  DayName(self, result, day);
}
void DayNameOfDateCompat(frame::Self* self, char16_t** result,
                         const char16_t* date) {
  DayNameOfDate(self, result, date);
}

// ---- 14, 251: month names ----------------------------------------------------

void MonthName(frame::Self* self, char16_t** result, std::int32_t day) {
  const std::optional<Date> d = DateOfDay(day);
  if (!d) {
    frame::Raise(self, frame::kErrDayNumberInvalid);
    return;
  }
  SetMonthName(result, d->month);
}
void MonthNameOfDate(frame::Self* self, char16_t** result,
                     const char16_t* date) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return;
  SetMonthName(result, d.month);
}
void MonthNameCompat(frame::Self* self, char16_t** result, std::int32_t day) {
  MonthName(self, result, day);
}
void MonthNameOfDateCompat(frame::Self* self, char16_t** result,
                           const char16_t* date) {
  MonthNameOfDate(self, result, date);
}

// ---- 7, 9, 155: display forms -----------------------------------------------

// Without a mask: "HH:MM:SS:CC".
void TimeToText(frame::Self* self, char16_t** result, const char16_t* time,
                const char16_t* mask) {
  TimeOfDay t;
  if (!CheckTime(TextArg(time), &t, frame::ErrorRecord(self))) return;
  if (!TextArg(mask).empty()) {
    MaskUnavailable(self, TextArg(mask));
    return;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", t.hours, t.minutes,
                t.seconds, t.milliseconds / 10);
  SetText(result, text);
}

// The default mask "JJ/MM/AAAA" gives "DD/MM/YYYY".
void DateToText(frame::Self* self, char16_t** result, const char16_t* date,
                const char16_t* mask) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return;
  if (TextArg(mask) != kDefaultDateMask) {
    MaskUnavailable(self, TextArg(mask));
    return;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%02d/%02d/%04d", d.day, d.month, d.year);
  SetText(result, text);
}

// The value is checked; every form of it needs the mask engine.
void DateTimeToText(frame::Self* self, char16_t**, const char16_t* date_time,
                    const char16_t* mask) {
  if (!CheckDateTime(TextArg(date_time), nullptr, nullptr,
                     frame::ErrorRecord(self))) {
    return;
  }
  MaskUnavailable(self, TextArg(mask));
}

}  // namespace text
