// platform/fake/fake_platform.h: the test double of the platform layer. It
// decorates the backend that is current when it is made: files pass through
// to it (on the test's device root), and the double adds what no real
// system produces on demand. While it lives, plat::Current() is the double.
//
//   plat::FakePlatform fake;
//   fake.files().FailNext(plat::FileOp::kRead, 997);       // one read fails
//   fake.files().FailNext(plat::FileOp::kOpen, 32, 3);     // three opens fail
//   fake.files().SetDiskCapacity(100);   // then writes stop at 100 bytes: 112
//   fake.libraries().RemoveEntry(u"coredll.dll", "GetFileAttributesExW");
//   fake.libraries().RemoveLibrary(u"ole32.dll");
//   fake.system().SetClock({2024, 2, 4, 29, 13, 45, 0, 0});  // fixed clock
//   fake.system().Advance(1500);         // local time and ticks move 1.5 s
//   fake.system().SetLangId(1036);
//   fake.system().RefuseSetLocalTime(true);   // SetLocalTime then gives 1314
//   fake.registry().AddKey(u"HKEY_CURRENT_USER\\Software\\A");
//   fake.registry().FailNext(plat::RegOp::kSetValue, 5);
//   fake.registry().FailNextSizeQuery(1016, 40);  // fails, reporting 40 bytes
//   fake.processes().FailNext(plat::ProcOp::kCreate, 2);
//   fake.processes().ReportStillActive(3);  // three exit-code reads give 259
//   fake.processes().PostMessage({0, plat::kMessagePaint, 0, 0});
//   fake.processes().SetSnapshot({{u"calc.exe", 120}, {u"calc.com", 121}});
//
// A failed call sets the last error like a real one. Error texts and the
// last error itself are the real backend's.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/fake/failure_plan.h"
#include "platform/platform.h"

namespace plat {

// Every Files operation, for FailNext.
enum class FileOp {
  kOpen,
  kClose,
  kRead,
  kWrite,
  kSeek,
  kSetEnd,
  kFlush,
  kSize,
  kGetTimes,
  kSetTimes,
  kGetAttributes,
  kSetAttributes,
  kGetAttributeData,
  kFindFirst,
  kFindNext,
  kFindClose,
  kRemove,
  kMove,
  kCopy,
  kMakeDirectory,
  kRemoveDir,
  kFreeSpace,
  kTempPath,
  kTempFileName,
  kProgramFile,
};

class FakeFiles final : public Files {
 public:
  FakeFiles(Files& real, SystemInfo& system) : real_(real), system_(system) {}

  // The next `count` calls of `op` fail with `error` and do nothing else;
  // a count of 0 cancels what was planned for `op`.
  void FailNext(FileOp op, SysErr error, int count = 1) {
    plan_.Plan(op, error, count);
  }
  // From now on at most `bytes` more bytes can be written: a write past
  // them writes what fits and fails with 112, as on a full disk. Copies
  // count their source's size; FreeSpace reports what is left.
  void SetDiskCapacity(std::uint64_t bytes);
  void ClearDiskCapacity();

  SysErr Open(std::u16string_view path, std::uint32_t access,
              std::uint32_t share, std::uint32_t disposition,
              std::uint32_t flags_and_attributes, Handle* out) override;
  SysErr Close(Handle handle) override;
  SysErr Read(Handle handle, void* buffer, std::uint32_t count,
              std::uint32_t* read) override;
  SysErr Write(Handle handle, const void* buffer, std::uint32_t count,
               std::uint32_t* written) override;
  SysErr Seek(Handle handle, std::int64_t offset, std::uint32_t origin,
              std::uint64_t* position) override;
  SysErr SetEnd(Handle handle) override;
  SysErr Flush(Handle handle) override;
  SysErr Size(Handle handle, std::uint64_t* size) override;
  SysErr GetTimes(Handle handle, FileTime* creation, FileTime* last_access,
                  FileTime* last_write) override;
  SysErr SetTimes(Handle handle, const FileTime* creation,
                  const FileTime* last_access,
                  const FileTime* last_write) override;
  SysErr GetAttributes(std::u16string_view path,
                       std::uint32_t* attributes) override;
  SysErr SetAttributes(std::u16string_view path,
                       std::uint32_t attributes) override;
  SysErr GetAttributeData(std::u16string_view path, FileData* data) override;
  SysErr FindFirst(std::u16string_view pattern, FileData* data,
                   Handle* out) override;
  SysErr FindNext(Handle search, FileData* data) override;
  SysErr FindClose(Handle search) override;
  SysErr Remove(std::u16string_view path) override;
  SysErr Move(std::u16string_view from, std::u16string_view to) override;
  SysErr Copy(std::u16string_view from, std::u16string_view to,
              bool fail_if_exists) override;
  SysErr MakeDirectory(std::u16string_view path) override;
  SysErr RemoveDir(std::u16string_view path) override;
  SysErr FreeSpace(std::u16string_view path, std::uint64_t* free,
                   std::uint64_t* total) override;
  SysErr TempPath(std::u16string* path) override;
  SysErr TempFileName(std::u16string_view directory, std::u16string_view prefix,
                      std::uint32_t unique, std::u16string* name) override;
  SysErr ProgramFile(std::u16string* path) override;

