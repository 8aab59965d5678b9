// The process functions where only the test double produces the case: a
// system that refuses, a program that looks still active after its end, a
// message queue, fixed tool-help lists (".EXE" rules, the handheld's module
// list) and missing libraries. Real children still do the running.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "platform/fake/fake_platform.h"
#include "tests/files/fs_fixture.h"

namespace sys {
namespace {

using plat::ProcOp;

// Numbers no Linux process has (above the largest pid_max).
constexpr plat::ProcessId kGhost = 0x7FFFFF01;

class ProcessFailureTest : public files::testing::DeviceRootTest {
 protected:
  ProcessFailureTest() {
    std::filesystem::create_directories(OnHost("\\bin"));
    std::filesystem::copy_file(STD8_CHILD_PROGRAM_PATH, OnHost("\\bin\\child"));
  }
  ~ProcessFailureTest() override {
    for (const std::int32_t id : started_) ProcessStopById(&self_, id);
  }

  plat::FakeProcesses& processes() { return fake_.processes(); }
  // Starts "\bin\child forever" without waiting; the snapshot lists it as
  // "calc.exe".
  std::int32_t StartCalc() {
    const std::int32_t id =
        ProgramRun(&self_, u"\\bin\\child forever", 1, 3, u"");
    EXPECT_GT(id, 0);
    started_.push_back(id);
    processes().SetSnapshot({{u"calc.exe", static_cast<plat::ProcessId>(id)},
                             {u"CALC.EXE", kGhost},
                             {u"calc.com", kGhost + 1},
                             {u"calcx.exe", kGhost + 2},
                             {u"calc", kGhost + 3}});
    return id;
  }
  std::u16string Modules(std::int32_t id) {
    frame::ScopedText text;
    ProcessModuleList(&self_, text.out(), id);
    return std::u16string(text.view());
  }

