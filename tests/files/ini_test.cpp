// INI files on real files in a temporary device root: what a read finds,
// what a write leaves in the file, the lists, the chunk boundary, a write
// into the middle of a large file, and function 218 through its handlers
// with the host's performance trace on and off.
#include "files/ini.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "frame/catalogue.h"
#include "frame/vm_services.h"
#include "platform/fake/fake_platform.h"
#include "tests/files/stream_fixture.h"

namespace files {
namespace {

constexpr std::uint32_t kSentinel = 99999;

struct IniTest : DeviceRootTest {
  void PutText(const std::string& text) const {
    Put("t.ini", Bytes(text.begin(), text.end()));
  }
  std::string GetText() const {
    const Bytes bytes = Get("t.ini");
    return std::string(bytes.begin(), bytes.end());
  }
  // What IniRead places with a large buffer; "<default>" when it gives
  // the default.
  static std::u16string Read(const char16_t* section, const char16_t* key) {
    std::vector<char16_t> buffer(1 << 18, u'#');
    const std::size_t n = IniRead(section, key, u"<default>", buffer.data(),
                                  buffer.size(), u"\\t.ini");
    EXPECT_EQ(0, buffer[n]);
    return std::u16string(buffer.data(), n);
  }
};

// A line of 77 "v" after "k=" puts its CR at the last byte of a chunk.
const std::string kV77(77, 'v');
const std::u16string kV77u(77, u'v');
const std::string kLong(100000, 'x');
const std::u16string kLongU(100000, u'x');

// clang-format off
struct ReadCase {
  const char* id;
  std::string file;
  const char16_t* section;
  const char16_t* key;
  std::u16string expected;
};
const ReadCase kReadCases[] = {
  {"r.1",  "[Main]\r\nPath=1\r\n",                 u"Main", u"Path", u"1"},
  {"r.2",  "[S]\r\nPaths=1\r\nPath = 2\r\n",       u"S",    u"Path", u"2"},
  {"r.3",  "[MAIN]\r\nPATH=x\r\n",                 u"main", u"path", u"x"},
  {"r.4",  "[S\xC9]\r\n\xC9t\xC9=\xE9\r\n",        u"s\u00e9", u"\u00e9T\u00c9", u"\u00e9"},
  {"r.5",  "[S]\r\n; k = 1\r\nk=2\r\n",            u"S",    u"k",    u"2"},
  {"r.6",  "[S]\r\n;k=1\r\n",                      u"S",    u"k",    u"<default>"},
  {"r.7",  "[S]\r\nk =  \t v w  \r\n",             u"S",    u"k",    u"v w"},
  {"r.8",  "[S]\r\nk=a=b\r\n",                     u"S",    u"k",    u"a=b"},
  {"r.9",  "[S]\r\nk=\r\n",                        u"S",    u"k",    u""},
  {"r.10", "  [S]  \r\n  k=1\r\n",                 u"S",    u"k",    u"1"},
  {"r.11", "[S] ; note\r\nk=1\r\n",                u"S",    u"k",    u"1"},
  // Kept as is: LF alone ends no line.
  {"r.12", "[S]\nk=1\n",                           u"S",    u"k",    u"<default>"},
  {"r.13", "[S]\r\nk=1",                           u"S",    u"k",    u"1"},
  {"r.14", "[A]\r\nx=1\r\n[B]\r\nk=2\r\n",         u"A",    u"k",    u"<default>"},
  {"r.15", "[A]\r\nk=1\r\n",                       u"B",    u"k",    u"<default>"},
  {"r.16", "[S]\r\nk\r\n",                         u"S",    u"k",    u"<default>"},
  // Kept as is: only a letter or digit after the key refuses the line.
  {"r.17", "[S]\r\nPath x=1\r\n",                  u"S",    u"Path", u"1"},
  {"r.18", "[A]\r\nx=1\r\n [B] \r\n[C]junk\r\n[]\r\nnot]\r\n",
                                                   u"",     nullptr, u"A\r\nB\r\nC\r\n"},
  {"r.19", "[A]\r\nx=1\r\n;c=3\r\nno\r\n y =2\r\n=z\r\n[B]\r\nw=3\r\n",
                                                   u"A",    nullptr, u"x\r\ny\r\n"},
  {"r.20", "[A]\r\n[B]\r\n",                       u"A",    u"",     u"<default>"},
  {"r.21", "",                                     nullptr, nullptr, u"<default>"},
  // The chunk boundary: CR LF inside, split after the CR, CR CR LF split
  // after the first CR, and CR LF opening the next chunk.
  {"c.1",  "[S]\r\nk=" + kV77.substr(1) + "\r\nj=2\r\n", u"S", u"j", u"2"},
  {"c.2",  "[S]\r\nk=" + kV77 + "\r\nj=2\r\n",     u"S",    u"k",    kV77u},
  {"c.3",  "[S]\r\nk=" + kV77 + "\r\nj=2\r\n",     u"S",    u"j",    u"2"},
  {"c.4",  "[S]\r\nk=" + kV77 + "\r\r\nj=2\r\n",   u"S",    u"j",    u"2"},
  {"c.5",  "[S]\r\nk=" + kV77 + "w\r\nj=2\r\n",    u"S",    u"j",    u"2"},
  {"c.6",  "[S]\r\nk=" + kV77 + "\rj=2\r\n",       u"S",    u"k",    kV77u + u"\rj=2"},
  {"c.7",  "[S]\r\nk=" + kLong + "\r\nj=2",        u"S",    u"j",    u"2"},
  {"c.8",  "[S]\r\nk=" + kLong + "\r\n",           u"S",    u"k",    kLongU},
};
// clang-format on

TEST_F(IniTest, Read) {
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(c.id);
    PutText(c.file);
    EXPECT_EQ(c.expected, Read(c.section, c.key));
  }
}

TEST_F(IniTest, BufferLimits) {
  PutText("[S]\r\nk=abcdef\r\n[T]\r\n[U]\r\n");
  char16_t buffer[8] = {u'#', u'#'};
  EXPECT_EQ(0u, IniRead(u"S", u"k", nullptr, buffer, 0, u"\\t.ini"));
  EXPECT_EQ(u'#', buffer[0]);
  EXPECT_EQ(0u, IniRead(u"S", u"k", nullptr, nullptr, 8, u"\\t.ini"));
  EXPECT_EQ(3u, IniRead(u"S", u"k", nullptr, buffer, 4, u"\\t.ini"));
  EXPECT_EQ(u"abc", std::u16string(buffer));
  // Whole names only: "S\r\nT" fits in 6 characters, "\r\nU" after it not.
  EXPECT_EQ(4u, IniRead(nullptr, nullptr, nullptr, buffer, 7, u"\\t.ini"));
  EXPECT_EQ(u"S\r\nT", std::u16string(buffer));
  EXPECT_EQ(2u, IniRead(u"X", u"k", u"dflt", buffer, 3, u"\\t.ini"));
  EXPECT_EQ(u"df", std::u16string(buffer));
  EXPECT_EQ(0u, IniRead(u"X", u"k", nullptr, buffer, 8, u"\\t.ini"));
  EXPECT_EQ(0, buffer[0]);
}

// clang-format off
struct WriteCase {
  const char* id;
  const char* before;  // null: no file
  const char16_t* section;
  const char16_t* key;
  const char16_t* value;
  std::string after;
};
const WriteCase kWriteCases[] = {
  {"w.1",  "[S]\r\nk=1\r\nj=2\r\n",      u"S", u"k", u"v",  "[S]\r\nk = v\r\nj=2\r\n"},
  {"w.2",  "[S]\r\nk=1\r\nj=2\r\n",      u"S", u"k", nullptr, "[S]\r\nj=2\r\n"},
  {"w.3",  "[S]\r\nj=2\r\n[T]\r\n",      u"S", u"k", u"v",  "[S]\r\nj=2\r\nk = v\r\n[T]\r\n"},
  {"w.4",  "[S]\r\nj=2\r\n\r\n[T]\r\n",  u"S", u"k", u"v",  "[S]\r\nj=2\r\nk = v\r\n\r\n[T]\r\n"},
  {"w.5",  "[S]\r\n\nx\r\n",             u"S", u"k", u"v",  "[S]\r\nk = v\r\n\nx\r\n"},
  {"w.6",  "[S]\r\nj=2\r\n",             u"S", u"k", u"v",  "[S]\r\nj=2\r\nk = v\r\n"},
  {"w.7",  "[T]\r\n",                    u"S", u"k", u"v",  "[T]\r\n[S]\r\nk = v\r\n"},
  {"w.8",  "[T]\r\n",                    u"S", u"k", nullptr, "[T]\r\n[S]\r\n"},
  {"w.9",  "[T]\r\n",                    u"S", nullptr, nullptr, "[T]\r\n"},
  {"w.10", nullptr,                      u"S", u"k", u"v",  "[S]\r\nk = v\r\n"},
  {"w.11", "",                           u"S", u"k", u"v",  "[S]\r\nk = v\r\n"},
  {"w.12", "[S]\r\na=1\r\n\r\nb=2\r\n[T]\r\nc=3\r\n", u"S", nullptr, nullptr, "[S]\r\n[T]\r\nc=3\r\n"},
  {"w.13", "[T]\r\nc=3\r\n[S]\r\na=1\r\n", u"S", nullptr, nullptr, "[T]\r\nc=3\r\n[S]\r\n"},
  {"w.14", "[S]\r\na=1\r\n  [T]\r\nc=3\r\n", u"S", nullptr, nullptr, "[S]\r\n  [T]\r\nc=3\r\n"},
  {"w.15", "[MAIN]\r\nk=1\r\n",          u"Main", u"k", u"2", "[MAIN]\r\nk=1\r\n[Main]\r\nk = 2\r\n"},
  {"w.16", "[S]\r\nK=1\r\n",             u"S", u"k", u"2",  "[S]\r\nK=1\r\nk = 2\r\n"},
  {"w.17", "  [S]\r\nk=1\r\n",           u"S", u"k", u"2",  "  [S]\r\nk=1\r\n[S]\r\nk = 2\r\n"},
  {"w.18", "[S]\r\n  k=1\r\n",           u"S", u"k", u"2",  "[S]\r\n  k=1\r\nk = 2\r\n"},
  {"w.19", "[S]\r\n; k = 1\r\n",         u"S", u"k", u"2",  "[S]\r\n; k = 1\r\nk = 2\r\n"},
  {"w.20", "[S]\r\nPaths=1\r\nPath = 2\r\n", u"S", u"Path", u"3", "[S]\r\nPaths=1\r\nPath = 3\r\n"},
  {"w.21", "[S]\r\nk=1",                 u"S", u"k", u"2",  "[S]\r\nk = 2\r\n"},
  {"w.22", "[S]\r\nj=1",                 u"S", u"k", u"2",  "[S]\r\nj=1\r\nk = 2\r\n"},
  {"w.23", "[S]",                        u"S", u"k", u"2",  "[S]\r\nk = 2\r\n"},
  {"w.24", "[T]",                        u"S", u"k", u"2",  "[T]\r\n[S]\r\nk = 2\r\n"},
  {"w.25", "[S]\r\nj=1\r\n",             u"S", u"k", nullptr, "[S]\r\nj=1\r\n"},
  // Kept as is: LF alone ends no line; the last one is ended before the key.
  {"w.26", "[S]\nk=1\n",                 u"S", u"k", u"2",  "[S]\nk=1\n\r\nk = 2\r\n"},
  {"w.27", "[S]\r\nk=1\r\n",             u"S", u"k", u"  v ", "[S]\r\nk =   v \r\n"},
  {"w.28", "[S]\r\nk=1\r\n",             u"S", u"k", u"\u00e9\u4e00", "[S]\r\nk = \xE9?\r\n"},
};
// clang-format on

TEST_F(IniTest, Write) {
  for (const WriteCase& c : kWriteCases) {
    SCOPED_TRACE(c.id);
    std::filesystem::remove(HostPath("t.ini"));
    if (c.before != nullptr) PutText(c.before);
    EXPECT_TRUE(IniWrite(c.section, c.key, c.value, u"\\t.ini"));
    EXPECT_EQ(c.after, GetText());
  }
}

TEST_F(IniTest, WritesAndReadsDisagreeOnCaseAndIndentation) {
  PutText("[MAIN]\r\nk=1\r\n  [I]\r\nk=3\r\n");
  ASSERT_TRUE(IniWrite(u"Main", u"k", u"2", u"\\t.ini"));
  EXPECT_EQ(u"1", Read(u"main", u"k"));
  EXPECT_EQ(u"1", Read(u"Main", u"k"));
  ASSERT_TRUE(IniWrite(u"I", u"k", u"4", u"\\t.ini"));
  EXPECT_EQ(u"3", Read(u"I", u"k"));
  ASSERT_TRUE(IniWrite(u"S", u"k", u"   v", u"\\t.ini"));
  EXPECT_EQ(u"v", Read(u"S", u"k"));
}

TEST_F(IniTest, WriteWithoutSectionFails) {
  PutText("[S]\r\n");
  EXPECT_FALSE(IniWrite(nullptr, u"k", u"v", u"\\t.ini"));
  EXPECT_EQ(plat::kErrInvalidParameter, plat::Current().system.LastError());
  EXPECT_FALSE(IniWrite(u"S", u"k", u"v", u"\\no\\t.ini"));
  EXPECT_EQ(plat::kErrPathNotFound, plat::Current().system.LastError());
  EXPECT_EQ("[S]\r\n", GetText());
}

TEST_F(IniTest, LookupTellsNoFileMissingAndEmptyApart) {
  EXPECT_EQ(u"<default>", Read(u"S", u"k"));  // no file: the default
  std::u16string out = u"x";
  EXPECT_EQ(IniFound::kNoFile, IniLookup(u"S", u"k", u"\\t.ini", &out));
  EXPECT_EQ(u"", out);
  PutText("[S]\r\nk=\r\n[E]\r\n");
  EXPECT_EQ(IniFound::kFound, IniLookup(u"S", u"k", u"\\t.ini", &out));
  EXPECT_EQ(u"", out);
  EXPECT_EQ(IniFound::kMissing, IniLookup(u"S", u"j", u"\\t.ini", &out));
  EXPECT_EQ(IniFound::kFound, IniLookup(u"E", nullptr, u"\\t.ini", &out));
  EXPECT_EQ(IniFound::kMissing, IniLookup(u"X", nullptr, u"\\t.ini", &out));
  EXPECT_EQ(IniFound::kFound, IniLookup(u"", nullptr, u"\\t.ini", &out));
  EXPECT_EQ(u"S\r\nE", out);
}

// Notes where each write and cut of the stream lands.
class WatchedStream : public IXStream {
 public:
  bool Write(const void* buffer, std::uint32_t count,
             std::uint32_t* written) override {
    writes.emplace_back(Tell(), count);
    return IXStream::Write(buffer, count, written);
  }
  bool SetSize(std::uint64_t position) override {
    cuts.push_back(position);
    return IXStream::SetSize(position);
  }
  std::vector<std::pair<std::uint64_t, std::uint32_t>> writes;
  std::vector<std::uint64_t> cuts;
};

TEST_F(IniTest, WriteInTheMiddleRewritesOnlyWhatFollows) {
  std::string file = "[S]\r\n";
  for (int i = 0; i < 10000; ++i) {
    char line[40];
    std::snprintf(line, sizeof line, "key%05d = value%05d\r\n", i, i);
    file += line;
  }
  PutText(file);
  const std::string old_line = "key05000 = value05000\r\n";
  const std::size_t at = file.find(old_line);
  const std::string new_line = "key05000 = changed\r\n";
  const std::string tail = file.substr(at + old_line.size());

  WatchedStream stream;
  ASSERT_TRUE(stream.Open(u"\\t.ini", plat::kGenericRead | plat::kGenericWrite,
                          0, plat::kOpenExisting, 0));
  ASSERT_TRUE(IniWriteStream(&stream, u"S", u"key05000", u"changed"));
  stream.Close();

  // One write at the changed line: the new line and the saved tail.
  ASSERT_EQ(1u, stream.writes.size());
  EXPECT_EQ(at, stream.writes[0].first);
  EXPECT_EQ(new_line.size() + tail.size(), stream.writes[0].second);
  EXPECT_EQ(std::vector<std::uint64_t>{at + new_line.size() + tail.size()},
            stream.cuts);
  EXPECT_EQ(file.substr(0, at) + new_line + tail, GetText());
}

// ---- Function 218 through its handlers -------------------------------------

// The VM as function 218 meets it: request 1700 answers the trace switch,
// slot 149 keeps the boolean result.
struct Services {
  frame::VmServices base;  // first: the slots get &base back
  bool trace = false;
  int requests = 0;
  int results = 0;
  bool result = false;

