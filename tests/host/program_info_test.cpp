// ProgramInfo (function 37) through the reference host, on executables that
// scripts/make_pe.py writes into a device root of the suite's own: PE32 and
// PE32+ images with version resources, MZ stubs of every kind, truncated and
// malformed variants. The running program is "\Prog\app.exe".
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <variant>

#include "host/refhost/host.h"
#include "tests/support/run_process.h"

namespace refhost {
namespace {

constexpr std::uint32_t kProgramInfo = 37;
constexpr const char16_t* kRunning = nullptr;  // syntax 1: the running program

struct InfoCase {
  const char* id;
  const char16_t* key;
  const char16_t* path;
  std::u16string expected;
};

class ProgramInfoTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    root_ = std::filesystem::temp_directory_path() / "std8_proginfo_XXXXXX";
    ASSERT_NE(mkdtemp(root_.data()), nullptr);
    setenv("TESSEL_ROOT", root_.c_str(), 1);
    setenv("TESSEL_PROGRAM", "\\Prog\\app.exe", 1);
    const support::ProcessResult made = support::RunProcess(
        "/usr/bin/python3",
        {std::string(STD8_SOURCE_DIR) + "/scripts/make_pe.py", root_ + "/pe"});
    ASSERT_EQ(0, made.status) << made.err;
    std::filesystem::create_directories(root_ + "/Prog");
    std::filesystem::copy_file(root_ + "/pe/app32.exe",
                               root_ + "/Prog/app.exe");
    host_ = new Host;
    ASSERT_TRUE(host_->Load(STD8_COMPONENT_PATH, STD8_VM_PATH) &&
                host_->Start())
        << host_->last_error();
  }
  static void TearDownTestSuite() {
    if (host_ != nullptr) host_->Stop();
    delete host_;
    unsetenv("TESSEL_PROGRAM");
    unsetenv("TESSEL_ROOT");
    if (!root_.empty()) std::filesystem::remove_all(root_);
  }

  // The answer for `key`; a null path asks about the running program.
  static std::u16string Info(std::u16string key, const char16_t* path) {
    const CallResult r =
        path == nullptr
            ? host_->CallSyntax(kProgramInfo, 1, std::move(key))
            : host_->CallSyntax(kProgramInfo, 2, std::move(key), path);
    EXPECT_TRUE(r.called()) << r.refused;
    EXPECT_FALSE(r.error.raised()) << "ProgramInfo never raises";
    EXPECT_EQ(0, r.block_delta);
    const auto* text = std::get_if<std::u16string>(&r.value);
    return text == nullptr ? u"<none>" : *text;
  }

  static void Check(std::span<const InfoCase> cases) {
    for (const InfoCase& c : cases) {
      SCOPED_TRACE(c.id);
      EXPECT_EQ(c.expected, Info(c.key, c.path));
    }
  }

  static inline std::string root_;
  static inline Host* host_ = nullptr;
};

// The copyright string of app32.exe is 250 characters; 199 come back.
std::u16string CutCopyright() {
  std::u16string full = u"(c) Société Exemple ";
  while (full.size() < 250) full += u"0123456789";
  return full.substr(0, 199);
}

constexpr const char16_t* kApp32 = u"\\pe\\app32.exe";
constexpr const char16_t* kApp64 = u"\\pe\\app64.dll";

