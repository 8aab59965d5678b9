// tests/platform/file_holder.h: a child process holding a device file open
// for writing, sharing nothing, until it is released or killed.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string_view>

#include "platform/platform.h"

namespace plat::testing {

class FileHolder {
 public:
  explicit FileHolder(std::u16string_view path) {
    int ready[2], release[2];
    if (pipe(ready) != 0 || pipe(release) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(ready[0]);
      close(release[1]);
      Handle handle = kInvalidHandle;
      const char ok = Current().files.Open(path, kGenericWrite, 0,
                                           kOpenExisting, 0, &handle) == kOk;
      (void)!write(ready[1], &ok, 1);
      char ignored;
      (void)!read(release[0], &ignored, 1);  // until the parent closes it
      _exit(0);
    }
    close(ready[1]);
    close(release[0]);
    release_ = release[1];
    char ok = 0;
    held_ = read(ready[0], &ok, 1) == 1 && ok == 1;
    close(ready[0]);
  }
  ~FileHolder() { Release(); }
  bool held() const { return held_; }
  // Ends the child by its word (or by SIGKILL) and waits for it.
  bool Release(bool kill_it = false) {
    if (pid_ <= 0) return false;
    if (kill_it) kill(pid_, SIGKILL);
    close(release_);
    const bool reaped = waitpid(pid_, nullptr, 0) == pid_;
    pid_ = -1;
    return reaped;
  }

 private:
  pid_t pid_ = -1;
  int release_ = -1;
  bool held_ = false;
};

}  // namespace plat::testing
