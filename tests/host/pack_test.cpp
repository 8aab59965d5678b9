// Packing and restoring end to end: nfCompacte and nfDecompacte of the
// built library called as the VM calls them, with their progress steps and
// the host's cancel, and `tmhost compress` and `expand` as scripts run them.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "host/refhost/host.h"
#include "tests/files/fs_fixture.h"
#include "tests/support/run_process.h"

namespace refhost {
namespace {

using files::testing::DeviceRootTest;
using support::ProcessResult;

// Words over a small vocabulary: packs to about a third.
std::string Text(std::size_t n) {
  std::mt19937 rng(5);
  static const char* const kWords[] = {"alpha ", "beta ", "gamma ", "delta\r\n",
                                       "epsilon "};
  std::string out;
  while (out.size() < n) out += kWords[rng() % 5];
  out.resize(n);
  return out;
}

class PackTest : public DeviceRootTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
    ASSERT_NE(nullptr, host_.exports().compact);
    ASSERT_NE(nullptr, host_.exports().decompact);
  }
  void TearDown() override { host_.Stop(); }

  // The percentages of the steps since the last clear; each pass rises
  // from 0 to 100 in the session's window.
  std::vector<int> Steps() {
    std::vector<int> percents;
    for (const vm::ProgressStep& s : host_.vm().ProgressSteps()) {
      EXPECT_EQ(vm::DefaultPeerAnswer(10), s.window);
      percents.push_back(s.percent);
    }
    return percents;
  }

  Host host_;
};

TEST_F(PackTest, RoundTripWithProgress) {
  const std::string text = Text(400000);
  Put("\\a.txt", text);
  host_.vm().ClearRecords();
  ASSERT_EQ(0, host_.exports().compact(u"\\a.txt", u"\\a.lzh"));
  std::vector<int> steps = Steps();
  ASSERT_GE(steps.size(), 3u);
  EXPECT_EQ(0, steps.front());
  EXPECT_EQ(100, steps.back());
  EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
  EXPECT_LT(Get("\\a.lzh").size(), text.size() / 2);

  host_.vm().ClearRecords();
  ASSERT_EQ(0, host_.exports().decompact(u"\\a.lzh", u"\\b.txt"));
  steps = Steps();
  ASSERT_GE(steps.size(), 3u);
  EXPECT_EQ(0, steps.front());
  EXPECT_EQ(100, steps.back());
  EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
  EXPECT_EQ(text, Get("\\b.txt"));
}

// The host's cancel stops both at the next step and deletes what they
// wrote.
TEST_F(PackTest, CancelDeletesTheDestination) {
  Put("\\a.txt", Text(400000));
  ASSERT_EQ(0, host_.exports().compact(u"\\a.txt", u"\\a.lzh"));
  host_.vm().CancelAtPercent(30);
  EXPECT_EQ(6, host_.exports().compact(u"\\a.txt", u"\\c.lzh"));
  EXPECT_FALSE(Exists("\\c.lzh"));
  EXPECT_EQ(6, host_.exports().decompact(u"\\a.lzh", u"\\c.txt"));
  EXPECT_FALSE(Exists("\\c.txt"));
  host_.vm().CancelAtPercent(-1);
}

class TmhostPackTest : public DeviceRootTest {
 protected:
  static ProcessResult Tmhost(std::vector<std::string> args) {
    args.insert(args.begin(), {"--lib", STD8_COMPONENT_PATH});
    ProcessResult r = support::RunProcess(STD8_TMHOST_PATH, args);
    EXPECT_EQ(std::string::npos, r.err.find("Sanitizer")) << r.err;
    EXPECT_EQ(std::string::npos, r.err.find("runtime error")) << r.err;
    return r;
  }
};

TEST_F(TmhostPackTest, ExitStatuses) {
  const std::string text = Text(100000);
  Put("\\a.txt", text);
  Put("\\bad.lzh", std::string(" -lh5-\0", 7) + std::string(400, '\xFF'));
  // clang-format off
  const struct {
    const char* id;
    std::vector<std::string> args;
    int status;
    const char* err;  // found in stderr
  } cases[] = {
    {"c.0", {"compress", "\\a.txt", "\\a.lzh"},    0,  ""},
    {"e.0", {"expand", "\\a.lzh", "\\b.txt"},      0,  ""},
    {"c.1", {"compress", "\\none", "\\x.lzh"},     1,  "the source cannot be read (status 1)"},
    {"c.2", {"compress", "\\a.txt", "\\no\\x"},    2,  "the destination cannot be created"},
    {"e.3", {"expand", "\\bad.lzh", "\\x.txt"},    3,  "not a packed file, or a corrupt one"},
    {"u.1", {"compress", "\\a.txt"},               64, "compress takes SRC and DST"},
    {"u.2", {"expand", "a", "b", "c"},             64, "expand takes SRC and DST"},
    {"h.1", {"compress", "--help"},                0,  ""},
    {"h.2", {"expand", "--help"},                  0,  ""},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const ProcessResult r = Tmhost(c.args);
    EXPECT_EQ(c.status, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.err.find(c.err)) << r.err;
  }
  EXPECT_EQ(text, Get("\\b.txt"));
  EXPECT_FALSE(Exists("\\x.txt"));
  EXPECT_NE(std::string::npos,
            Tmhost({"expand", "--help"}).out.find("Usage: tmhost"));
}

}  // namespace
}  // namespace refhost