TEST_F(ProgramInfoTest, KeysPathsAndDirectories) {
  const std::u16string long_path = u"\\" + std::u16string(299, u'p');
  // clang-format off
  const InfoCase cases[] = {
    {"k.1",  u"NOM",          kApp32,   kApp32},
    {"k.2",  u"name",         kApp32,   kApp32},
    {"k.3",  u"REPERTOIRE",   kApp32,   u"\\pe"},
    {"k.4",  u"Répertoire",   kApp32,   u"\\pe"},
    {"k.5",  u"DIRECTORY",    kApp32,   u"\\pe"},
    {"k.6",  u"Copyright",    kApp32,   CutCopyright()},
    {"k.7",  u"VERSION",      kApp32,   u"21.0.108.1"},
    {"k.8",  u"description",  kApp32,   u"Démonstration"},
    {"k.9",  u"MODE",         kApp32,   u"32"},
    {"k.10", u"société",      kApp32,   u"Société Exemple"},
    {"k.11", u"SOCIÉTÉ",      kApp32,   u"Société Exemple"},
    {"k.12", u"SOCIETE",      kApp32,   u"Société Exemple"},
    {"k.13", u"Company",      kApp32,   u"Société Exemple"},
    {"k.14", u"version4n",    kApp32,   u"2.65535.0.9"},
    {"k.15", u"LANCEMENT",    kApp32,   u""},
    {"k.16", u"Boot",         kApp32,   u""},
    // Other keys name a string of the resource, whatever their case.
    {"k.18", u"productname",  kApp32,   u"Tessel Démo"},
    {"k.19", u"Comments",     kApp32,   u""},
    {"k.20", u"",             kApp32,   u""},
    {"k.21", u"VERSION ",     kApp32,   u""},
    // No translation: the US English, Latin-1 table.
    {"e.1",  u"COMPANY",      kApp64,   u"Example Corp"},
    {"e.2",  u"version",      kApp64,   u"1.0"},
    {"e.4",  u"MODE",         kApp64,   u"64"},
    {"e.5",  u"VERSION4N",    kApp64,   u"1.2.3.4"},
    // The only table is French, and no translation leads to it.
    {"e.6",  u"SOCIETE",      u"\\pe\\nofixed.exe", u""},
    {"e.7",  u"VERSION4N",    u"\\pe\\nofixed.exe", u""},
    // The running program.
    {"r.1",  u"NAME",         kRunning, u"\\Prog\\app.exe"},
    {"r.2",  u"REPERTOIRE",   kRunning, u"\\Prog"},
    {"r.3",  u"COMPANY",      kRunning, u"Société Exemple"},
    {"r.5",  u"NAME",         u"",      u"\\Prog\\app.exe"},
    // Directories and names of other paths.
    {"p.1",  u"DIRECTORY",    u"\\top.exe",      u""},
    {"p.2",  u"DIRECTORY",    u"COM1:",          u"COM1:"},
    {"p.3",  u"DIRECTORY",    u"dev:x.exe",      u"dev:"},
    {"p.4",  u"DIRECTORY",    u"plain.exe",      u""},
    {"p.5",  u"DIRECTORY",    u"a:b\\c:d",       u"a:b"},
    // Only "\" separates here, as on the handheld.
    {"p.6",  u"DIRECTORY",    u"/pe/app32.exe",  u""},
    {"p.7",  u"NAME",         long_path.c_str(), long_path.substr(0, 260)},
  };
  // clang-format on
  Check(cases);
}

TEST_F(ProgramInfoTest, ModeOfEachKindAndDamagedResources) {
  // clang-format off
  const InfoCase cases[] = {
    {"m.1",  u"MODE", u"\\pe\\ne.exe",       u"16"},
    {"m.2",  u"MODE", u"\\pe\\le.exe",       u"16"},
    {"m.3",  u"MODE", u"\\pe\\lx.exe",       u"16"},
    {"m.4",  u"MODE", u"\\pe\\w3.exe",       u"16"},
    {"m.5",  u"MODE", u"\\pe\\mzmz.exe",     u"DOS"},
    {"m.6",  u"MODE", u"\\pe\\dos.exe",      u"DOS"},  // relocations not at 64
    {"m.7",  u"MODE", u"\\pe\\other.exe",    u""},
    {"m.8",  u"MODE", u"\\pe\\notes.txt",    u""},
    {"m.9",  u"MODE", u"\\pe\\short.exe",    u""},     // under 64 bytes
    {"m.10", u"MODE", u"\\pe\\negative.exe", u""},     // the seek fails
    {"m.11", u"MODE", u"\\pe\\far.exe",      u"DOS"},  // header past the end
    {"m.12", u"MODE", u"\\pe\\cutpe.exe",    u"DOS"},  // header cut short
    {"m.13", u"MODE", u"\\pe\\cutne.exe",    u"DOS"},
    {"m.14", u"MODE", u"\\pe\\cut64.exe",    u"64"},   // no sections needed
    {"m.15", u"MODE", u"\\pe\\missing.exe",  u"DOS"},
    {"m.16", u"MODE", u"\\pe",               u"DOS"},  // a directory
    {"m.17", u"MODE", u"app.exe",            u"32"},   // from \Prog
    // Damaged resources give empty texts. Lengths past their record are
    // cut to it and the strings still found.
    {"d.1",  u"COMPANY",   u"\\pe\\loose.exe",        u"Loose"},
    {"d.2",  u"VERSION4N", u"\\pe\\loose.exe",        u"5.6.7.8"},
    {"d.3",  u"COMPANY",   u"\\pe\\zero.exe",         u""},
    {"d.4",  u"COMPANY",   u"\\pe\\unterminated.exe", u""},
    {"d.5",  u"COMPANY",   u"\\pe\\badtree.exe",      u""},
    {"d.6",  u"VERSION4N", u"\\pe\\flattree.exe",     u""},
    {"d.7",  u"COMPANY",   u"\\pe\\bigdata.exe",      u""},
    {"d.8",  u"MODE",      u"\\pe\\bigdata.exe",      u"32"},
    {"d.9",  u"COMPANY",   u"\\pe\\cut64.exe",        u""},
    {"d.10", u"VERSION",   u"\\pe\\cutpe.exe",        u""},
    {"d.11", u"VERSION",   u"\\pe\\ne.exe",           u""},
    {"d.13", u"VERSION4N", u"\\pe\\missing.exe",      u""},
    {"d.14", u"NAME",      u"\\pe\\missing.exe",      u"\\pe\\missing.exe"},
  };
  // clang-format on
  Check(cases);
}

}  // namespace
}  // namespace refhost
