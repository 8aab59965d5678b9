// Time, language and error texts of the POSIX backend.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <thread>

#include "platform/posix/posix_system.h"
#include "tests/platform/device_root.h"

namespace plat::posix {
namespace {

using plat::testing::ScopedEnv;

struct LocaleCase {
  const char* locale;
  std::uint16_t id;
};

// clang-format off
constexpr LocaleCase kLocales[] = {
  {"fr_FR.UTF-8", 1036}, {"fr_BE", 2060},       {"fr_CH.UTF-8", 4108},
  {"fr_CA", 3084},       {"fr_LU.UTF-8", 5132}, {"en_US.UTF-8", 1033},
  {"en_GB", 2057},       {"en_AU", 3081},       {"en_CA", 4105},
  {"de_DE@euro", 1031},  {"de_CH", 2055},       {"de_AT", 3079},
  {"it_IT", 1040},       {"es_ES", 3082},       {"nl_NL", 1043},
  {"nl_BE", 2067},       {"pt_PT", 2070},       {"pt_BR", 1046},
  {"fr", 1036},          {"de", 1031},          {"pt", 1046},
  {"fr_SN.UTF-8", 1036}, {"C", 1033},           {"POSIX", 1033},
  {"C.UTF-8", 1033},     {"xx_YY", 1033},       {"", 1033},
};
// clang-format on

TEST(LangId, LocaleTable) {
  for (const LocaleCase& c : kLocales) {
    SCOPED_TRACE(c.locale);
    EXPECT_EQ(c.id, LangIdOfLocale(c.locale));
  }
}

TEST(LangId, FirstSetVariableWins) {
  const struct {
    const char *all, *messages, *lang;
    std::uint16_t id;
  } cases[] = {
      {"de_AT", "fr_FR", "it_IT", 3079}, {"", "fr_BE", "it_IT", 2060},
      {nullptr, nullptr, "it_IT", 1040}, {nullptr, "", "en_GB", 2057},
      {nullptr, nullptr, nullptr, 1033},
  };
  for (const auto& c : cases) {
    ScopedEnv all("LC_ALL", c.all);
    ScopedEnv messages("LC_MESSAGES", c.messages);
    ScopedEnv lang("LANG", c.lang);
    EXPECT_EQ(c.id, Current().system.UserDefaultLangId());
  }
}

TEST(SystemClock, LocalTimeMatchesTheHost) {
  ScopedEnv tz("TZ", "UTC");
  const std::time_t before = std::time(nullptr);
  const SystemTime now = Current().system.LocalTime();
  FileTime ticks = 0;
  ASSERT_TRUE(SystemTimeToFileTime(now, &ticks));
  const std::int64_t seconds =
      static_cast<std::int64_t>(ticks / 10000000) - 11644473600;
  EXPECT_LE(before, seconds);
  EXPECT_LE(seconds, before + 2);
  SystemTime check;
  ASSERT_TRUE(FileTimeToSystemTime(ticks, &check));
  EXPECT_EQ(check.day_of_week, now.day_of_week);
}

TEST(SystemClock, UtcOffsetFollowsTheZone) {
  FileTime winter = 0, summer = 0;
  ASSERT_TRUE(SystemTimeToFileTime({2024, 1, 0, 15, 12, 0, 0, 0}, &winter));
  ASSERT_TRUE(SystemTimeToFileTime({2024, 7, 0, 15, 12, 0, 0, 0}, &summer));
  {
    ScopedEnv tz("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(60, Current().system.UtcOffsetMinutes(winter));
    EXPECT_EQ(120, Current().system.UtcOffsetMinutes(summer));
  }
  ScopedEnv tz("TZ", "EST5");
  EXPECT_EQ(-300, Current().system.UtcOffsetMinutes(summer));
}

TEST(SystemClock, TickCountMovesForward) {
  const std::uint32_t first = Current().system.TickCount();
  usleep(20000);
  const std::uint32_t second = Current().system.TickCount();
  EXPECT_GE(static_cast<std::uint32_t>(second - first), 15u);
  EXPECT_LT(static_cast<std::uint32_t>(second - first), 5000u);
}

// Never changes the real clock: the child gives up its privileges first.
TEST(SystemClock, SetLocalTimeWithoutPrivilegeIs1314) {
  const pid_t pid = fork();
  if (pid == 0) {
    if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(10);
    if (getuid() == 0 || geteuid() == 0) _exit(11);
    const SystemTime when{2030, 1, 0, 1, 0, 0, 0, 0};
    const SysErr err = Current().system.SetLocalTime(when);
    if (err != kErrPrivilegeNotHeld) _exit(12);
    if (Current().system.LastError() != kErrPrivilegeNotHeld) _exit(13);
    _exit(0);
  }
  ASSERT_GT(pid, 0);
  int status = 0;
  ASSERT_EQ(pid, waitpid(pid, &status, 0));
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST(SystemClock, SetLocalTimeRefusesInvalidRecords) {
  EXPECT_EQ(kErrInvalidParameter,
            Current().system.SetLocalTime({2024, 2, 0, 30, 0, 0, 0, 0}));
  EXPECT_EQ(kErrInvalidParameter, Current().system.LastError());
}

TEST(ErrorTexts, EveryCodeHasItsText) {
  const SysErr codes[] = {
#define ERRNO(name, win32) win32,
#include "platform/posix/errno_map.def"
#undef ERRNO
      // Numbers the backend gives without going through errno.
      1, 2, 3, 5, 6, 18, 31, 32, 50, 80, 87, 112, 123, 126, 127, 131, 145,
      161, 183, 206, 267, 1314};
  for (const SysErr code : codes) {
    SCOPED_TRACE(code);
    EXPECT_FALSE(Current().system.ErrorText(code).empty());
  }
  EXPECT_EQ(u"A required privilege is not held by the client.",
            Current().system.ErrorText(1314));
  EXPECT_TRUE(Current().system.ErrorText(4242).empty());
  const std::u16string text = Current().system.ErrorText(2);
  EXPECT_NE(u'\n', text.back());
}

TEST(ErrorTexts, LastErrorIsPerThread) {
  Current().system.SetLastError(87);
  SysErr other = 1;
  std::thread([&] { other = Current().system.LastError(); }).join();
  EXPECT_EQ(kOk, other);
  EXPECT_EQ(87u, Current().system.LastError());
}

}  // namespace
}  // namespace plat::posix
