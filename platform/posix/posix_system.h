// platform/posix/posix_system.h: time, locale and errors on Linux.
#pragma once

#include <string_view>

#include "platform/platform.h"

namespace plat::posix {

// The language identifier of a host locale name ("fr_BE.UTF-8@euro"):
// language and country from lang_ids.def, 1033 for "C", "POSIX" and names
// the table does not know.
std::uint16_t LangIdOfLocale(std::string_view locale);

class PosixSystemInfo final : public SystemInfo {
 public:
  std::u16string ErrorText(SysErr code) override;
  SysErr LastError() override;
  void SetLastError(SysErr code) override;
  SystemTime LocalTime() override;
  SysErr SetLocalTime(const SystemTime& time) override;
  std::uint32_t TickCount() override;
  // From LC_ALL, else LC_MESSAGES, else LANG: the first that is set.
  std::uint16_t UserDefaultLangId() override;
  std::int32_t UtcOffsetMinutes(FileTime utc) override;
  OsVersion Version() override;
  // Linux reports the desktop class, so it answers as a desktop system does.
  SysErr PlatformType(std::u16string* text) override;
};

}  // namespace plat::posix
