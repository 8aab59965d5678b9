// system/program_run.cpp: language function 169 ProgramRun: starts a
// program and, when asked, waits for its end while the caller's windows
// keep repainting.
//
//   starting | waiting | the function
#include <cstdint>
#include <string>
#include <string_view>

#include "files/path_checks.h"
#include "frame/implementations.h"
#include "frame/xerror.h"
#include "system/command_line.h"
#include "system/scoped_process.h"

namespace sys {
namespace {

// What ProgramRun answers, by its wait option.
enum WaitOption : std::int32_t {
  kNoWait = 0,
  kWaitTrue = 1,      // wait, then true
  kWaitExitCode = 2,  // wait, then the exit code
  kProcessId = 3,     // no wait: the new process's identifier
};
constexpr std::uint32_t kWaitSliceMs = 10;
constexpr std::uint32_t kIdleSleepMs = 1;

plat::Processes& Processes() { return plat::Current().processes; }

// ---- Starting ---------------------------------------------------------------

// Every "%1" of a system message names the program.
std::u16string WithProgram(std::u16string text, std::u16string_view program) {
  for (std::size_t at = text.find(u"%1"); at != std::u16string::npos;
       at = text.find(u"%1", at + program.size())) {
    text.replace(at, 2, program);
  }
  return text;
}

bool Start(frame::Self* self, const CommandLine& command,
           plat::ProcessInfo* started) {
  const plat::SysErr err =
      Processes().Create(command.program, command.arguments, started);
  if (err == plat::kOk) return true;
  frame::Raise(
      self, frame::kErrProgramStartFailed,
      {command.program, WithProgram(frame::SystemErrorText(err), command.program)});
  frame::AttachSystemError(frame::ErrorRecord(self), err);
  return false;
}

// ---- Waiting ----------------------------------------------------------------

// Waits in short slices, taking one message of the thread's queue between
// them. Kept as is: only paint messages are dispatched and every other one
// is dropped, so the caller's windows repaint while input made during the
// wait is thrown away. Kept as is: a program whose exit code is 259 (the
// still-active marker) keeps the caller waiting.
std::uint32_t WaitForEnd(plat::Handle process) {
  std::uint32_t code = plat::kStillActive;
  do {
    if (Processes().Wait(process, kWaitSliceMs) != plat::kWaitTimeout) {
      Processes().ExitCode(process, &code);
    }
    plat::WindowMessage message;
    if (!Processes().TakeMessage(&message)) {
      Processes().Sleep(kIdleSleepMs);
    } else if (message.message == plat::kMessagePaint) {
      Processes().DispatchMessage(message);
    }
  } while (code == plat::kStillActive);
  return code;
}

}  // namespace

// ---- The function -----------------------------------------------------------

// The show mode and the fourth argument are accepted for the language's
// sake; the process is created without them.
std::int32_t ProgramRun(frame::Self* self, const char16_t* command_line,
                        std::int32_t /*show_mode*/, std::int32_t wait_option,
                        const char16_t* /*text*/) {
  const CommandLine command = SplitCommandLine(
      command_line == nullptr ? std::u16string_view() : command_line);
  if (!files::CheckAbsolutePath(self, command.program)) return 0;
  plat::ProcessInfo started;
  if (!Start(self, command, &started)) return 0;
  const ScopedProcess process(started.process);
  const ScopedProcess thread(started.thread);
  std::uint32_t exit_code = plat::kStillActive;
  if (wait_option == kWaitTrue || wait_option == kWaitExitCode) {
    exit_code = WaitForEnd(process.get());
  }
  switch (wait_option) {
    case kWaitExitCode:
      return static_cast<std::int32_t>(exit_code);
    case kProcessId:
      return static_cast<std::int32_t>(started.process_id);
    default:
      return 1;
  }
}

}  // namespace sys
