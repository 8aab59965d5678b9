// `tmhost reg` as scripts run it, on a registry store in a fresh temporary
// file: exports that give back the imported file byte for byte in both
// formats, deletions, a malformed file that writes nothing, exit statuses.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/run_process.h"

namespace {

using support::ProcessResult;

std::string Utf16File(std::u16string_view text) {
  std::string out = "\xFF\xFE";
  for (const char16_t c : text) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>(c >> 8);
  }
  return out;
}

// One tree holding every value type, as export writes it. The two files
// hold the same values: only the string types are spelt differently.
#define STD8_BLOB                                                              \
  "\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,"  \
  "14,15,\\\r\n  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29," \
  "2a,2b,2c,2d,2e,\\\r\n  2f,30,31\r\n"
#define STD8_COMMON                            \
  "\"Count\"=dword:0000002a\r\n" STD8_BLOB     \
  "\"Big\"=hex(b):88,77,66,55,44,33,22,11\r\n" \
  "\"None\"=hex(0):\r\n"                       \
  "\"Swapped\"=hex(5):11,22,33,44\r\n"         \
  "\"Link\"=hex(6):41,00\r\n"                  \
  "\"Resources\"=hex(8):01\r\n"                \
  "\"Descriptor\"=hex(9):02\r\n"               \
  "\"Requirements\"=hex(a):03\r\n"             \
  "\"Custom\"=hex(20000):04\r\n"               \
  "\"Unterminated\"=hex(1):61,00,62,00\r\n"    \
  "\"Short\"=hex(4):01,02\r\n"                 \
  "\"Empty\"=hex(1):\r\n"
#define STD8_TAIL                                                    \
  "\r\n[HKEY_CURRENT_USER\\Software\\RegTest\\Child\\Grand]\r\n\r\n" \
  "[HKEY_CURRENT_USER\\Software\\RegTest\\Zed]\r\n"                  \
  "\"a\"=dword:00000001\r\n\r\n"

const std::u16string kVersion5Text =
    u"Windows Registry Editor Version 5.00\r\n\r\n"
    u"[HKEY_CURRENT_USER\\Software\\RegTest]\r\n"
    u"@=\"default \\\"quoted\\\" C:\\\\path\"\r\n"
    u"\"Accent\"=\"caf\u00e9\"\r\n"
    u"\"Expand\"=hex(2):25,00,50,00,41,00,54,00,48,00,25,00,00,00\r\n"
    u"\"List\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n" STD8_COMMON
    u"\r\n[HKEY_CURRENT_USER\\Software\\RegTest\\Child]\r\n"
    u"\"Greek\"=\"\u03a9mega\"\r\n" STD8_TAIL;

const std::string kRegedit4File =
    "REGEDIT4\r\n\r\n"
    "[HKEY_CURRENT_USER\\Software\\RegTest]\r\n"
    "@=\"default \\\"quoted\\\" C:\\\\path\"\r\n"
    "\"Accent\"=\"caf\xE9\"\r\n"
    "\"Expand\"=hex(2):25,50,41,54,48,25,00\r\n"
    "\"List\"=hex(7):61,00,62,00,00\r\n" STD8_COMMON
    "\r\n[HKEY_CURRENT_USER\\Software\\RegTest\\Child]\r\n"
    "\"Greek\"=hex(1):a9,03,6d,00,65,00,67,00,61,00,00,00\r\n" STD8_TAIL;

