// IXStream over real files in a temporary device root: opening by
// disposition, exact and partial reads, writing, positioning, times, and
// the exact lines of each report.
#include "files/stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/fake/fake_platform.h"
#include "tests/files/stream_fixture.h"

namespace files {
namespace {

using plat::kCreateAlways;
using plat::kOpenAlways;
using plat::kOpenExisting;
constexpr std::uint32_t kReadWrite = plat::kGenericRead | plat::kGenericWrite;

const Bytes kTen = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};

struct StreamTest : DeviceRootTest {
  std::unique_ptr<IXStream> OpenTen() {
    Put("ten.dat", kTen);
    auto stream = std::make_unique<IXStream>(&record);
    EXPECT_TRUE(stream->Open(u"\\ten.dat", kReadWrite, 0, kOpenExisting, 0));
    return stream;
  }
};

// clang-format off
struct OpenCase {
  const char* id;
  bool exists;
  std::uint32_t disposition;
  const char* name;
  bool ok;
  bool created;
  std::uint32_t message;  // on failure
  plat::SysErr error;
};
constexpr OpenCase kOpenCases[] = {
  {"1.1", false, kCreateAlways, "a.dat",     true,  true,  0,     0},
  // Kept as is: create-always tells `created` even over an existing file.
  {"1.2", true,  kCreateAlways, "a.dat",     true,  true,  0,     0},
  {"1.3", false, kOpenExisting, "a.dat",     false, false, 28139, 2},
  {"1.4", true,  kOpenExisting, "a.dat",     true,  false, 0,     0},
  {"1.5", false, kOpenAlways,   "a.dat",     true,  true,  0,     0},
  {"1.6", true,  kOpenAlways,   "a.dat",     true,  false, 0,     0},
  {"1.7", false, kCreateAlways, "no\\a.dat", false, false, 28140, 3},
  {"1.8", false, kOpenAlways,   "no\\a.dat", false, false, 28002, 3},
  {"1.9", false, kOpenExisting, "no\\a.dat", false, false, 28139, 3},
};
// clang-format on

TEST_F(StreamTest, OpenByDisposition) {
  for (const OpenCase& c : kOpenCases) {
    SCOPED_TRACE(c.id);
    std::filesystem::remove(HostPath("a.dat"));
    if (c.exists) Put("a.dat", {1, 2, 3});
    record.Reset();
    IXStream stream(&record);
    bool created = !c.created;
    const std::u16string name = DevicePath(c.name);
    EXPECT_EQ(c.ok,
              stream.Open(name, kReadWrite, 0, c.disposition, 0, &created));
    EXPECT_EQ(c.created, created);
    EXPECT_EQ(c.ok, stream.is_open());
    EXPECT_EQ(name, stream.name());
    if (c.ok) {
      EXPECT_EQ(0u, stream.Tell());
      EXPECT_FALSE(record.HasError());
      EXPECT_EQ(c.exists && c.disposition != kCreateAlways ? 3u : 0u,
                Get("a.dat").size());
    } else {
      EXPECT_EQ(c.error, record.system_code);
      EXPECT_EQ((std::vector<std::u16string>{HandleTrace(plat::kInvalidHandle),
                                             Message(c.message, {name})}),
                record.texts);
    }
  }
}

// The system has no current directory: a relative name is the program's
// directory's. Reports keep the name as the program gave it.
TEST_F(StreamTest, RelativeNamesResolveAgainstTheProgramDirectory) {
  std::filesystem::create_directory(HostPath("Prog"));  // "\Prog\app.exe"
  Put("Prog/data.bin", {7, 8});
  IXStream stream(&record);
  EXPECT_TRUE(
      stream.Open(u"data.bin", plat::kGenericRead, 0, kOpenExisting, 0));
  std::uint8_t two[2] = {};
  EXPECT_TRUE(stream.Read(two, 2));
  EXPECT_EQ(8, two[1]);
  EXPECT_FALSE(
      stream.Open(u"other.bin", plat::kGenericRead, 0, kOpenExisting, 0));
  EXPECT_EQ(Message(28139, {u"other.bin"}), record.texts.back());
}

// Names too long are refused, not cut; reports name the display name when
// one is set.
TEST_F(StreamTest, LongNamesAndDisplayNames) {
  IXStream stream(&record);
  const std::u16string name = u"\\" + std::u16string(300, u'n');
  EXPECT_FALSE(stream.Open(name, kReadWrite, 0, kCreateAlways, 0));
  EXPECT_EQ(plat::kErrFilenameTooLong, record.system_code);
  EXPECT_EQ(Message(28140, {name}), record.texts.back());
  stream.set_display_name(u"Clients");
  EXPECT_FALSE(
      stream.Open(u"\\missing.dat", plat::kGenericRead, 0, kOpenExisting, 0));
  EXPECT_EQ(Message(28139, {u"Clients"}), record.texts.back());
}

TEST_F(StreamTest, FailuresWithoutSinkFileNothing) {
  IXStream stream;
  EXPECT_FALSE(
      stream.Open(u"\\missing.dat", plat::kGenericRead, 0, kOpenExisting, 0));
  char byte = 0;
  EXPECT_FALSE(stream.Read(&byte, 1));
  EXPECT_FALSE(stream.Write(&byte, 1));
}

// clang-format off
struct ReadCase {
  const char* id;
  std::uint64_t at;
  std::uint32_t count;
  bool partial;
  bool ok;
  std::uint32_t got;
};
constexpr ReadCase kReadCases[] = {
  {"2.1", 0,  10, false, true,  10},
  {"2.2", 0,  11, false, false, 10},
  {"2.3", 0,  11, true,  true,  10},
  {"2.4", 10, 1,  true,  true,  0},
  {"2.5", 10, 1,  false, false, 0},
  {"2.6", 4,  4,  false, true,  4},
  {"2.7", 3,  0,  false, true,  0},
  {"2.8", 12, 2,  true,  true,  0},
};
// clang-format on

TEST_F(StreamTest, ExactAndPartialReads) {
  auto stream = OpenTen();
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(c.id);
    record.Reset();
    Bytes buffer(c.count, 0xEE);  // exactly the size asked for
    std::uint32_t got = 0xDEAD;
    EXPECT_EQ(c.ok, stream->ReadAt(c.at, buffer.data(), c.count,
                                   c.partial ? &got : nullptr));
    if (c.partial) {
      EXPECT_EQ(c.got, got);
    }
    EXPECT_EQ(c.at + c.got, stream->Tell());
    for (std::uint32_t i = 0; i < c.got; ++i) EXPECT_EQ(c.at + i, buffer[i]);
    if (c.ok) {
      EXPECT_FALSE(record.HasError());
      continue;
    }
    EXPECT_EQ(0u, record.system_code);
    EXPECT_EQ((std::vector<std::u16string>{
                  HandleTrace(stream->handle()), u"##(IXStream)-bExact=<1>##",
                  U16("##(IXStream)-A lire=<" + std::to_string(c.count) +
                      ">, lu=<" + std::to_string(c.got) + ">##"),
                  Message(28003, {u"\\ten.dat"})}),
              record.texts);
  }
}

