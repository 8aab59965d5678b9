// platform/posix/proc_table.h: what /proc tells of processes: their state,
// the names the tool-help snapshot gives them, and their mapped modules.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace plat::posix {

// The fields of /proc/PID/stat the backend reads.
struct ProcStat {
  char state = '?';  // R, S, D, Z (zombie), X (dead), ...
  pid_t parent = 0;
  std::uint32_t flags = 0;  // the kernel's PF_* bits
  std::uint32_t threads = 0;
  std::uint64_t start_time = 0;  // clock ticks after boot
  std::string comm;              // the kernel's 15-character name
};

// False when no process (or thread) has that number.
bool ReadProcStat(pid_t pid, ProcStat* out);

// The host path of the process's executable, empty when it cannot be read
// (a kernel thread, a zombie, another user's process).
std::string ExecutablePath(pid_t pid);

// A process as a snapshot sees it. The name is the file name of the
// process's executable, or the kernel's name for it when the executable
// cannot be read (another user's process). Names that have no extension
// get ".exe" appended, so that a program "sleeper" is "sleeper.exe", as the
// handheld's list keeps only ".EXE" names; a name with an extension
// ("python3.11", "tool.sh") is reported as it is. Kernel threads (no
// programs) and zombies (ended, only not yet reaped) are left out.
struct ProcessRow {
  pid_t pid = 0;
  pid_t parent = 0;
  std::uint32_t threads = 0;
  std::u16string name;
};
std::vector<ProcessRow> ListProcesses();

// `name` with ".exe" appended when it has no extension.
std::u16string ProgramName(const std::string& file_name);

// A file mapped into a process: its lowest address and the extent of its
// mappings. The base address is the module handle, as on Windows.
struct MappedModule {
  std::string path;  // the host path
  std::uintptr_t base = 0;
  std::uintptr_t size = 0;
};

// The modules of a process from /proc/PID/maps: the executable first, then
// every other distinct mapped file that is an ELF object, in address order.
// 87 for a process that does not exist, 5 for one whose map is not readable.
SysErr ListModules(pid_t pid, std::vector<MappedModule>* out);

// A module's path as the component shows it: the device path when the file
// lies below the device root, else the host path.
std::u16string ModulePath(const std::string& host);

// The last component of a host path.
std::string FileNameOf(const std::string& path);

}  // namespace plat::posix
