// text/date_strings.cpp: the checks of date, time and date-time strings, the
// differences' own time parser, and the writing of date strings. Checkers
// raise only when given a record, so validity tests share them silently.
#include <cstddef>

#include "frame/text.h"
#include "frame/xerror.h"
#include "text/dates.h"

namespace text {
namespace {

constexpr std::size_t kDateLength = 8;
constexpr std::size_t kTimeDigits = 9;       // "HHMMSSLLL"
constexpr std::size_t kShortTimeDigits = 8;  // "HHMMSSCC"
constexpr std::size_t kMaxDateTimeLength = 17;
// Report of a date-time of the wrong length. It has no error definition
// (error numbers start at 80001), so it is reported as a message alone.
constexpr std::uint32_t kDateTimeLength = 7319;

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

int Number(std::u16string_view digits) {
  int n = 0;
  for (char16_t c : digits) n = n * 10 + (c - u'0');
  return n;
}

bool Fail(frame::CXError* record, std::uint32_t number,
          frame::ErrArgs args = {}) {
  if (record != nullptr) frame::RaiseOn(record, number, args);
  return false;
}

}  // namespace

bool CheckDate(std::u16string_view text, Date* out, frame::CXError* record) {
  if (text.size() != kDateLength) return Fail(record, frame::kErrDateLength);
  for (char16_t c : text) {
    if (!IsDigit(c)) return Fail(record, frame::kErrDateNotDigits);
  }
  const Date d{Number(text.substr(0, 4)), Number(text.substr(4, 2)),
               Number(text.substr(6, 2))};
  if (d.year == 0) return Fail(record, frame::kErrDateYearZero);
  if (d.year == 1582 && d.month == 10 && d.day >= 5 && d.day <= 14) {
    return Fail(record, frame::kErrDateGregorianGap);
  }
  if (d.month < 1 || d.month > 12) {
    return Fail(record, frame::kErrDateMonthRange);
  }
  // February is counted 29 here; the leap year is a check of its own.
  const int length = d.month == 2 ? 29 : MonthLength(2001, d.month);
  if (d.day < 1 || d.day > length) {
    return Fail(record, frame::kErrDateDayRange, {length});
  }
  if (d.month == 2 && d.day == 29 && !IsLeapYear(d.year)) {
    return Fail(record, frame::kErrDateNotLeapYear);
  }
  if (out != nullptr) *out = d;
  return true;
}

bool CheckTime(std::u16string_view text, TimeOfDay* out,
               frame::CXError* record) {
  for (char16_t c : text) {
    if (!IsDigit(c)) return Fail(record, frame::kErrTimeNotDigits);
  }
  char16_t buffer[kTimeDigits];
  for (std::size_t i = 0; i < kTimeDigits; ++i) {
    buffer[i] = i < text.size() ? text[i] : u'0';
  }
  const std::u16string_view digits(buffer, kTimeDigits);
  const TimeOfDay t{Number(digits.substr(0, 2)), Number(digits.substr(2, 2)),
                    Number(digits.substr(4, 2)), Number(digits.substr(6, 3))};
  if (t.seconds >= 60) return Fail(record, frame::kErrTimeSecondsRange);
  if (t.minutes >= 60) return Fail(record, frame::kErrTimeMinutesRange);
  if (t.hours >= 24) return Fail(record, frame::kErrTimeHoursRange);
  if (out != nullptr) *out = t;
  return true;
}

bool CheckDateTime(std::u16string_view text, Date* date, TimeOfDay* time,
                   frame::CXError* record) {
  if (text.size() < kDateLength || text.size() > kMaxDateTimeLength) {
    if (record != nullptr) {
      record->Reset();
      frame::AddMessage(record, kDateTimeLength, {text});
    }
    return false;
  }
  return CheckDate(text.substr(0, kDateLength), date, record) &&
         CheckTime(text.substr(kDateLength), time, record);
}

bool ParseTimeShort(std::u16string_view text, TimeOfDay* out) {
  char16_t buffer[kShortTimeDigits];
  for (std::size_t i = 0; i < kShortTimeDigits; ++i) {
    buffer[i] = i < text.size() ? text[i] : u'0';
    if (!IsDigit(buffer[i])) return false;
  }
  const std::u16string_view digits(buffer, kShortTimeDigits);
  const TimeOfDay t{Number(digits.substr(0, 2)), Number(digits.substr(2, 2)),
                    Number(digits.substr(4, 2)),
                    Number(digits.substr(6, 2)) * 10};
  if (t.seconds >= 60 || t.minutes >= 60 || t.hours >= 24) return false;
  *out = t;
  return true;
}

std::u16string DateText(const Date& d) {
  // Digit by digit, as the year is written by successive division.
  std::u16string s(kDateLength, u'0');
  int year = d.year;
  s[0] = static_cast<char16_t>(u'0' + year / 1000);
  year %= 1000;
  s[1] = static_cast<char16_t>(u'0' + year / 100);
  year %= 100;
  s[2] = static_cast<char16_t>(u'0' + year / 10);
  s[3] = static_cast<char16_t>(u'0' + year % 10);
  s[4] = static_cast<char16_t>(u'0' + d.month / 10);
  s[5] = static_cast<char16_t>(u'0' + d.month % 10);
  s[6] = static_cast<char16_t>(u'0' + d.day / 10);
  s[7] = static_cast<char16_t>(u'0' + d.day % 10);
  return s;
}

void SetText(char16_t** result, std::string_view chars) {
  std::u16string wide(chars.begin(), chars.end());
  frame::AssignText(result, wide);
}

}  // namespace text
