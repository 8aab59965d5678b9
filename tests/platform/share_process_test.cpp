// Share modes across processes: a child holds the file open for writing;
// the parent is refused until the child is gone, however it ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

class ShareProcessTest : public DeviceRootTest {
 protected:
  // Forks a child that opens `path` for writing without sharing, reports
  // the open on a pipe and waits for the parent's word (or its death).
  pid_t StartHolder(std::u16string_view path) {
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    EXPECT_EQ(0, pipe(release_));
    const pid_t pid = fork();
    if (pid == 0) {
      close(ready[0]);
      close(release_[1]);
      Handle h = kInvalidHandle;
      const SysErr err =
          Current().files.Open(path, kGenericWrite, 0, kOpenExisting, 0, &h);
      const char answer = err == kOk ? 'y' : 'n';
      (void)!write(ready[1], &answer, 1);
      char byte;
      (void)!read(release_[0], &byte, 1);
      _exit(0);
    }
    close(ready[1]);
    close(release_[0]);
    char answer = 0;
    EXPECT_EQ(1, read(ready[0], &answer, 1));
    EXPECT_EQ('y', answer);
    close(ready[0]);
    return pid;
  }

  SysErr TryOpen(std::u16string_view path, std::uint32_t access,
                 std::uint32_t share) {
    Handle h = kInvalidHandle;
    const SysErr err =
        Current().files.Open(path, access, share, kOpenExisting, 0, &h);
    if (err == kOk) Current().files.Close(h);
    return err;
  }

  int release_[2] = {-1, -1};
};

TEST_F(ShareProcessTest, ChildHoldingTheFileRefusesTheParent) {
  WriteHostFile("shared.dat", "data");
  const pid_t child = StartHolder(u"\\shared.dat");
  EXPECT_EQ(kErrSharingViolation,
            TryOpen(u"\\SHARED.DAT", kGenericWrite, kShareRead | kShareWrite));
  EXPECT_EQ(kErrSharingViolation,
            TryOpen(u"\\shared.dat", kGenericRead, kShareRead | kShareWrite));
  EXPECT_EQ(kErrSharingViolation, Current().files.Remove(u"\\shared.dat"));
  close(release_[1]);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(kOk, TryOpen(u"\\shared.dat", kGenericWrite, 0));
}

TEST_F(ShareProcessTest, KilledChildReleasesTheFile) {
  WriteHostFile("shared.dat", "data");
  const pid_t child = StartHolder(u"\\shared.dat");
  EXPECT_EQ(kErrSharingViolation, TryOpen(u"\\shared.dat", kGenericWrite, 0));
  kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  close(release_[1]);
  EXPECT_EQ(kOk, TryOpen(u"\\shared.dat", kGenericWrite, 0));
}

}  // namespace
}  // namespace plat::testing
