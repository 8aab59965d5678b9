// Searches, copy, move, directories, free space and temporary names, on the
// POSIX backend and on the double over it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

template <class Backend>
class PlatformEntriesTest : public BackendTest<Backend> {
 protected:
  // Every name a search gives, in its order, or the error of FindFirst.
  SysErr FindAll(std::u16string_view pattern,
                 std::vector<std::u16string>* names) {
    names->clear();
    FileData data;
    Handle search = kInvalidHandle;
    const SysErr first = this->files().FindFirst(pattern, &data, &search);
    if (first != kOk) return first;
    SysErr err = kOk;
    do {
      names->push_back(data.name);
    } while ((err = this->files().FindNext(search, &data)) == kOk);
    EXPECT_EQ(kErrNoMoreFiles, err);
    EXPECT_EQ(kOk, this->files().FindClose(search));
    EXPECT_EQ(kErrInvalidHandle, this->files().FindClose(search));
    return kOk;
  }
};
TYPED_TEST_SUITE(PlatformEntriesTest, Backends);

struct FindCase {
  const char* id;
  std::u16string_view pattern;
  SysErr error;
  std::vector<std::u16string> names;
};

TYPED_TEST(PlatformEntriesTest, FindPatterns) {
  for (const char* name : {"a.txt", "B.TXT", "readme", "c.tar.gz", "ab"})
    this->WriteHostFile(std::string("Dir/") + name, "12345");
  this->MakeHostDir("Dir/Sub");
  // clang-format off
  const FindCase cases[] = {
    {"3.1",  u"\\dir\\*",       kOk, {u"a.txt", u"ab", u"B.TXT", u"c.tar.gz", u"readme", u"Sub"}},
    {"3.2",  u"\\dir\\*.*",     kOk, {u"a.txt", u"ab", u"B.TXT", u"c.tar.gz", u"readme", u"Sub"}},
    {"3.3",  u"/DIR/*.txt",     kOk, {u"a.txt", u"B.TXT"}},
    {"3.4",  u"\\dir\\??",      kOk, {u"ab"}},
    {"3.5",  u"\\dir\\*.",      kOk, {u"ab", u"readme", u"Sub"}},
    {"3.6",  u"\\dir\\A*",      kOk, {u"a.txt", u"ab"}},
    {"3.7",  u"\\dir\\*.gz",    kOk, {u"c.tar.gz"}},
    {"3.8",  u"\\dir\\b?txt",   kOk, {u"B.TXT"}},
    {"3.9",  u"\\dir\\README",  kOk, {u"readme"}},
    {"3.10", u"\\dir\\r*.*",    kOk, {u"readme"}},
    {"3.11", u"\\dir\\?",       kErrFileNotFound, {}},
    {"3.12", u"\\dir\\none",    kErrFileNotFound, {}},
    {"3.13", u"\\nodir\\*",     kErrPathNotFound, {}},
    {"3.14", u"\\dir\\a.txt\\*", kErrPathNotFound, {}},
    {"3.15", u"dir\\sub\\*",    kErrFileNotFound, {}},
  };
  // clang-format on
  for (const FindCase& c : cases) {
    SCOPED_TRACE(c.id);
    std::vector<std::u16string> names;
    EXPECT_EQ(c.error, this->FindAll(c.pattern, &names));
    EXPECT_EQ(c.names, names);
  }
}

TYPED_TEST(PlatformEntriesTest, FindGivesTheEntry) {
  this->WriteHostFile("f.bin", "12345");
  this->MakeHostDir("d");
  FileData data;
  Handle search;
  ASSERT_EQ(kOk, this->files().FindFirst(u"\\f.bin", &data, &search));
  this->files().FindClose(search);
  EXPECT_EQ(u"f.bin", data.name);
  EXPECT_EQ(5u, data.size);
  EXPECT_NE(0u, data.last_write);
  ASSERT_EQ(kOk, this->files().FindFirst(u"\\D", &data, &search));
  this->files().FindClose(search);
  EXPECT_EQ(kAttrDirectory, data.attributes & kAttrDirectory);
}

