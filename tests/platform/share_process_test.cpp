// Share modes across processes: a child holds the file open for writing;
// the parent is refused until the child is gone, however it ends.
#include <gtest/gtest.h>

#include "tests/platform/device_root.h"
#include "tests/platform/file_holder.h"

namespace plat::testing {
namespace {

class ShareProcessTest : public DeviceRootTest {
 protected:
  SysErr TryOpen(std::u16string_view path, std::uint32_t access,
                 std::uint32_t share) {
    Handle h = kInvalidHandle;
    const SysErr err =
        Current().files.Open(path, access, share, kOpenExisting, 0, &h);
    if (err == kOk) Current().files.Close(h);
    return err;
  }
};

TEST_F(ShareProcessTest, ChildHoldingTheFileRefusesTheParentUntilItEnds) {
  WriteHostFile("shared.dat", "data");
  for (const bool killed : {false, true}) {
    SCOPED_TRACE(killed ? "killed" : "released");
    FileHolder child(u"\\shared.dat");
    ASSERT_TRUE(child.held());
    EXPECT_EQ(kErrSharingViolation, TryOpen(u"\\shared.dat", kGenericWrite, 0));
    if (!killed) {
      EXPECT_EQ(kErrSharingViolation, TryOpen(u"\\SHARED.DAT", kGenericWrite,
                                              kShareRead | kShareWrite));
      EXPECT_EQ(kErrSharingViolation, TryOpen(u"\\shared.dat", kGenericRead,
                                              kShareRead | kShareWrite));
      EXPECT_EQ(kErrSharingViolation, Current().files.Remove(u"\\shared.dat"));
    }
    ASSERT_TRUE(child.Release(killed));
    EXPECT_EQ(kOk, TryOpen(u"\\shared.dat", kGenericWrite, 0));
  }
}

}  // namespace
}  // namespace plat::testing
