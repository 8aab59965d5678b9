// FileAttribute and the directory write test where the host cannot reach:
// a null path, and a directory where no file can be created (the test
// double refuses the test file).
#include "files/file_attributes.h"

#include <gtest/gtest.h>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror_record.h"
#include "platform/fake/fake_platform.h"
#include "tests/files/fs_fixture.h"

namespace files {
namespace {

class FileAttributeTest : public testing::DeviceRootTest {
 protected:
  frame::CXError record_;
  frame::Self self_{nullptr, 0, &record_};
};

TEST_F(FileAttributeTest, NullPathsAreReported) {
  frame::ScopedText result;
  FileAttribute(&self_, result.out(), 0, nullptr);
  EXPECT_EQ(u"ERR", result.view());
  EXPECT_EQ(80067u, record_.number);
  EXPECT_EQ(kNotWritable, DirectoryWriteTest(&self_, nullptr));
  EXPECT_EQ(80059u, record_.number);
}

TEST_F(FileAttributeTest, WriteTestWhenNoFileCanBeCreated) {
  Put("\\full\\x.txt");
  Dir("\\empty");
  struct Case {
    const char* id;
    const char16_t* directory;
    bool volume_silent;
    int result;
  };
  const Case cases[] = {
      {"entry found", u"\\full", false, kExistsNoFileCreated},
      {"volume answers", u"\\empty", false, kExistsNoFileCreated},
      {"volume silent", u"\\empty", true, kNotWritable},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    for (bool through_function : {false, true}) {
      plat::FakePlatform fake;
      fake.files().FailNext(plat::FileOp::kOpen, plat::kErrAccessDenied);
      if (c.volume_silent) {
        fake.files().FailNext(plat::FileOp::kFreeSpace, plat::kErrAccessDenied);
      }
      if (!through_function) {
        EXPECT_EQ(c.result, DirectoryWriteTest(&self_, c.directory));
        continue;
      }
      frame::ScopedText letters;
      FileAttribute(&self_, letters.out(),
                    reinterpret_cast<frame::Word>(c.directory), u"");
      EXPECT_EQ(u"DR", letters.view());  // not writable either way
    }
  }
}

}  // namespace
}  // namespace files