const char kDump[] =
    "[HKEY_CURRENT_USER\\Software\\RegTest]\n"
    "  @ REG_SZ \"default \\\"quoted\\\" C:\\\\path\"\n"
    "  \"Accent\" REG_SZ \"caf\xC3\xA9\"\n"
    "  \"Expand\" REG_EXPAND_SZ \"%PATH%\"\n"
    "  \"List\" REG_MULTI_SZ [\"a\", \"b\"]\n"
    "  \"Count\" REG_DWORD 42 (0x0000002a)\n"
    "  \"Blob\" REG_BINARY 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 "
    "11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f ... (50 bytes)\n"
    "  \"Big\" REG_QWORD 1234605616436508552 (0x1122334455667788)\n"
    "  \"None\" REG_NONE (empty)\n"
    "  \"Swapped\" REG_DWORD_BIG_ENDIAN 287454020 (0x11223344)\n"
    "  \"Link\" REG_LINK 41 00\n"
    "  \"Resources\" REG_RESOURCE_LIST 01\n"
    "  \"Descriptor\" REG_FULL_RESOURCE_DESCRIPTOR 02\n"
    "  \"Requirements\" REG_RESOURCE_REQUIREMENTS_LIST 03\n"
    "  \"Custom\" type 0x20000 04\n"
    "  \"Unterminated\" REG_SZ \"ab\"\n"
    "  \"Short\" REG_DWORD 01 02\n"
    "  \"Empty\" REG_SZ \"\"\n"
    "  [Child]\n"
    "    \"Greek\" REG_SZ \"\xCE\xA9mega\"\n"
    "    [Grand]\n"
    "  [Zed]\n"
    "    \"a\" REG_DWORD 1 (0x00000001)\n";

constexpr char kKey[] = "HKCU\\Software\\RegTest";

class RegCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char templ[] = "/tmp/tessel_reg_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(templ));
    dir_ = templ;
    UseStore("registry.db");
  }
  void TearDown() override {
    unsetenv("TESSEL_REGISTRY");
    std::filesystem::remove_all(dir_);
  }

  // A store of its own: children find it through TESSEL_REGISTRY.
  void UseStore(const std::string& name) {
    setenv("TESSEL_REGISTRY", Path(name).c_str(), 1);
  }
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  std::string Put(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }

  static ProcessResult Reg(std::vector<std::string> args) {
    args.insert(args.begin(), "reg");
    ProcessResult r = support::RunProcess(STD8_TMHOST_PATH, args);
    EXPECT_EQ(std::string::npos, r.err.find("Sanitizer")) << r.err;
    EXPECT_EQ(std::string::npos, r.err.find("runtime error")) << r.err;
    return r;
  }
  static std::string Export(const char* key, bool regedit4) {
    ProcessResult r = regedit4 ? Reg({"export", "--regedit4", key, "-"})
                               : Reg({"export", key, "-"});
    EXPECT_EQ(0, r.status) << r.err;
    return r.out;
  }

  std::string dir_;
};

// Import either file, export both, on a store that starts empty each time.
TEST_F(RegCommandTest, ExportGivesBackWhatWasImportedInBothFormats) {
  const std::string files[] = {Utf16File(kVersion5Text), kRegedit4File};
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i == 0 ? "version 5" : "REGEDIT4");
    UseStore("store" + std::to_string(i) + ".db");
    const ProcessResult r = Reg({"import", Put("in.reg", files[i])});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(files[0], Export(kKey, false));
    EXPECT_EQ(files[1], Export(kKey, true));
  }
  const ProcessResult dump =
      Reg({"dump", "hkey_current_user\\software\\regtest"});
  EXPECT_EQ(0, dump.status) << dump.err;
  EXPECT_EQ(kDump, dump.out);
}

TEST_F(RegCommandTest, DashDeletesValuesAndSubtrees) {
  ASSERT_EQ(0, Reg({"import", Put("a.reg", kRegedit4File)}).status);
  const ProcessResult r =
      Reg({"import",
           Put("d.reg",
               "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\Software\\RegTest]\r\n"
               "\"Count\"=-\r\n\"NoSuchValue\"=-\r\n\"Big\"=dword:7\r\n"
               "[-HKEY_CURRENT_USER\\Software\\RegTest\\Child]\r\n"
               "[-HKEY_CURRENT_USER\\Software\\NoSuchKey]\r\n")});
  ASSERT_EQ(0, r.status) << r.err;
  const std::string dump = Reg({"dump", kKey}).out;
  EXPECT_EQ(std::string::npos, dump.find("\"Count\"")) << dump;
  EXPECT_NE(std::string::npos, dump.find("\"Big\" REG_DWORD 7 (")) << dump;
  EXPECT_EQ(std::string::npos, dump.find("Child")) << dump;
  EXPECT_NE(std::string::npos, dump.find("[Zed]")) << dump;
  EXPECT_EQ(1, Reg({"dump", "HKCU\\Software\\RegTest\\Child\\Grand"}).status);
}

