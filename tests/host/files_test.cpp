// The file and directory functions through the reference host, on real
// files in a fresh device root: FileAttribute (175), FileDate, FileTime and
// FileDateTime (195, 196, 340), DirectorySize (350), DirectoryDelete (194)
// and ParentDirectory (407). A second process holds a file where a test
// needs it open elsewhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <variant>

#include "host/refhost/host.h"
#include "platform/platform.h"
#include "tests/files/fs_fixture.h"
#include "tests/platform/file_holder.h"

namespace refhost {
namespace {

namespace fs = std::filesystem;

enum Function : std::uint32_t {
  kAttribute = 175,
  kDelete = 194,
  kDate = 195,
  kTime = 196,
  kDateTime = 340,
  kSize = 350,
  kParent = 407,
};
enum Error : std::uint32_t {
  kNone = 0,
  kSelector = 80050,
  kBadDate = 80051,
  kBadTime = 80052,
  kNoDirectory = 80062,
  kNotDeleted = 80063,
  kBadOption = 80404,
  kNotAbsolute = 80600,
  kStampFailed = 81802,
  kReported = 1,  // a report of messages only
};

std::u16string U16(std::string_view s) { return {s.begin(), s.end()}; }

std::u16string TextOf(const CallResult& r) {
  const auto* text = std::get_if<std::u16string>(&r.value);
  return text == nullptr ? u"<none>" : *text;
}
std::int64_t IntOf(const CallResult& r) {
  if (const auto* b = std::get_if<bool>(&r.value)) return *b ? 1 : 0;
  const auto* n = std::get_if<std::int64_t>(&r.value);
  return n == nullptr ? -999 : *n;
}
std::uint32_t ErrorOf(const CallResult& r) {
  return r.error.number != 0 ? r.error.number
         : r.error.raised()  ? kReported
                             : kNone;
}

using plat::testing::FileHolder;

class FilesTest : public files::testing::DeviceRootTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override { host_.Stop(); }

  void Put(std::string_view device, std::size_t size = 1) const {
    DeviceRootTest::Put(device, std::string(size, 'x'));
  }
  // "\ddd...\leaf" of exactly `length` characters, in short components.
  static std::string PathOfLength(std::size_t length, std::string_view leaf) {
    std::size_t left = length - 1 - leaf.size();
    std::string path;
    while (left > 0) {
      std::size_t n = std::min<std::size_t>(100, left - 1);
      if (left - n - 1 == 1) --n;  // no room left for "\" alone
      path += "\\" + std::string(n, 'd');
      left -= n + 1;
    }
    return path + "\\" + std::string(leaf);
  }

