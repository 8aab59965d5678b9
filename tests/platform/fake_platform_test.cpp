// The test double: planned failures, a full disk, removed libraries and the
// fixed clock.
#include "platform/fake/fake_platform.h"

#include <gtest/gtest.h>

#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

class FakePlatformTest : public DeviceRootTest {
 protected:
  FakePlatform fake_;
};

TEST_F(FakePlatformTest, InstallsItselfForItsLifetime) {
  Platform* real = &Current();
  {
    FakePlatform inner;
    EXPECT_EQ(&inner.platform(), &Current());
  }
  EXPECT_EQ(real, &Current());
  EXPECT_EQ(&fake_.platform(), &Current());
}

TEST_F(FakePlatformTest, FailNextFailsOnceOrCountTimes) {
  WriteHostFile("f.txt", "abc");
  Files& files = Current().files;
  Handle h = kInvalidHandle;
  ASSERT_EQ(kOk, files.Open(u"\\f.txt", kGenericRead, kShareRead, kOpenExisting,
                            0, &h));
  fake_.files().FailNext(FileOp::kRead, kErrIoPending);
  char buffer[8];
  std::uint32_t n = 99;
  EXPECT_EQ(kErrIoPending, files.Read(h, buffer, 3, &n));
  EXPECT_EQ(0u, n);
  EXPECT_EQ(kErrIoPending, Current().system.LastError());
  EXPECT_EQ(kOk, files.Read(h, buffer, 3, &n));  // the next one reads
  EXPECT_EQ(3u, n);
  files.Close(h);

  fake_.files().FailNext(FileOp::kOpen, kErrLockFailed, 2);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(kErrLockFailed, files.Open(u"\\f.txt", kGenericRead, kShareRead,
                                         kOpenExisting, 0, &h));
  EXPECT_EQ(kInvalidHandle, h);
  ASSERT_EQ(kOk, files.Open(u"\\f.txt", kGenericRead, kShareRead, kOpenExisting,
                            0, &h));
  files.Close(h);

  fake_.files().FailNext(FileOp::kRemove, kErrAccessDenied);
  EXPECT_EQ(kErrAccessDenied, files.Remove(u"\\f.txt"));
  EXPECT_TRUE(HostExists("f.txt"));
}

TEST_F(FakePlatformTest, FullDiskWritesWhatFits) {
  Files& files = Current().files;
  Handle h = kInvalidHandle;
  ASSERT_EQ(kOk,
            files.Open(u"\\big.bin", kGenericWrite, 0, kCreateAlways, 0, &h));
  fake_.files().SetDiskCapacity(10);
  std::uint64_t free = 0;
  EXPECT_EQ(kOk, files.FreeSpace(u"\\", &free, nullptr));
  EXPECT_EQ(10u, free);
  std::uint32_t n = 0;
  EXPECT_EQ(kOk, files.Write(h, "123456", 6, &n));
  EXPECT_EQ(kErrDiskFull, files.Write(h, "789abc", 6, &n));
  EXPECT_EQ(4u, n);
  EXPECT_EQ(kErrDiskFull, Current().system.LastError());
  EXPECT_EQ(kErrDiskFull, files.Write(h, "x", 1, &n));
  EXPECT_EQ(0u, n);
  files.Close(h);
  EXPECT_EQ("123456789a", ReadHostFile("big.bin"));
  EXPECT_EQ(kErrDiskFull, files.Copy(u"\\big.bin", u"\\copy.bin", false));
  EXPECT_FALSE(HostExists("copy.bin"));
  fake_.files().ClearDiskCapacity();
  EXPECT_EQ(kOk, files.Copy(u"\\big.bin", u"\\copy.bin", false));
}

TEST_F(FakePlatformTest, RemovedLibrariesAndEntryPoints) {
  Libraries& libraries = Current().libraries;
  fake_.libraries().RemoveEntry(u"COREDLL.DLL", "GetFileAttributesExW");
  const Module core = libraries.LoadLibrary(u"coredll.dll");
  ASSERT_NE(0u, core);
  EXPECT_EQ(nullptr, libraries.GetProcAddress(core, "GetFileAttributesExW"));
  EXPECT_EQ(kErrProcNotFound, Current().system.LastError());
  const Module ole = libraries.LoadLibrary(u"ole32.dll");
  EXPECT_NE(nullptr, libraries.GetProcAddress(ole, "CoCreateGuid"));
  fake_.libraries().RemoveLibrary(u"Ole32.dll");
  EXPECT_EQ(0u, libraries.LoadLibrary(u"ole32.dll"));
  EXPECT_EQ(kErrModNotFound, Current().system.LastError());
}

TEST_F(FakePlatformTest, ClockMovesOnlyWhenTold) {
  SystemInfo& system = Current().system;
  const SystemTime start = system.LocalTime();
  EXPECT_EQ(2024, start.year);
  EXPECT_EQ(1, start.day_of_week);
  EXPECT_EQ(1000000u, system.TickCount());
  fake_.system().Advance(61500);
  const SystemTime later = system.LocalTime();
  EXPECT_EQ(31, later.minute);
  EXPECT_EQ(1, later.second);
  EXPECT_EQ(500, later.milliseconds);
  EXPECT_EQ(1061500u, system.TickCount());

  EXPECT_EQ(kOk, system.SetLocalTime({2030, 6, 0, 1, 8, 0, 0, 0}));
  EXPECT_EQ(2030, system.LocalTime().year);
  fake_.system().RefuseSetLocalTime(true);
  EXPECT_EQ(kErrPrivilegeNotHeld,
            system.SetLocalTime({2031, 6, 0, 1, 8, 0, 0, 0}));
  EXPECT_EQ(kErrPrivilegeNotHeld, system.LastError());
  EXPECT_EQ(2030, system.LocalTime().year);

  fake_.system().SetLangId(1036);
  EXPECT_EQ(1036, system.UserDefaultLangId());
  fake_.system().SetUtcOffset(120);
  EXPECT_EQ(120, system.UtcOffsetMinutes(0));
}

}  // namespace
}  // namespace plat::testing