  plat::FakePlatform fake_;
  frame::CXError record_;
  frame::Self self_{nullptr, 0, &record_};
  std::vector<std::int32_t> started_;
};

TEST_F(ProcessFailureTest, WaitGoesOnWhileTheExitCodeReadsStillActive) {
  // Each turn of the wait takes one message: paints are dispatched, the
  // others (a key, a click) dropped.
  for (const plat::WindowMessage& m :
       {plat::WindowMessage{1, plat::kMessagePaint, 0, 0},
        {1, 0x100, 65, 0},
        {2, plat::kMessagePaint, 0, 0},
        {1, 0x201, 0, 0}}) {
    processes().PostMessage(m);
  }
  processes().ReportStillActive(3);
  EXPECT_EQ(4, ProgramRun(&self_, u"\\bin\\child exit 4", 1, 2, u""));
  const std::vector<plat::WindowMessage> dispatched = processes().Dispatched();
  ASSERT_EQ(2u, dispatched.size());
  EXPECT_EQ(1u, dispatched[0].window);
  EXPECT_EQ(2u, dispatched[1].window);
  EXPECT_FALSE(record_.HasError());
}

TEST_F(ProcessFailureTest, RefusalsOfTheSystem) {
  const std::int32_t id = StartCalc();
  processes().SetSnapshot({{u"calc.exe", static_cast<plat::ProcessId>(id)}});
  enum Call { kStopById, kStopByName, kAlive, kModules };
  // clang-format off
  const struct { const char* id; Call call; ProcOp op; plat::SysErr err; std::uint32_t number; plat::SysErr stored; } cases[] = {
    {"f.1", kStopById,   ProcOp::kOpen,      5,  frame::kErrProcessOpenFailed,       5},
    {"f.2", kStopById,   ProcOp::kExitCode,  6,  0,                                  6},
    {"f.3", kStopById,   ProcOp::kTerminate, 5,  0,                                  5},
    {"f.4", kStopByName, ProcOp::kTerminate, 5,  0,                                  5},
    {"f.5", kAlive,      ProcOp::kOpen,      5,  frame::kErrProcessStateUnreadable,  5},
    {"f.6", kAlive,      ProcOp::kOpen,      87, 0,                                  0},
    {"f.7", kAlive,      ProcOp::kExitCode,  6,  0,                                  0},
    {"f.8", kModules,    ProcOp::kOpen,      5,  frame::kErrProcessOpenFailed,       5},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    record_.Reset();
    processes().FailNext(c.op, c.err);
    EXPECT_FALSE(c.call == kStopById     ? ProcessStopById(&self_, id)
                 : c.call == kStopByName ? ProcessStop(&self_, u"calc")
                 : c.call == kAlive      ? ProcessIsAlive(&self_, id)
                                         : !Modules(id).empty());
    EXPECT_EQ(c.number, record_.number);
    EXPECT_EQ(c.stored, record_.system_code);
    EXPECT_TRUE(ProcessIsAlive(&self_, id));
  }
}

TEST_F(ProcessFailureTest, OnlyExeEntriesCountAndStop) {
  const std::int32_t id = StartCalc();
  // clang-format off
  const struct { const char* id; const char16_t* name; std::int32_t count; } cases[] = {
    {"n.1", u"calc",                2},
    {"n.3", u"calc.com",            0},
    {"n.4", u"calcx",               1},
    {"n.6", u"",                    0},  // the running program: not listed
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.count, ProcessInstanceCount(&self_, c.name));
  }
  // The ".COM" entry is not in the list. Of the two ".EXE" ones, one stops
  // and the other cannot be opened: stopping one is enough.
  EXPECT_FALSE(ProcessStop(&self_, u"calc.com"));
  EXPECT_TRUE(ProcessIsAlive(&self_, id));
  EXPECT_TRUE(ProcessStop(&self_, u"calc.exe"));
  EXPECT_EQ(frame::kErrProcessOpenFailed, record_.number);
  for (int i = 0; i < 200 && ProcessIsAlive(&self_, id); ++i) usleep(10000);
  EXPECT_FALSE(ProcessIsAlive(&self_, id));
}

// The handheld lists module names, leaving out programs; a missing library
// or entry point leaves the module list empty, without a message.
TEST_F(ProcessFailureTest, LibrariesAndEntryPoints) {
  const std::u16string kDlls = u"a.dll\r\nx.exe.mui";
  // clang-format off
  const struct { const char* id; const char16_t* library; const char* entry; std::uint32_t platform; std::int32_t count; std::uint32_t number; plat::SysErr err; std::u16string modules; } cases[] = {
    {"l.1", nullptr,         nullptr,                   3, 1,  0,                                 0,   kDlls},
    {"l.2", u"TOOLHELP.DLL", nullptr,                   3, -1, frame::kErrProcessListUnavailable, 126, u""},
    {"l.3", u"toolhelp.dll", "Process32Next",           3, -1, frame::kErrProcessListUnavailable, 127, kDlls},
    {"l.4", u"TOOLHELP.DLL", "CloseToolhelp32Snapshot", 3, 1,  0,                                 0,   kDlls},
    {"l.5", u"TOOLHELP.DLL", "Module32First",           3, 1,  0,                                 0,   u""},
    {"l.6", u"PSAPI.DLL",    nullptr,                   2, 1,  0,                                 0,   u""},
    {"l.7", u"PSAPI.DLL",    "GetModuleFileNameExW",    2, 1,  0,                                 0,   u""},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    plat::FakePlatform fake;
    fake.processes().SetSnapshot({{u"calc.exe", kGhost}});
    fake.processes().SetModules({u"\\Windows\\calc.exe", u"\\Windows\\a.dll",
                                 u"\\Windows\\NOTE.EXE",
                                 u"\\Windows\\x.exe.mui"});
    plat::OsVersion version = fake.system().Version();
    version.platform_id = c.platform;
    fake.system().SetVersion(version);
    if (c.entry != nullptr) {
      fake.libraries().RemoveEntry(c.library, c.entry);
    } else if (c.library != nullptr) {
      fake.libraries().RemoveLibrary(c.library);
    }
    record_.Reset();
    EXPECT_EQ(c.count, ProcessInstanceCount(&self_, u"calc"));
    EXPECT_EQ(c.number, record_.number);
    EXPECT_EQ(c.err, record_.system_code);
    record_.Reset();
    EXPECT_EQ(c.modules, Modules(0));
    EXPECT_FALSE(record_.HasError());
  }
}

}  // namespace
}  // namespace sys
