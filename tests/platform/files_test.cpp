// The Files interface as the handheld behaves, on the POSIX backend and on
// the double over it: dispositions, handle calls, share modes between
// handles, read-only files, times and attributes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>

#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

template <class Backend>
class PlatformFilesTest : public BackendTest<Backend> {};
TYPED_TEST_SUITE(PlatformFilesTest, Backends);

constexpr std::uint32_t kRead = kGenericRead;
constexpr std::uint32_t kWrite = kGenericWrite;
constexpr std::uint32_t kBoth = kGenericRead | kGenericWrite;
constexpr std::uint32_t kShareAll = kShareRead | kShareWrite;

struct DispositionCase {
  const char* id;
  bool exists;
  std::uint32_t disposition;
  std::uint32_t access;
  std::u16string_view path;
  SysErr error;
  const char* content;  // after the open; null: no file
};

// clang-format off
constexpr DispositionCase kDispositions[] = {
  {"new/exists",       true,  kCreateNew,        kWrite, u"\\f.txt",    kErrFileExists,      "old"},
  {"new/missing",      false, kCreateNew,        kWrite, u"\\f.txt",    kOk,                 ""},
  {"always/exists",    true,  kCreateAlways,     kWrite, u"\\f.txt",    kOk,                 ""},
  {"always/reader",    true,  kCreateAlways,     kRead,  u"\\f.txt",    kOk,                 ""},
  {"always/missing",   false, kCreateAlways,     kWrite, u"\\f.txt",    kOk,                 ""},
  {"existing/exists",  true,  kOpenExisting,     kRead,  u"\\F.TXT",    kOk,                 "old"},
  {"existing/missing", false, kOpenExisting,     kRead,  u"\\f.txt",    kErrFileNotFound,    nullptr},
  {"existing/no dir",  false, kOpenExisting,     kRead,  u"\\no\\f.txt", kErrPathNotFound,   nullptr},
  {"open/exists",      true,  kOpenAlways,       kBoth,  u"\\f.txt",    kOk,                 "old"},
  {"open/missing",     false, kOpenAlways,       kBoth,  u"\\f.txt",    kOk,                 ""},
  {"open/no dir",      false, kOpenAlways,       kBoth,  u"\\no\\f.txt", kErrPathNotFound,   nullptr},
  {"trunc/exists",     true,  kTruncateExisting, kWrite, u"\\f.txt",    kOk,                 ""},
  {"trunc/reader",     true,  kTruncateExisting, kRead,  u"\\f.txt",    kErrInvalidParameter, "old"},
  {"trunc/missing",    false, kTruncateExisting, kWrite, u"\\f.txt",    kErrFileNotFound,    nullptr},
  {"zero",             true,  0,                 kRead,  u"\\f.txt",    kErrInvalidParameter, "old"},
  {"six",              true,  6,                 kRead,  u"\\f.txt",    kErrInvalidParameter, "old"},
};
// clang-format on

TYPED_TEST(PlatformFilesTest, Dispositions) {
  for (const DispositionCase& c : kDispositions) {
    SCOPED_TRACE(c.id);
    std::filesystem::remove(this->Host("f.txt"));
    if (c.exists) this->WriteHostFile("f.txt", "old");
    Handle handle = kInvalidHandle;
    const SysErr err = this->files().Open(c.path, c.access, kShareAll,
                                          c.disposition, 0, &handle);
    EXPECT_EQ(c.error, err);
    EXPECT_EQ(c.error, this->system().LastError());
    EXPECT_EQ(err == kOk, handle != kInvalidHandle);
    if (err == kOk) {
      EXPECT_EQ(kOk, this->files().Close(handle));
    }
    EXPECT_EQ(c.content != nullptr, this->HostExists("f.txt"));
    if (c.content != nullptr) {
      EXPECT_EQ(c.content, this->ReadHostFile("f.txt"));
    }
  }
}

