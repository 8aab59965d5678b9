// platform/posix/toolhelp_entries.cpp: the entry points of "TOOLHELP.DLL"
// and "PSAPI.DLL", read from /proc.
//
// A process snapshot names each process as proc_table.h says (the
// executable's file name, ".exe" appended where it has no extension). A
// module snapshot lists the program, named by the same rule, then its ELF
// objects by file name; their paths are device paths below the device root
// and host paths elsewhere.
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/posix/host_text.h"
#include "platform/posix/library_entries.h"
#include "platform/posix/posix_processes.h"
#include "platform/posix/proc_table.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr SysErr kErrBadLength = 24;
constexpr SysErr kErrInsufficientBuffer = 122;
constexpr std::uint32_t kVmReadAndQuery =
    kProcessVmRead | kProcessQueryInformation;

struct Snapshot {
  std::vector<ProcessEntry32> processes;
  std::vector<ModuleEntry32> modules;
  std::size_t next_process = 0;
  std::size_t next_module = 0;
};

struct Snapshots {
  std::mutex mutex;
  std::unordered_map<std::intptr_t, Snapshot> open;
  std::intptr_t next = 0x2000000;  // apart from file and process handles
};

int Fail(SysErr error) {
  Done(error);
  return 0;
}

// A plain static: a heap table would be lost when the component is unloaded.
Snapshots& Table() {
  static Snapshots table;
  return table;
}

// Copies `text` into a field of `capacity` characters, cut to leave room for
// the terminator and never between the halves of a surrogate pair; the rest
// of the field is zeroed. Returns the characters copied.
std::size_t CopyText(std::u16string_view text, char16_t* field,
                     std::size_t capacity) {
  std::size_t n = std::min(text.size(), capacity - 1);
  if (n < text.size() && n > 0 && text[n - 1] >= 0xD800 &&
      text[n - 1] <= 0xDBFF)
    --n;
  std::copy_n(text.data(), n, field);
  std::fill(field + n, field + capacity, u'\0');
  return n;
}

std::uint32_t Low32(std::uintptr_t value) {
  return static_cast<std::uint32_t>(value);
}

ProcessEntry32 ProcessRecord(const ProcessRow& row) {
  ProcessEntry32 entry{};
  entry.size = sizeof(ProcessEntry32);
  entry.usage = 1;
  entry.process_id = static_cast<std::uint32_t>(row.pid);
  entry.threads = row.threads;
  entry.parent_process_id = static_cast<std::uint32_t>(row.parent);
  entry.priority_base = 8;  // normal priority
  CopyText(row.name, entry.exe_file, std::size(entry.exe_file));
  return entry;
}

// The 32-bit fields hold the low half of 64-bit addresses.
ModuleEntry32 ModuleRecord(const MappedModule& module, bool program,
                           pid_t pid) {
  ModuleEntry32 entry{};
  entry.size = sizeof(ModuleEntry32);
  entry.module_id = 1;
  entry.process_id = static_cast<std::uint32_t>(pid);
  entry.global_usage = 1;
  entry.process_usage = 1;
  entry.base_address = Low32(module.base);
  entry.base_size = Low32(module.size);
  entry.module_handle = Low32(module.base);
  const std::string file = FileNameOf(module.path);
  CopyText(program ? ProgramName(file) : FromHostText(file), entry.module,
           std::size(entry.module));
  CopyText(ModulePath(module.path), entry.exe_path, std::size(entry.exe_path));
  return entry;
}

// First (restart) or next record of one kind of a snapshot.
template <class Record>
int NextRecord(std::intptr_t handle, Record* entry, bool first,
               std::vector<Record> Snapshot::*records,
               std::size_t Snapshot::*next) {
  if (entry == nullptr) return Fail(kErrInvalidParameter);
  if (entry->size != sizeof(Record)) return Fail(kErrBadLength);
  Snapshots& table = Table();
  std::lock_guard<std::mutex> lock(table.mutex);
  const auto it = table.open.find(handle);
  if (it == table.open.end()) return Fail(kErrInvalidHandle);
  Snapshot& snapshot = it->second;
  if (first) snapshot.*next = 0;
  if (snapshot.*next >= (snapshot.*records).size())
    return Fail(kErrNoMoreFiles);
  *entry = (snapshot.*records)[(snapshot.*next)++];
  Done(kOk);
  return 1;
}