TEST_F(StreamTest, WritesAdvanceAndLand) {
  IXStream stream(&record);
  std::uint32_t written = 7;
  EXPECT_TRUE(stream.Write(nullptr, 0, &written));  // closed: no system call
  EXPECT_EQ(0u, written);
  ASSERT_TRUE(stream.Open(u"\\w.dat", kReadWrite, 0, kCreateAlways, 0));
  const std::uint8_t data[] = {'a', 'b', 'c', 'd', 'e'};
  EXPECT_TRUE(stream.Write(data, 5, &written));
  EXPECT_EQ(5u, written);
  EXPECT_TRUE(stream.Write(data, 3));
  EXPECT_EQ(8u, stream.Tell());
  EXPECT_TRUE(stream.Flush());
  EXPECT_EQ((Bytes{'a', 'b', 'c', 'd', 'e', 'a', 'b', 'c'}), Get("w.dat"));
  EXPECT_FALSE(record.HasError());
}

TEST_F(StreamTest, SeekSetSizeAndTimes) {
  auto stream = OpenTen();
  EXPECT_TRUE(stream->Seek(-2, plat::kSeekEnd));
  EXPECT_EQ(8u, stream->Tell());
  std::uint8_t two[2];
  EXPECT_TRUE(stream->Read(two, 2));
  EXPECT_EQ(9, two[1]);
  EXPECT_TRUE(stream->Seek(-3, plat::kSeekCurrent));
  EXPECT_EQ(7u, stream->Tell());

  EXPECT_TRUE(stream->SetSize(4));
  EXPECT_EQ(4u, stream->Tell());
  EXPECT_EQ((Bytes{0, 1, 2, 3}), Get("ten.dat"));
  EXPECT_TRUE(stream->SetSize(6));
  EXPECT_EQ((Bytes{0, 1, 2, 3, 0, 0}), Get("ten.dat"));
  EXPECT_FALSE(record.HasError());
  const plat::FileTime write_time = 132'000'000'000'000'000ull;  // in 2019
  EXPECT_TRUE(stream->SetTimes(nullptr, nullptr, &write_time));
  plat::FileTime read_back = 0;
  EXPECT_TRUE(stream->GetTimes(nullptr, nullptr, &read_back));
  EXPECT_EQ(write_time, read_back);
}

