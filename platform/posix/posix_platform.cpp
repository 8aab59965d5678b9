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

// Not yet carried out on this backend.
SysErr Unsupported() {
  last_error = 120;  // ERROR_CALL_NOT_IMPLEMENTED
  return 120;
}

class PosixFiles final : public Files {
 public:
  SysErr Open(std::u16string_view, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, Handle*) override {
    return Unsupported();
  }
  SysErr Close(Handle) override {
    return Unsupported();
  }
  SysErr Read(Handle, void*, std::uint32_t, std::uint32_t*) override {
    return Unsupported();
  }
  SysErr Write(Handle, const void*, std::uint32_t, std::uint32_t*) override {
    return Unsupported();
  }
  SysErr Seek(Handle, std::int64_t, std::uint32_t, std::uint64_t*) override {
    return Unsupported();
  }
  SysErr SetEnd(Handle) override {
    return Unsupported();
  }
  SysErr Flush(Handle) override {
    return Unsupported();
  }
  SysErr Size(Handle, std::uint64_t*) override {
    return Unsupported();
  }
  SysErr GetTimes(Handle, FileTime*, FileTime*, FileTime*) override {
    return Unsupported();
  }
  SysErr SetTimes(Handle, const FileTime*, const FileTime*, const FileTime*) override {
    return Unsupported();
  }
  SysErr GetAttributes(std::u16string_view, std::uint32_t*) override {
    return Unsupported();
  }
  SysErr SetAttributes(std::u16string_view, std::uint32_t) override {
    return Unsupported();
  }
  SysErr GetAttributeData(std::u16string_view, FileData*) override {
    return Unsupported();
  }
  SysErr FindFirst(std::u16string_view, FileData*, Handle*) override {
    return Unsupported();
  }
  SysErr FindNext(Handle, FileData*) override {
    return Unsupported();
  }
  SysErr FindClose(Handle) override {
    return Unsupported();
  }
  SysErr Remove(std::u16string_view) override {
    return Unsupported();
  }
  SysErr Move(std::u16string_view, std::u16string_view) override {
    return Unsupported();
  }
  SysErr Copy(std::u16string_view, std::u16string_view, bool) override {
    return Unsupported();
  }
  SysErr MakeDirectory(std::u16string_view) override {
    return Unsupported();
  }
  SysErr RemoveDir(std::u16string_view) override {
    return Unsupported();
  }
  SysErr FreeSpace(std::u16string_view, std::uint64_t*, std::uint64_t*) override {
    return Unsupported();
  }
  SysErr TempPath(std::u16string*) override {
    return Unsupported();
  }
  SysErr TempFileName(std::u16string_view, std::u16string_view, std::uint32_t, std::u16string*) override {
    return Unsupported();
  }
  SysErr ProgramFile(std::u16string*) override {
    return Unsupported();
  }
};

class PosixLibraries final : public Libraries {
 public:
  Module LoadLibrary(std::u16string_view) override {
    last_error = kErrModNotFound;
    return 0;
  }
  void* GetProcAddress(Module, const char*) override {
    last_error = kErrProcNotFound;
    return nullptr;
  }
  bool FreeLibrary(Module) override { return true; }
};

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
  SystemTime LocalTime() override { return {}; }
  SysErr SetLocalTime(const SystemTime&) override { return Unsupported(); }
  std::uint32_t TickCount() override { return 0; }
  std::uint16_t UserDefaultLangId() override { return 1033; }
  std::int32_t UtcOffsetMinutes(FileTime) override { return 0; }
};

Platform*& Slot() {
  static PosixModules modules;
  static PosixSystemInfo system;
  static PosixFiles files;
  static PosixLibraries libraries;
  static Platform posix{modules, system, files, libraries};
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