// The modules of the process behind a handle with query and read rights.
SysErr ModulesOf(std::intptr_t process, std::vector<MappedModule>* modules) {
  ProcessId id = 0;
  if (const SysErr err =
          SystemProcesses().ProcessIdOf(process, kVmReadAndQuery, &id);
      err != kOk)
    return err;
  return ListModules(static_cast<pid_t>(id), modules);
}

}  // namespace

std::intptr_t ToolhelpCreateSnapshot(std::uint32_t flags,
                                     std::uint32_t process_id) {
  Snapshot snapshot;
  if ((flags & kSnapProcess) != 0) {
    for (const ProcessRow& row : ListProcesses())
      snapshot.processes.push_back(ProcessRecord(row));
  }
  if ((flags & kSnapModule) != 0) {
    const pid_t pid =
        process_id == 0 ? getpid() : static_cast<pid_t>(process_id);
    std::vector<MappedModule> modules;
    if (const SysErr err = ListModules(pid, &modules); err != kOk) {
      Done(err);
      return kInvalidHandle;
    }
    for (std::size_t i = 0; i < modules.size(); ++i)
      snapshot.modules.push_back(ModuleRecord(modules[i], i == 0, pid));
  }
  Snapshots& table = Table();
  std::lock_guard<std::mutex> lock(table.mutex);
  const std::intptr_t handle = table.next;
  table.next += 4;
  table.open.emplace(handle, std::move(snapshot));
  Done(kOk);
  return handle;
}

int ToolhelpProcessFirst(std::intptr_t snapshot, ProcessEntry32* entry) {
  return NextRecord(snapshot, entry, true, &Snapshot::processes,
                    &Snapshot::next_process);
}

int ToolhelpProcessNext(std::intptr_t snapshot, ProcessEntry32* entry) {
  return NextRecord(snapshot, entry, false, &Snapshot::processes,
                    &Snapshot::next_process);
}

int ToolhelpModuleFirst(std::intptr_t snapshot, ModuleEntry32* entry) {
  return NextRecord(snapshot, entry, true, &Snapshot::modules,
                    &Snapshot::next_module);
}

int ToolhelpModuleNext(std::intptr_t snapshot, ModuleEntry32* entry) {
  return NextRecord(snapshot, entry, false, &Snapshot::modules,
                    &Snapshot::next_module);
}

int ToolhelpCloseSnapshot(std::intptr_t snapshot) {
  Snapshots& table = Table();
  std::lock_guard<std::mutex> lock(table.mutex);
  return Done(table.open.erase(snapshot) == 1 ? kOk : kErrInvalidHandle) ==
         kOk;
}

int PsapiEnumProcessModules(std::intptr_t process, Module* modules,
                            std::uint32_t bytes, std::uint32_t* needed) {
  if (needed == nullptr || (modules == nullptr && bytes != 0))
    return Fail(kErrInvalidParameter);
  std::vector<MappedModule> found;
  if (const SysErr err = ModulesOf(process, &found); err != kOk)
    return Fail(err);
  const std::size_t room = std::min<std::size_t>(bytes / sizeof(Module),
                                                 found.size());
  for (std::size_t i = 0; i < room; ++i) modules[i] = found[i].base;
  *needed = static_cast<std::uint32_t>(found.size() * sizeof(Module));
  Done(kOk);
  return 1;
}

std::uint32_t PsapiGetModuleFileNameEx(std::intptr_t process, Module module,
                                       char16_t* name, std::uint32_t size) {
  if (name == nullptr || size == 0) return Fail(kErrInsufficientBuffer);
  std::vector<MappedModule> found;
  if (const SysErr err = ModulesOf(process, &found); err != kOk)
    return Fail(err);
  // Module 0 is the program, as on Windows.
  const auto it = std::find_if(found.begin(), found.end(),
                               [module](const MappedModule& m) {
                                 return module == 0 || m.base == module;
                               });
  if (it == found.end()) return Fail(kErrInvalidHandle);
  const std::size_t n = CopyText(ModulePath(it->path), name, size);
  Done(kOk);
  return static_cast<std::uint32_t>(n);
}

}  // namespace plat::posix
