// text/dates.h: the calendar core shared by the date and time functions:
// serial day numbers (1 = 1 January 1800) and times in hundredths.
#pragma once

#include <cstdint>

namespace text {

// Weekday of a day number: 0 = Sunday ... 6 = Saturday.
int WeekdayOfDay(std::int64_t day);

}  // namespace text
