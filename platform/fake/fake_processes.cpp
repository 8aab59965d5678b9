// platform/fake/fake_processes.cpp: the real processes with planned
// failures, a held "still active" exit code, a message queue the test fills
// and fixed tool-help snapshots.
#include <algorithm>
#include <iterator>

#include "platform/fake/fake_platform.h"

namespace plat {
namespace {

constexpr const char16_t* kToolhelp = u"TOOLHELP.DLL";
constexpr const char* kToolhelpEntries[] = {
    "CreateToolhelp32Snapshot", "Process32First", "Process32Next",
    "Module32First",            "Module32Next",   "CloseToolhelp32Snapshot",
};

void CopyText(std::u16string_view text, char16_t* field,
              std::size_t capacity) {
  const std::size_t n = std::min(text.size(), capacity - 1);
  std::copy_n(text.data(), n, field);
  std::fill(field + n, field + capacity, u'\0');
}

}  // namespace

// The entry points of "TOOLHELP.DLL" while a fixed list is set. They reach
// the double through the current platform; snapshots of what is not fixed,
// and handles they did not make, go to the real entry points.
struct FakeToolhelp {
  static FakeProcesses* Active() {
    return dynamic_cast<FakeProcesses*>(&Current().processes);
  }

  static int Fail(SysErr error) {
    Current().system.SetLastError(error);
    return 0;
  }

  static std::intptr_t CreateSnapshot(std::uint32_t flags,
                                      std::uint32_t process_id) {
    FakeProcesses* fake = Active();
    if (fake == nullptr) {
      Fail(kErrInvalidHandle);
      return kInvalidHandle;
    }
    std::unique_lock<std::mutex> lock(fake->mutex_);
    const bool processes = (flags & kSnapProcess) != 0 && fake->processes_;
    const bool modules = (flags & kSnapModule) != 0 && fake->modules_;
    if (!processes && !modules) {
      const auto real = reinterpret_cast<CreateToolhelp32SnapshotFn>(
          fake->real_toolhelp_["CreateToolhelp32Snapshot"]);
      lock.unlock();
      if (real == nullptr) {
        Fail(kErrProcNotFound);
        return kInvalidHandle;
      }
      return real(flags, process_id);
    }
    FakeProcesses::Snapshot snapshot;
    const std::vector<std::pair<std::u16string, ProcessId>> no_processes;
    const std::vector<std::u16string> no_modules;
    for (const auto& [name, id] :
         processes ? *fake->processes_ : no_processes) {
      ProcessEntry32 entry{};
      entry.size = sizeof entry;
      entry.process_id = id;
      CopyText(name, entry.exe_file, std::size(entry.exe_file));
      snapshot.processes.push_back(entry);
    }
    for (const std::u16string& path : modules ? *fake->modules_ : no_modules) {
      ModuleEntry32 entry{};
      entry.size = sizeof entry;
      entry.module_id = 1;
      entry.process_id = process_id;
      const std::size_t last = path.find_last_of(u"\\/");
      CopyText(last == std::u16string::npos ? path : path.substr(last + 1),
               entry.module, std::size(entry.module));
      CopyText(path, entry.exe_path, std::size(entry.exe_path));
      snapshot.modules.push_back(entry);
    }
    const std::intptr_t handle = fake->next_snapshot_;
    fake->next_snapshot_ += 4;
    fake->snapshots_.emplace(handle, std::move(snapshot));
    fake->system_.SetLastError(kOk);
    return handle;
  }

  template <class Record>
  static int Step(std::intptr_t handle, Record* entry, bool first,
                  std::vector<Record> FakeProcesses::Snapshot::*records,
                  std::size_t FakeProcesses::Snapshot::*next,
                  const char* real_name) {
    FakeProcesses* fake = Active();
    if (fake == nullptr) return Fail(kErrInvalidHandle);
    std::unique_lock<std::mutex> lock(fake->mutex_);
    const auto it = fake->snapshots_.find(handle);
    if (it == fake->snapshots_.end()) {
      const auto real = reinterpret_cast<int (*)(std::intptr_t, Record*)>(
          fake->real_toolhelp_[real_name]);
      lock.unlock();
      return real == nullptr ? Fail(kErrInvalidHandle) : real(handle, entry);
    }
    if (entry == nullptr) return Fail(kErrInvalidParameter);
    if (entry->size != sizeof(Record)) return Fail(24);  // ERROR_BAD_LENGTH
    FakeProcesses::Snapshot& snapshot = it->second;
    if (first) snapshot.*next = 0;
    if (snapshot.*next >= (snapshot.*records).size())
      return Fail(kErrNoMoreFiles);
    *entry = (snapshot.*records)[(snapshot.*next)++];
    fake->system_.SetLastError(kOk);
    return 1;
  }

  static int ProcessFirst(std::intptr_t snapshot, ProcessEntry32* entry) {
    return Step(snapshot, entry, true, &FakeProcesses::Snapshot::processes,
                &FakeProcesses::Snapshot::next_process, "Process32First");
  }
  static int ProcessNext(std::intptr_t snapshot, ProcessEntry32* entry) {
    return Step(snapshot, entry, false, &FakeProcesses::Snapshot::processes,
                &FakeProcesses::Snapshot::next_process, "Process32Next");
  }
  static int ModuleFirst(std::intptr_t snapshot, ModuleEntry32* entry) {
    return Step(snapshot, entry, true, &FakeProcesses::Snapshot::modules,
                &FakeProcesses::Snapshot::next_module, "Module32First");
  }
  static int ModuleNext(std::intptr_t snapshot, ModuleEntry32* entry) {
    return Step(snapshot, entry, false, &FakeProcesses::Snapshot::modules,
                &FakeProcesses::Snapshot::next_module, "Module32Next");
  }

