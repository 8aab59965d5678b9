// FILETIME and SYSTEMTIME conversions, and local time through the platform's
// UTC offset.
#include <gtest/gtest.h>

#include <tuple>

#include "platform/fake/fake_platform.h"
#include "platform/platform.h"

namespace plat {
namespace {

struct TimeCase {
  const char* id;
  SystemTime time;  // day of week as FileTimeToSystemTime gives it
  FileTime ticks;
};

// clang-format off
constexpr TimeCase kTimes[] = {
  {"4.1", {1601, 1, 1, 1, 0, 0, 0, 0},        0},
  {"4.2", {1970, 1, 4, 1, 0, 0, 0, 0},        116444736000000000},
  {"4.3", {2000, 2, 2, 29, 23, 59, 59, 999},  125963423999990000},
  {"4.4", {2024, 1, 1, 15, 10, 30, 0, 0},     133497882000000000},
  {"4.5", {1980, 1, 2, 1, 0, 0, 0, 0},        119600064000000000},
  {"4.6", {30827, 12, 5, 31, 23, 59, 59, 999}, 0x7FFF35F4F06C58F0},
};
// clang-format on

// The day of the week is ignored on the way in.
TEST(TimeConvert, RoundTrips) {
  const auto fields = [](const SystemTime& t) {
    return std::tuple(t.year, t.month, t.day_of_week, t.day, t.hour, t.minute,
                      t.second, t.milliseconds);
  };
  for (const TimeCase& c : kTimes) {
    SCOPED_TRACE(c.id);
    FileTime ticks = 1;
    ASSERT_TRUE(SystemTimeToFileTime(c.time, &ticks));
    EXPECT_EQ(c.ticks, ticks);
    SystemTime back;
    ASSERT_TRUE(FileTimeToSystemTime(ticks, &back));
    EXPECT_EQ(fields(c.time), fields(back));
    back.day_of_week = (back.day_of_week + 3) % 7;
    ASSERT_TRUE(SystemTimeToFileTime(back, &ticks));
    EXPECT_EQ(c.ticks, ticks);
  }
}

TEST(TimeConvert, InvalidRecords) {
  // clang-format off
  const SystemTime invalid[] = {
    {1600, 12, 0, 31, 0, 0, 0, 0},  {2024, 0, 0, 1, 0, 0, 0, 0},
    {2024, 13, 0, 1, 0, 0, 0, 0},   {2024, 1, 0, 0, 0, 0, 0, 0},
    {2023, 2, 0, 29, 0, 0, 0, 0},   {1900, 2, 0, 29, 0, 0, 0, 0},
    {2024, 4, 0, 31, 0, 0, 0, 0},   {2024, 1, 0, 1, 24, 0, 0, 0},
    {2024, 1, 0, 1, 0, 60, 0, 0},   {2024, 1, 0, 1, 0, 0, 60, 0},
    {2024, 1, 0, 1, 0, 0, 0, 1000}, {30828, 1, 0, 1, 0, 0, 0, 0},
  };
  // clang-format on
  for (const SystemTime& t : invalid) {
    SCOPED_TRACE(::testing::Message()
                 << t.year << "-" << t.month << "-" << t.day << " " << t.hour
                 << ":" << t.minute << ":" << t.second << "."
                 << t.milliseconds);
    FileTime ticks = 7;
    EXPECT_FALSE(SystemTimeToFileTime(t, &ticks));
    EXPECT_EQ(7u, ticks);
  }
  SystemTime out;
  EXPECT_FALSE(FileTimeToSystemTime(0x8000000000000000ULL, &out));
}

TEST(TimeConvert, LocalThroughTheOffset) {
  FakePlatform fake;
  fake.system().SetUtcOffset(-300);
  const FileTime utc = 133497882000000000;
  const FileTime five_hours = 5ULL * 3600 * 10000000;
  EXPECT_EQ(utc - five_hours, FileTimeToLocal(utc));
  EXPECT_EQ(utc, LocalToFileTime(utc - five_hours));
  fake.system().SetUtcOffset(90);
  EXPECT_EQ(utc + 90ULL * 60 * 10000000, FileTimeToLocal(utc));
  EXPECT_EQ(0u, LocalToFileTime(0));  // no instant before 1601
}

}  // namespace
}  // namespace plat