  static Services* Of(frame::VmServices* s) {
    return reinterpret_cast<Services*>(s);
  }
  static std::int32_t Request(frame::VmServices* s, std::uint32_t code, void*) {
    ++Of(s)->requests;
    return code == frame::kRequestPerformanceTrace && Of(s)->trace ? 1 : 0;
  }
  static void SetResult(frame::VmServices* s, frame::Word, const void* value,
                        std::uint32_t) {
    ++Of(s)->results;
    Of(s)->result = *static_cast<const std::uint32_t*>(value) != 0;
  }
};

struct Function218Test : IniTest {
  void SetUp() override {
    IniTest::SetUp();
    ops_[frame::kSlotRequest] =
        reinterpret_cast<frame::Word>(&Services::Request);
    ops_[frame::kSlotSetResult] =
        reinterpret_cast<frame::Word>(&Services::SetResult);
    services.base.ops = ops_.data();
    record.number = kSentinel;
  }

  // Calls syntax `syntax` (0-based) of function 218; texts and integers as
  // the VM lays them out.
  bool Call(int syntax, std::vector<std::u16string> texts,
            std::vector<std::int32_t> integers = {}) {
    const frame::Word* f = frame::kFunctionTable[217];
    EXPECT_EQ(218u, f[0]);
    const auto* syntaxes =
        reinterpret_cast<const frame::Word(*)[frame::kSyntaxWords]>(f[7]);
    const auto* signature =
        reinterpret_cast<const frame::Word*>(syntaxes[syntax][4]);
    std::vector<frame::Word> words;
    std::size_t text = 0, integer = 0;
    for (int i = 1; signature[i] != 0; ++i) {
      words.push_back(
          frame::BaseType(static_cast<std::uint32_t>(signature[i])) ==
                  frame::kTypeInt
              ? static_cast<frame::Word>(integers.at(integer++))
              : reinterpret_cast<frame::Word>(texts.at(text++).c_str()));
    }
    std::vector<void*> args;
    for (frame::Word& w : words) args.push_back(&w);
    frame::CallFrame call{&services.base, 0, 0, 0, 0};
    frame::Self self{nullptr, 0, &record};
    const auto handler = reinterpret_cast<frame::Handler>(syntaxes[syntax][0]);
    EXPECT_EQ(frame::kHandled, handler(&call, &self, args.data()));
    EXPECT_EQ(1, services.results);
    services.results = 0;
    return services.result;
  }