TYPED_TEST(PlatformEntriesTest, CopyAndItsErrors) {
  Files& f = this->files();
  Handle h = this->OpenOk(u"\\src.txt", kGenericWrite);
  std::uint32_t n;
  f.Write(h, "payload", 7, &n);
  const FileTime write = 131000000000000000;
  f.SetTimes(h, nullptr, nullptr, &write);
  f.Close(h);
  ASSERT_EQ(kOk, f.SetAttributes(u"\\src.txt", kAttrReadOnly | kAttrArchive));
  ASSERT_EQ(kOk, f.Copy(u"\\SRC.txt", u"\\dst.txt", true));
  EXPECT_EQ("payload", this->ReadHostFile("dst.txt"));
  FileData data;
  ASSERT_EQ(kOk, f.GetAttributeData(u"\\dst.txt", &data));
  EXPECT_EQ(write, data.last_write);
  EXPECT_EQ(kAttrReadOnly, data.attributes & kAttrReadOnly);
  EXPECT_EQ(kErrFileExists, f.Copy(u"\\src.txt", u"\\dst.txt", true));
  EXPECT_EQ(kErrAccessDenied, f.Copy(u"\\src.txt", u"\\dst.txt", false));
  this->WriteHostFile("a.txt", "a");
  this->WriteHostFile("b.txt", "b");
  this->MakeHostDir("d");
  EXPECT_EQ(kErrFileNotFound, f.Copy(u"\\none", u"\\x", false));
  EXPECT_EQ(kErrPathNotFound, f.Copy(u"\\no\\none", u"\\x", false));
  EXPECT_EQ(kErrPathNotFound, f.Copy(u"\\a.txt", u"\\no\\x", false));
  EXPECT_EQ(kErrAccessDenied, f.Copy(u"\\d", u"\\x", false));
  EXPECT_EQ(kErrAccessDenied, f.Copy(u"\\a.txt", u"\\d", false));
  EXPECT_EQ(kErrSharingViolation, f.Copy(u"\\a.txt", u"\\a.txt", false));
  // A source written elsewhere without share-read cannot be read.
  h = this->OpenOk(u"\\a.txt", kGenericWrite, 0, kOpenExisting);
  EXPECT_EQ(kErrSharingViolation, f.Copy(u"\\a.txt", u"\\x", false));
  f.Close(h);
  h = this->OpenOk(u"\\a.txt", kGenericWrite, kShareRead, kOpenExisting);
  EXPECT_EQ(kOk, f.Copy(u"\\a.txt", u"\\b.txt", false));
  f.Close(h);
  EXPECT_EQ("a", this->ReadHostFile("b.txt"));
}

TYPED_TEST(PlatformEntriesTest, MoveAndItsErrors) {
  Files& f = this->files();
  this->WriteHostFile("a.txt", "a");
  this->WriteHostFile("b.txt", "b");
  this->MakeHostDir("d/e");
  EXPECT_EQ(kErrAlreadyExists, f.Move(u"\\a.txt", u"\\B.TXT"));
  EXPECT_EQ(kErrFileNotFound, f.Move(u"\\none", u"\\x"));
  EXPECT_EQ(kErrPathNotFound, f.Move(u"\\a.txt", u"\\no\\x"));
  EXPECT_EQ(kErrAccessDenied, f.Move(u"\\", u"\\x"));
  ASSERT_EQ(kOk, f.Move(u"\\a.txt", u"\\A.TXT"));  // a change of case
  EXPECT_TRUE(this->HostExists("A.TXT"));
  EXPECT_FALSE(this->HostExists("a.txt"));
  ASSERT_EQ(kOk, f.Move(u"\\a.txt", u"\\d\\e\\moved.txt"));
  EXPECT_EQ("a", this->ReadHostFile("d/e/moved.txt"));
  ASSERT_EQ(kOk, f.Move(u"\\D", u"\\renamed"));
  EXPECT_TRUE(this->HostExists("renamed/e/moved.txt"));
  const Handle h = this->OpenOk(u"\\b.txt", kGenericRead, kShareRead);
  EXPECT_EQ(kErrSharingViolation, f.Move(u"\\b.txt", u"\\c.txt"));
  f.Close(h);
  const Handle shared =
      this->OpenOk(u"\\b.txt", kGenericRead, kShareRead | kShareDelete);
  EXPECT_EQ(kOk, f.Move(u"\\b.txt", u"\\c.txt"));
  f.Close(shared);
}