TEST_F(RegCommandTest, Regedit4NamesWhatItCannotCarry) {
  ASSERT_EQ(
      0, Reg({"import",
              Put("w.reg",
                  Utf16File(
                      u"Windows Registry Editor Version 5.00\r\n"
                      u"[HKEY_USERS\\T\\\u03a9]\r\n\"\u03b1\"=dword:1\r\n"))})
             .status);
  const ProcessResult r = Reg({"export", "--regedit4", "HKU\\T", "-"});
  EXPECT_EQ(0, r.status);
  EXPECT_NE(std::string::npos, r.out.find("[HKEY_USERS\\T\\?]\r\n\"?\"="))
      << r.out;
  EXPECT_NE(
      std::string::npos,
      r.err.find("warning: HKEY_USERS\\T\\\xCE\xA9 \"\xCE\xB1\": the format"))
      << r.err;
}

struct StatusCase {
  const char* id;
  std::vector<std::string> args;
  int status;
  std::string err;  // found in stderr
};

TEST_F(RegCommandTest, ExitStatuses) {
  Put("garbage.db", std::string(4096, 'x'));
  Put("ok.reg", "REGEDIT4\r\n\r\n[HKEY_USERS\\T]\r\n");
  // A malformed file writes nothing, not even the lines before the fault.
  const std::string bad = Put("bad.reg",
                              "REGEDIT4\r\n\r\n[HKEY_USERS\\B]\r\n"
                              "\"a\"=dword:1\r\n\"b\"=hex:01,zz\r\n");
  // clang-format off
  const std::vector<StatusCase> cases = {
    {"x.1", {"--help"}, 0, ""},
    {"x.3", {}, 2, "import, export or dump"},
    {"x.5", {"export", "HKEY_NOPE\\X", "-"}, 2, "must begin with"},
    {"x.6", {"export", "--bogus", "HKU", "-"}, 2, "unknown option"},
    {"x.8", {"import"}, 2, "takes FILE"},
    {"x.9", {"export", "HKU\\Missing", Path("never.reg")}, 1, "no such key"},
    {"x.10", {"dump", "HKU\\Missing"}, 1, "no such key"},
    {"x.11", {"import", Path("missing.reg")}, 3, "cannot be read"},
    {"x.12", {"import", Path("ok.reg")}, 0, ""},
    {"x.13", {"export", "HKU\\T", Path("no/dir.reg")}, 3, "cannot be written"},
    {"x.14", {"export", "HKU\\T", Path("out.reg")}, 0, ""},
    {"x.15", {"import", bad}, 4, bad + ":5: "},
    {"x.16", {"dump", "HKU\\B"}, 1, "no such key"},
  };
  // clang-format on
  for (const StatusCase& c : cases) {
    SCOPED_TRACE(c.id);
    const ProcessResult r = Reg(c.args);
    EXPECT_EQ(c.status, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.err.find(c.err)) << r.err;
  }
  EXPECT_FALSE(std::filesystem::exists(Path("never.reg")));
  EXPECT_TRUE(std::filesystem::exists(Path("out.reg")));

  UseStore("garbage.db");
  const ProcessResult r = Reg({"import", Path("ok.reg")});
  EXPECT_EQ(3, r.status);
  EXPECT_NE(std::string::npos, r.err.find("registry store failed")) << r.err;
}

}  // namespace
