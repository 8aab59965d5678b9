// Processes on Linux with real children: exit codes, waits, termination,
// opening by identifier, rights; the tool-help and process-status entry
// points over /proc; the command-line splitter; the test double's plans.
#include "platform/posix/posix_processes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/posix/command_line.h"
#include "platform/posix/proc_table.h"
#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

using posix::PosixProcesses;
using namespace std::string_literals;

// A process started through `processes`, killed and closed at scope end.
class Started {
 public:
  Started(Processes& processes, std::u16string_view program,
          std::u16string_view arguments)
      : processes_(processes) {
    error_ = processes.Create(program, arguments, &info_);
  }
  ~Started() {
    if (error_ != kOk) return;
    processes_.Terminate(info_.process, 0);
    processes_.Wait(info_.process, 2000);
    processes_.CloseHandle(info_.thread);
    processes_.CloseHandle(info_.process);
  }
  SysErr error() const { return error_; }
  Handle handle() const { return info_.process; }
  Handle thread() const { return info_.thread; }
  ProcessId pid() const { return info_.process_id; }

 private:
  Processes& processes_;
  ProcessInfo info_;
  SysErr error_;
};

// A device root holding copies of sleep ("sleeper") and sh ("shell"), a
// text file marked executable and a file that is not.
class ProcessRootTest : public DeviceRootTest {
 protected:
  void SetUp() override {
    DeviceRootTest::SetUp();
    std::filesystem::copy_file("/bin/sleep", Host("sleeper"));
    std::filesystem::copy_file("/bin/sh", Host("shell"));
    WriteHostFile("notexe", "hello\n");
    std::filesystem::permissions(Host("notexe"),
                                 std::filesystem::perms::owner_exec,
                                 std::filesystem::perm_options::add);
    WriteHostFile("plain",
                  "\x7f"
                  "ELF");  // not marked executable
    MakeHostDir("dir");
  }

  // Runs the shell to its end (within 2 s) and answers its exit code.
  static std::uint32_t RunToEnd(Processes& processes,
                                std::u16string_view arguments) {
    Started child(processes, u"\\shell", arguments);
    EXPECT_EQ(kOk, processes.Wait(child.handle(), 2000));
    return ExitCode(processes, child.handle());
  }
  static std::uint32_t ExitCode(Processes& processes, Handle h) {
    std::uint32_t code = 0xBAD;
    EXPECT_EQ(kOk, processes.ExitCode(h, &code));
    return code;
  }
};

// The suite runs with process descriptors and by polling /proc and waitpid.
class ProcessesTest : public ProcessRootTest,
                      public ::testing::WithParamInterface<bool> {
 protected:
  PosixProcesses processes_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Watch, ProcessesTest, ::testing::Bool(),
                         [](const auto& info) {
                           return info.param ? "Pidfd" : "Polling";
                         });

