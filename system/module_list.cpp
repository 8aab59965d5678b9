// system/module_list.cpp: language function 297 ProcessModuleList: the
// modules loaded in a process, one per line. The handheld lists them from
// a tool-help snapshot; a desktop-class system (Linux among them) from the
// process-status library. Without the library the list is empty.
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "system/process_list.h"
#include "system/scoped_library.h"
#include "system/scoped_process.h"

namespace sys {
namespace {

constexpr std::u16string_view kLineBreak = u"\r\n";
constexpr std::u16string_view kExe = u".EXE";
// Reading another process's module table needs both rights.
constexpr std::uint32_t kModuleAccess =
    plat::kProcessQueryInformation | plat::kProcessVmRead;
// Modules asked for at most; a process with more lists only these.
constexpr std::size_t kMaxModules = 200;
constexpr std::uint32_t kMaxModuleName = 260;

// Lines joined by CR LF, none after the last.
class LineList {
 public:
  void Add(std::u16string_view line) {
    if (lines_++ != 0) text_ += kLineBreak;
    text_ += line;
  }
  std::u16string Take() { return std::move(text_); }

 private:
  std::u16string text_;
  int lines_ = 0;
};

// The handheld: module names (not paths) from a snapshot, leaving out the
// program files.
std::u16string FromToolHelp(plat::ProcessId id) {
  ScopedLibrary toolhelp(u"TOOLHELP.DLL");
  const auto create = toolhelp.Find<plat::CreateToolhelp32SnapshotFn>(
      "CreateToolhelp32Snapshot");
  const auto first = toolhelp.Find<plat::Module32Fn>("Module32First");
  const auto next = toolhelp.Find<plat::Module32Fn>("Module32Next");
  const auto close =
      toolhelp.Find<plat::CloseToolhelp32SnapshotFn>("CloseToolhelp32Snapshot");
  if (create == nullptr || first == nullptr || next == nullptr) return {};
  const std::intptr_t snapshot = create(plat::kSnapModule, id);
  if (snapshot == plat::kInvalidHandle) return {};
  LineList list;
  plat::ModuleEntry32 entry{};
  entry.size = sizeof entry;
  for (int more = first(snapshot, &entry); more != 0;
       more = next(snapshot, &entry)) {
    const std::u16string_view name = RecordName(entry.module);
    if (!SameNameNoCase(SplitProgramName(name).extension, kExe)) {
      list.Add(name);
    }
  }
  if (close != nullptr) close(snapshot);
  return list.Take();
}

// A desktop-class system: full file names of the modules after the first.
// Kept as is: the program's own module is skipped by its position in the
// table, not by its name.
std::u16string FromProcessStatus(frame::Self* self, plat::ProcessId id) {
  ScopedLibrary psapi(u"PSAPI.DLL");
  if (!psapi.loaded()) return {};
  ScopedProcess process;
  if (const plat::SysErr err =
          plat::Current().processes.Open(id, kModuleAccess, process.out());
      err != plat::kOk) {
    frame::Raise(self, frame::kErrProcessOpenFailed);
    frame::AttachSystemError(frame::ErrorRecord(self), err);
    return {};
  }
  const auto enumerate =
      psapi.Find<plat::EnumProcessModulesFn>("EnumProcessModules");
  const auto file_name =
      psapi.Find<plat::GetModuleFileNameExFn>("GetModuleFileNameExW");
  if (enumerate == nullptr || file_name == nullptr) return {};
  // The table is sized in handles: 200 of them, whatever a handle's width
  // (800 bytes on the handheld's 32-bit words, 1,600 on 64-bit Linux).
  std::array<plat::Module, kMaxModules> modules{};
  std::uint32_t needed = 0;
  if (enumerate(process.get(), modules.data(), sizeof modules, &needed) == 0) {
    return {};
  }
  const std::size_t count =
      std::min<std::size_t>(needed / sizeof(plat::Module), kMaxModules);
  LineList list;
  for (std::size_t i = 1; i < count; ++i) {
    char16_t name[kMaxModuleName] = {};
    const std::uint32_t length =
        file_name(process.get(), modules[i], name, kMaxModuleName);
    list.Add(std::u16string_view(
        name, std::min<std::uint32_t>(length, kMaxModuleName)));
  }
  return list.Take();
}

}  // namespace

// Identifier 0 is the running process.
void ProcessModuleList(frame::Self* self, char16_t** result, std::int32_t id) {
  const plat::ProcessId process =
      id == 0 ? plat::Current().processes.CurrentProcessId()
              : static_cast<plat::ProcessId>(id);
  const std::u16string list =
      plat::Current().system.Version().platform_id == plat::kPlatformDesktop
          ? FromProcessStatus(self, process)
          : FromToolHelp(process);
  frame::AssignText(result, list);
}

}  // namespace sys
