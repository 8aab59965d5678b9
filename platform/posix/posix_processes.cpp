// platform/posix/posix_processes.cpp: starting, watching, waiting for and
// ending processes.
//
// A child started here is reaped here (waitpid), so its exit status is
// exact; a child whose last handle closes while it runs is reaped later,
// never left a zombie. A process opened by identifier is watched through a
// process descriptor (pidfd, Linux 5.3) or, without one, through /proc with
// its start time, which tells a reused number apart. A zombie has ended.
#include "platform/posix/posix_processes.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/command_line.h"
#include "platform/posix/device_paths.h"
#include "platform/posix/host_text.h"
#include "platform/posix/proc_table.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr std::uint32_t kAllAccess = 0x1FFFFF;     // PROCESS_ALL_ACCESS
constexpr std::uint32_t kQueryLimited = 0x1000;    // ..._LIMITED_INFORMATION
constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;
constexpr SysErr kErrBadExeFormat = 193;
constexpr SysErr kErrPartialCopy = 299;
// The exit code of a process opened by identifier that has ended: the
// kernel tells how a process ended to its parent only.
constexpr std::uint32_t kEndUnknown = 0;

// Children whose last handle closed before they ended, reaped once they
// have. Process-wide, as zombies are. A plain static: the component may be
// unloaded, and a heap object would then be lost.
struct Orphans {
  std::mutex mutex;
  std::vector<pid_t> pids;
};

Orphans& OrphanList() {
  static Orphans list;
  return list;
}

pid_t WaitNoHang(pid_t pid, int* status) {
  pid_t reaped;
  do {
    reaped = waitpid(pid, status, WNOHANG);
  } while (reaped < 0 && errno == EINTR);
  return reaped;
}

void ReapOrphans() {
  Orphans& orphans = OrphanList();
  std::lock_guard<std::mutex> lock(orphans.mutex);
  std::erase_if(orphans.pids, [](pid_t pid) {
    int status = 0;
    return WaitNoHang(pid, &status) != 0;  // reaped, or reaped elsewhere
  });
}

int OpenPidfd(pid_t pid) {
#ifdef SYS_pidfd_open
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
  (void)pid;
  errno = ENOSYS;
  return -1;
#endif
}

