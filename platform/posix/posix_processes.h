// platform/posix/posix_processes.h: processes on Linux: children started
// with posix_spawn and reaped here, other processes watched by identifier.
//
// Exit codes. A child's exit status is exact, but has 8 bits on Linux: no
// real program can end with 259, the "still active" marker (the test double
// can make one look so). A child killed by Terminate ends with the code
// given to it; one killed by any other signal ends with 128 + the signal
// number, as the shell reports it (137 for SIGKILL, 143 for SIGTERM), which
// never reaches 259. Only the parent learns how a process ended: a process
// opened by identifier that has ended reads 0, or the code it was given
// when it was terminated from this process; so does a child that the host
// reaped itself (SIGCHLD ignored, or its own wait for any child).
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "platform/platform.h"

namespace plat::posix {

class PosixProcesses final : public Processes {
 public:
  // Without `use_pidfd` processes are watched by polling waitpid and /proc,
  // as on kernels before 5.3; with it, through process descriptors where
  // the kernel has them.
  explicit PosixProcesses(bool use_pidfd = true) : use_pidfd_(use_pidfd) {}

  SysErr Create(std::u16string_view program, std::u16string_view arguments,
                ProcessInfo* out) override;
  SysErr Open(ProcessId id, std::uint32_t access, Handle* out) override;
  SysErr ExitCode(Handle process, std::uint32_t* code) override;
  SysErr Terminate(Handle process, std::uint32_t code) override;
  SysErr Wait(Handle process, std::uint32_t milliseconds) override;
  SysErr CloseHandle(Handle handle) override;
  ProcessId CurrentProcessId() override;
  bool TakeMessage(WindowMessage* message) override;
  void DispatchMessage(const WindowMessage& message) override;
  void Sleep(std::uint32_t milliseconds) override;

  // The identifier behind a process handle holding `rights`: 6 for a
  // handle that is not a process handle, 5 without the rights, 299 once the
  // process has ended (its modules are gone).
  SysErr ProcessIdOf(Handle process, std::uint32_t rights, ProcessId* id);

  struct Watched;  // one process, shared by all handles to it

 private:
  struct Entry {
    std::shared_ptr<Watched> watched;
    std::uint32_t rights = 0;
    bool thread = false;  // the thread handle of Create
  };

  Handle AddEntry(Entry entry);  // with mutex_ held
  // A copy of the process entry; 6 for an unknown handle or a thread
  // handle (unless `thread_ok`), 5 when `rights` are not all held.
  SysErr Find(Handle handle, std::uint32_t rights, bool thread_ok,
              Entry* out);

  const bool use_pidfd_;
  std::mutex mutex_;
  std::unordered_map<Handle, Entry> entries_;
  // Processes with open handles, so that a second open of a process shares
  // what is known of it (a child's exact exit status).
  std::unordered_map<pid_t, std::weak_ptr<Watched>> by_pid_;
  Handle next_ = 0x1000000;  // apart from file and snapshot handles
};

// The backend's instance, shared by the platform record and the entry
// points of "PSAPI.DLL"; never destroyed.
PosixProcesses& SystemProcesses();

}  // namespace plat::posix
