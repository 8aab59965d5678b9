// Device paths on the host: separators, folding, case, limits, the root
// chosen from the environment and the program's own path.
#include "platform/posix/device_paths.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/platform/device_root.h"

namespace plat::posix {
namespace {

using plat::testing::DeviceRootTest;
using plat::testing::ScopedEnv;

class DevicePathTest : public DeviceRootTest {
 protected:
  void SetUp() override {
    DeviceRootTest::SetUp();
    MakeHostDir("Windows");
    MakeHostDir("Data/Sub");
    WriteHostFile("Windows/win.ini", "");
  }
};

struct MapCase {
  const char* id;
  std::u16string_view device;
  const char* host;  // below the root; "" is the root itself
};

// clang-format off
constexpr MapCase kMapCases[] = {
  {"1.1",  u"\\Windows\\win.ini",     "Windows/win.ini"},
  {"1.2",  u"/Windows/win.ini",       "Windows/win.ini"},
  {"1.3",  u"Windows\\win.ini",       "Windows/win.ini"},
  {"1.4",  u"\\WINDOWS\\WIN.INI",     "Windows/win.ini"},
  {"1.5",  u"\\windows\\New.TXT",     "Windows/New.TXT"},
  {"1.6",  u"\\..\\..\\Windows",      "Windows"},
  {"1.7",  u"\\a\\.\\b\\..\\c",       "a/c"},
  {"1.8",  u"\\\\data//SUB\\",        "Data/Sub"},
  {"1.9",  u"\\",                     ""},
  {"1.10", u"\\Missing\\x",           "Missing/x"},
  {"1.11", u"\\data\\sub\\..\\..",    ""},
  {"1.12", u"\\caf\u00c9\\",          "caf\xc3\x89"},
};
// clang-format on

TEST_F(DevicePathTest, MapsBelowTheRoot) {
  for (const MapCase& c : kMapCases) {
    SCOPED_TRACE(c.id);
    HostPath host;
    ASSERT_EQ(kOk, MapDevicePath(c.device, &host));
    EXPECT_EQ(Host(c.host), host.path);
    EXPECT_EQ(std::string(c.host).empty(), host.is_root);
  }
}

// The exact spelling wins over other cases; a pattern leaf is kept as written.
TEST_F(DevicePathTest, ExactSpellingAndPatternLeaf) {
  MakeHostDir("data");
  HostPath host;
  ASSERT_EQ(kOk, MapDevicePath(u"\\data", &host));
  EXPECT_EQ(Host("data"), host.path);
  ASSERT_EQ(kOk, MapDevicePath(u"\\DATA", &host));
  EXPECT_EQ(Host("Data"), host.path);  // the smallest of the spellings
  ASSERT_EQ(kOk, MapDevicePath(u"\\windows\\*.INI", &host, LeafKind::kPattern));
  EXPECT_EQ(Host("Windows"), host.parent);
  EXPECT_EQ(u"*.INI", host.given);
}

TEST_F(DevicePathTest, Errors) {
  const std::u16string long_name(300, u'x');
  const struct {
    const char* id;
    std::u16string_view device;
    SysErr error;
  } cases[] = {
      {"empty", u"", 161},
      {"device", u"COM1:", kErrFileNotFound},
      {"colon", u"\\a:b", 123},
      {"star", u"\\a*b", 123},
      {"pipe", u"\\a|b\\c", 123},
      {"control", u"\\a\tb", 123},
      {"surrogate", u"\\a\xD800", 123},
      {"too long", long_name, kErrFilenameTooLong},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    HostPath host;
    EXPECT_EQ(c.error, MapDevicePath(c.device, &host));
  }
}

TEST_F(DevicePathTest, LengthLimitIs260) {
  for (const std::size_t length : {259u, 260u, 261u}) {
    SCOPED_TRACE(length);
    // Two components, each under the host's 255-byte name limit.
    std::u16string path = u"\\" + std::u16string(200, u'd') + u"\\";
    path += std::u16string(length - path.size(), u'f');
    ASSERT_EQ(length, path.size());
    HostPath host;
    EXPECT_EQ(length > 260 ? kErrFilenameTooLong : kOk,
              MapDevicePath(path, &host));
  }
}

TEST_F(DevicePathTest, RootComesFromTheEnvironmentAndIsCreated) {
  const std::string nested = Host("x/y/device");
  {
    ScopedEnv env("TESSEL_ROOT", nested.c_str());
    std::string root;
    ASSERT_EQ(kOk, DeviceRoot(&root));
    EXPECT_EQ(nested, root);
    EXPECT_TRUE(HostExists("x/y/device"));
  }
  ScopedEnv no_root("TESSEL_ROOT", nullptr);
  ScopedEnv data("XDG_DATA_HOME", Host("xdg").c_str());
  std::string root;
  ASSERT_EQ(kOk, DeviceRoot(&root));
  EXPECT_EQ(Host("xdg/tessel/device"), root);
  ScopedEnv no_data("XDG_DATA_HOME", nullptr);
  ScopedEnv home("HOME", Host("home").c_str());
  ASSERT_EQ(kOk, DeviceRoot(&root));
  EXPECT_EQ(Host("home/.local/share/tessel/device"), root);
}

TEST_F(DevicePathTest, ProgramFile) {
  char exe[4096];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  ASSERT_GT(n, 0);
  const std::string path(exe, static_cast<std::size_t>(n));
  const std::string dir = path.substr(0, path.rfind('/'));
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::u16string name16(name.begin(), name.end());

  std::u16string device;
  {
    ScopedEnv program("TESSEL_PROGRAM", "/Apps/Demo.exe");
    ASSERT_EQ(kOk, Current().files.ProgramFile(&device));
    EXPECT_EQ(u"\\Apps\\Demo.exe", device);
  }
  ScopedEnv no_program("TESSEL_PROGRAM", nullptr);
  ASSERT_EQ(kOk, Current().files.ProgramFile(&device));
  EXPECT_EQ(u"\\" + name16, device);  // outside the root: in the root

  const std::string parent = dir.substr(0, dir.rfind('/'));
  const std::string last = dir.substr(dir.rfind('/') + 1);
  ScopedEnv above("TESSEL_ROOT", parent.c_str());
  ASSERT_EQ(kOk, Current().files.ProgramFile(&device));
  EXPECT_EQ(u"\\" + std::u16string(last.begin(), last.end()) + u"\\" + name16,
            device);
}

}  // namespace
}  // namespace plat::posix