void SleepMilliseconds(std::uint32_t milliseconds) {
  timespec left{static_cast<time_t>(milliseconds / 1000),
                static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace

struct PosixProcesses::Watched {
  Watched(pid_t id, bool started_here, int descriptor, std::uint64_t start)
      : pid(id), child(started_here), pidfd(descriptor), start_time(start) {}
  ~Watched() {
    if (child && !ended) {
      Orphans& orphans = OrphanList();
      std::lock_guard<std::mutex> lock(orphans.mutex);
      orphans.pids.push_back(pid);
    }
    if (pidfd >= 0) close(pidfd);
  }
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;

  const pid_t pid;
  const bool child;  // started here: reaped here
  const int pidfd;   // -1 without a process descriptor
  const std::uint64_t start_time;  // from /proc, watched without a pidfd

  std::mutex mutex;  // guards what follows
  bool ended = false;
  std::uint32_t code = kStillActive;
  std::optional<std::uint32_t> terminated;  // the code given to Terminate
};

namespace {

using Watched = PosixProcesses::Watched;

std::uint32_t CodeOfStatus(int status,
                           const std::optional<std::uint32_t>& terminated) {
  if (WIFEXITED(status)) return static_cast<std::uint32_t>(WEXITSTATUS(status));
  const int signal = WTERMSIG(status);
  if (signal == SIGKILL && terminated) return *terminated;
  return 128u + static_cast<std::uint32_t>(signal);
}

// Brings `w` up to date; its mutex is held.
void Refresh(Watched& w) {
  if (w.ended) return;
  if (w.child) {
    int status = 0;
    const pid_t reaped = WaitNoHang(w.pid, &status);
    if (reaped == w.pid) {
      w.ended = true;
      w.code = CodeOfStatus(status, w.terminated);
    } else if (reaped < 0) {
      // Reaped elsewhere: the host ignores SIGCHLD or waits for any child.
      w.ended = true;
      w.code = w.terminated.value_or(kEndUnknown);
    }
    return;
  }
  bool gone = false;
  if (w.pidfd >= 0) {
    pollfd watch{w.pidfd, POLLIN, 0};
    gone = poll(&watch, 1, 0) > 0;
  } else {
    ProcStat stat;
    gone = !ReadProcStat(w.pid, &stat) || stat.state == 'Z' ||
           stat.state == 'X' || stat.start_time != w.start_time;
  }
  if (gone) {
    w.ended = true;
    w.code = w.terminated.value_or(kEndUnknown);
  }
}

bool SendKill(const Watched& w) {
#ifdef SYS_pidfd_send_signal
  if (w.pidfd >= 0) {
    if (syscall(SYS_pidfd_send_signal, w.pidfd, SIGKILL, nullptr, 0) == 0)
      return true;
    if (errno != ENOSYS) return false;
  }
#endif
  return kill(w.pid, SIGKILL) == 0;
}

// Starts `argv` with the caller's environment, no descriptor of the
// caller, and every signal at its default, unblocked. The standard streams
// are /dev/null, as a handheld program has none: an inherited pipe (the
// caller's own output, read by a test runner or a shell) would keep its
// reader waiting until the child ends.
int Spawn(const std::string& path, char* const argv[], pid_t* pid) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
#if defined(__GLIBC__) && (__GLIBC__ > 2 || __GLIBC_MINOR__ >= 34)
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif  // else only close-on-exec keeps them, as the component's own have it
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int result =
      posix_spawn(pid, path.c_str(), &actions, &attributes, argv, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return result;
}

SysErr SpawnError(int error_number, const std::string& host) {
  switch (error_number) {
    case ENOEXEC:
    case ELIBBAD:
      return kErrBadExeFormat;
    case ENOENT:  // also a script whose interpreter is missing
      return MissingError(host);
    case E2BIG:
      return kErrInvalidParameter;
    default:
      return FromErrno(error_number);
  }
}

}  // namespace

SysErr PosixProcesses::Create(std::u16string_view program,
                              std::u16string_view arguments,
                              ProcessInfo* out) {
  *out = ProcessInfo{};
  ReapOrphans();
  HostPath host;
  if (const SysErr err = MapDevicePath(program, &host); err != kOk)
    return Done(err);
  struct stat st;
  if (stat(host.path.c_str(), &st) != 0)
    return Done(errno == ENOENT ? MissingError(host.path) : FromErrno(errno));
  if (S_ISDIR(st.st_mode)) return Done(kErrAccessDenied);

  std::vector<std::string> words{host.path};
  for (const std::u16string& word : SplitArguments(arguments)) {
    std::string text;
    if (!ToHostText(word, &text)) return Done(kErrInvalidParameter);
    words.push_back(std::move(text));
  }
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  pid_t pid = 0;
  if (const int e = Spawn(host.path, argv.data(), &pid); e != 0)
    return Done(SpawnError(e, host.path));
  // An unreaped child keeps its number, so the descriptor is surely its own.
  const int pidfd = use_pidfd_ ? OpenPidfd(pid) : -1;
  auto watched = std::make_shared<Watched>(pid, true, pidfd, 0);
  std::lock_guard<std::mutex> lock(mutex_);
  std::erase_if(by_pid_, [](const auto& row) { return row.second.expired(); });
  by_pid_[pid] = watched;
  out->process = AddEntry({watched, kAllAccess, false});
  out->thread = AddEntry({watched, kAllAccess, true});
  out->process_id = static_cast<ProcessId>(pid);
  out->thread_id = static_cast<ProcessId>(pid);  // the main thread's id
  return Done(kOk);
}

SysErr PosixProcesses::Open(ProcessId id, std::uint32_t access, Handle* out) {
  *out = kInvalidHandle;
  if (id == 0 || id > static_cast<ProcessId>(INT_MAX))
    return Done(kErrInvalidParameter);
  const pid_t pid = static_cast<pid_t>(id);
  std::shared_ptr<Watched> watched;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (const auto it = by_pid_.find(pid); it != by_pid_.end())
      watched = it->second.lock();
  }
  if (watched != nullptr) {
    // A process already watched shares its record, while it runs: once it
    // has ended its number may be another process's.
    std::lock_guard<std::mutex> lock(watched->mutex);
    Refresh(*watched);
    if (watched->ended) watched.reset();
  }
  if (watched == nullptr) {
    int pidfd = -1;
    if (use_pidfd_) {
      pidfd = OpenPidfd(pid);
      // ESRCH: no such process; EINVAL: a thread's id, not a process's.
      if (pidfd < 0 && (errno == ESRCH || errno == EINVAL))
        return Done(kErrInvalidParameter);
      if (pidfd < 0 && errno != ENOSYS) return DoneErrno();
    }
    ProcStat stat;
    if (!ReadProcStat(pid, &stat) && pidfd < 0)
      return Done(kErrInvalidParameter);
    watched = std::make_shared<Watched>(pid, false, pidfd, stat.start_time);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  std::erase_if(by_pid_, [](const auto& row) { return row.second.expired(); });
  by_pid_[pid] = watched;
  *out = AddEntry({watched, access, false});
  return Done(kOk);
}

SysErr PosixProcesses::ExitCode(Handle process, std::uint32_t* code) {
  Entry entry;
  if (const SysErr err = Find(process, 0, false, &entry); err != kOk)
    return Done(err);
  if ((entry.rights & (kProcessQueryInformation | kQueryLimited)) == 0)
    return Done(kErrAccessDenied);
  Watched& w = *entry.watched;
  std::lock_guard<std::mutex> lock(w.mutex);
  Refresh(w);
  *code = w.ended ? w.code : kStillActive;
  return Done(kOk);
}

SysErr PosixProcesses::Terminate(Handle process, std::uint32_t code) {
  Entry entry;
  if (const SysErr err = Find(process, kProcessTerminate, false, &entry);
      err != kOk)
    return Done(err);
  Watched& w = *entry.watched;
  std::lock_guard<std::mutex> lock(w.mutex);
  Refresh(w);
  // As TerminateProcess, a process that has ended refuses with 5.
  if (w.ended) return Done(kErrAccessDenied);
  if (!SendKill(w)) {
    if (errno != ESRCH) return DoneErrno();
    Refresh(w);
    return Done(kErrAccessDenied);
  }
  // Like TerminateProcess, this does not wait for the end; the code shows
  // once the kill has landed.
  w.terminated = code;
  return Done(kOk);
}

SysErr PosixProcesses::Wait(Handle process, std::uint32_t milliseconds) {
  Entry entry;
  if (const SysErr err = Find(process, 0, true, &entry); err != kOk)
    return Done(err);
  Watched& w = *entry.watched;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline =
      Clock::now() + std::chrono::milliseconds(milliseconds);
  int pause = 1;  // polling without a descriptor: 1 ms, doubling up to 10
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(w.mutex);
      Refresh(w);
      if (w.ended) return Done(kOk);
    }
    int left = -1;
    if (milliseconds != kInfinite) {
      const Clock::time_point now = Clock::now();
      if (now >= deadline) return Done(kWaitTimeout);
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(
          deadline - now);
      left = static_cast<int>(std::min<std::int64_t>(rest.count(), INT_MAX));
    }
    if (w.pidfd >= 0) {
      pollfd watch{w.pidfd, POLLIN, 0};
      poll(&watch, 1, left);  // readable once it has ended; EINTR looks again
    } else {
      SleepMilliseconds(static_cast<std::uint32_t>(
          left < 0 ? pause : std::min(left, pause)));
      pause = std::min(pause * 2, 10);
    }
  }
}

