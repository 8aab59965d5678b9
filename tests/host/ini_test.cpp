// INI files end to end: function 218 in all its syntaxes through the
// reference host, and `tmhost ini get` and `set` as scripts run them, on
// real files in a temporary device root.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/refhost/host.h"
#include "tests/files/fs_fixture.h"
#include "tests/support/run_process.h"

namespace refhost {
namespace {

constexpr std::uint32_t kIniWrite = 218;
constexpr std::uint32_t kRequestTrace = 1700;

using files::testing::DeviceRootTest;

class IniWriteTest : public DeviceRootTest {
 protected:
  void SetUp() override {
    Dir("\\Windows");
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override { host_.Stop(); }
  Host host_;
};

const char kBefore[] = "[S]\r\nk=1\r\nj=2\r\n[T]\r\n";

// clang-format off
struct SyntaxCase {
  const char* id;
  int syntax;
  std::vector<Arg> args;
  const char* file;  // where the change lands: "t.ini" or "Windows/win.ini"
  bool result;
  std::string after;
  std::uint32_t error;
};
const SyntaxCase kSyntaxCases[] = {
  {"s.1",  1, {u"S"},                              "Windows/win.ini", true,  "[S]\r\n[T]\r\n", 0},
  {"s.2",  2, {u"S", u"k"},                        "Windows/win.ini", true,  "[S]\r\nj=2\r\n[T]\r\n", 0},
  {"s.3",  3, {u"S", u"k", u"v"},                  "Windows/win.ini", true,  "[S]\r\nk = v\r\nj=2\r\n[T]\r\n", 0},
  {"s.4",  4, {u"S", u"k", u"v", u"\\t.ini"},      "t.ini",           true,  "[S]\r\nk = v\r\nj=2\r\n[T]\r\n", 0},
  {"s.5",  5, {u"S", u"k", 42},                    "Windows/win.ini", true,  "[S]\r\nk = 42\r\nj=2\r\n[T]\r\n", 0},
  {"s.6",  6, {u"S", u"n", -7, u"\\t.ini"},        "t.ini",           true,  "[S]\r\nk=1\r\nj=2\r\nn = -7\r\n[T]\r\n", 0},
  {"s.7",  7, {u"S", 1, 2, u"\\t.ini"},            "t.ini",           true,  "[S]\r\n[T]\r\n", 0},
  {"s.8",  8, {1, 2, 3, u"\\t.ini"},               "t.ini",           true,  kBefore, 0},
  {"s.9",  8, {1, 2, 3, u""},                      "Windows/win.ini", true,  kBefore, 0},
  // Absent arguments: an empty one makes every later one absent.
  {"a.1",  4, {u"S", u"", u"v", u"\\t.ini"},       "t.ini",           true,  "[S]\r\n[T]\r\n", 0},
  {"a.2",  4, {u"S", u"k", u"", u"\\t.ini"},       "t.ini",           true,  "[S]\r\nj=2\r\n[T]\r\n", 0},
  {"a.3",  4, {u"", u"k", u"v", u"\\t.ini"},       "t.ini",           false, kBefore, 80294},
  {"a.4",  3, {u"", u"k", u"v"},                   "Windows/win.ini", false, kBefore, 0},
  {"a.5",  4, {u"T", u"k", u"v", u""},             "Windows/win.ini", true,  std::string(kBefore) + "k = v\r\n", 0},
  {"f.1",  4, {u"S", u"k", u"v", u"\\no\\t.ini"},  "t.ini",           false, kBefore, 80294},
};
// clang-format on

TEST_F(IniWriteTest, EverySyntax) {
  for (const SyntaxCase& c : kSyntaxCases) {
    SCOPED_TRACE(c.id);
    Put("\\t.ini", kBefore);
    Put("\\Windows\\win.ini", kBefore);
    host_.vm().ClearRecords();
    const CallResult r = host_.CallArgs(kIniWrite, c.syntax, c.args);
    ASSERT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(Value(c.result), r.value);
    EXPECT_EQ(c.after, Get(std::string("\\") + c.file));
    EXPECT_EQ(c.error, r.error.number);
    EXPECT_EQ(0, r.block_delta);
  }
  EXPECT_FALSE(Exists("\\no"));
}

TEST_F(IniWriteTest, FailureCarriesTheFileAndTheSystemText) {
  const CallResult r = host_.Call(kIniWrite, u"S", u"k", u"v", u"\\no\\t.ini");
  ASSERT_EQ(80294u, r.error.number);
  EXPECT_EQ(3u, r.error.system_code);
  ASSERT_EQ(2u, r.error.params.size());
  EXPECT_EQ(u"\\no\\t.ini", r.error.params[0]);
  EXPECT_EQ(r.error.system_text + u" (3)", r.error.params[1]);
  EXPECT_NE(std::u16string::npos, r.error.Message().find(u"\\no\\t.ini"));
}

TEST_F(IniWriteTest, AsksTheTraceSwitchOnlyForANamedFile) {
  const auto asked = [&] {
    for (const std::uint32_t code : host_.services().Requests()) {
      if (code == kRequestTrace) return true;
    }
    return false;
  };
  host_.Call(kIniWrite, u"S", u"k", u"v");
  EXPECT_FALSE(asked());
  const CallResult r = host_.Call(kIniWrite, u"S", u"k", u"v", u"\\t.ini");
  EXPECT_TRUE(asked());
  EXPECT_FALSE(r.error.raised()) << "the reference host keeps the trace off";
}

// ---- tmhost ini ----------------------------------------------------------

using support::ProcessResult;

class TmhostIniTest : public DeviceRootTest {
 protected:
  static ProcessResult Tmhost(std::vector<std::string> args) {
    args.insert(args.begin(), {"--lib", STD8_COMPONENT_PATH, "ini"});
    ProcessResult r = support::RunProcess(STD8_TMHOST_PATH, args);
    EXPECT_EQ(std::string::npos, r.err.find("Sanitizer")) << r.err;
    EXPECT_EQ(std::string::npos, r.err.find("runtime error")) << r.err;
    return r;
  }
};

struct TmhostCase {
  const char* id;
  std::vector<std::string> args;
  int status;
  const char* out;  // all of stdout
  const char* err;  // found in stderr
};

TEST_F(TmhostIniTest, GetAndSet) {
  Put("\\t.ini", "[A]\r\nx=1\r\ny = two words \r\n[B]\r\nz=\r\n");
  Dir("\\d");
  // clang-format off
  const TmhostCase cases[] = {
    {"g.1",  {"get", "\\t.ini", "A", "x"},      0, "1\n",        ""},
    {"g.2",  {"get", "/t.ini", "a", "Y"},       0, "two words\n", ""},
    {"g.3",  {"get", "\\t.ini", "B", "z"},      0, "\n",         ""},
    {"g.4",  {"get", "\\t.ini", "A"},           0, "x\ny\n",     ""},
    {"g.5",  {"get", "\\t.ini", ""},            0, "A\nB\n",     ""},
    {"g.6",  {"get", "\\t.ini", "A", "w"},      1, "",           ""},
    {"g.7",  {"get", "\\t.ini", "C"},           1, "",           ""},
    {"g.8",  {"get", "\\none.ini", "A", "x"},   1, "",           ""},
    {"g.9",  {"get", "\\d", "A", "x"},          3, "",           "cannot be read"},
    {"g.10", {"get", "\\t.ini"},                2, "",           "FILE SECTION [KEY]"},
    {"g.11", {"get", "\\t.ini", "", "x"},       2, "",           "a KEY needs a SECTION"},
    {"s.1",  {"set", "\\t.ini", "A", "x", "5"}, 0, "",           ""},
    {"s.2",  {"get", "\\t.ini", "A", "x"},      0, "5\n",        ""},
    {"s.3",  {"set", "\\t.ini", "A", "y", ""},  0, "",           ""},
    {"s.4",  {"get", "\\t.ini", "A"},           0, "x\n",        ""},
    {"s.5",  {"set", "\\no\\t.ini", "A", "x", "5"}, 3, "",       "error 80294"},
    {"s.6",  {"set", "\\t.ini", "A", "x"},      2, "",           "FILE SECTION KEY VALUE"},
    {"u.1",  {},                                2, "",           "get or set"},
    {"u.2",  {"put"},                           2, "",           "not \"put\""},
    {"u.3",  {"--help"},                        0, nullptr,      ""},
  };
  // clang-format on
  for (const TmhostCase& c : cases) {
    SCOPED_TRACE(c.id);
    const ProcessResult r = Tmhost(c.args);
    EXPECT_EQ(c.status, r.status) << r.err;
    if (c.out != nullptr) {
      EXPECT_EQ(c.out, r.out);
    }
    EXPECT_NE(std::string::npos, r.err.find(c.err)) << r.err;
  }
  EXPECT_EQ("[A]\r\nx = 5\r\n[B]\r\nz=\r\n", Get("\\t.ini"));
}

}  // namespace
}  // namespace refhost
