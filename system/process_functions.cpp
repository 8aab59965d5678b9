// system/process_functions.cpp: language functions 45 and 49: counting the
// running instances of a program, telling whether a process still runs,
// and stopping programs by name or a process by identifier.
#include <cstdint>
#include <string>
#include <vector>

#include "frame/implementations.h"
#include "frame/xerror.h"
#include "system/process_list.h"
#include "system/scoped_process.h"

namespace sys {
namespace {

// Stopping reads the exit code first, so it asks for both rights.
constexpr std::uint32_t kStopAccess =
    plat::kProcessTerminate | plat::kProcessQueryInformation;
// The exit code a stopped process is given.
constexpr std::uint32_t kStoppedExitCode = 0xFFFFFFFFu;  // -1

plat::Processes& Processes() { return plat::Current().processes; }

std::u16string_view Arg(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

void StoreSystemError(frame::Self* self, plat::SysErr err) {
  frame::AttachSystemError(frame::ErrorRecord(self), err);
}

// The list, or false after message 80100 (with the system's code when it
// gave one).
bool ListOrReport(frame::Self* self, std::vector<ProcessRecord>* list) {
  plat::SysErr err = plat::kOk;
  if (ReadProcessList(list, &err)) return true;
  frame::Raise(self, frame::kErrProcessListUnavailable);
  if (err != plat::kOk) StoreSystemError(self, err);
  return false;
}

// True when the exit code could be read and, for a process still running,
// it could be terminated.
bool StopProcess(frame::Self* self, plat::ProcessId id) {
  ScopedProcess process;
  if (const plat::SysErr err = Processes().Open(id, kStopAccess, process.out());
      err != plat::kOk) {
    frame::Raise(self, frame::kErrProcessOpenFailed);
    StoreSystemError(self, err);
    return false;
  }
  std::uint32_t code = 0;
  if (const plat::SysErr err = Processes().ExitCode(process.get(), &code);
      err != plat::kOk) {
    StoreSystemError(self, err);
    return false;
  }
  if (code != plat::kStillActive) return true;
  if (const plat::SysErr err =
          Processes().Terminate(process.get(), kStoppedExitCode);
      err != plat::kOk) {
    StoreSystemError(self, err);
    return false;
  }
  return true;
}

}  // namespace

// An empty name counts the instances of the running program itself.
std::int32_t ProcessInstanceCount(frame::Self* self, const char16_t* name) {
  std::u16string given(Arg(name));
  if (given.empty()) plat::Current().files.ProgramFile(&given);
  std::vector<ProcessRecord> list;
  if (!ListOrReport(self, &list)) return -1;
  const ProgramName wanted = SplitProgramName(given);
  std::int32_t count = 0;
  for (const ProcessRecord& p : list) {
    if (MatchesProgram(p.exe_file, wanted)) ++count;
  }
  return count;
}

// An identifier that names no process (error 87) is simply not alive; any
// other refusal to open is reported.
bool ProcessIsAlive(frame::Self* self, std::int32_t id) {
  ScopedProcess process;
  if (const plat::SysErr err =
          Processes().Open(static_cast<plat::ProcessId>(id),
                           plat::kProcessQueryInformation, process.out());
      err != plat::kOk) {
    if (err == plat::kErrInvalidParameter) return false;
    frame::Raise(self, frame::kErrProcessStateUnreadable);
    StoreSystemError(self, err);
    return false;
  }
  std::uint32_t code = 0;
  return Processes().ExitCode(process.get(), &code) == plat::kOk &&
         code == plat::kStillActive;
}

// Stops every listed program with the given file name (and extension, when
// one is given); true when at least one was stopped.
bool ProcessStop(frame::Self* self, const char16_t* name) {
  std::vector<ProcessRecord> list;
  if (!ListOrReport(self, &list)) return false;
  const ProgramName wanted = SplitProgramName(Arg(name));
  bool stopped = false;
  for (const ProcessRecord& p : list) {
    if (MatchesProgram(p.exe_file, wanted) && StopProcess(self, p.id)) {
      stopped = true;
    }
  }
  return stopped;
}

bool ProcessStopById(frame::Self* self, std::int32_t id) {
  return StopProcess(self, static_cast<plat::ProcessId>(id));
}

}  // namespace sys
