// platform/fake/fake_system.cpp: a clock that moves only when told, a chosen
// language, a SetLocalTime that is refused on demand, and a chosen version
// record and platform type.
#include "platform/fake/fake_platform.h"

namespace plat {
namespace {

constexpr FileTime kTicksPerMs = 10000;

FileTime DefaultClock() {
  FileTime time = 0;
  SystemTimeToFileTime({2024, 1, 1, 15, 10, 30, 0, 0}, &time);
  return time;
}

}  // namespace

FakeSystemInfo::FakeSystemInfo(SystemInfo& real)
    : real_(real), local_(DefaultClock()) {}

void FakeSystemInfo::SetClock(const SystemTime& local) {
  FileTime time = 0;
  if (!SystemTimeToFileTime(local, &time)) return;
  std::lock_guard<std::mutex> lock(mutex_);
  local_ = time;
}

void FakeSystemInfo::SetTickCount(std::uint32_t ticks) {
  std::lock_guard<std::mutex> lock(mutex_);
  ticks_ = ticks;
}

void FakeSystemInfo::SetUtcOffset(std::int32_t minutes) {
  std::lock_guard<std::mutex> lock(mutex_);
  offset_ = minutes;
}

void FakeSystemInfo::SetLangId(std::uint16_t id) {
  std::lock_guard<std::mutex> lock(mutex_);
  lang_ = id;
}

void FakeSystemInfo::Advance(std::uint32_t milliseconds) {
  std::lock_guard<std::mutex> lock(mutex_);
  local_ += milliseconds * kTicksPerMs;
  ticks_ += milliseconds;
}

void FakeSystemInfo::RefuseSetLocalTime(bool refuse) {
  std::lock_guard<std::mutex> lock(mutex_);
  refuse_set_ = refuse;
}

std::u16string FakeSystemInfo::ErrorText(SysErr code) {
  return real_.ErrorText(code);
}

SysErr FakeSystemInfo::LastError() { return real_.LastError(); }

void FakeSystemInfo::SetLastError(SysErr code) { real_.SetLastError(code); }

SystemTime FakeSystemInfo::LocalTime() {
  std::lock_guard<std::mutex> lock(mutex_);
  SystemTime out;
  FileTimeToSystemTime(local_, &out);
  return out;
}

SysErr FakeSystemInfo::SetLocalTime(const SystemTime& time) {
  FileTime value = 0;
  SysErr err = kOk;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (refuse_set_) {
      err = kErrPrivilegeNotHeld;
    } else if (!SystemTimeToFileTime(time, &value)) {
      err = kErrInvalidParameter;
    } else {
      local_ = value;
    }
  }
  real_.SetLastError(err);
  return err;
}

std::uint32_t FakeSystemInfo::TickCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return ticks_;
}

std::uint16_t FakeSystemInfo::UserDefaultLangId() {
  std::lock_guard<std::mutex> lock(mutex_);
  return lang_;
}

std::int32_t FakeSystemInfo::UtcOffsetMinutes(FileTime) {
  std::lock_guard<std::mutex> lock(mutex_);
  return offset_;
}

void FakeSystemInfo::SetVersion(const OsVersion& version) {
  std::lock_guard<std::mutex> lock(mutex_);
  version_ = version;
}

OsVersion FakeSystemInfo::Version() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (version_) return *version_;
  }
  return real_.Version();
}

void FakeSystemInfo::SetPlatformType(std::u16string_view text) {
  std::lock_guard<std::mutex> lock(mutex_);
  platform_type_ = std::u16string(text);
  platform_type_error_ = kOk;
}

void FakeSystemInfo::SetPlatformType(SysErr error) {
  std::lock_guard<std::mutex> lock(mutex_);
  platform_type_ = std::u16string();
  platform_type_error_ = error;
}

SysErr FakeSystemInfo::PlatformType(std::u16string* text) {
  SysErr err = kOk;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!platform_type_) return real_.PlatformType(text);
    *text = *platform_type_;
    err = platform_type_error_;
  }
  real_.SetLastError(err);
  return err;
}

}  // namespace plat