// Another volume: a file moves as a copy with all it keeps, a directory not.
TYPED_TEST(PlatformEntriesTest, MoveAcrossVolumes) {
  char other[] = "/dev/shm/tessel_other_XXXXXX";
  struct stat here, there;
  if (stat(this->root_.c_str(), &here) != 0 || mkdtemp(other) == nullptr)
    GTEST_SKIP() << "no second volume";
  stat(other, &there);
  if (here.st_dev == there.st_dev || !this->XattrsWork()) {
    std::filesystem::remove_all(other);
    GTEST_SKIP() << "no second volume with extended attributes";
  }
  std::filesystem::create_directory_symlink(other, this->Host("Other"));
  Files& f = this->files();
  const Handle h = this->OpenOk(u"\\a.txt", kGenericWrite);
  std::uint32_t n;
  f.Write(h, "moving", 6, &n);
  const FileTime creation = 125911584000000000;
  f.SetTimes(h, &creation, nullptr, nullptr);
  f.Close(h);
  ASSERT_EQ(kOk, f.SetAttributes(u"\\a.txt", kAttrHidden | kAttrReadOnly));
  this->MakeHostDir("d");
  EXPECT_EQ(17u, f.Move(u"\\d", u"\\Other\\d"));
  ASSERT_EQ(kOk, f.Move(u"\\a.txt", u"\\other\\b.txt"));
  EXPECT_FALSE(this->HostExists("a.txt"));
  EXPECT_EQ("moving", this->ReadHostFile("Other/b.txt"));
  FileData data;
  ASSERT_EQ(kOk, f.GetAttributeData(u"\\Other\\b.txt", &data));
  EXPECT_EQ(kAttrHidden | kAttrReadOnly, data.attributes);
  EXPECT_EQ(creation, data.creation);
  std::filesystem::remove_all(other);
}

TYPED_TEST(PlatformEntriesTest, Directories) {
  Files& f = this->files();
  this->WriteHostFile("file", "x");
  EXPECT_EQ(kOk, f.MakeDirectory(u"\\New"));
  EXPECT_EQ(kErrAlreadyExists, f.MakeDirectory(u"\\new"));
  EXPECT_EQ(kErrAlreadyExists, f.MakeDirectory(u"\\file"));
  EXPECT_EQ(kErrAlreadyExists, f.MakeDirectory(u"\\"));
  EXPECT_EQ(kErrPathNotFound, f.MakeDirectory(u"\\no\\sub"));
  EXPECT_EQ(kOk, f.MakeDirectory(u"\\new\\sub"));
  EXPECT_EQ(kOk, this->system().LastError());
  EXPECT_TRUE(this->HostExists("New/sub"));
  EXPECT_EQ(145u, f.RemoveDir(u"\\new"));
  EXPECT_EQ(267u, f.RemoveDir(u"\\file"));
  EXPECT_EQ(kErrFileNotFound, f.RemoveDir(u"\\none"));
  EXPECT_EQ(kErrPathNotFound, f.RemoveDir(u"\\no\\none"));
  EXPECT_EQ(kErrAccessDenied, f.Remove(u"\\new"));
  EXPECT_EQ(kOk, f.RemoveDir(u"\\NEW\\SUB"));
  EXPECT_EQ(kOk, f.RemoveDir(u"\\new"));
  EXPECT_FALSE(this->HostExists("New"));
  EXPECT_EQ(kOk, f.Remove(u"\\FILE"));
  EXPECT_EQ(kErrFileNotFound, f.Remove(u"\\file"));
}

TYPED_TEST(PlatformEntriesTest, FreeSpaceTempPathAndNames) {
  Files& f = this->files();
  std::uint64_t free = 0, total = 0;
  ASSERT_EQ(kOk, f.FreeSpace(u"\\", &free, &total));
  EXPECT_GT(total, 0u);
  EXPECT_LE(free, total);
  EXPECT_EQ(kErrPathNotFound, f.FreeSpace(u"\\none", &free, &total));

  std::u16string path;
  ASSERT_EQ(kOk, f.TempPath(&path));
  EXPECT_EQ(u"\\Temp\\", path);
  EXPECT_TRUE(this->HostExists("Temp"));

  std::u16string name;
  ASSERT_EQ(kOk, f.TempFileName(u"\\Temp", u"abcdef", 0x1ABCD, &name));
  EXPECT_EQ(u"\\Temp\\abcABCD.tmp", name);  // only built, not created
  EXPECT_FALSE(this->HostExists("Temp/abcABCD.tmp"));
  ASSERT_EQ(kOk, f.TempFileName(u"\\Temp\\", u"", 0x2F, &name));
  EXPECT_EQ(u"\\Temp\\2F.tmp", name);

  std::u16string first, second;
  ASSERT_EQ(kOk, f.TempFileName(u"\\Temp", u"wx", 0, &first));
  ASSERT_EQ(kOk, f.TempFileName(u"\\Temp", u"wx", 0, &second));
  EXPECT_NE(first, second);
  for (const std::u16string& made : {first, second}) {
    ASSERT_EQ(u"\\Temp\\wx", made.substr(0, 8));
    EXPECT_EQ(u".tmp", made.substr(made.size() - 4));
    std::uint32_t attributes = 0;
    EXPECT_EQ(kOk, f.GetAttributes(made, &attributes));  // created empty
  }
  EXPECT_EQ(kErrPathNotFound, f.TempFileName(u"\\none", u"x", 0, &name));
}

}  // namespace
}  // namespace plat::testing