TYPED_TEST(PlatformFilesTest, ReadWriteSeekAndSize) {
  Files& f = this->files();
  const Handle h = this->OpenOk(u"\\data.bin", kBoth);
  std::uint32_t n = 0;
  ASSERT_EQ(kOk, f.Write(h, "hello world", 11, &n));
  EXPECT_EQ(11u, n);
  std::uint64_t at = 0;
  ASSERT_EQ(kOk, f.Seek(h, -5, kSeekEnd, &at));
  EXPECT_EQ(6u, at);
  char buffer[16] = {};
  ASSERT_EQ(kOk, f.Read(h, buffer, sizeof buffer, &n));
  EXPECT_EQ(5u, n);
  EXPECT_STREQ("world", buffer);
  ASSERT_EQ(kOk, f.Read(h, buffer, sizeof buffer, &n));
  EXPECT_EQ(0u, n);  // end of file is a short read, not an error
  EXPECT_EQ(kOk, f.Seek(h, 5, kSeekBegin, &at));
  EXPECT_EQ(kOk, f.SetEnd(h));
  std::uint64_t size = 0;
  EXPECT_EQ(kOk, f.Size(h, &size));
  EXPECT_EQ(5u, size);
  EXPECT_EQ(131u, f.Seek(h, -6, kSeekCurrent, &at));
  EXPECT_EQ(kErrInvalidParameter, f.Seek(h, 0, 3, &at));
  EXPECT_EQ(kOk, f.Seek(h, std::int64_t{1} << 40, kSeekBegin, &at));
  EXPECT_EQ(std::uint64_t{1} << 40, at);
  EXPECT_EQ(kOk, f.Flush(h));
  EXPECT_EQ(kOk, f.Close(h));
  EXPECT_EQ(kErrInvalidHandle, f.Close(h));
  EXPECT_EQ(kErrInvalidHandle, f.Read(h, buffer, 1, &n));
  EXPECT_EQ("hello", this->ReadHostFile("data.bin"));
}

TYPED_TEST(PlatformFilesTest, HandleAllowsOnlyItsAccess) {
  this->WriteHostFile("f.txt", "abc");
  Files& f = this->files();
  char byte = 0;
  std::uint32_t n = 0;
  const Handle reader = this->OpenOk(u"\\f.txt", kRead);
  EXPECT_EQ(kErrAccessDenied, f.Write(reader, "x", 1, &n));
  EXPECT_EQ(kErrAccessDenied, f.SetEnd(reader));
  const Handle writer = this->OpenOk(u"\\f.txt", kWrite);
  EXPECT_EQ(kErrAccessDenied, f.Read(writer, &byte, 1, &n));
  EXPECT_EQ(kOk, f.Write(writer, "x", 1, &n));
  f.Close(reader);
  f.Close(writer);
  EXPECT_EQ("xbc", this->ReadHostFile("f.txt"));
}

TYPED_TEST(PlatformFilesTest, DirectoriesOpenOnlyWithBackupSemantics) {
  this->MakeHostDir("Dir");
  EXPECT_EQ(kErrAccessDenied,
            this->OpenError(u"\\dir", kRead, kShareAll, kOpenExisting));
  EXPECT_EQ(kErrFileExists, this->OpenError(u"\\dir", kRead, kShareAll,
                                            kCreateNew, kFlagBackupSemantics));
  const Handle h = this->OpenOk(u"\\dir", kWrite, kShareAll, kOpenExisting,
                                kFlagBackupSemantics);
  char byte;
  std::uint32_t n;
  EXPECT_EQ(1u, this->files().Read(h, &byte, 1, &n));
  const FileTime when = 133000000000000000;
  EXPECT_EQ(kOk, this->files().SetTimes(h, &when, nullptr, &when));
  FileTime creation = 0, write = 0;
  EXPECT_EQ(kOk, this->files().GetTimes(h, &creation, nullptr, &write));
  EXPECT_EQ(when, creation);
  EXPECT_EQ(when, write);
  EXPECT_EQ(kOk, this->files().Close(h));
}

struct ShareCase {
  const char* id;
  std::uint32_t first_access, first_share, second_access, second_share;
  SysErr error;
};