TEST_P(ProcessesTest, ExitCodes) {
  // clang-format off
  const struct { const char* id; std::u16string_view arguments; std::uint32_t code; } cases[] = {
    {"1", u"-c \"exit 7\"",        7},
    {"2", u"-c true",              0},
    {"3", u"-c \"exit 300\"",      44},   // statuses have 8 bits
    {"4", u"-c \"kill -TERM $$\"", 143},  // 128 + SIGTERM
    {"5", u"-c \"kill -KILL $$\"", 137},  // not by Terminate: 128 + SIGKILL
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(c.code, RunToEnd(processes_, c.arguments)) << c.id;
}

// A running child: still active, waits time out, several threads wait for
// the end; a second handle shares its exact exit code.
TEST_P(ProcessesTest, RunningTimesOutThenTerminateGivesTheCode) {
  // A descriptor without close-on-exec must not reach the child; its
  // standard streams are /dev/null.
  const int leak = open("/tmp", O_RDONLY);
  Started child(processes_, u"\\SLEEPER", u"10");
  close(leak);
  ASSERT_EQ(kOk, child.error());
  EXPECT_NE(child.handle(), child.thread());
  const std::string fds = "/proc/" + std::to_string(child.pid()) + "/fd/";
  std::error_code closed;  // the loader may hold that number a moment
  EXPECT_NE("/tmp",
            std::filesystem::read_symlink(fds + std::to_string(leak), closed));
  for (const char* fd : {"0", "1", "2"})
    EXPECT_EQ("/dev/null", std::filesystem::read_symlink(fds + fd));

  EXPECT_EQ(kStillActive, ExitCode(processes_, child.handle()));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(kWaitTimeout, processes_.Wait(child.handle(), 30));
  EXPECT_GE(std::chrono::steady_clock::now() - start,
            std::chrono::milliseconds(30));
  EXPECT_EQ(kWaitTimeout, processes_.Wait(child.thread(), 0));

  Handle opened = kInvalidHandle;
  ASSERT_EQ(kOk,
            processes_.Open(child.pid(), kProcessQueryInformation, &opened));
  std::vector<std::thread> waiters;
  std::vector<SysErr> results(3, 999);
  for (SysErr& result : results)
    waiters.emplace_back(
        [&] { result = processes_.Wait(child.handle(), 5000); });
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(kOk, processes_.Terminate(child.handle(), 42));
  for (std::thread& t : waiters) t.join();
  EXPECT_EQ(std::vector<SysErr>(3, kOk), results);
  EXPECT_EQ(42u, ExitCode(processes_, child.handle()));
  EXPECT_EQ(42u, ExitCode(processes_, opened));
  EXPECT_EQ(kErrAccessDenied, processes_.Terminate(child.handle(), 1));
  EXPECT_EQ(kOk, processes_.CloseHandle(opened));
}

TEST_P(ProcessesTest, CreateErrors) {
  // clang-format off
  const std::pair<std::u16string_view, SysErr> cases[] = {
    {u"\\none", kErrFileNotFound}, {u"\\no\\sleeper", kErrPathNotFound},
    {u"\\dir", kErrAccessDenied},  {u"\\plain", kErrAccessDenied},
    {u"\\notexe", 193},            {u"", 161},
  };
  // clang-format on
  for (const auto& [program, error] : cases) {
    SCOPED_TRACE(::testing::Message() << &error - &cases[0].second);
    ProcessInfo info;
    EXPECT_EQ(error, processes_.Create(program, u"", &info));
    EXPECT_EQ(error, Current().system.LastError());
    EXPECT_EQ(kInvalidHandle, info.process);
  }
}

TEST_P(ProcessesTest, OpenRightsAndHandles) {
  ProcessId gone = 0;
  {
    Started child(processes_, u"\\shell", u"-c true");
    ASSERT_EQ(kOk, processes_.Wait(child.handle(), 2000));
    gone = child.pid();
  }
  Handle h = 123;
  for (const ProcessId id : {ProcessId{0}, gone, ProcessId{0x7FFFFFF0}}) {
    EXPECT_EQ(kErrInvalidParameter, processes_.Open(id, 0x400, &h));
    EXPECT_EQ(kInvalidHandle, h);
  }

  Started child(processes_, u"\\sleeper", u"10");
  Handle kill_only = kInvalidHandle, query_only = kInvalidHandle;
  ASSERT_EQ(kOk, processes_.Open(child.pid(), kProcessTerminate, &kill_only));
  ASSERT_EQ(
      kOk, processes_.Open(child.pid(), kProcessQueryInformation, &query_only));
  std::uint32_t code = 0;
  EXPECT_EQ(kErrAccessDenied, processes_.ExitCode(kill_only, &code));
  EXPECT_EQ(kErrAccessDenied, processes_.Terminate(query_only, 1));
  EXPECT_EQ(kErrInvalidHandle, processes_.ExitCode(child.thread(), &code));
  EXPECT_EQ(kErrInvalidHandle, processes_.ExitCode(0x4242, &code));
  EXPECT_EQ(kOk, processes_.CloseHandle(kill_only));
  EXPECT_EQ(kErrInvalidHandle, processes_.CloseHandle(kill_only));
  EXPECT_EQ(kErrInvalidHandle, Current().system.LastError());
  EXPECT_EQ(kOk, processes_.CloseHandle(query_only));
}

// A process that is not our child ends as a zombie we cannot reap: its end
// is still seen, with the code given here, or 0 when killed elsewhere.
TEST_P(ProcessesTest, ProcessesOfOthersEndAsZombiesWithCodeZero) {
  for (const bool terminated_here : {true, false}) {
    SCOPED_TRACE(terminated_here ? "terminated here" : "killed elsewhere");
    const pid_t other = fork();
    if (other == 0) {
      pause();
      _exit(0);
    }
    Handle h = kInvalidHandle;
    EXPECT_EQ(
        kOk, processes_.Open(static_cast<ProcessId>(other),
                             kProcessQueryInformation | kProcessTerminate, &h));
    EXPECT_EQ(kStillActive, ExitCode(processes_, h));
    if (terminated_here) {
      EXPECT_EQ(kOk, processes_.Terminate(h, 5));
    } else {
      kill(other, SIGKILL);
    }
    EXPECT_EQ(kOk, processes_.Wait(h, 2000));
    EXPECT_EQ(terminated_here ? 5u : 0u, ExitCode(processes_, h));
    EXPECT_EQ(kOk, processes_.CloseHandle(h));
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
  }
}

TEST_F(ProcessRootTest, ArgumentsReachTheProgramSplit) {
  const std::string out = Host("out.txt");
  const std::u16string script = u"-c \"printf '[%s]' \\\"$@\\\" > " +
                                std::u16string(out.begin(), out.end()) +
                                u"\" zero \"a b\" c\\\"d \"\" e\\\\f";
  EXPECT_EQ(0u, RunToEnd(Current().processes, script));
  EXPECT_EQ("[a b][c\"d][][e\\\\f]", ReadHostFile("out.txt"));
}

TEST(CommandLine, SplitsAsWindowsDoes) {
  // clang-format off
  const struct { const char* id; std::u16string_view line; std::vector<std::u16string> words; } cases[] = {
    {"1",  u"",                   {}},
    {"2",  u"  a  b\tc ",         {u"a", u"b", u"c"}},
    {"3",  u"\"a b\" c",          {u"a b", u"c"}},
    {"4",  u"\"\" x",             {u"", u"x"}},
    {"5",  u"a\\\\b\\",           {u"a\\\\b\\"}},      // literal backslashes
    {"6",  u"a\\\"b",             {u"a\"b"}},          // \" is a quote
    {"7",  u"a\\\\\"b c\"",       {u"a\\b c"}},        // \\" halves, quote acts
    {"8",  u"\\\\\\\"x",          {u"\\\"x"}},         // \\\" gives \"
    {"9",  u"\"a\"\"b c\"",       {u"a\"b c"}},        // "" inside quotes
    {"10", u"a\"b c\"d",          {u"ab cd"}},
    {"11", u"\"open ended",       {u"open ended"}},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(c.words, posix::SplitArguments(c.line)) << c.id;
}

TEST(ProcTable, ProgramNamesWithoutExtensionGetExe) {
  EXPECT_EQ(u"sleeper.exe", posix::ProgramName("sleeper"));
  EXPECT_EQ(u"python3.11", posix::ProgramName("python3.11"));
  EXPECT_EQ(u"calc.EXE", posix::ProgramName("calc.EXE"));
  EXPECT_EQ(u".hidden.exe", posix::ProgramName(".hidden"));
}

// An entry point of a library by name, through the current platform.
template <class Fn>
Fn Entry(std::u16string_view library, const char* name) {
  Libraries& libraries = Current().libraries;
  return reinterpret_cast<Fn>(
      libraries.GetProcAddress(libraries.LoadLibrary(library), name));
}

struct Toolhelp {
  CreateToolhelp32SnapshotFn create = Entry<CreateToolhelp32SnapshotFn>(
      u"toolhelp.dll", "CreateToolhelp32Snapshot");
  CloseToolhelp32SnapshotFn close = Entry<CloseToolhelp32SnapshotFn>(
      u"TOOLHELP.DLL", "CloseToolhelp32Snapshot");

  // Every record of one snapshot, through First and Next.
  template <class Record>
  std::vector<Record> List(std::uint32_t flags, ProcessId pid,
                           const char* kind) {
    using Step = int (*)(std::intptr_t, Record*);
    const auto first = Entry<Step>(u"TOOLHELP.DLL", (kind + "First"s).c_str());
    const auto next = Entry<Step>(u"TOOLHELP.DLL", (kind + "Next"s).c_str());
    std::vector<Record> all;
    const std::intptr_t snapshot = create(flags, pid);
    Record entry{};
    entry.size = sizeof entry;
    for (int ok = first(snapshot, &entry); ok; ok = next(snapshot, &entry))
      all.push_back(entry);
    close(snapshot);
    return all;
  }
  std::vector<ProcessEntry32> Processes() {
    return List<ProcessEntry32>(kSnapProcess | kSnapNoHeaps, 0, "Process32");
  }
  // The modules of `pid`; of a fresh child, once its loader has mapped libc.
  std::vector<ModuleEntry32> Modules(ProcessId pid, bool libc = false) {
    std::vector<ModuleEntry32> modules;
    for (int i = 0; i < 200; ++i) {
      modules = List<ModuleEntry32>(kSnapModule, pid, "Module32");
      for (const ModuleEntry32& m : modules)
        if (!libc || std::u16string_view(m.module) == u"libc.so.6")
          return modules;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return modules;
  }
};

TEST_F(ProcessRootTest, ToolhelpSnapshotsOfProcessesAndModules) {
  Toolhelp toolhelp;
  ASSERT_NE(nullptr, toolhelp.close);
  Started child(Current().processes, u"\\sleeper", u"10");
  ASSERT_EQ(kOk, child.error());
  bool found = false;
  for (const ProcessEntry32& p : toolhelp.Processes())
    found |= p.process_id == child.pid() &&
             std::u16string_view(p.exe_file) == u"sleeper.exe";
  EXPECT_TRUE(found);

  const std::vector<ModuleEntry32> modules =
      toolhelp.Modules(child.pid(), true);
  ASSERT_GE(modules.size(), 2u);
  EXPECT_EQ(u"sleeper.exe", std::u16string_view(modules[0].module));
  EXPECT_EQ(u"\\sleeper", std::u16string_view(modules[0].exe_path));
  bool libc = false;
  for (const ModuleEntry32& m : modules)
    libc |= std::u16string_view(m.module) == u"libc.so.6" &&
            std::u16string_view(m.exe_path).ends_with(u"/libc.so.6");
  EXPECT_TRUE(libc);

  // Sizes are checked; handles and identifiers too.
  const std::intptr_t snapshot = toolhelp.create(kSnapProcess, 0);
  ProcessEntry32 process{};
  process.size = 500;
  EXPECT_EQ(0, Entry<Process32Fn>(u"TOOLHELP.DLL", "Process32First")(snapshot,
                                                                     &process));
  EXPECT_EQ(24u, Current().system.LastError());
  ModuleEntry32 module{};
  module.size = sizeof module;
  EXPECT_EQ(0, Entry<Module32Fn>(u"TOOLHELP.DLL", "Module32First")(snapshot,
                                                                   &module));
  EXPECT_EQ(kErrNoMoreFiles, Current().system.LastError());
  EXPECT_EQ(1, toolhelp.close(snapshot));
  EXPECT_EQ(0, toolhelp.close(snapshot));
  EXPECT_EQ(kErrInvalidHandle, Current().system.LastError());
  EXPECT_EQ(kInvalidHandle, toolhelp.create(kSnapModule, 0x7FFFFFF0));
  EXPECT_EQ(kErrInvalidParameter, Current().system.LastError());
}

TEST_F(ProcessRootTest, PsapiListsTheProgramThenItsObjects) {
  const auto enumerate =
      Entry<EnumProcessModulesFn>(u"psapi.dll", "EnumProcessModules");
  const auto file_name =
      Entry<GetModuleFileNameExFn>(u"PSAPI.DLL", "GetModuleFileNameExW");
  ASSERT_NE(nullptr, file_name);
  Processes& processes = Current().processes;
  Started child(processes, u"\\sleeper", u"10");
  ASSERT_EQ(kOk, child.error());
  ASSERT_GE(Toolhelp().Modules(child.pid(), true).size(), 2u);
  Handle h = kInvalidHandle;
  ASSERT_EQ(kOk, processes.Open(child.pid(), 0x410, &h));

  Module modules[200];
  std::uint32_t needed = 0;
  ASSERT_EQ(1, enumerate(h, modules, sizeof modules, &needed));
  const std::size_t count = needed / sizeof(Module);
  ASSERT_GE(count, 2u);
  char16_t name[300];
  EXPECT_EQ(8u, file_name(h, modules[0], name, 300));
  EXPECT_EQ(u"\\sleeper", std::u16string_view(name));
  EXPECT_EQ(8u, file_name(h, 0, name, 300));  // 0: the program
  bool libc = false;
  for (std::size_t i = 1; i < count; ++i) {
    ASSERT_GT(file_name(h, modules[i], name, 300), 0u);
    libc |= std::u16string_view(name).ends_with(u"/libc.so.6");
  }
  EXPECT_TRUE(libc);
  EXPECT_EQ(3u, file_name(h, modules[0], name, 4));  // cut, terminated
  EXPECT_EQ(u"\\sl", std::u16string_view(name));
  EXPECT_EQ(0u, file_name(h, 12345, name, 300));
  EXPECT_EQ(kErrInvalidHandle, Current().system.LastError());
  processes.CloseHandle(h);

  ASSERT_EQ(kOk, processes.Open(child.pid(), kProcessQueryInformation, &h));
  EXPECT_EQ(0, enumerate(h, modules, sizeof modules, &needed));
  EXPECT_EQ(kErrAccessDenied, Current().system.LastError());
  processes.CloseHandle(h);
}

// The double's plans: failures, exit codes still active, messages, fixed
// snapshots (modules fall back to the system's own list until fixed).
TEST_F(ProcessRootTest, FakePlansFailuresMessagesAndSnapshots) {
  FakePlatform fake;
  Processes& processes = Current().processes;
  fake.processes().FailNext(ProcOp::kCreate, kErrFileNotFound);
  ProcessInfo info;
  EXPECT_EQ(kErrFileNotFound, processes.Create(u"\\shell", u"", &info));
  EXPECT_EQ(kErrFileNotFound, Current().system.LastError());
  Started child(processes, u"\\shell", u"-c \"exit 3\"");
  ASSERT_EQ(kOk, processes.Wait(child.handle(), 2000));
  fake.processes().ReportStillActive(2);
  for (const std::uint32_t expected : {kStillActive, kStillActive, 3u})
    EXPECT_EQ(expected, ExitCode(processes, child.handle()));
  fake.processes().FailNext(ProcOp::kWait, 6, 2);
  for (const SysErr expected : {6u, 6u, kOk})
    EXPECT_EQ(expected, processes.Wait(child.handle(), 0));

  WindowMessage m;
  EXPECT_FALSE(processes.TakeMessage(&m));
  fake.processes().PostMessage({1, kMessagePaint, 2, 3});
  fake.processes().PostMessage({1, 0x100, 0, 0});
  ASSERT_TRUE(processes.TakeMessage(&m));
  EXPECT_EQ(kMessagePaint, m.message);
  processes.DispatchMessage(m);
  ASSERT_TRUE(processes.TakeMessage(&m));
  EXPECT_EQ(0x100u, m.message);
  EXPECT_FALSE(processes.TakeMessage(&m));
  ASSERT_EQ(1u, fake.processes().Dispatched().size());
  EXPECT_EQ(3, fake.processes().Dispatched()[0].lparam);

  fake.processes().SetSnapshot({{u"calc.exe", 120}, {u"calc.com", 121}});
  Toolhelp toolhelp;
  const std::vector<ProcessEntry32> list = toolhelp.Processes();
  ASSERT_EQ(2u, list.size());
  EXPECT_EQ(u"calc.com", std::u16string_view(list[1].exe_file));
  EXPECT_EQ(121u, list[1].process_id);
  EXPECT_FALSE(toolhelp.Modules(0).empty());
  fake.processes().SetModules({u"\\Windows\\app.exe", u"\\Windows\\a.dll"});
  const std::vector<ModuleEntry32> modules = toolhelp.Modules(0);
  ASSERT_EQ(2u, modules.size());
  EXPECT_EQ(u"a.dll", std::u16string_view(modules[1].module));
  EXPECT_EQ(u"\\Windows\\a.dll", std::u16string_view(modules[1].exe_path));
}

}  // namespace
}  // namespace plat::testing
