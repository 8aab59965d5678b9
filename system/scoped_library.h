// system/scoped_library.h: a system library loaded by name for the length
// of one operation, and its entry points.
#pragma once

#include <string_view>

#include "platform/platform.h"

namespace sys {

class ScopedLibrary {
 public:
  explicit ScopedLibrary(std::u16string_view name)
      : module_(plat::Current().libraries.LoadLibrary(name)) {
    if (module_ == 0) error_ = plat::Current().system.LastError();
  }
  ~ScopedLibrary() {
    if (module_ != 0) plat::Current().libraries.FreeLibrary(module_);
  }
  ScopedLibrary(const ScopedLibrary&) = delete;
  ScopedLibrary& operator=(const ScopedLibrary&) = delete;

  bool loaded() const { return module_ != 0; }

  // The entry point as a function of type Fn; null when it is missing.
  template <class Fn>
  Fn Find(const char* name) {
    if (module_ == 0) return nullptr;
    void* entry = plat::Current().libraries.GetProcAddress(module_, name);
    if (entry == nullptr && error_ == plat::kOk) {
      error_ = plat::Current().system.LastError();
    }
    return reinterpret_cast<Fn>(entry);
  }

  // The system's error for the failed load or the first missing entry
  // point; kOk while nothing failed.
  plat::SysErr error() const { return error_; }

 private:
  plat::Module module_;
  plat::SysErr error_ = plat::kOk;
};

}  // namespace sys
