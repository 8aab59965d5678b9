// platform/platform.h: everything the component asks of the operating
// system. Code outside platform/ includes this and no system header.
#pragma once

#include <cstdint>
#include <string>

namespace plat {

// A Win32 error number on every backend; the language functions report these
// numbers and the system's text for them. 0 is success.
using SysErr = std::uint32_t;
inline constexpr SysErr kOk = 0;

// A loaded module: the VM's module handles arrive as words.
using Module = std::uintptr_t;

class Modules {
 public:
  virtual ~Modules() = default;
  // The named export of a module, or null.
  virtual void* FindExport(Module module, const char* name) = 0;
};

class SystemInfo {
 public:
  virtual ~SystemInfo() = default;
  // The system's text for an error code, without a trailing line break;
  // empty when the system has none.
  virtual std::u16string ErrorText(SysErr code) = 0;
  virtual SysErr LastError() = 0;
  virtual void SetLastError(SysErr code) = 0;
};

struct Platform {
  Modules& modules;
  SystemInfo& system;
};

// The backend linked into this build; never destroyed.
Platform& Current();

// Tests: Current() returns another platform until the scope ends.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform& replacement);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform* previous_;
};

}  // namespace plat
