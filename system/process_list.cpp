// system/process_list.cpp: reading the running programs from a tool-help
// snapshot, and the name rules of the process functions.
#include "system/process_list.h"

#include <algorithm>

#include "system/scoped_library.h"
#include "text/letter_case.h"

namespace sys {
namespace {

// The library is loaded by name when a list is needed, never linked: a
// device without it still runs everything else.
constexpr char16_t kToolHelp[] = u"TOOLHELP.DLL";
// Processes only, without their heaps, which would make the snapshot slow.
constexpr std::uint32_t kProcessSnapshot =
    plat::kSnapNoHeaps | plat::kSnapProcess;
constexpr std::u16string_view kExe = u".EXE";

}  // namespace

ProgramName SplitProgramName(std::u16string_view path) {
  const std::size_t slash = path.find_last_of(u"\\/");
  const std::size_t start = slash == std::u16string_view::npos ? 0 : slash + 1;
  const std::u16string_view file = path.substr(start);
  const std::size_t dot = file.rfind(u'.');
  return {path.substr(0, start), file.substr(0, dot),
          dot == std::u16string_view::npos ? std::u16string_view()
                                           : file.substr(dot)};
}

bool SameNameNoCase(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char16_t x, char16_t y) {
           return text::UpperLatin(x) == text::UpperLatin(y);
         });
}

bool MatchesProgram(std::u16string_view listed, const ProgramName& wanted) {
  const ProgramName found = SplitProgramName(listed);
  return SameNameNoCase(found.name, wanted.name) &&
         (wanted.extension.empty() ||
          SameNameNoCase(found.extension, wanted.extension));
}

bool ReadProcessList(std::vector<ProcessRecord>* out, plat::SysErr* error) {
  out->clear();
  *error = plat::kOk;
  ScopedLibrary toolhelp(kToolHelp);
  const auto create = toolhelp.Find<plat::CreateToolhelp32SnapshotFn>(
      "CreateToolhelp32Snapshot");
  const auto first = toolhelp.Find<plat::Process32Fn>("Process32First");
  const auto next = toolhelp.Find<plat::Process32Fn>("Process32Next");
  if (create == nullptr || first == nullptr || next == nullptr) {
    *error = toolhelp.error();
    return false;
  }
  const auto close =
      toolhelp.Find<plat::CloseToolhelp32SnapshotFn>("CloseToolhelp32Snapshot");
  const std::intptr_t snapshot = create(kProcessSnapshot, 0);
  if (snapshot == plat::kInvalidHandle) {
    *error = plat::Current().system.LastError();
    return false;
  }
  plat::ProcessEntry32 entry{};
  entry.size = sizeof entry;
  for (int more = first(snapshot, &entry); more != 0;
       more = next(snapshot, &entry)) {
    const std::u16string_view name = RecordName(entry.exe_file);
    if (SameNameNoCase(SplitProgramName(name).extension, kExe)) {
      out->push_back({std::u16string(name), entry.process_id});
    }
  }
  if (close != nullptr) close(snapshot);
  return true;
}

}  // namespace sys
