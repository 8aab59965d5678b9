// platform/posix/posix_system.cpp: the clock, the language and the texts of
// error numbers.
#include "platform/posix/posix_system.h"

#include <sys/utsname.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>

#include "platform/posix/file_meta.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr std::uint16_t kEnglishUs = 1033;

struct LangRow {
  std::string_view language;
  std::string_view country;
  std::uint16_t id;
};

constexpr LangRow kLangRows[] = {
#define LANGID(language, country, id) {language, country, id},
#include "platform/posix/lang_ids.def"
#undef LANGID
};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }
char Upper(char c) { return c >= 'a' && c <= 'z' ? c - 32 : c; }

bool Same(std::string_view a, std::string_view b, char (*fold)(char)) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (fold(a[i]) != fold(b[i])) return false;
  return true;
}

}  // namespace

std::uint16_t LangIdOfLocale(std::string_view locale) {
  const std::size_t end = locale.find_first_of(".@");
  if (end != std::string_view::npos) locale = locale.substr(0, end);
  const std::size_t split = locale.find_first_of("_-");
  const std::string_view language = locale.substr(0, split);
  const std::string_view country = split == std::string_view::npos
                                       ? std::string_view()
                                       : locale.substr(split + 1);
  std::uint16_t primary = 0;
  for (const LangRow& row : kLangRows) {
    if (!Same(row.language, language, Lower)) continue;
    if (primary == 0) primary = row.id;
    if (Same(row.country, country, Upper)) return row.id;
  }
  return primary != 0 ? primary : kEnglishUs;
}

std::u16string PosixSystemInfo::ErrorText(SysErr code) {
  return MessageText(code);
}

SysErr PosixSystemInfo::LastError() { return LastErrorOfThread(); }

void PosixSystemInfo::SetLastError(SysErr code) { Done(code); }

SystemTime PosixSystemInfo::LocalTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tzset();
  tm local{};
  localtime_r(&now.tv_sec, &local);
  SystemTime out;
  out.year = static_cast<std::uint16_t>(local.tm_year + 1900);
  out.month = static_cast<std::uint16_t>(local.tm_mon + 1);
  out.day_of_week = static_cast<std::uint16_t>(local.tm_wday);
  out.day = static_cast<std::uint16_t>(local.tm_mday);
  out.hour = static_cast<std::uint16_t>(local.tm_hour);
  out.minute = static_cast<std::uint16_t>(local.tm_min);
  out.second =
      static_cast<std::uint16_t>(local.tm_sec > 59 ? 59 : local.tm_sec);
  out.milliseconds = static_cast<std::uint16_t>(now.tv_nsec / 1000000);
  return out;
}

SysErr PosixSystemInfo::SetLocalTime(const SystemTime& time) {
  FileTime check = 0;
  if (!SystemTimeToFileTime(time, &check)) return Done(kErrInvalidParameter);
  tzset();
  tm local{};
  local.tm_year = time.year - 1900;
  local.tm_mon = time.month - 1;
  local.tm_mday = time.day;
  local.tm_hour = time.hour;
  local.tm_min = time.minute;
  local.tm_sec = time.second;
  local.tm_isdst = -1;
  errno = 0;
  const time_t seconds = mktime(&local);
  if (seconds == static_cast<time_t>(-1) && errno != 0)
    return Done(kErrInvalidParameter);
  const timespec when{seconds, static_cast<long>(time.milliseconds) * 1000000};
  if (clock_settime(CLOCK_REALTIME, &when) == 0) return Done(kOk);
  return Done(errno == EPERM ? kErrPrivilegeNotHeld : FromErrno(errno));
}

std::uint32_t PosixSystemInfo::TickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t ms = static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                           static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
  return static_cast<std::uint32_t>(ms);
}

std::uint16_t PosixSystemInfo::UserDefaultLangId() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return LangIdOfLocale(value);
  }
  return kEnglishUs;
}

std::int32_t PosixSystemInfo::UtcOffsetMinutes(FileTime utc) {
  const time_t seconds = ToTimespec(utc).tv_sec;
  tzset();
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return 0;
  return static_cast<std::int32_t>(local.tm_gmtoff / 60);
}

// The kernel's release "6.1.0-18-amd64" gives 6, 1 and build 0; the desktop
// class, since a Linux host is no handheld.
OsVersion PosixSystemInfo::Version() {
  OsVersion version;
  version.platform_id = kPlatformDesktop;
  utsname names{};
  if (uname(&names) != 0) return version;
  unsigned parts[3] = {0, 0, 0};
  const char* p = names.release;
  for (unsigned& part : parts) {
    char* end = nullptr;
    part = static_cast<unsigned>(std::strtoul(p, &end, 10));
    if (end == p || *end != '.') break;
    p = end + 1;
  }
  version.major = parts[0];
  version.minor = parts[1];
  version.build = parts[2];
  return version;
}

// A desktop system has no platform type: the query is refused, as on a
// desktop Windows, rather than inventing a handheld class for Linux.
SysErr PosixSystemInfo::PlatformType(std::u16string* text) {
  text->clear();
  return Done(kErrInvalidSpiValue);
}

}  // namespace plat::posix