// clang-format off
constexpr ShareCase kShares[] = {
  {"2.1",  kRead,  kShareRead,  kRead,  kShareRead,  kOk},
  {"2.2",  kRead,  kShareRead,  kWrite, kShareAll,   kErrSharingViolation},
  {"2.3",  kWrite, kShareAll,   kRead,  kShareRead,  kErrSharingViolation},
  {"2.4",  kWrite, kShareRead,  kRead,  kShareAll,   kOk},
  {"2.5",  kWrite, kShareRead,  kWrite, kShareAll,   kErrSharingViolation},
  {"2.6",  kBoth,  0,           kRead,  kShareAll,   kErrSharingViolation},
  {"2.7",  kRead,  kShareAll,   kRead,  0,           kErrSharingViolation},
  {"2.8",  kWrite, kShareWrite, kWrite, kShareWrite, kOk},
  {"2.9",  kWrite, kShareWrite, kRead,  kShareAll,   kErrSharingViolation},
  {"2.10", 0,      0,           kBoth,  kShareAll,   kOk},
  {"2.11", kBoth,  0,           0,      0,           kOk},
};
// clang-format on

TYPED_TEST(PlatformFilesTest, ShareModesBetweenHandles) {
  this->WriteHostFile("s.txt", "shared");
  for (const ShareCase& c : kShares) {
    SCOPED_TRACE(c.id);
    const Handle first =
        this->OpenOk(u"\\s.txt", c.first_access, c.first_share, kOpenExisting);
    EXPECT_EQ(c.error, this->OpenError(u"\\S.TXT", c.second_access,
                                       c.second_share, kOpenExisting));
    this->files().Close(first);
  }
  // Closing the handle lifts its refusal.
  EXPECT_EQ(kOk, this->OpenError(u"\\s.txt", kBoth, 0, kOpenExisting));
}

TYPED_TEST(PlatformFilesTest, RefusedCreateAlwaysLeavesTheFile) {
  this->WriteHostFile("s.txt", "keep");
  const Handle h = this->OpenOk(u"\\s.txt", kRead, kShareRead, kOpenExisting);
  EXPECT_EQ(kErrSharingViolation,
            this->OpenError(u"\\s.txt", kWrite, kShareAll, kCreateAlways));
  EXPECT_EQ(kErrSharingViolation, this->files().Remove(u"\\s.txt"));
  this->files().Close(h);
  EXPECT_EQ("keep", this->ReadHostFile("s.txt"));
}

TYPED_TEST(PlatformFilesTest, ReadOnlyFilesAsOnTheHandheld) {
  Files& f = this->files();
  const Handle early = this->OpenOk(u"\\ro.txt", kWrite);
  ASSERT_EQ(kOk, f.SetAttributes(u"\\ro.txt", kAttrReadOnly));
  std::uint32_t attributes = 0;
  EXPECT_EQ(kOk, f.GetAttributes(u"\\ro.txt", &attributes));
  EXPECT_EQ(kAttrReadOnly, attributes);
  EXPECT_EQ(kOk, this->system().LastError());  // every call sets it
  EXPECT_EQ(kErrFileNotFound, f.GetAttributes(u"\\missing", &attributes));
  EXPECT_EQ(kErrFileNotFound, this->system().LastError());
  EXPECT_EQ(kErrAccessDenied,
            this->OpenError(u"\\ro.txt", kWrite, kShareAll, kOpenExisting));
  EXPECT_EQ(kErrAccessDenied,
            this->OpenError(u"\\ro.txt", kRead, kShareAll, kCreateAlways));
  EXPECT_EQ(kOk, this->OpenError(u"\\ro.txt", kRead, kShareAll, kOpenExisting));
  EXPECT_EQ(kErrAccessDenied, f.Remove(u"\\ro.txt"));
  // A handle opened for writing before keeps its right to set times.
  const FileTime when = 130000000000000000;
  EXPECT_EQ(kOk, f.SetTimes(early, nullptr, nullptr, &when));
  f.Close(early);
  EXPECT_EQ(kOk, f.SetAttributes(u"\\ro.txt", kAttrNormal));
  EXPECT_EQ(kOk, f.Remove(u"\\ro.txt"));
}

