// system/scoped_process.h: a process handle closed at scope end.
#pragma once

#include "platform/platform.h"

namespace sys {

class ScopedProcess {
 public:
  ScopedProcess() = default;
  explicit ScopedProcess(plat::Handle handle) : handle_(handle) {}
  ~ScopedProcess() {
    if (handle_ != plat::kInvalidHandle) {
      plat::Current().processes.CloseHandle(handle_);
    }
  }
  ScopedProcess(const ScopedProcess&) = delete;
  ScopedProcess& operator=(const ScopedProcess&) = delete;

  plat::Handle get() const { return handle_; }
  plat::Handle* out() { return &handle_; }

 private:
  plat::Handle handle_ = plat::kInvalidHandle;
};

}  // namespace sys
