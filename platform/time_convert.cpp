// platform/time_convert.cpp: FILETIME and SYSTEMTIME conversions shared by
// every backend, with the handheld's checks. Portable: no system header.
#include "platform/platform.h"

namespace plat {
namespace {

constexpr std::uint64_t kTicksPerMs = 10000;
constexpr std::uint64_t kTicksPerDay = 864000000000ULL;
constexpr std::int64_t kTicksPerMinute = 600000000;
// FILETIME refuses values with the top bit set, as the handheld does.
constexpr std::uint64_t kLimit = 0x8000000000000000ULL;

bool IsLeap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30,
                                  31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Days from 1 January 1601 to the given date (proleptic Gregorian).
std::int64_t DaysFrom1601(int year, int month, int day) {
  // Days from civil, counted from 1 March of year 0.
  const int y = month <= 2 ? year - 1 : year;
  const int era = y / 400;
  const int yoe = y - era * 400;
  const int mp = (month + 9) % 12;
  const int doy = (153 * mp + 2) / 5 + day - 1;
  const int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  const std::int64_t days = static_cast<std::int64_t>(era) * 146097 + doe;
  constexpr std::int64_t k1601 = 584694;  // the same count for 1601-01-01
  return days - k1601;
}

}  // namespace

bool SystemTimeToFileTime(const SystemTime& time, FileTime* out) {
  if (time.year < 1601 || time.year > 30827 || time.month < 1 ||
      time.month > 12 || time.day < 1 ||
      time.day > DaysInMonth(time.year, time.month) || time.hour > 23 ||
      time.minute > 59 || time.second > 59 || time.milliseconds > 999)
    return false;
  const std::uint64_t days =
      static_cast<std::uint64_t>(DaysFrom1601(time.year, time.month, time.day));
  const std::uint64_t ms =
      ((static_cast<std::uint64_t>(time.hour) * 60 + time.minute) * 60 +
       time.second) *
          1000 +
      time.milliseconds;
  const std::uint64_t ticks = days * kTicksPerDay + ms * kTicksPerMs;
  if (ticks >= kLimit) return false;
  *out = ticks;
  return true;
}

bool FileTimeToSystemTime(FileTime time, SystemTime* out) {
  if (time >= kLimit) return false;
  const std::uint64_t days = time / kTicksPerDay;
  const std::uint64_t ms = (time % kTicksPerDay) / kTicksPerMs;
  // Civil from days, counted from 1 March of year 0.
  const std::int64_t z = static_cast<std::int64_t>(days) + 584694;
  const std::int64_t era = z / 146097;
  const std::int64_t doe = z - era * 146097;
  const std::int64_t yoe =
      (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  const std::int64_t day = doy - (153 * mp + 2) / 5 + 1;
  const std::int64_t month = mp < 10 ? mp + 3 : mp - 9;
  const std::int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);
  out->year = static_cast<std::uint16_t>(year);
  out->month = static_cast<std::uint16_t>(month);
  out->day = static_cast<std::uint16_t>(day);
  // 1 January 1601 was a Monday.
  out->day_of_week = static_cast<std::uint16_t>((days + 1) % 7);
  out->hour = static_cast<std::uint16_t>(ms / 3600000);
  out->minute = static_cast<std::uint16_t>(ms / 60000 % 60);
  out->second = static_cast<std::uint16_t>(ms / 1000 % 60);
  out->milliseconds = static_cast<std::uint16_t>(ms % 1000);
  return true;
}

namespace {

FileTime Shift(FileTime time, std::int32_t minutes) {
  const std::int64_t delta =
      static_cast<std::int64_t>(minutes) * kTicksPerMinute;
  if (delta < 0 && time < static_cast<std::uint64_t>(-delta)) return 0;
  return time + static_cast<std::uint64_t>(delta);
}

}  // namespace

FileTime FileTimeToLocal(FileTime utc) {
  return Shift(utc, Current().system.UtcOffsetMinutes(utc));
}

FileTime LocalToFileTime(FileTime local) {
  // The offset belongs to the UTC instant, which is not known yet: guess it
  // from the local time, then take the offset at the instant found.
  SystemInfo& system = Current().system;
  const FileTime guess = Shift(local, -system.UtcOffsetMinutes(local));
  return Shift(local, -system.UtcOffsetMinutes(guess));
}

}  // namespace plat
