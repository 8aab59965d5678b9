// platform/posix/posix_platform.cpp: the Linux backend of the platform
// layer: modules through the dynamic loader, error codes and their texts.
#include <dlfcn.h>

#include <cerrno>

#include "platform/platform.h"

namespace plat {
namespace {

SysErr FromErrno(int e) {
  switch (e) {
#define ERRNO(name, win32) \
  case name:               \
    return win32;
#include "platform/posix/errno_map.def"
#undef ERRNO
    default:
      return 31;  // ERROR_GEN_FAILURE
  }
}

class PosixModules final : public Modules {
 public:
  void* FindExport(Module module, const char* name) override {
    if (module == 0 || name == nullptr) return nullptr;
    void* address = dlsym(reinterpret_cast<void*>(module), name);
    return address;
  }
};

thread_local SysErr last_error = kOk;

class PosixSystemInfo final : public SystemInfo {
 public:
  std::u16string ErrorText(SysErr code) override {
    switch (code) {
#define SYSMSG(number, text) \
  case number:               \
    return text;
#include "platform/posix/sys_messages.def"
#undef SYSMSG
      default:
        return {};
    }
  }
  SysErr LastError() override {
    return last_error != kOk ? last_error : (errno ? FromErrno(errno) : kOk);
  }
  void SetLastError(SysErr code) override { last_error = code; }
};

Platform*& Slot() {
  static PosixModules modules;
  static PosixSystemInfo system;
  static Platform posix{modules, system};
  static Platform* current = &posix;
  return current;
}

}  // namespace

Platform& Current() { return *Slot(); }

ScopedPlatform::ScopedPlatform(Platform& replacement) : previous_(Slot()) {
  Slot() = &replacement;
}
ScopedPlatform::~ScopedPlatform() { Slot() = previous_; }

}  // namespace plat
