// platform/posix/posix_platform.cpp: the Linux backend's platform record:
// the VM's modules through the dynamic loader, and the parts built in the
// files beside this one.
#include <dlfcn.h>

#include "platform/platform.h"
#include "platform/posix/posix_files.h"
#include "platform/posix/posix_libraries.h"
#include "platform/posix/posix_system.h"

namespace plat {
namespace {

class PosixModules final : public Modules {
 public:
  void* FindExport(Module module, const char* name) override {
    if (module == 0 || name == nullptr) return nullptr;
    return dlsym(reinterpret_cast<void*>(module), name);
  }
};

// Until the store lands: every call fails as an unreadable registry would.
class NoRegistry final : public Registry {
 public:
  SysErr OpenKey(Key, std::u16string_view, std::uint32_t, Key*) override { return kErrRegistryIoFailed; }
  SysErr CreateKey(Key, std::u16string_view, std::uint32_t, Key*, bool*) override { return kErrRegistryIoFailed; }
  SysErr CloseKey(Key) override { return kErrRegistryIoFailed; }
  SysErr QueryValue(Key, std::u16string_view, std::uint32_t*, std::uint8_t*, std::uint32_t*) override { return kErrRegistryIoFailed; }
  SysErr SetValue(Key, std::u16string_view, std::uint32_t, const std::uint8_t*, std::uint32_t) override { return kErrRegistryIoFailed; }
  SysErr DeleteValue(Key, std::u16string_view) override { return kErrRegistryIoFailed; }
  SysErr EnumKey(Key, std::uint32_t, std::u16string*) override { return kErrRegistryIoFailed; }
  SysErr EnumValue(Key, std::uint32_t, std::u16string*, std::uint32_t*, std::uint8_t*, std::uint32_t*) override { return kErrRegistryIoFailed; }
  SysErr QueryInfo(Key, KeyInfo*) override { return kErrRegistryIoFailed; }
  SysErr DeleteKey(Key, std::u16string_view) override { return kErrRegistryIoFailed; }
};

Platform*& Slot() {
  static PosixModules modules;
  static posix::PosixSystemInfo system;
  static posix::PosixFiles files;
  static posix::PosixLibraries libraries;
  static NoRegistry registry;
  static Platform posix{modules, system, files, libraries, registry};
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