  static int CloseSnapshot(std::intptr_t snapshot) {
    FakeProcesses* fake = Active();
    if (fake == nullptr) return Fail(kErrInvalidHandle);
    std::unique_lock<std::mutex> lock(fake->mutex_);
    if (fake->snapshots_.erase(snapshot) == 1) {
      fake->system_.SetLastError(kOk);
      return 1;
    }
    const auto real = reinterpret_cast<CloseToolhelp32SnapshotFn>(
        fake->real_toolhelp_["CloseToolhelp32Snapshot"]);
    lock.unlock();
    return real == nullptr ? Fail(kErrInvalidHandle) : real(snapshot);
  }
};

void FakeProcesses::ReportStillActive(int times) {
  std::lock_guard<std::mutex> lock(mutex_);
  still_active_ = std::max(times, 0);
}

void FakeProcesses::PostMessage(const WindowMessage& message) {
  std::lock_guard<std::mutex> lock(mutex_);
  queue_.push_back(message);
}

std::vector<WindowMessage> FakeProcesses::Dispatched() {
  std::lock_guard<std::mutex> lock(mutex_);
  return dispatched_;
}

void FakeProcesses::SetSnapshot(
    std::vector<std::pair<std::u16string, ProcessId>> list) {
  std::lock_guard<std::mutex> lock(mutex_);
  processes_ = std::move(list);
  SubstituteToolhelp();
}

void FakeProcesses::SetModules(std::vector<std::u16string> paths) {
  std::lock_guard<std::mutex> lock(mutex_);
  modules_ = std::move(paths);
  SubstituteToolhelp();
}

void FakeProcesses::SubstituteToolhelp() {
  if (!real_toolhelp_.empty()) return;
  const SysErr kept = system_.LastError();
  const Module library = libraries_.LoadLibrary(kToolhelp);
  for (const char* entry : kToolhelpEntries)
    real_toolhelp_[entry] =
        library == 0 ? nullptr : libraries_.GetProcAddress(library, entry);
  system_.SetLastError(kept);
  const std::pair<const char*, void*> fakes[] = {
      {"CreateToolhelp32Snapshot",
       reinterpret_cast<void*>(&FakeToolhelp::CreateSnapshot)},
      {"Process32First", reinterpret_cast<void*>(&FakeToolhelp::ProcessFirst)},
      {"Process32Next", reinterpret_cast<void*>(&FakeToolhelp::ProcessNext)},
      {"Module32First", reinterpret_cast<void*>(&FakeToolhelp::ModuleFirst)},
      {"Module32Next", reinterpret_cast<void*>(&FakeToolhelp::ModuleNext)},
      {"CloseToolhelp32Snapshot",
       reinterpret_cast<void*>(&FakeToolhelp::CloseSnapshot)},
  };
  for (const auto& [entry, address] : fakes)
    libraries_.SetEntry(kToolhelp, entry, address);
}

SysErr FakeProcesses::Create(std::u16string_view program,
                             std::u16string_view arguments, ProcessInfo* out) {
  if (const SysErr err = Planned(ProcOp::kCreate); err != kOk) {
    *out = ProcessInfo{};
    return err;
  }
  return real_.Create(program, arguments, out);
}

SysErr FakeProcesses::Open(ProcessId id, std::uint32_t access, Handle* out) {
  if (const SysErr err = Planned(ProcOp::kOpen); err != kOk) {
    *out = kInvalidHandle;
    return err;
  }
  return real_.Open(id, access, out);
}

SysErr FakeProcesses::ExitCode(Handle process, std::uint32_t* code) {
  if (const SysErr err = Planned(ProcOp::kExitCode); err != kOk) return err;
  const SysErr err = real_.ExitCode(process, code);
  std::lock_guard<std::mutex> lock(mutex_);
  if (err == kOk && still_active_ > 0) {
    --still_active_;
    *code = kStillActive;
  }
  return err;
}

SysErr FakeProcesses::Terminate(Handle process, std::uint32_t code) {
  if (const SysErr err = Planned(ProcOp::kTerminate); err != kOk) return err;
  return real_.Terminate(process, code);
}

SysErr FakeProcesses::Wait(Handle process, std::uint32_t milliseconds) {
  if (const SysErr err = Planned(ProcOp::kWait); err != kOk) return err;
  return real_.Wait(process, milliseconds);
}

SysErr FakeProcesses::CloseHandle(Handle handle) {
  if (const SysErr err = Planned(ProcOp::kCloseHandle); err != kOk) return err;
  return real_.CloseHandle(handle);
}

ProcessId FakeProcesses::CurrentProcessId() { return real_.CurrentProcessId(); }

bool FakeProcesses::TakeMessage(WindowMessage* message) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (queue_.empty()) return false;
  *message = queue_.front();
  queue_.erase(queue_.begin());
  return true;
}

void FakeProcesses::DispatchMessage(const WindowMessage& message) {
  std::lock_guard<std::mutex> lock(mutex_);
  dispatched_.push_back(message);
}

void FakeProcesses::Sleep(std::uint32_t milliseconds) {
  real_.Sleep(milliseconds);
}

}  // namespace plat
