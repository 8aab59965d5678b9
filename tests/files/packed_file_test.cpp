// Packed files on a real device root: the container nfCompacte writes, the
// plain copy when packing gains nothing, the time stamps, every status of
// packing and of restoring, and the locked first byte. Failures come from
// the fake platform (failed calls, a full disk).
#include "files/packed_file.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>

#include "files/stream.h"
#include "platform/fake/fake_platform.h"
#include "tests/files/lh5_support.h"
#include "tests/files/stream_fixture.h"

namespace files {
namespace {

using plat::FileOp;

Bytes Text(std::size_t n) {
  std::mt19937 rng(3);
  static const char* const kWords[] = {"packed ",  "file ",      "the ", "of ",
                                       "restore ", "header\r\n", "a "};
  Bytes out;
  while (out.size() < n) {
    const char* w = kWords[rng() % 7];
    out.insert(out.end(), w, w + std::char_traits<char>::length(w));
  }
  out.resize(n);
  return out;
}

Bytes Noise(std::size_t n) {
  std::mt19937 rng(4);
  Bytes out(n);
  for (auto& b : out) b = static_cast<std::uint8_t>(rng());
  return out;
}

std::uint32_t Le32(const Bytes& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) |
         (static_cast<std::uint32_t>(b[at + 3]) << 24);
}

struct PackedFileTest : DeviceRootTest {
  plat::FileTime WriteTime(std::u16string_view path) {
    IXStream s;
    plat::FileTime t = 0;
    EXPECT_TRUE(s.Open(path, plat::kGenericRead, plat::kShareRead,
                       plat::kOpenExisting, 0));
    EXPECT_TRUE(s.GetTimes(nullptr, nullptr, &t));
    return t;
  }
  void SetTimes(std::u16string_view path, plat::FileTime c, plat::FileTime w) {
    IXStream s;
    ASSERT_TRUE(s.Open(path, plat::kGenericWrite, 0, plat::kOpenExisting, 0));
    ASSERT_TRUE(s.SetTimes(&c, &w, &w));
  }
};

TEST_F(PackedFileTest, ContainerAroundTheStream) {
  const Bytes text = Text(100000);
  Put("a.txt", text);
  SetTimes(u"\\a.txt", 133000000000000000, 133500000000000000);
  ASSERT_EQ(kPackDone, Compacte(u"\\a.txt", u"\\a.lzh"));

  const Bytes packed = Get("a.lzh");
  ASSERT_GT(packed.size(), kPackedHeaderSize + 2);
  EXPECT_EQ(Bytes({0x20, '-', 'l', 'h', '5', '-', 0}),
            Bytes(packed.begin(), packed.begin() + 7));
  const std::uint32_t stream_size = Le32(packed, 7);
  EXPECT_EQ(text.size(), Le32(packed, 11));
  EXPECT_EQ(kPackedHeaderSize + stream_size + 2, packed.size());
  Bytes field(packed.begin() + 15, packed.begin() + kPackedHeaderSize);
  Bytes expected_field = {'\\', 'a', '.', 't', 'x', 't'};
  expected_field.resize(kPackedPathField);
  EXPECT_EQ(expected_field, field);
  EXPECT_EQ(0, packed[packed.size() - 2]);
  EXPECT_EQ(0, packed[packed.size() - 1]);

  const Bytes stream(packed.begin() + kPackedHeaderSize,
                     packed.end() - kPackedTrailerSize);
  Bytes out;
  ASSERT_EQ(Lh5Result::kDone, testing::Decode(stream, text.size(), &out));
  EXPECT_TRUE(out == text);
  EXPECT_EQ(133500000000000000u, WriteTime(u"\\a.lzh"));

  ASSERT_EQ(kRestoreDone, Decompacte(u"\\a.lzh", u"\\b.txt"));
  EXPECT_TRUE(Get("b.txt") == text);
  EXPECT_EQ(133500000000000000u, WriteTime(u"\\b.txt"));
}

// Packing that cannot make the file smaller leaves a plain copy, which
// restoring copies back.
TEST_F(PackedFileTest, NoGainGivesAPlainCopy) {
  const struct {
    const char* id;
    Bytes data;
  } cases[] = {
      {"empty", {}},
      {"one byte", {'x'}},
      {"text no longer than the header", Text(286)},
      {"noise", Noise(50000)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    Put("s.bin", c.data);
    ASSERT_EQ(kPackDone, Compacte(u"\\s.bin", u"\\s.lzh"));
    EXPECT_TRUE(Get("s.lzh") == c.data);
    ASSERT_EQ(kRestoreDone, Decompacte(u"\\s.lzh", u"\\r.bin"));
    EXPECT_TRUE(Get("r.bin") == c.data);
  }
}

// The device refuses paths past 260 characters, so only the header
// itself meets a longer one.
TEST_F(PackedFileTest, PathFieldInCodePage1252CutAt260) {
  const std::string dir(150, 'd');
  const std::string name(108, 'f');
  const std::string path = "\\" + dir + "\\" + name;  // 260 characters
  Dir("\\" + dir);
  Put(dir + "/" + name, Text(5000));
  Put("\xC3\xA9t\xC3\xA9.txt", Text(5000));  // e-acute t e-acute, in UTF-8
  auto field = [](const Bytes& b) {
    const std::string f(b.begin() + 15, b.begin() + kPackedHeaderSize);
    return f.substr(0, f.find('\0'));
  };

  ASSERT_EQ(kPackDone, Compacte(U16(path).c_str(), u"\\l.lzh"));
  EXPECT_EQ(path, field(Get("l.lzh")));
  ASSERT_EQ(kPackDone, Compacte(u"\\\u00E9t\u00E9.txt", u"\\e.lzh"));
  EXPECT_EQ("\\\xE9t\xE9.txt", field(Get("e.lzh")));

  Bytes header(kPackedHeaderSize);
  BuildPackedHeader(U16(path + "\\more"), 1, 2, header.data());
  EXPECT_EQ(path, field(header));
  PackedHeader read;
  ASSERT_EQ(PackedKind::kPacked,
            ReadPackedHeader(header.data(), header.size(), &read));
  EXPECT_EQ(1u, read.packed_size);
  EXPECT_EQ(2u, read.original_size);
  EXPECT_EQ(path, read.path);
}

// clang-format off
struct PackFailure {
  const char* id;
  const char16_t* source;
  const char16_t* destination;
  std::optional<FileOp> broken;  // fails with `error`, `count` times
  plat::SysErr error;
  int count;
  std::uint64_t capacity;        // bytes left on the disk, 0 for no limit
  std::int16_t status;
  bool destination_left;
};
const PackFailure kPackFailures[] = {
  {"1",      u"\\none.txt", u"\\d.lzh",    {},              0,  0, 0,    kPackSourceUnreadable,      false},
  {"1 null", nullptr,       u"\\d.lzh",    {},              0,  0, 0,    kPackSourceUnreadable,      false},
  {"2",      u"\\s.txt",    u"\\no\\d.lzh", {},             0,  0, 0,    kPackDestinationNotCreated, false},
  {"4 write", u"\\s.txt",   u"\\d.lzh",    FileOp::kWrite,  5,  1, 0,    kPackFailed,                true},
  {"4 read",  u"\\s.txt",   u"\\d.lzh",    FileOp::kRead,   23, 1, 0,    kPackFailed,                true},
  {"4 times", u"\\s.txt",   u"\\d.lzh",    FileOp::kSetTimes, 5, 1, 0,   kPackFailed,                true},
  {"7",      u"\\s.txt",    u"\\d.lzh",    {},              0,  0, 1000, kPackDiskFull,              true},
};
// clang-format on

TEST_F(PackedFileTest, PackFailures) {
  for (const PackFailure& c : kPackFailures) {
    SCOPED_TRACE(c.id);
    Put("s.txt", Text(60000));
    std::filesystem::remove(HostPath("d.lzh"));
    plat::FakePlatform fake;
    if (c.broken) fake.files().FailNext(*c.broken, c.error, c.count);
    if (c.capacity != 0) fake.files().SetDiskCapacity(c.capacity);
    EXPECT_EQ(c.status, Compacte(c.source, c.destination));
    EXPECT_EQ(c.destination_left, Exists("\\d.lzh"));
  }
}

// Kept as is: a source whose first read is refused as locked is copied
// with "M" for its first byte.
TEST_F(PackedFileTest, LockedFirstByteBecomesM) {
  for (plat::SysErr error : {plat::kErrAccessDenied, plat::kErrLockViolation}) {
    SCOPED_TRACE(error);
    const Bytes text = Text(40000);
    Put("p.exe", text);
    plat::FakePlatform fake;
    fake.files().FailNext(FileOp::kRead, error, 2);  // packing, then the copy
    ASSERT_EQ(kPackDone, Compacte(u"\\p.exe", u"\\p.lzh"));
    Bytes expected = text;
    expected[0] = 'M';
    EXPECT_TRUE(Get("p.lzh") == expected);
  }
}

// clang-format off
struct RestoreFailure {
  const char* id;
  const char16_t* source;
  const char16_t* destination;
  Bytes (*damage)(Bytes packed);  // what r.lzh holds, from a packed file
  std::uint64_t capacity;
  std::int16_t status;
};
const RestoreFailure kRestoreFailures[] = {
  {"1",           u"\\none.lzh", u"\\out.txt",     nullptr, 0, kRestoreSourceUnreadable},
  {"2",           u"\\r.lzh",    u"\\no\\out.txt", nullptr, 0, kRestoreDestinationNotCreated},
  {"3 truncated", u"\\r.lzh",    u"\\out.txt",
   [](Bytes b) { b.resize(b.size() - 40); return b; }, 0, kRestoreNotPacked},
  {"3 header only", u"\\r.lzh",  u"\\out.txt",
   [](Bytes b) { b.resize(200); return b; }, 0, kRestoreNotPacked},
  {"3 lh6",       u"\\r.lzh",    u"\\out.txt",
   [](Bytes b) { b[4] = '6'; return b; }, 0, kRestoreNotPacked},
  {"3 corrupt",   u"\\r.lzh",    u"\\out.txt",
   [](Bytes b) { std::fill(b.begin() + 284, b.begin() + 400, 0xFF); return b; }, 0, kRestoreNotPacked},
  {"3 sizes",     u"\\r.lzh",    u"\\out.txt",
   [](Bytes b) { b[14] = 0x7F; return b; }, 0, kRestoreNotPacked},
  {"4",           u"\\r.lzh",    u"\\out.txt",     nullptr, 5000, kRestoreWriteFailed},
};
// clang-format on

// A restore that does not finish leaves no destination behind.
TEST_F(PackedFileTest, RestoreFailures) {
  Put("s.txt", Text(60000));
  ASSERT_EQ(kPackDone, Compacte(u"\\s.txt", u"\\s.lzh"));
  const Bytes packed = Get("s.lzh");
  for (const RestoreFailure& c : kRestoreFailures) {
    SCOPED_TRACE(c.id);
    Put("r.lzh", c.damage != nullptr ? c.damage(packed) : packed);
    plat::FakePlatform fake;
    if (c.capacity != 0) fake.files().SetDiskCapacity(c.capacity);
    EXPECT_EQ(c.status, Decompacte(c.source, c.destination));
    EXPECT_FALSE(Exists("\\out.txt"));
  }
}

}  // namespace
}  // namespace files