 private:
  // The error planned for this call of `op`, or kOk to pass through.
  SysErr Planned(FileOp op) { return plan_.Take(op, system_); }

  Files& real_;
  SystemInfo& system_;
  std::mutex mutex_;
  FailurePlan<FileOp> plan_;
  std::optional<std::uint64_t> capacity_;
};

class FakeSystemInfo final : public SystemInfo {
 public:
  explicit FakeSystemInfo(SystemInfo& real);

  // The clock starts at 2024-01-15 10:30:00.000 (a Monday), ticks at
  // 1,000,000, UTC offset 0, language 1033, and moves only when told.
  void SetClock(const SystemTime& local);
  void SetTickCount(std::uint32_t ticks);
  void SetUtcOffset(std::int32_t minutes);
  void SetLangId(std::uint16_t id);
  // Moves local time and ticks forward together.
  void Advance(std::uint32_t milliseconds);
  // Refused: SetLocalTime fails with 1314. Accepted (the default): it sets
  // the fake clock.
  void RefuseSetLocalTime(bool refuse);
  // Version() answers this record from now on (by default the real one).
  void SetVersion(const OsVersion& version);
  // PlatformType() answers this text, or fails with this error, from now on
  // (by default the real answer).
  void SetPlatformType(std::u16string_view text);
  void SetPlatformType(SysErr error);

  std::u16string ErrorText(SysErr code) override;
  SysErr LastError() override;
  void SetLastError(SysErr code) override;
  SystemTime LocalTime() override;
  SysErr SetLocalTime(const SystemTime& time) override;
  std::uint32_t TickCount() override;
  std::uint16_t UserDefaultLangId() override;
  std::int32_t UtcOffsetMinutes(FileTime utc) override;
  OsVersion Version() override;
  SysErr PlatformType(std::u16string* text) override;

 private:
  SystemInfo& real_;
  std::mutex mutex_;
  FileTime local_;
  std::uint32_t ticks_ = 1000000;
  std::int32_t offset_ = 0;
  std::uint16_t lang_ = 1033;
  bool refuse_set_ = false;
  std::optional<OsVersion> version_;
  std::optional<std::u16string> platform_type_;
  SysErr platform_type_error_ = kOk;
};

// Every Registry operation, for FailNext.
enum class RegOp {
  kOpenKey,
  kCreateKey,
  kCloseKey,
  kQueryValue,
  kSetValue,
  kDeleteValue,
  kEnumKey,
  kEnumValue,
  kQueryInfo,
  kDeleteKey,
};

// The real registry store with planned failures. When TESSEL_REGISTRY is not
// set, the double points it at a fresh store in a temporary directory for
// its lifetime, so that a test never sees the user's registry or another
// test's keys; a test that sets the variable itself keeps its store.
class FakeRegistry final : public Registry {
 public:
  FakeRegistry(Registry& real, SystemInfo& system);
  ~FakeRegistry() override;
  FakeRegistry(const FakeRegistry&) = delete;
  FakeRegistry& operator=(const FakeRegistry&) = delete;

  // The next `count` calls of `op` fail with `error` and do nothing else;
  // a count of 0 cancels what was planned for `op`.
  void FailNext(RegOp op, SysErr error, int count = 1) {
    plan_.Plan(op, error, count);
  }
  // The next size query (QueryValue or EnumValue without a buffer) fails
  // with `error` while still setting *size to `reported_size`.
  void FailNextSizeQuery(SysErr error, std::uint32_t reported_size);
  // Creates the key of a full path whose first name is HKEY_CLASSES_ROOT,
  // HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE or HKEY_USERS; 87 for another.
  SysErr AddKey(std::u16string_view path);

  SysErr OpenKey(Key parent, std::u16string_view subkey, std::uint32_t access,
                 Key* out) override;
  SysErr CreateKey(Key parent, std::u16string_view subkey,
                   std::uint32_t access, Key* out, bool* created) override;
  SysErr CloseKey(Key key) override;
  SysErr QueryValue(Key key, std::u16string_view name, std::uint32_t* type,
                    std::uint8_t* data, std::uint32_t* size) override;
  SysErr SetValue(Key key, std::u16string_view name, std::uint32_t type,
                  const std::uint8_t* data, std::uint32_t size) override;
  SysErr DeleteValue(Key key, std::u16string_view name) override;
  SysErr EnumKey(Key key, std::uint32_t index, std::u16string* name) override;
  SysErr EnumValue(Key key, std::uint32_t index, std::u16string* name,
                   std::uint32_t* type, std::uint8_t* data,
                   std::uint32_t* size) override;
  SysErr QueryInfo(Key key, KeyInfo* info) override;
  SysErr DeleteKey(Key parent, std::u16string_view subkey) override;