TEST_F(StreamTest, DestructorCloses) {
  auto first = OpenTen();
  IXStream second(&record);
  EXPECT_FALSE(second.Open(u"\\ten.dat", kReadWrite, 0, kOpenExisting, 0));
  EXPECT_EQ(plat::kErrSharingViolation, record.system_code);
  first.reset();
  EXPECT_TRUE(second.Open(u"\\ten.dat", kReadWrite, 0, kOpenExisting, 0));
}

// ---- What only a device produces, through the platform double --------------

struct DeviceFailureTest : StreamTest {
  plat::FakePlatform fake;
};

// clang-format off
struct RetryCase {
  const char* id;
  plat::SysErr error;
  int failures;
  bool partial;
  bool ok;
};
constexpr RetryCase kRetryCases[] = {
  {"5.1", 997, 1,  false, true},
  {"5.2", 162, 3,  false, true},
  {"5.3", 162, 2,  true,  true},
  {"5.4", 997, 63, false, true},
  {"5.5", 997, 64, false, false},  // a device that never completes
  {"5.6", 5,   1,  false, false},  // not retried
  {"5.7", 5,   1,  true,  false},
};
// clang-format on

TEST_F(DeviceFailureTest, ReadsRetryWhileThePendingErrorsLast) {
  auto stream = OpenTen();
  for (const RetryCase& c : kRetryCases) {
    SCOPED_TRACE(c.id);
    record.Reset();
    ASSERT_TRUE(stream->Seek(0, plat::kSeekBegin));
    fake.files().FailNext(plat::FileOp::kRead, c.error, c.failures);
    Bytes buffer(10, 0xEE);
    std::uint32_t got = 0;
    EXPECT_EQ(c.ok,
              stream->Read(buffer.data(), 10, c.partial ? &got : nullptr));
    if (c.ok) {
      EXPECT_EQ(kTen, buffer);
      EXPECT_EQ(10u, stream->Tell());
      EXPECT_FALSE(record.HasError());
      continue;
    }
    EXPECT_EQ(0u, stream->Tell());
    EXPECT_EQ(c.error, record.system_code);
    EXPECT_EQ(
        (std::vector<std::u16string>{HandleTrace(stream->handle()),
                                     c.partial ? u"##(IXStream)-bExact=<0>##"
                                               : u"##(IXStream)-bExact=<1>##",
                                     u"##(IXStream)-A lire=<10>, lu=<0>##",
                                     Message(28003, {u"\\ten.dat"})}),
        record.texts);
  }
}

TEST_F(DeviceFailureTest, WriteOnAFullDiskKeepsWhatFitted) {
  auto stream = OpenTen();
  fake.files().SetDiskCapacity(3);
  ASSERT_TRUE(stream->Seek(0, plat::kSeekEnd));
  std::uint32_t written = 0;
  EXPECT_FALSE(stream->Write("abcde", 5, &written));
  EXPECT_EQ(3u, written);
  EXPECT_EQ(13u, stream->Tell());
  EXPECT_EQ(plat::kErrDiskFull, record.system_code);
  EXPECT_EQ((std::vector<std::u16string>{HandleTrace(stream->handle()),
                                         u"##(IXStream)-Access=<c0000000>##",
                                         Message(28008, {u"\\ten.dat"})}),
            record.texts);
  EXPECT_EQ(13u, Get("ten.dat").size());
}

}  // namespace
}  // namespace files