TYPED_TEST(PlatformFilesTest, TimesRoundTripAndCreationSurvivesReopen) {
  Files& f = this->files();
  Handle h = this->OpenOk(u"\\t.txt", kBoth, kShareAll, kCreateNew);
  const FileTime creation = 125911584000000000;  // 2000-01-01
  const FileTime access = 128000000000000000;
  const FileTime write = 131000000000000000;
  ASSERT_EQ(kOk, f.SetTimes(h, &creation, &access, &write));
  f.Close(h);
  h = this->OpenOk(u"\\T.TXT", kRead, kShareAll, kOpenExisting);
  FileTime c = 0, a = 0, w = 0;
  ASSERT_EQ(kOk, f.GetTimes(h, &c, &a, &w));
  EXPECT_EQ(creation, c);
  EXPECT_EQ(access, a);
  EXPECT_EQ(write, w);
  EXPECT_EQ(kErrAccessDenied, f.SetTimes(h, nullptr, nullptr, &write));
  f.Close(h);
  FileData data;
  ASSERT_EQ(kOk, f.GetAttributeData(u"\\t.txt", &data));
  EXPECT_EQ(creation, data.creation);
  EXPECT_EQ(write, data.last_write);
}

TYPED_TEST(PlatformFilesTest, AttributesKeptAcrossReopenAndMove) {
  if (!this->XattrsWork()) GTEST_SKIP() << "no extended attributes here";
  Files& f = this->files();
  std::uint32_t attributes = 0;
  this->files().Close(this->OpenOk(u"\\a.txt", kWrite));
  ASSERT_EQ(kOk, f.GetAttributes(u"\\a.txt", &attributes));
  EXPECT_EQ(kAttrArchive, attributes);  // a new file, as on the handheld
  ASSERT_EQ(kOk, f.SetAttributes(u"\\a.txt", kAttrHidden | kAttrSystem));
  this->files().Close(this->OpenOk(u"\\a.txt", kRead));
  ASSERT_EQ(kOk, f.Move(u"\\a.txt", u"\\b.txt"));
  ASSERT_EQ(kOk, f.GetAttributes(u"\\b.txt", &attributes));
  EXPECT_EQ(kAttrHidden | kAttrSystem, attributes);
  const Handle h = this->OpenOk(u"\\b.txt", kWrite);
  std::uint32_t n;
  f.Write(h, "x", 1, &n);  // writing marks the file for archiving
  f.Close(h);
  ASSERT_EQ(kOk, f.GetAttributes(u"\\b.txt", &attributes));
  EXPECT_EQ(kAttrHidden | kAttrSystem | kAttrArchive, attributes);
  ASSERT_EQ(kOk, f.SetAttributes(u"\\b.txt", 0));
  ASSERT_EQ(kOk, f.GetAttributes(u"\\b.txt", &attributes));
  EXPECT_EQ(kAttrNormal, attributes);
  this->MakeHostDir("d");
  ASSERT_EQ(kOk, f.SetAttributes(u"\\d", kAttrHidden | kAttrReadOnly));
  ASSERT_EQ(kOk, f.GetAttributes(u"\\d", &attributes));
  EXPECT_EQ(kAttrDirectory | kAttrHidden | kAttrReadOnly, attributes);
  EXPECT_EQ(kErrAccessDenied, f.RemoveDir(u"\\d"));
  EXPECT_EQ(kErrFileNotFound, f.GetAttributes(u"\\none", &attributes));
  EXPECT_EQ(kInvalidAttributes, attributes);
  EXPECT_EQ(kErrPathNotFound, f.GetAttributes(u"\\no\\none", &attributes));
  // Created with attributes, a file is still writable through its handle.
  const Handle c = this->OpenOk(u"\\c.txt", kWrite, kShareAll, kCreateNew,
                                kAttrHidden | kAttrReadOnly);
  EXPECT_EQ(kOk, f.Write(c, "x", 1, &n));
  f.Close(c);
  ASSERT_EQ(kOk, f.GetAttributes(u"\\c.txt", &attributes));
  EXPECT_EQ(kAttrHidden | kAttrReadOnly | kAttrArchive, attributes);
}

}  // namespace
}  // namespace plat::testing
