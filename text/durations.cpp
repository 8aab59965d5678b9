// text/durations.cpp: differences between dates, times and date-times, and
// ages. The differences read their operands with their own routines.
#include <cmath>
#include <cstdio>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "text/dates.h"

namespace text {
namespace {

constexpr std::size_t kDateLength = 8;

std::optional<std::int64_t> StrictDay(std::u16string_view text) {
  Date d;
  if (!CheckDate(text, &d, nullptr)) return std::nullopt;
  return DayNumberStrict(d);
}

// A date-time operand in hundredths since day 0.
std::optional<double> StrictMoment(std::u16string_view text) {
  if (text.size() < kDateLength || text.size() > 17) return std::nullopt;
  const std::optional<std::int64_t> day = StrictDay(text.substr(0, 8));
  TimeOfDay t;
  if (!day || !ParseTimeShort(text.substr(kDateLength), &t)) {
    return std::nullopt;
  }
  return static_cast<double>(*day) * kHundredthsPerDay + t.Hundredths();
}

// "+" or "-", days in 7 digits, then hours, minutes, seconds, hundredths.
std::string DifferenceText(double hundredths) {
  char format[64];
  std::snprintf(format, sizeof format, "%%s%%0%dd%%0%dd%%0%dd%%0%dd%%0%dd", 7,
                2, 2, 2, 2);
  const auto all = static_cast<std::int64_t>(std::fabs(hundredths));
  char text[64];
  std::snprintf(text, sizeof text, format, hundredths >= 0 ? "+" : "-",
                static_cast<int>(all / kHundredthsPerDay),
                static_cast<int>(all % kHundredthsPerDay / 360000),
                static_cast<int>(all % 360000 / 6000),
                static_cast<int>(all % 6000 / 100),
                static_cast<int>(all % 100));
  return text;
}

bool Before(const Date& a, const Date& b) {
  if (a.year != b.year) return a.year < b.year;
  if (a.month != b.month) return a.month < b.month;
  return a.day < b.day;
}

}  // namespace

// ---- 152, 153, 154: differences ----------------------------------------------

std::int32_t DateDifference(frame::Self* self, const char16_t* first,
                            const char16_t* second) {
  const std::optional<std::int64_t> a = StrictDay(TextArg(first));
  const std::optional<std::int64_t> b = StrictDay(TextArg(second));
  if (!a || !b) {
    frame::Raise(self, frame::kErrDateOperandInvalid);
    return -1;
  }
  return static_cast<std::int32_t>(*b - *a);
}

std::int32_t TimeDifference(frame::Self* self, const char16_t* first,
                            const char16_t* second) {
  TimeOfDay a, b;
  if (!ParseTimeShort(TextArg(first), &a) ||
      !ParseTimeShort(TextArg(second), &b)) {
    frame::Raise(self, frame::kErrTimeOperandInvalid);
    return -1;
  }
  return b.Hundredths() - a.Hundredths();
}

void DateTimeDifference(frame::Self* self, char16_t** result,
                        const char16_t* first, const char16_t* second) {
  const std::optional<double> a = StrictMoment(TextArg(first));
  const std::optional<double> b = StrictMoment(TextArg(second));
  if (!a || !b) {
    frame::Raise(self, frame::kErrDateOperandInvalid);
    return;
  }
  SetText(result, DifferenceText(*b - *a));
}

// ---- 333: age -------------------------------------------------------------------
// Years, months and days from the birth date to the reference date (today
// when none is given), "%04d%02d%02d"; empty when the reference comes first.

void Age(frame::Self* self, char16_t** result, const char16_t* birth_text,
         const char16_t* reference_text) {
  frame::CXError* record = frame::ErrorRecord(self);
  Date birth, ref;
  if (!CheckDate(TextArg(birth_text), &birth, record)) return;
  if (TextArg(reference_text).empty()) {
    ref = Today();
  } else if (!CheckDate(TextArg(reference_text), &ref, record)) {
    return;
  }
  if (Before(ref, birth)) return;
  int years = ref.year - birth.year;
  int months = ref.month - birth.month;
  if (months < 0) {
    months += 12;
    --years;
  }
  int days = ref.day - birth.day;
  if (ref.day < birth.day) {
    const int previous = ref.month == 1 ? 12 : ref.month - 1;
    const int length = previous == 2 && IsLeapYear(ref.year)
                           ? 29
                           : MonthLength(2001, previous);
    // A birth day that the previous month lacks (31 after a 30-day month)
    // counts the reference day less one.
    const int left = length - birth.day;
    days = ref.day + (left > 0 ? left : 0) - (left < 0 ? 1 : 0);
    if (months == 0) {
      months = 11;
      --years;
    } else {
      --months;
    }
  }
  if (years > 9999 || months >= 12 || days >= 31) return;
  char text[48];
  std::snprintf(text, sizeof text, "%04d%02d%02d", years, months, days);
  SetText(result, text);
}

}  // namespace text
