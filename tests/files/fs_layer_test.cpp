// FileSystemLayer: the path rules, and the operations on real files in a
// fresh device root with the program at "\Prog\app.exe"; the test double
// stands in only for failures and entry points the real system always has.
#include "files/fs_layer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/fake/fake_platform.h"
#include "tests/files/fs_fixture.h"

namespace files {
namespace {

using Names = std::vector<std::u16string>;

class FsLayerTest : public testing::DeviceRootTest {};

const std::u16string k259 = u"\\" + std::u16string(258, u'a');
const std::u16string k260 = u"\\" + std::u16string(259, u'a');
const std::u16string kRel253(253, u'r');  // "\Prog\" + 253 = 259
const std::u16string kRel254(254, u'r');

TEST_F(FsLayerTest, ResolvePath) {
  // clang-format off
  struct Case { const char* id; std::u16string_view path; std::size_t result;
                std::u16string_view full; };  // empty: nothing written
  const Case cases[] = {
    {"1.1", u"",                 0,   u""},
    {"1.2", u"\\a\\b\\..\\c",    4,   u"\\a\\c"},
    {"1.3", u"\\a\\.\\c",        4,   u"\\a\\c"},
    {"1.4", u"\\a\\b\\..",       7,   u"\\a\\b\\.."},
    {"1.5", u"\\a\\..\\..\\c",   2,   u"\\c"},
    {"2.1", u"C:\\x\\..\\y",     9,   u"C:\\x\\..\\y"},
    {"3.1", u"data\\x.txt",      16,  u"\\Prog\\data\\x.txt"},
    {"3.2", u"..\\x",            2,   u"\\x"},
    {"4.1", k259,                259, k259},
    {"4.2", k260,                261, u""},
    {"4.3", kRel253,             259, u""},
    {"4.4", kRel254,             261, u""},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    std::u16string out = u"untouched";
    EXPECT_EQ(c.result, FileSystemLayer::ResolvePath(c.path, 260, &out));
    const bool written = c.result != 0 && c.result < 260;
    EXPECT_EQ(written, out != u"untouched");
    if (!c.full.empty()) {
      EXPECT_EQ(c.full, out);
    }
  }
}

TEST_F(FsLayerTest, MakeRelativePath) {
  const std::u16string long_target = u"\\A\\" + std::u16string(257, u'b');
  // clang-format off
  struct Case { const char* id; std::u16string_view target, base;
                std::optional<std::u16string> relative; };
  const Case cases[] = {
    {"1.1", u"\\A\\B\\C",  u"\\A",       u".\\B\\C"},
    {"1.2", u"\\A\\B\\C",  u"\\A\\X",    u"..\\B\\C"},
    {"1.3", u"\\A\\B\\C",  u"\\A\\X\\Y", u"..\\..\\B\\C"},
    {"1.4", u"\\A\\B\\C",  u"",          u"\\A\\B\\C"},
    {"1.5", u"\\a\\b\\c",  u"\\A\\",     u".\\b\\c"},
    {"1.6", u"\\A\\B",     u"\\A\\B",    u"..\\B"},  // the kept prefix test
    {"2.1", long_target,   u"\\A",       u".\\" + std::u16string(257, u'b')},
    {"2.2", long_target,   u"\\A\\X",    std::nullopt},  // 260 characters
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    std::u16string out;
    EXPECT_EQ(c.relative.has_value(),
              FileSystemLayer::MakeRelativePath(&out, c.target, c.base));
    if (c.relative) {
      EXPECT_EQ(*c.relative, out);
    }
  }
}

TEST_F(FsLayerTest, OperationsOnRealFiles) {
  Put("\\Prog\\data\\x.txt");
  Put("\\a.txt", "new");
  Put("\\b.txt", "older and longer");
  EXPECT_TRUE(FileSystemLayer::DeleteFile(u"data\\x.txt"));
  EXPECT_FALSE(std::filesystem::exists(OnHost("\\Prog\\data\\x.txt")));
  EXPECT_TRUE(FileSystemLayer::CopyFile(u"\\a.txt", u"\\b.txt"));
  EXPECT_EQ(3u, std::filesystem::file_size(OnHost("\\b.txt")));
  for (std::u16string_view chain : {u"\\c\\d\\e", u"\\c\\d\\e\\", u"sub\\d"}) {
    EXPECT_TRUE(FileSystemLayer::CreateDirectoryChain(chain));
  }
  EXPECT_TRUE(std::filesystem::is_directory(OnHost("\\c\\d\\e")));
  EXPECT_TRUE(std::filesystem::is_directory(OnHost("\\Prog\\sub\\d")));
  std::uint32_t high = 0, low = 0;
  EXPECT_TRUE(FileSystemLayer::GetDiskFreeSpace(u"\\", &high, &low));
  EXPECT_NE(0u, high | low);
}

// Failed operations report the system error and their message; the double
// fails the calls that do not fail on a sound system.
TEST_F(FsLayerTest, FailuresAreReported) {
  Put("\\d\\a.txt");
  Put("\\d\\b.txt");
  using Call = std::function<bool(frame::CXError*)>;
  // clang-format off
  struct Case {
    const char* id;
    std::optional<plat::FileOp> broken;  // fails with 5
    Call call;
    std::uint32_t system_code;
    std::u16string message;
  };
  std::u16string text;
  FindState state;
  const Case cases[] = {
      {"delete", {}, [](auto* s) { return FileSystemLayer::DeleteFile(u"\\n.txt", s); },
       2, u"The file \"\\n.txt\" cannot be deleted."},
      {"copy", {}, [](auto* s) { return FileSystemLayer::CopyFile(u"\\n.txt", u"\\b", s); },
       2, u"The file \"\\n.txt\" cannot be copied to \"\\b\"."},
      {"find", {}, [&](auto* s) { return FileSystemLayer::FindFirst(u"\\n\\*", &state, 0, 0, s); },
       3, u"The search for \"\\n\\*\" cannot be started."},
      {"chain", {}, [](auto* s) { return FileSystemLayer::CreateDirectoryChain(u"\\d\\a.txt", s); },
       183, u"The directory \"\\d\\a.txt\" cannot be created."},
      {"chain part", plat::FileOp::kMakeDirectory,
       [](auto* s) { return FileSystemLayer::CreateDirectoryChain(u"\\n1\\n2", s); },
       5, u"The directory \"\\n1\" cannot be created."},
      {"program", plat::FileOp::kProgramFile,
       [&](auto* s) { return FileSystemLayer::GetProgramDirectory(&text, s); },
       5, u"The directory of the running program cannot be found."},
      {"temp", plat::FileOp::kTempPath,
       [&](auto* s) { return FileSystemLayer::GetTempPath(&text, s); },
       5, u"The temporary directory cannot be found."},
      {"next", plat::FileOp::kFindNext, [&](auto* s) {
         return FileSystemLayer::FindFirst(u"\\d\\*", &state, 0, 0, s) &&
                FileSystemLayer::FindNext(&state, s); },
       5, u"The search cannot be continued."},
      // No retry of access denied on this backend: one refusal fails.
      {"temp name", plat::FileOp::kTempFileName,
       [&](auto* s) { return FileSystemLayer::GetTempFileName(u"\\d", u"t", 0, &text, s); },
       5, u""},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    plat::FakePlatform fake;
    if (c.broken) fake.files().FailNext(*c.broken, plat::kErrAccessDenied);
    frame::CXError sink;
    EXPECT_FALSE(c.call(&sink));
    FileSystemLayer::FindClose(&state);
    EXPECT_EQ(c.system_code, sink.system_code);
    EXPECT_EQ(c.message, sink.Message());
  }
}

TEST_F(FsLayerTest, FindSkipsByFilterAndMaskAndEndsQuietly) {
  Put("\\d\\one.txt");
  Put("\\d\\two.txt");
  Dir("\\d\\sub");
  Dir("\\empty");
  ASSERT_TRUE(
      FileSystemLayer::SetAttributes(u"\\d\\two.txt", plat::kAttrHidden));
  // clang-format off
  struct Case { std::u16string_view pattern; std::uint32_t filter, mask; Names names; };
  const Case cases[] = {
      {u"\\d\\*", 0, 0, {u"one.txt", u"sub", u"two.txt"}},
      {u"\\d\\*", plat::kAttrDirectory, 0, {u"sub"}},
      {u"\\d\\*", 0, plat::kAttrDirectory | plat::kAttrHidden, {u"one.txt"}},
      {u"\\d\\*", plat::kAttrSystem, 0, {}},
      {u"\\empty\\*", 0, 0, {}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.filter << "/" << c.mask);
    Names found;
    FindState state;
    frame::CXError sink;
    if (FileSystemLayer::FindFirst(c.pattern, &state, c.filter, c.mask,
                                   &sink)) {
      do found.push_back(state.entry.name);
      while (FileSystemLayer::FindNext(&state, &sink));
    }
    FileSystemLayer::FindClose(&state);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(c.names, found);
    EXPECT_FALSE(sink.HasError());
  }
}

TEST_F(FsLayerTest, WalkTreeBothForms) {
  Put("\\w\\a.txt");
  Put("\\w\\b.log");
  Put("\\w\\s\\t\\A.TXT");
  // clang-format off
  struct Case { const char* id; bool matching; std::u16string_view pattern;
                bool directories, recurse; Names seen; };
  const Case cases[] = {
      {"1.1", false, u"*.txt", false, false, {u"\\w\\a.txt"}},
      {"1.2", false, u"*.txt", false, true, {u"\\w\\a.txt", u"\\w\\s\\t\\A.TXT"}},
      {"1.3", false, u"*", true, false, {u"\\w\\a.txt", u"\\w\\b.log", u"\\w\\s"}},
      {"2.1", true, u"a.txt", false, true, {u"\\w\\a.txt", u"\\w\\s\\t\\A.TXT"}},
      {"2.2", true, u"x?", false, true, {u"\\w\\a.txt", u"\\w\\b.log", u"\\w\\s\\t\\A.TXT"}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    Names seen;
    auto visit = [&seen](std::u16string_view path, const plat::FileData&) {
      seen.emplace_back(path);
      return true;
    };
    EXPECT_TRUE(c.matching
                    ? FileSystemLayer::WalkTreeMatching(
                          u"\\w", c.pattern, visit, c.directories, c.recurse)
                    : FileSystemLayer::WalkTree(u"\\w", c.pattern, visit,
                                                c.directories, c.recurse));
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(c.seen, seen);
  }
  int calls = 0;
  EXPECT_FALSE(FileSystemLayer::WalkTree(
      u"\\w", u"*", [&calls](auto, auto&) { return ++calls > 1; }, false,
      true));
  EXPECT_EQ(1, calls);
}

// The entry point where the system has it, else a search; both in local
// time. Each case breaks the route it must not take.
TEST_F(FsLayerTest, AttributeDataFromTheEntryPointOrTheSearch) {
  Put("\\t.txt", "12345");
  plat::FileData raw;
  ASSERT_EQ(plat::kOk,
            plat::Current().files.GetAttributeData(u"\\t.txt", &raw));
  plat::SystemTime utc;
  ASSERT_TRUE(plat::FileTimeToSystemTime(raw.last_write, &utc));
  // clang-format off
  struct Case { const char* id; bool no_entry, no_library; plat::FileOp broken; };
  const Case cases[] = {
      {"entry", false, false, plat::FileOp::kFindFirst},
      {"no entry", true, false, plat::FileOp::kGetAttributeData},
      {"no library", false, true, plat::FileOp::kGetAttributeData},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    plat::FakePlatform fake;
    if (c.no_entry)
      fake.libraries().RemoveEntry(u"COREDLL.DLL", "GetFileAttributesExW");
    if (c.no_library) fake.libraries().RemoveLibrary(u"coredll.dll");
    fake.files().FailNext(c.broken, plat::kErrAccessDenied);
    fake.system().SetUtcOffset(90);
    AttributeData data;
    ASSERT_TRUE(FileSystemLayer::GetFileAttributesEx(u"\\t.txt", &data));
    EXPECT_EQ(5u, data.size);
    EXPECT_EQ((utc.hour * 60 + utc.minute + 90) % (24 * 60),
              data.last_write.hour * 60 + data.last_write.minute);
  }
}

}  // namespace
}  // namespace files
