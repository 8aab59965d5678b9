// platform/posix/posix_platform.cpp: the Linux backend's platform record:
// the VM's modules through the dynamic loader, and the parts built in the
// files beside this one (the registry in an SQLite store, processes).
#include <dlfcn.h>

#include "platform/platform.h"
#include "platform/posix/posix_files.h"
#include "platform/posix/posix_libraries.h"
#include "platform/posix/posix_processes.h"
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

Platform*& Slot() {
  static PosixModules modules;
  static posix::PosixSystemInfo system;
  static posix::PosixFiles files;
  static posix::PosixLibraries libraries;
  static posix::PosixRegistry registry;
  static Platform posix{modules,   system,   files,
                        libraries, registry, posix::SystemProcesses()};
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