SysErr PosixProcesses::CloseHandle(Handle handle) {
  std::shared_ptr<Watched> released;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = entries_.find(handle);
    if (it == entries_.end()) return Done(kErrInvalidHandle);
    released = std::move(it->second.watched);
    entries_.erase(it);
  }
  released.reset();  // the last handle of a running child makes it an orphan
  ReapOrphans();
  return Done(kOk);
}

ProcessId PosixProcesses::CurrentProcessId() {
  return static_cast<ProcessId>(getpid());
}

bool PosixProcesses::TakeMessage(WindowMessage*) { return false; }

void PosixProcesses::DispatchMessage(const WindowMessage&) {}

void PosixProcesses::Sleep(std::uint32_t milliseconds) {
  SleepMilliseconds(milliseconds);
}

SysErr PosixProcesses::ProcessIdOf(Handle process, std::uint32_t rights,
                                   ProcessId* id) {
  Entry entry;
  if (const SysErr err = Find(process, rights, false, &entry); err != kOk)
    return err;
  Watched& w = *entry.watched;
  std::lock_guard<std::mutex> lock(w.mutex);
  Refresh(w);
  if (w.ended) return kErrPartialCopy;
  *id = static_cast<ProcessId>(w.pid);
  return kOk;
}

Handle PosixProcesses::AddEntry(Entry entry) {
  while (entries_.count(next_) != 0) next_ += 4;
  const Handle handle = next_;
  next_ += 4;
  entries_.emplace(handle, std::move(entry));
  return handle;
}

SysErr PosixProcesses::Find(Handle handle, std::uint32_t rights,
                            bool thread_ok, Entry* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = entries_.find(handle);
  if (it == entries_.end() || (it->second.thread && !thread_ok))
    return kErrInvalidHandle;
  if ((it->second.rights & rights) != rights) return kErrAccessDenied;
  *out = it->second;
  return kOk;
}

PosixProcesses& SystemProcesses() {
  static PosixProcesses processes;
  return processes;
}

}  // namespace plat::posix
