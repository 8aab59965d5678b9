// The calendar core against std::chrono's proleptic Gregorian calendar over
// every day from 1583 to 9999, and against the formulas themselves before
// 1583, where the narrow Julian corrections make the routines disagree.
#include <gtest/gtest.h>

#include <chrono>

#include "text/dates.h"

namespace text {
namespace {

namespace chr = std::chrono;

// 1 January 1800 is day 1.
const chr::sys_days kDayZero =
    chr::sys_days(chr::year(1799) / chr::December / 31);

Date DateOf(const chr::year_month_day& ymd) {
  return {static_cast<int>(ymd.year()), static_cast<int>(unsigned(ymd.month())),
          static_cast<int>(unsigned(ymd.day()))};
}

// ISO week from its definition: the week belongs to the year of its Thursday.
// None for the first days of 1583, whose week is counted in 1582.
std::optional<int> ReferenceIsoWeek(chr::sys_days day) {
  const chr::weekday wd(day);
  const chr::sys_days thursday = day - (wd - chr::Monday) + chr::days(3);
  const chr::year y = chr::year_month_day(thursday).year();
  if (y < chr::year(1583)) return std::nullopt;
  return static_cast<int>(
             (thursday - chr::sys_days(y / chr::January / 1)).count() / 7) +
         1;
}

// Plain weeks start on Mondays; week 1 holds 1 January when it falls on
// Monday to Thursday, else it starts on the first Monday (week 0 before).
int ReferencePlainWeek(chr::sys_days day, chr::year y) {
  const chr::sys_days jan1(y / chr::January / 1);
  const chr::weekday w(jan1);
  const unsigned iso_w = w.iso_encoding();
  const chr::sys_days week1 =
      iso_w <= 4 ? jan1 - (w - chr::Monday) : jan1 + (chr::Monday - w);
  const auto days = (day - week1).count();
  return days < 0 ? 0 : static_cast<int>(days / 7) + 1;
}

TEST(Calendar, EveryDayFrom1583To9999AgreesWithChrono) {
  const chr::sys_days first(chr::year(1583) / chr::January / 1);
  const chr::sys_days last(chr::year(9999) / chr::December / 31);
  int failures = 0;
  for (chr::sys_days day = first; day <= last && failures < 5;
       day += chr::days(1)) {
    const chr::year_month_day ymd(day);
    const Date d = DateOf(ymd);
    const std::int64_t expected = (day - kDayZero).count();
    const auto n = DayNumber(d);
    const auto strict = DayNumberStrict(d);
    const auto back = DateOfDay(expected);
    Date checked;
    const bool ok =
        n == expected && strict == expected && back == d &&
        WeekdayOfDay(expected) ==
            static_cast<int>(chr::weekday(day).c_encoding()) &&
        (!ReferenceIsoWeek(day) || IsoWeek(d) == ReferenceIsoWeek(day)) &&
        PlainWeek(expected, d) == ReferencePlainWeek(day, ymd.year()) &&
        CheckDate(DateText(d), &checked, nullptr) && checked == d;
    if (!ok) {
      ++failures;
      ADD_FAILURE() << d.year << "-" << d.month << "-" << d.day << " number "
                    << n.value_or(-1) << " expected " << expected << " iso "
                    << IsoWeek(d).value_or(-1) << " / "
                    << ReferenceIsoWeek(day).value_or(-1)
                    << " plain " << PlainWeek(expected, d).value_or(-1)
                    << " / " << ReferencePlainWeek(day, ymd.year());
    }
  }
  for (int y = 1583; y <= 9999; ++y) {
    ASSERT_EQ(chr::year(y).is_leap(), IsLeapYear(y)) << y;
  }
}

TEST(Calendar, EasterMatchesKnownSundays) {
  for (int y = 1583; y <= 9999; ++y) {
    const std::optional<Date> e = EasterSunday(y);
    ASSERT_TRUE(e.has_value());
    const chr::year_month_day ymd(chr::year(y) / e->month / e->day);
    ASSERT_TRUE(ymd.ok()) << y;
    ASSERT_EQ(chr::Sunday, chr::weekday(chr::sys_days(ymd))) << y;
    ASSERT_TRUE((e->month == 3 && e->day >= 22) ||
                (e->month == 4 && e->day <= 25))
        << y;
  }
  EXPECT_FALSE(EasterSunday(1582).has_value());
  EXPECT_FALSE(EasterSunday(10000).has_value());
}

// clang-format off
struct EarlyCase {
  const char* id;
  Date date;
  std::int64_t first;   // DayNumber
  std::int64_t strict;  // DayNumberStrict, 0: none
  std::optional<Date> back;  // DateOfDay(first)
};
const EarlyCase kEarlyCases[] = {
  // The reform: 4 October and 15 October 1582 are consecutive days for the
  // first routine, 13 days apart for the second; 15 October reads back as 5.
  {"r.1", {1582, 10,  4}, -79336, -79348, Date{1582, 10,  4}},
  {"r.2", {1582, 10, 15}, -79335, -79335, Date{1582, 10,  5}},
  {"r.3", {1582, 11,  4}, -79305, -79315, Date{1582, 11,  4}},
  {"r.4", {1582, 12, 31}, -79258, -79258, Date{1582, 12, 21}},
  // Julian leap day of 1500; 1 March takes the correction, 29 February not,
  // so days read back 10 days early; 1 January 1200 does not read back.
  {"j.1", {1500,  2, 29}, -109513, -109513, Date{1500,  2, 19}},
  {"j.2", {1500,  3,  1}, -109502, -109514, Date{1500,  3,  1}},
  {"j.3", {1000,  5,  3}, -292056, -292068, Date{1000,  5,  3}},
  {"j.4", {1000,  5,  5}, -292068, -292068, Date{1000,  4, 21}},
  {"j.5", {1200,  1,  1}, -219132, -219144, std::nullopt},
  // Year 0 has a first-routine number only; 1 January of year 1 reads back
  // into year 0.
  {"y.1", {   1,  1,  1}, -657049, -657060, Date{   0, 12, 30}},
  {"y.2", {   0,  1,  1}, -657413, 0,       Date{   0,  1,  1}},
};
// clang-format on

TEST(Calendar, BeforeTheReformFollowsTheFormulas) {
  for (const EarlyCase& c : kEarlyCases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.first, DayNumber(c.date));
    EXPECT_EQ(c.strict == 0 ? std::nullopt : std::optional(c.strict),
              DayNumberStrict(c.date));
    EXPECT_EQ(c.back, DateOfDay(c.first));
  }
  // 1 January 1583 falls in the last week of 1582, whose 1 January takes
  // the Julian correction: week 51, not 52.
  EXPECT_EQ(51, IsoWeek({1583, 1, 1}));
}

// Where the year estimate falls short, the remainder is longer than the
// year: the walk must stop at December and fail, never read on.
TEST(Calendar, DateOfDayFailsCleanlyBeforeTheReform) {
  const std::int64_t lo = *DayNumber({0, 1, 1}) - 5;
  const std::int64_t hi = *DayNumber({1583, 1, 1});
  int failed = 0;
  for (std::int64_t n = lo; n < hi; ++n) {
    const std::optional<Date> d = DateOfDay(n);
    if (!d) {
      ++failed;
      continue;
    }
    ASSERT_TRUE(d->month >= 1 && d->month <= 12) << n;
    ASSERT_TRUE(d->day >= 1 && d->day <= MonthLength(d->year, d->month)) << n;
  }
  EXPECT_EQ(250661, failed);
  EXPECT_FALSE(DateOfDay(-656648).has_value());
  EXPECT_FALSE(DateOfDay(*DayNumber({9999, 12, 31}) + 1).has_value());
  EXPECT_FALSE(DateOfDay(INT32_MAX).has_value());
  EXPECT_FALSE(DateOfDay(INT32_MIN).has_value());
}

}  // namespace
}  // namespace text