  Host host_;
};

TEST_F(FilesTest, FileAttribute) {
  Put("\\f.txt");
  Dir("\\dir");
  // clang-format off
  struct Case { const char* id; std::u16string path, letters, result;
                std::uint32_t error; };
  const Case cases[] = {
      {"1.1", u"\\f.txt", u"AHS", u"AHS", kNone},
      {"1.2 lower case", u"\\f.txt", u"ad", u"AHS", kNone},
      {"1.3 read-only", u"\\f.txt", u"RA", u"AR", kNone},
      {"1.4 D clears all", u"\\f.txt", u"D", u"", kNone},
      {"2.1", u"/dir", u"H", u"DH", kNone},
      {"3.1 missing", u"\\none.txt", u"", u"ERR", kNone},
      {"3.2", u"C:", u"", u"ERR", kNone},
      {"3.3", u"C:\\x", u"", u"", kNotAbsolute},
      {"3.4", u"data\\x.txt", u"", u"", kNotAbsolute},
      {"3.5", u"", u"", u"", kNotAbsolute},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = host_.Call(kAttribute, c.path, c.letters);
    EXPECT_EQ(c.result, TextOf(r));
    EXPECT_EQ(c.error, ErrorOf(r));
  }
}

TEST_F(FilesTest, OpenElsewhere) {
  Put("\\locked.txt");
  ASSERT_EQ(u"20200202",
            TextOf(host_.Call(kDate, u"\\locked.txt", u"20200202")));
  FileHolder holder(u"\\locked.txt");
  ASSERT_TRUE(holder.held());
  EXPECT_EQ(u"R", TextOf(host_.Call(kAttribute, u"\\locked.txt")));
  // Read from the attribute data; a change needs the file itself.
  EXPECT_EQ(u"20200202", TextOf(host_.Call(kDate, u"\\locked.txt")));
  const CallResult r = host_.Call(kDate, u"\\locked.txt", u"20210303");
  EXPECT_EQ(kStampFailed, r.error.number);
  EXPECT_EQ(32u, r.error.system_code);
}

TEST_F(FilesTest, WriteTestLeavesNoFileAndKeepsTheTime) {
  Put("\\keep\\inside.txt");
  const auto before =
      fs::last_write_time(OnHost("\\keep")) - std::chrono::hours(5);
  fs::last_write_time(OnHost("\\keep"), before);
  EXPECT_EQ(u"D", TextOf(host_.Call(kAttribute, u"\\keep")));
  EXPECT_FALSE(Exists("\\keep\\F_KSL_0X.TFW"));
  const auto kept = fs::last_write_time(OnHost("\\keep"));
  EXPECT_LT(std::chrono::abs(kept - before), std::chrono::microseconds(1));
}

// Refused from 260 characters before any system call. A directory's search
// pattern adds "\*", which the system refuses past 258.
TEST_F(FilesTest, PathLengths) {
  for (std::size_t length : {258, 259, 260, 261}) {
    SCOPED_TRACE(length);
    const std::string file = PathOfLength(length, "f");
    const std::string dir = PathOfLength(length, "d");
    Put(file);
    Dir(dir);
    const bool fits = length < 260;
    EXPECT_EQ(fits ? u"" : u"ERR", TextOf(host_.Call(kAttribute, U16(file))));
    const CallResult date = host_.Call(kDate, U16(file));
    EXPECT_EQ(fits ? 8u : 0u, TextOf(date).size());
    EXPECT_EQ(fits ? 0u : 206u, date.error.system_code);
    const CallResult size = host_.Call(kSize, U16(dir));
    EXPECT_EQ(length == 258 ? 0 : -1, IntOf(size));
    EXPECT_EQ(length == 258 ? 0u : 206u, size.error.system_code);
  }
}

TEST_F(FilesTest, DatesAndTimes) {
  Put("\\s.txt");
  Dir("\\sd");
  // clang-format off
  struct Case { const char* id; Function function; std::u16string path, value;
                std::int32_t selector; std::u16string result; std::uint32_t error; };
  const Case cases[] = {
    {"1.1", kDate,     u"\\s.txt", u"20240115",       0, u"20240115",       kNone},
    {"1.2", kTime,     u"\\s.txt", u"235959",         0, u"235959",         kNone},
    {"1.3", kDateTime, u"\\s.txt", u"",               0, u"20240115235959", kNone},
    {"1.4", kDate,     u"\\s.txt", u"19800101",       0, u"19800101",       kNone},
    {"1.5", kDate,     u"\\s.txt", u"19791231",       0, u"",               kBadDate},
    {"1.7", kDate,     u"\\s.txt", u"20240230",       0, u"",               kStampFailed},
    {"1.8", kTime,     u"\\s.txt", u"240000",         0, u"",               kBadTime},
    {"1.9", kDateTime, u"\\s.txt", u"20240601120000", 0, u"20240601120000", kNone},
    {"2.1", kDate,     u"\\s.txt", u"20220506",       2, u"20220506",       kNone},
    {"2.2", kDate,     u"\\s.txt", u"",               3, u"",               kSelector},
    {"3.1", kDateTime, u"\\sd",    u"20210102030405", 0, u"20210102030405", kNone},
    {"3.2", kDate,     u"\\no.txt", u"",              0, u"",               kStampFailed},
    {"3.3", kTime,     u"s.txt",   u"",               0, u"",               kNotAbsolute},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = host_.Call(c.function, c.path, c.value, c.selector);
    EXPECT_EQ(c.result, TextOf(r));
    EXPECT_EQ(c.error, r.error.number);
    if (c.error == kStampFailed) {
      EXPECT_FALSE(r.error.system_text.empty());
    }
  }
}

TEST_F(FilesTest, DirectorySize) {
  Put("\\t\\a", 100);
  Put("\\t\\s\\c", 3000);
  Put("\\t\\s\\u\\d", 4);
  Dir("\\t\\s\\empty");
  Dir("\\empty");
  // clang-format off
  struct Case { const char* id; std::u16string path; std::int32_t options;
                std::int64_t size; std::uint32_t error; };
  const Case cases[] = {
      {"1.1", u"\\t\\", 0, 3104, kNone},   {"1.2", u"\\t", 2, 100, kNone},
      {"1.3", u"\\t", 4, 3104, kNone},     {"2.1", u"\\empty", 0, 0, kNone},
      {"2.2", u"\\empty", 8, 0, kNone},    {"2.3", u"\\missing", 0, -1, kReported},
      {"2.4", u"\\missing", 8, 0, kNone},  {"2.5", u"missing", 0, -1, kNotAbsolute},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = host_.Call(kSize, c.path, c.options);
    EXPECT_EQ(c.size, IntOf(r));
    EXPECT_EQ(c.error, ErrorOf(r));
  }
  const CallResult missing = host_.Call(kSize, u"\\missing");
  EXPECT_EQ(u"No entry is found in \"\\missing\".", missing.error.Message());
  EXPECT_EQ(3u, missing.error.system_code);
  const std::vector<std::uint32_t> asked = host_.services().Requests();
  EXPECT_GE(std::count(asked.begin(), asked.end(), 350u), 6);  // per entry
}

TEST_F(FilesTest, DirectorySizeRefusesChildPathsPast260) {
  const std::string dir = PathOfLength(250, "deep");
  Put(dir + "\\" + std::string(9, 'n'), 7);  // 260 characters: counted
  EXPECT_EQ(7, IntOf(host_.Call(kSize, U16(dir))));
  Dir(dir + "\\" + std::string(10, 'm'));  // 261
  const CallResult r = host_.Call(kSize, U16(dir));
  EXPECT_EQ(-1, IntOf(r));
  EXPECT_EQ(206u, r.error.system_code);
}

TEST_F(FilesTest, DirectoryDelete) {
  // clang-format off
  struct Case { const char* id; std::u16string path; std::int32_t options;
                bool read_only, done; std::uint32_t error; };
  const Case cases[] = {
      {"1.1 recursive", u"\\x", 1, false, true, kNone},
      {"1.2 star cut", u"\\x\\*.*", 1, false, true, kNone},
      {"1.3 clears read-only", u"\\x", 9, true, true, kNone},
      {"2.1 read-only stops", u"\\x", 1, true, false, kReported},
      {"2.2 subdirectory kept", u"\\x", 0, false, false, kNotDeleted},
      {"2.3", u"\\x", 2, false, false, kBadOption},
      {"2.4", u"\\y", 1, false, false, kNoDirectory},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    Put("\\x\\a.txt");
    Put("\\x\\s\\e\\b.txt");
    if (c.read_only) {
      Put("\\x\\s\\ro.txt");
      ASSERT_EQ(u"R", TextOf(host_.Call(kAttribute, u"\\x\\s\\ro.txt", u"R")));
    }
    const CallResult r = host_.Call(kDelete, c.path, c.options);
    EXPECT_EQ(c.done, IntOf(r) == 1);
    EXPECT_EQ(c.done, !Exists("\\x"));
    EXPECT_EQ(c.error, ErrorOf(r));
    if (c.error == kReported) {
      EXPECT_EQ(u"The read-only file \"\\x\\s\\ro.txt\" cannot be deleted.",
                r.error.Message());
    }
    if (c.error == kNotDeleted) {
      EXPECT_EQ(145u, r.error.system_code);
    }
    std::error_code ignored;
    fs::permissions(OnHost("\\x\\s\\ro.txt"), fs::perms::owner_all, ignored);
    fs::remove_all(OnHost("\\x"), ignored);
  }
}

TEST_F(FilesTest, ParentDirectory) {
  const std::u16string p256 = U16(PathOfLength(256, "x"));
  // clang-format off
  struct Case { const char* id; std::u16string path; std::int32_t options;
                std::u16string result; std::uint32_t error; };
  const Case cases[] = {
      {"1.1", u"\\a\\b", 0, u"\\a\\b\\..", kNone},  // the kept final ".."
      {"1.2", u"\\a\\b\\..\\c\\", 0, u"\\a\\c\\..", kNone},
      {"1.3", u"\\a\\b", 1, u".\\..", kNone},
      {"1.4", u"C:", 0, u"C:\\..", kNone},
      {"2.1", u".", 0, u"\\Prog\\..", kNone},
      {"2.2", u".", 1, u"..", kNone},
      {"2.3", u"..", 0, u"\\..", kNone},
      {"2.4", u"..", 1, u"..\\..", kNone},
      {"3.1 root", u"\\", 0, u"\\..", kNone},
      {"3.2 .. at the root", u"\\..", 0, u"\\..", kNone},
      {"4.1", u"data", 0, u"", kNotAbsolute},
      {"4.2", u"", 0, u"", kNotAbsolute},
      {"4.3", u"C:\\x", 0, u"", kNotAbsolute},
      {"5.1", p256, 0, p256 + u"\\..", kNone},
      {"5.2", p256 + u"y", 0, u"", kNone},  // 260 with "\.."
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = host_.Call(kParent, c.path, c.options);
    EXPECT_EQ(c.result, TextOf(r));
    EXPECT_EQ(c.error, r.error.number);
  }
}

}  // namespace
}  // namespace refhost
