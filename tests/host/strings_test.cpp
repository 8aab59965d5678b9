// The string utilities and byte sizes through the reference host by
// function number: results, error numbers with their neutral results, the
// password seeding, GUID forms, the VM's "DiskSize" settings, and tmhost.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "host/refhost/host.h"
#include "tests/support/run_process.h"

namespace refhost {
namespace {

constexpr std::uint32_t kByteSize = 351, kGuid = 408, kDump = 454, kParse = 455,
                        kPassword = 470;

// Texts as ASCII; the VM keeps a dump (0x7E) as a block of UTF-16 bytes.
std::string Narrow(const Value &v) {
  std::string out;
  if (const auto *text = std::get_if<std::u16string>(&v)) {
    out.assign(text->begin(), text->end());
  } else if (const auto *bytes = std::get_if<Bytes>(&v)) {
    for (std::size_t i = 0; i + 1 < bytes->size(); i += 2)
      out += static_cast<char>((*bytes)[i]);
  }
  return out;
}

class StringsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override { host_.Stop(); }
  // The result as text, and the error number in *error (0 for none).
  std::string Text(std::uint32_t function, int syntax, std::vector<Arg> args,
                   std::uint32_t *error = nullptr) {
    const CallResult r = host_.CallArgs(function, syntax, args);
    EXPECT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(1, r.set_calls);
    EXPECT_EQ(0, r.block_delta);
    if (error != nullptr)
      *error = r.error.number;
    else
      EXPECT_FALSE(r.error.raised()) << r.error.number;
    return Narrow(r.value);
  }
  Host host_;
};

TEST_F(StringsTest, ResultsAndErrors) {
  // clang-format off
  const struct { const char* id; std::uint32_t function; int syntax; std::vector<Arg> args; std::string text; std::uint32_t error; } cases[] = {
    {"r.1", kPassword, 1, {0},                          "",           0},
    {"r.2", kPassword, 2, {8, u"x"},                    "",           0},
    {"r.3", kPassword, 2, {6, u"aa"},                   "aaaaaa",     0},
    {"r.4", kDump,     3, {Bytes{0x34, 0x12, 0x41}, 0x102, 0x200}, "3412 41 4.A", 0},
    {"r.5", kByteSize, 1, {std::int64_t{1536}},         "1.50 KB",    0},
    {"r.6", kByteSize, 2, {std::int64_t{2}, 1},         "2 bytes",    0},
    {"e.1", kPassword, 1, {-1},                         "",           81844},
    {"e.2", kDump,     2, {Bytes{1, 2}, 3},             "",           80700},
    {"e.3", kParse,    2, {u"0A", 3},                   "",           80700},
    {"e.4", kParse,    1, {u"0A0B zz"},                 "",           81833},
    {"e.5", kByteSize, 2, {std::int64_t{1}, 6},         "",           81507},
  };
  // clang-format on
  for (const auto &c : cases) {
    SCOPED_TRACE(c.id);
    std::uint32_t error = 0;
    EXPECT_EQ(c.text, Text(c.function, c.syntax, c.args, &error));
    EXPECT_EQ(c.error, error);
  }
  const CallResult parsed = host_.CallSyntax(kParse, 1, u"0A 0B\r\n0C");
  EXPECT_EQ(Value(Bytes{0x0A, 0x0B, 0x0C}), parsed.value);
}

TEST_F(StringsTest, PasswordsSeedTheRuntimeGeneratorOnce) {
  Text(kPassword, 1, {4});  // seeds from the tick count
  std::srand(7);
  const std::string first = Text(kPassword, 1, {12});
  std::srand(7);
  EXPECT_EQ(first, Text(kPassword, 1, {12}));
  EXPECT_TRUE(std::regex_match(first, std::regex("[a-zA-Z2-9]{12}"))) << first;
}

TEST_F(StringsTest, GuidsAreNewVersionFourValues) {
  const std::string bare = Text(kGuid, 1, {}), braced = Text(kGuid, 2, {1});
  EXPECT_TRUE(std::regex_match(
      bare, std::regex("[0-9a-f]{12}4[0-9a-f]{3}[89ab][0-9a-f]{15}")))
      << bare;
  EXPECT_TRUE(std::regex_match(
      braced, std::regex("\\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\\}")))
      << braced;
  EXPECT_NE(bare, Text(kGuid, 2, {0}));
}

TEST_F(StringsTest, ByteSizesTakeTheDiskSizeSettings) {
  host_.services().disk_size().decimal_separator = u',';
  host_.services().disk_size().unit_names = u"octet(s);Ko;Mo";
  EXPECT_EQ("2,50 Mo", Text(kByteSize, 1, {std::int64_t{5} * 512 * 1024}));
  host_.services().disk_size().unit_names = u"";
  EXPECT_EQ("1,00 KB", Text(kByteSize, 1, {std::int64_t{1024}}));
  host_.services().disk_size() = {u'.', {}, nullptr};
}

TEST(StringsTmhost, CallsFromTheCommandLine) {
  // clang-format off
  const struct { const char* id; std::vector<std::string> args; int status; const char* out; } cases[] = {
    {"m.1", {"call", "351", "l:1536", "i:1"},   0, "1536 bytes"},
    {"m.2", {"call", "455", "s:0A0B"},          0, "0a0b"},
    {"m.3", {"call", "470", "i:-2"},            1, "81844"},
  };
  // clang-format on
  for (const auto &c : cases) {
    SCOPED_TRACE(c.id);
    std::vector<std::string> args = {"--lib", STD8_COMPONENT_PATH};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const support::ProcessResult r =
        support::RunProcess(STD8_TMHOST_PATH, args);
    EXPECT_EQ(c.status, r.status) << r.err;
    EXPECT_NE(std::string::npos, (r.out + r.err).find(c.out)) << r.out << r.err;
  }
}

}  // namespace
}  // namespace refhost