  Services services{};

 private:
  std::array<frame::Word, frame::kServiceSlotCount> ops_{};
};

// The time is the system's tick count: the fake's moves only when told.
TEST_F(Function218Test, TraceOnReportsTheFileAndTheTime) {
  plat::FakePlatform fake;
  services.trace = true;
  EXPECT_TRUE(Call(5, {u"S", u"k", u"\\t.ini"}, {7}));
  EXPECT_EQ("[S]\r\nk = 7\r\n", GetText());
  EXPECT_EQ(frame::kErrTraceIniWrite, record.number);
  EXPECT_EQ(0x10002u, record.severity);
  EXPECT_EQ((std::vector<std::u16string>{u"\\t.ini", u"0"}), record.params);
  // Syntax 7 writes nothing, yet a named file is still timed.
  record.number = kSentinel;
  EXPECT_TRUE(Call(7, {u"\\none.ini"}, {1, 2, 3}));
  EXPECT_EQ(frame::kErrTraceIniWrite, record.number);
  EXPECT_FALSE(Exists("\\none.ini"));
  // Without a file name there is nothing to time.
  record.number = kSentinel;
  EXPECT_TRUE(Call(7, {u""}, {1, 2, 3}));
  EXPECT_EQ(kSentinel, record.number);
}

// The trace still goes out after a failure, behind the error's message.
TEST_F(Function218Test, FailureKeepsTheTraceBehindTheError) {
  services.trace = true;
  EXPECT_FALSE(Call(3, {u"S", u"k", u"v", u"\\no\\t.ini"}));
  EXPECT_EQ(frame::kErrIniWriteFailed, record.number);
  EXPECT_EQ(plat::kErrPathNotFound, record.system_code);
  ASSERT_EQ(2u, record.texts.size());
  EXPECT_NE(std::u16string::npos, record.texts[1].find(u"\\no\\t.ini"));
}

// A full disk part way through the rewrite: no copy, no rollback, no cut.
TEST_F(Function218Test, FullDiskLeavesWhatTheSystemWrote) {
  PutText("[S]\r\nk=1\r\nj=2\r\n[T]\r\nx=3\r\n");
  plat::FakePlatform fake;
  fake.files().SetDiskCapacity(10);
  EXPECT_FALSE(Call(3, {u"S", u"k", u"a-much-longer-value", u"\\t.ini"}));
  EXPECT_EQ("[S]\r\nk = a-much[T]\r\nx=3\r\n", GetText());
  EXPECT_EQ(frame::kErrIniWriteFailed, record.number);
  EXPECT_EQ(plat::kErrDiskFull, record.system_code);
  EXPECT_EQ((std::vector<std::u16string>{
                u"\\t.ini", frame::SystemErrorText(plat::kErrDiskFull)}),
            record.params);
}

// A line that cannot be read is not taken for the end of the file.
TEST_F(Function218Test, FailedReadWritesNothing) {
  PutText("[S]\r\nk=1\r\n");
  plat::FakePlatform fake;
  fake.files().FailNext(plat::FileOp::kRead, plat::kErrAccessDenied);
  EXPECT_FALSE(Call(3, {u"T", u"k", u"v", u"\\t.ini"}));
  EXPECT_EQ("[S]\r\nk=1\r\n", GetText());
  EXPECT_EQ(plat::kErrAccessDenied, record.system_code);
}

}  // namespace
}  // namespace files
