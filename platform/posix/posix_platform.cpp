// platform/posix/posix_platform.cpp: the Linux backend's platform record:
// the VM's modules through the dynamic loader, and the parts built in the
// files beside this one (the registry in an SQLite store).
#include <dlfcn.h>

#include "platform/platform.h"
#include "platform/posix/posix_files.h"
#include "platform/posix/posix_libraries.h"
#include "platform/posix/posix_registry.h"
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

// Until the process backend lands: nothing can be started or opened.
class NoProcesses final : public Processes {
 public:
  SysErr Create(std::u16string_view, std::u16string_view, ProcessInfo*) override { return 50; }
  SysErr Open(ProcessId, std::uint32_t, Handle*) override { return 50; }
  SysErr ExitCode(Handle, std::uint32_t*) override { return 50; }
  SysErr Terminate(Handle, std::uint32_t) override { return 50; }
  SysErr Wait(Handle, std::uint32_t) override { return 50; }
  SysErr CloseHandle(Handle) override { return 50; }
  ProcessId CurrentProcessId() override { return 0; }
  bool TakeMessage(WindowMessage*) override { return false; }
  void DispatchMessage(const WindowMessage&) override {}
  void Sleep(std::uint32_t) override {}
};

Platform*& Slot() {
  static PosixModules modules;
  static posix::PosixSystemInfo system;
  static posix::PosixFiles files;
  static posix::PosixLibraries libraries;
  static posix::PosixRegistry registry;
  static NoProcesses processes;
  static Platform posix{modules, system, files, libraries, registry, processes};
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
