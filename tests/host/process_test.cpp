// The process functions through the reference host on real children. The
// test program is copied into a fresh device root under a name of this
// process's own, so counting and stopping by name never meet another run's
// children; every child still running at the end is killed.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "host/refhost/host.h"
#include "tests/files/fs_fixture.h"

namespace refhost {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kRun = 169, kCount = 45, kStop = 49, kModules = 297;
constexpr int kCountSyntax = 2, kAliveSyntax = 3, kStopByName = 1,
              kStopById = 2;
constexpr std::uint32_t kNotAbsolute = 80600, kStartFailed = 80400,
                        kOpenFailed = 80101;
// Above every Linux process number.
constexpr std::int32_t kNoSuchProcess = 0x7FFFFFF0;

std::u16string U16(std::string_view s) { return {s.begin(), s.end()}; }

std::int64_t IntOf(const CallResult& r) {
  if (const auto* b = std::get_if<bool>(&r.value)) return *b ? 1 : 0;
  const auto* n = std::get_if<std::int64_t>(&r.value);
  return n == nullptr ? -999 : *n;
}
std::u16string TextOf(const CallResult& r) {
  const auto* text = std::get_if<std::u16string>(&r.value);
  return text == nullptr ? u"" : *text;
}

// Asks until `done` holds, for at most two seconds.
bool Eventually(const std::function<bool()>& done) {
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

class ProcessTest : public files::testing::DeviceRootTest {
 protected:
  void SetUp() override {
    for (const char* dir : {"\\bin\\", "\\Program Files\\"}) {
      const fs::path copy = OnHost(dir + name_);
      fs::create_directories(copy.parent_path());
      fs::copy_file(STD8_CHILD_PROGRAM_PATH, copy);
    }
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override {
    host_.CallSyntax(kStop, kStopByName, Name());
    host_.Stop();
    for (const std::int64_t id : started_) KillIfOurs(id);
  }

  // The program's name, and a command running it from "\bin".
  std::u16string Name() const { return U16(name_); }
  std::u16string Bin(std::string_view arguments) const {
    return u"\\bin\\" + Name() + u" " + U16(arguments);
  }

  CallResult Run(const std::u16string& command, int wait_option) {
    return host_.CallSyntax(kRun, 3, command, 1, wait_option);
  }
  // Starts a child without waiting and returns its identifier.
  std::int64_t Start(std::string_view arguments) {
    const std::int64_t id = IntOf(Run(Bin(arguments), 3));
    EXPECT_GT(id, 0);
    started_.push_back(id);
    return id;
  }
  CallResult Alive(std::int64_t id) {
    return host_.CallSyntax(kCount, kAliveSyntax, static_cast<int>(id));
  }
  std::int64_t Count(const std::u16string& name) {
    return IntOf(host_.CallSyntax(kCount, kCountSyntax, name));
  }

  // The backstop when stopping by name failed: our children only.
  void KillIfOurs(std::int64_t id) const {
    std::error_code ignored;
    const fs::path exe =
        fs::read_symlink("/proc/" + std::to_string(id) + "/exe", ignored);
    if (exe.filename() == name_) kill(static_cast<pid_t>(id), SIGKILL);
  }

  const std::string name_ = "child" + std::to_string(getpid());
  std::vector<std::int64_t> started_;
  Host host_;
};

TEST_F(ProcessTest, RunChecksThePathAndAnswersByWaitOption) {
  Put("\\bin\\bad.exe", "not a program");
  fs::permissions(OnHost("\\bin\\bad.exe"), fs::perms::owner_exec,
                  fs::perm_options::add);
  const std::u16string quoted = u"\"\\Program Files\\" + Name() + u"\" exit 5";
  // clang-format off
  const struct { const char* id; std::u16string command; int wait; std::int64_t result; std::uint32_t error; std::vector<std::u16string> params; } cases[] = {
    {"r.1", u"bin\\" + Name() + u" exit 0", 2, 0, kNotAbsolute, {u"bin\\" + Name()}},
    {"r.2", u"prog.exe",                    2, 0, kNotAbsolute, {u"prog.exe"}},
    {"r.3", u"\"\" exit 0",                 2, 0, kNotAbsolute, {u""}},
    {"r.4", Bin("exit 7"),                  2, 7, 0, {}},
    {"r.5", quoted,                         2, 5, 0, {}},
    {"r.6", Bin("sleep 150 9"),             2, 9, 0, {}},
    {"r.7", Bin("exit 3"),                  1, 1, 0, {}},
    {"r.8", u"\\bin\\none -x",              2, 0, kStartFailed,
            {u"\\bin\\none", u"The system cannot find the file specified. (2)"}},
    {"r.9", u"\\bin\\bad.exe",              2, 0, kStartFailed,
            {u"\\bin\\bad.exe", u"\\bin\\bad.exe is not a valid Win32 application. (193)"}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = Run(c.command, c.wait);
    ASSERT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(c.result, IntOf(r));
    EXPECT_EQ(c.error, r.error.number);
    EXPECT_EQ(c.params, r.error.params);
  }
  // Without waiting the call is back while the program still runs.
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(1, IntOf(Run(Bin("sleep 3000"), 0)));
  EXPECT_LT(std::chrono::steady_clock::now() - before,
            std::chrono::milliseconds(2000));
}

TEST_F(ProcessTest, AliveUntilStoppedById) {
  const std::int64_t id = Start("forever");
  CallResult r = Alive(id);
  EXPECT_EQ(Value(true), r.value);
  EXPECT_FALSE(r.error.raised());
  r = host_.CallSyntax(kStop, kStopById, static_cast<int>(id));
  EXPECT_EQ(Value(true), r.value);
  EXPECT_FALSE(r.error.raised());
  EXPECT_TRUE(Eventually([&] { return Alive(id).value == Value(false); }));

  // An ended program and numbers that name no process are not alive, and
  // that is no error.
  const std::int64_t ended = Start("exit 0");
  EXPECT_TRUE(Eventually([&] { return Alive(ended).value == Value(false); }));
  for (const std::int64_t gone : {ended, std::int64_t{kNoSuchProcess}}) {
    SCOPED_TRACE(gone);
    r = Alive(gone);
    EXPECT_EQ(Value(false), r.value);
    EXPECT_FALSE(r.error.raised());
  }
  // Stopping one needs it opened.
  r = host_.CallSyntax(kStop, kStopById, kNoSuchProcess);
  EXPECT_EQ(Value(false), r.value);
  EXPECT_EQ(kOpenFailed, r.error.number);
}

TEST_F(ProcessTest, CountsAndStopsInstancesByName) {
  for (int i = 0; i < 3; ++i) Start("forever");
  ASSERT_TRUE(Eventually([&] { return Count(Name()) == 3; }));
  // clang-format off
  const struct { const char* id; std::u16string name; std::int64_t count; } cases[] = {
    {"c.1", u"\\bin\\" + Name(),         3},
    {"c.2", u"\\elsewhere\\" + Name(),   3},  // the directory plays no part
    {"c.3", Name() + u".exe",            3},
    {"c.4", Name() + u".EXE",            3},
    {"c.5", Name() + u".com",            0},
    {"c.6", Name() + u"x",               0},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.count, Count(c.name));
  }
  EXPECT_EQ(Value(true),
            host_.CallSyntax(kStop, kStopByName, u"\\x\\" + Name()).value);
  EXPECT_TRUE(Eventually([&] { return Count(Name()) == 0; }));
  const CallResult r = host_.CallSyntax(kStop, kStopByName, Name());
  EXPECT_EQ(Value(false), r.value);
  EXPECT_FALSE(r.error.raised());
  // Without a name: the running program's own file.
  const std::string self = fs::read_symlink("/proc/self/exe").filename();
  setenv("TESSEL_PROGRAM", ("\\apps\\" + self).c_str(), 1);
  EXPECT_GE(IntOf(host_.CallSyntax(kCount, 1)), 1);
}

TEST_F(ProcessTest, ModuleListNamesTheModulesAfterTheProgram) {
  // A child: its libraries, once loaded, and not its own file.
  const std::int64_t id = Start("forever");
  std::u16string list;
  EXPECT_TRUE(Eventually([&] {
    list = TextOf(host_.CallSyntax(kModules, 2, static_cast<int>(id)));
    return list.find(u"/libc.so") != std::u16string::npos;
  }));
  EXPECT_EQ(list.find(Name()), std::u16string::npos);
  // The running process: the component is among them, the program is not.
  CallResult r = host_.CallSyntax(kModules, 1);
  EXPECT_FALSE(r.error.raised());
  list = TextOf(r);
  EXPECT_NE(list.find(U16(fs::canonical(STD8_COMPONENT_PATH).string())),
            std::u16string::npos);
  EXPECT_EQ(list.find(U16(fs::read_symlink("/proc/self/exe").string())),
            std::u16string::npos);
  r = host_.CallSyntax(kModules, 2, kNoSuchProcess);
  EXPECT_EQ(u"", TextOf(r));
  EXPECT_EQ(kOpenFailed, r.error.number);
  EXPECT_EQ(87u, r.error.system_code);
}

}  // namespace
}  // namespace refhost