 private:
  SysErr Planned(RegOp op) { return plan_.Take(op, system_); }
  // The planned size-query failure for a call with this buffer, or kOk.
  SysErr PlannedSizeQuery(const std::uint8_t* data, std::uint32_t* size);

  Registry& real_;
  SystemInfo& system_;
  std::mutex mutex_;
  FailurePlan<RegOp> plan_;
  std::optional<std::pair<SysErr, std::uint32_t>> size_failure_;
  std::string temp_dir_;  // the fresh store's directory, when made here
};

class FakeLibraries final : public Libraries {
 public:
  explicit FakeLibraries(Libraries& real, SystemInfo& system)
      : real_(real), system_(system) {}

  // Library names compare without regard to case, entry points exactly.
  void RemoveLibrary(std::u16string_view library);
  void RemoveEntry(std::u16string_view library, const std::string& entry);
  // GetProcAddress answers `address` for the entry point from now on.
  void SetEntry(std::u16string_view library, const std::string& entry,
                void* address);

  Module LoadLibrary(std::u16string_view name) override;
  void* GetProcAddress(Module library, const char* name) override;
  bool FreeLibrary(Module library) override;

 private:
  Libraries& real_;
  SystemInfo& system_;
  std::mutex mutex_;
  std::set<std::u16string> removed_libraries_;  // upper case
  std::set<std::pair<std::u16string, std::string>> removed_entries_;
  std::map<std::pair<std::u16string, std::string>, void*> set_entries_;
  std::map<Module, std::u16string> loaded_;  // module -> upper-case name
};

// Every Processes operation that can fail, for FailNext.
enum class ProcOp {
  kCreate,
  kOpen,
  kExitCode,
  kTerminate,
  kWait,
  kCloseHandle,
};

// The real processes with planned failures, exit codes held at "still
// active", a message queue the test fills, and on request fixed process and
// module lists served by "TOOLHELP.DLL" in place of the system's.
class FakeProcesses final : public Processes {
 public:
  FakeProcesses(Processes& real, SystemInfo& system, FakeLibraries& libraries)
      : real_(real), system_(system), libraries_(libraries) {}

  // The next `count` calls of `op` fail with `error` and do nothing else;
  // a count of 0 cancels what was planned for `op`.
  void FailNext(ProcOp op, SysErr error, int count = 1) {
    plan_.Plan(op, error, count);
  }
  // The next `times` successful ExitCode calls answer kStillActive whatever
  // the process did: how a program that ends with 259 looks, which no real
  // one can on Linux (exit statuses have 8 bits).
  void ReportStillActive(int times);
  // Queues a message for TakeMessage, first in first out.
  void PostMessage(const WindowMessage& message);
  // The messages given to DispatchMessage so far, in order.
  std::vector<WindowMessage> Dispatched();
  // Process snapshots list these names and identifiers instead of the
  // system's processes.
  void SetSnapshot(std::vector<std::pair<std::u16string, ProcessId>> list);
  // Module snapshots, of any process, list these paths; a module's name is
  // the path's last component.
  void SetModules(std::vector<std::u16string> paths);

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

 private:
  friend struct FakeToolhelp;  // the substituted entry points
  // A fixed snapshot: the lists asked for when it was taken.
  struct Snapshot {
    std::vector<ProcessEntry32> processes;
    std::vector<ModuleEntry32> modules;
    std::size_t next_process = 0;
    std::size_t next_module = 0;
  };

  SysErr Planned(ProcOp op) { return plan_.Take(op, system_); }
  // Puts the fake entry points of "TOOLHELP.DLL" in place, keeping the real
  // ones for snapshots of what is not fixed; mutex_ held.
  void SubstituteToolhelp();

  Processes& real_;
  SystemInfo& system_;
  FakeLibraries& libraries_;
  std::mutex mutex_;
  FailurePlan<ProcOp> plan_;
  int still_active_ = 0;
  std::vector<WindowMessage> queue_;
  std::vector<WindowMessage> dispatched_;
  std::optional<std::vector<std::pair<std::u16string, ProcessId>>> processes_;
  std::optional<std::vector<std::u16string>> modules_;
  std::map<std::string, void*> real_toolhelp_;  // entry point -> address
  std::map<std::intptr_t, Snapshot> snapshots_;
  std::intptr_t next_snapshot_ = 0x7F000000;
};

class FakePlatform {
 public:
  FakePlatform();
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  FakeFiles& files() { return files_; }
  FakeSystemInfo& system() { return system_; }
  FakeLibraries& libraries() { return libraries_; }
  FakeRegistry& registry() { return registry_; }
  FakeProcesses& processes() { return processes_; }
  Platform& platform() { return platform_; }

 private:
  Platform& real_;
  FakeSystemInfo system_;
  FakeFiles files_;
  FakeLibraries libraries_;
  FakeRegistry registry_;
  FakeProcesses processes_;
  Platform platform_;
  ScopedPlatform scope_;
};

}  // namespace plat
