// The registry on Linux: Win32 semantics over the SQLite store, several
// threads and processes on one store, a writer killed mid-loop, files that
// are not a store; and the test double's planned failures.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/fake/fake_platform.h"
#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

using Bytes = std::string;

Bytes Utf16(std::u16string_view text) {
  return Bytes(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
const std::uint8_t* Data(const Bytes& b) {
  return reinterpret_cast<const std::uint8_t*>(b.data());
}

// A child process running `body`, killed and reaped when the test lets go of
// it. It reports to the parent through a pipe.
class Child {
 public:
  explicit Child(const std::function<void(int report)>& body) {
    int fds[2];
    if (pipe(fds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(fds[0]);
      body(fds[1]);
      _exit(0);
    }
    close(fds[1]);
    read_ = fds[0];
  }
  ~Child() {
    Kill();
    if (read_ >= 0) close(read_);
  }
  // Reads one report, waiting at most `timeout_ms`; false at the end.
  bool Read(std::uint32_t* value, int timeout_ms = 10000) {
    pollfd p{read_, POLLIN, 0};
    if (poll(&p, 1, timeout_ms) != 1) return false;
    return read(read_, value, sizeof *value) == sizeof *value;
  }
  // True when the child ended on its own with status 0.
  bool Wait() {
    if (pid_ > 0 && waitpid(pid_, &status_, 0) == pid_) pid_ = -1;
    return pid_ < 0 && WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
  }
  void Kill() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, &status_, 0);
    pid_ = -1;
  }
  bool Running() {
    if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) == pid_) pid_ = -1;
    return pid_ > 0;
  }

 private:
  pid_t pid_ = -1;
  int read_ = -1;
  int status_ = -1;
};

void Report(int fd, std::uint32_t value) {
  (void)!write(fd, &value, sizeof value);
}

class RegistryStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char templ[] = "/tmp/tessel_regstore_XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    dir_ = templ;
    UseStore("registry.db");
  }
  void TearDown() override {
    env_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // Points TESSEL_REGISTRY at `file` in the test's directory.
  std::string UseStore(const std::string& file) {
    env_.reset();
    env_.emplace("TESSEL_REGISTRY", (dir_ + "/" + file).c_str());
    return dir_ + "/" + file;
  }
  // Lets the process close the store at `file` (a root used elsewhere
  // drops it), then uses it again: the next call opens it from the disk.
  void ReopenStore(const std::string& file) {
    UseStore("elsewhere.db");
    Key k = 0;
    reg().OpenKey(kUsers, u"", kKeyRead, &k);
    reg().CloseKey(k);
    UseStore(file);
  }

  Registry& reg() { return Current().registry; }

  Key Create(std::u16string_view path, Key parent = kCurrentUser) {
    Key key = 0;
    EXPECT_EQ(kOk, reg().CreateKey(parent, path, kKeyAllAccess, &key, nullptr));
    return key;
  }
  SysErr Set(Key key, std::u16string_view name, std::uint32_t type,
             const Bytes& data) {
    return reg().SetValue(key, name, type, Data(data),
                          static_cast<std::uint32_t>(data.size()));
  }
  // The value's type and bytes through the size protocol; empty on error.
  SysErr Get(Key key, std::u16string_view name, std::uint32_t* type,
             Bytes* data) {
    std::uint32_t size = 0;
    SysErr err = reg().QueryValue(key, name, type, nullptr, &size);
    if (err != kOk) return err;
    data->assign(size, '\0');
    return reg().QueryValue(
        key, name, type, reinterpret_cast<std::uint8_t*>(data->data()), &size);
  }
  std::vector<std::u16string> SubkeyNames(Key key) {
    std::vector<std::u16string> names;
    std::u16string name;
    while (reg().EnumKey(key, static_cast<std::uint32_t>(names.size()),
                         &name) == kOk)
      names.push_back(name);
    return names;
  }
  std::vector<std::u16string> ValueNames(Key key) {
    std::vector<std::u16string> names;
    std::u16string name;
    while (reg().EnumValue(key, static_cast<std::uint32_t>(names.size()), &name,
                           nullptr, nullptr, nullptr) == kOk)
      names.push_back(name);
    return names;
  }

  std::string dir_;
  std::optional<ScopedEnv> env_;
};

// ---- Keys -------------------------------------------------------------------

struct KeyStep {
  const char* id;
  bool create;
  std::u16string_view path;
  SysErr expected;
  bool created;
};

// clang-format off
const std::u16string kLong255(255, u'n');
const std::u16string kLong256(256, u'n');
const KeyStep kKeySteps[] = {
  {"1.1",  true,  u"Soft\\Tessel\\App",    kOk,                  true},
  {"1.2",  true,  u"SOFT\\tessel\\APP",    kOk,                  false},
  {"1.3",  false, u"soft\\TESSEL",         kOk,                  false},
  {"1.4",  false, u"Soft\\Missing",        kErrFileNotFound,     false},
  {"1.5",  false, u"",                     kOk,                  false},
  {"1.6",  false, u"Soft\\Tessel\\",       kOk,                  false},
  {"1.7",  true,  u"Soft\\Tessel\\App\\",  kOk,                  false},
  {"1.8",  false, u"\\Soft",               161,                  false},
  {"1.9",  true,  u"\\Soft",               161,                  false},
  {"1.10", false, u"Soft\\\\Tessel",       kErrInvalidParameter, false},
  {"1.11", true,  u"Soft\\\\New",          kErrInvalidParameter, false},
  {"1.12", true,  u"Soft\\Tessel\\\\",     kErrInvalidParameter, false},
  {"1.13", true,  kLong256,                kErrInvalidParameter, false},
  {"1.14", true,  kLong255,                kOk,                  true},
  {"1.15", true,  u"Soft\\a\\b\\c\\d",     kOk,                  true},
  {"1.16", false, u"SOFT\\A\\B\\C\\D",     kOk,                  false},
  {"1.17", true,  u"\u00e9t\u00e9",        kOk,                  true},
  {"1.18", false, u"\u00c9T\u00c9",        kOk,                  false},
  {"1.19", false, u"\u0416",               kErrFileNotFound,     false},
};
// clang-format on

TEST_F(RegistryStoreTest, CreateAndOpenFindNamesWithoutRegardToCase) {
  for (const KeyStep& s : kKeySteps) {
    SCOPED_TRACE(s.id);
    Key key = 99;
    bool created = !s.created;
    const SysErr err =
        s.create ? reg().CreateKey(kCurrentUser, s.path, kKeyAllAccess, &key,
                                   &created)
                 : reg().OpenKey(kCurrentUser, s.path, kKeyRead, &key);
    EXPECT_EQ(s.expected, err);
    EXPECT_EQ(s.expected, Current().system.LastError());
    if (s.create) {
      EXPECT_EQ(s.created, created);
    }
    if (err == kOk) {
      EXPECT_NE(0u, key);
      EXPECT_EQ(kOk, reg().CloseKey(key));
    } else {
      EXPECT_EQ(0u, key);
    }
  }
  // The case of the first creation is kept.
  const Key soft = Create(u"soft");
  EXPECT_EQ(std::vector<std::u16string>({u"a", u"Tessel"}), SubkeyNames(soft));
}

TEST_F(RegistryStoreTest, SubkeysByFoldedNameValuesInOrderFirstSet) {
  const Key parent = Create(u"Order");
  for (const std::u16string_view name :
       {u"zeta", u"_x", u"Alpha", u"\u00e9t\u00e9", u"beta", u"Zulu"})
    reg().CloseKey(Create(name, parent));
  // "_" sorts after the letters once they are upper-cased.
  EXPECT_EQ(std::vector<std::u16string>(
                {u"Alpha", u"beta", u"zeta", u"Zulu", u"_x", u"\u00e9t\u00e9"}),
            SubkeyNames(parent));

  for (const std::u16string_view name : {u"v3", u"v1", u"", u"v2"})
    ASSERT_EQ(kOk, Set(parent, name, kRegDword, "1234"));
  ASSERT_EQ(kOk, Set(parent, u"V3", kRegSz, "ab"));  // stays first, as "v3"
  ASSERT_EQ(kOk, reg().DeleteValue(parent, u"V1"));
  ASSERT_EQ(kOk, Set(parent, u"V1", kRegDword, "1234"));  // now last
  EXPECT_EQ(std::vector<std::u16string>({u"v3", u"", u"v2", u"V1"}),
            ValueNames(parent));
  std::uint32_t type = 0;
  Bytes data;
  EXPECT_EQ(kOk, Get(parent, u"v3", &type, &data));
  EXPECT_EQ(kRegSz, type);
  EXPECT_EQ("ab", data);
}

// Enumerating by index while this or another process changes the key: each
// answer is the key as it is now, whatever was asked before.
TEST_F(RegistryStoreTest, EnumerationSeesChangesBetweenCalls) {
  const Key key = Create(u"Moving");
  for (const std::u16string_view name : {u"a", u"b", u"c", u"d"}) {
    reg().CloseKey(Create(name, key));
    ASSERT_EQ(kOk, Set(key, name, kRegSz, "x"));
  }
  const auto change = [&](bool elsewhere, const std::function<void()>& body) {
    if (!elsewhere) return body();
    Child child([&](int) { body(); });
    EXPECT_TRUE(child.Wait());
  };
  for (const bool elsewhere : {false, true}) {
    SCOPED_TRACE(elsewhere ? "another process" : "this process");
    std::u16string name;
    ASSERT_EQ(kOk, reg().EnumKey(key, 1, &name));
    ASSERT_EQ(kOk, reg().EnumValue(key, 1, &name, nullptr, nullptr, nullptr));
    change(elsewhere, [&] {
      reg().DeleteKey(key, u"a");
      reg().DeleteValue(key, u"a");
    });
    EXPECT_EQ(kOk, reg().EnumKey(key, 1, &name));
    EXPECT_EQ(u"c", name);
    EXPECT_EQ(kOk, reg().EnumValue(key, 2, &name, nullptr, nullptr, nullptr));
    EXPECT_EQ(u"d", name);
    change(elsewhere, [&] {
      reg().CloseKey(Create(u"a", key));
      Set(key, u"e", kRegSz, "x");
    });
    EXPECT_EQ(kOk, reg().EnumKey(key, 2, &name));
    EXPECT_EQ(u"c", name);
    EXPECT_EQ(kOk, reg().EnumValue(key, 3, &name, nullptr, nullptr, nullptr));
    EXPECT_EQ(u"e", name);
    change(elsewhere, [&] { reg().DeleteValue(key, u"e"); });
  }
}

TEST_F(RegistryStoreTest, DeleteKeyRefusesChildrenAndRoots) {
  const Key child = Create(u"Del\\Child");
  // clang-format off
  const struct { const char* id; Key parent; std::u16string_view path; SysErr expected; } cases[] = {
    {"1", kCurrentUser, u"Del",        kErrAccessDenied},
    {"2", kCurrentUser, u"",           kErrAccessDenied},
    {"3", kLocalMachine, u"Del",       kErrFileNotFound},
    {"4", kCurrentUser, u"Del\\CHILD", kOk},
    {"5", kCurrentUser, u"Del\\Child", kErrFileNotFound},
    {"6", kCurrentUser, u"DEL",        kOk},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.expected, reg().DeleteKey(c.parent, c.path));
  }
  EXPECT_EQ(kErrKeyDeleted, reg().DeleteKey(child, u""));
}

TEST_F(RegistryStoreTest, HandleOfADeletedKeyGives1018) {
  const Key key = Create(u"Gone");
  ASSERT_EQ(kOk, Set(key, u"v", kRegSz, "x"));
  const Key same = Create(u"GONE");
  ASSERT_EQ(kOk, reg().DeleteKey(same, u""));  // deleted through itself
  reg().CloseKey(Create(u"Gone"));             // a new key of the same name
  std::u16string name;
  KeyInfo info;
  Key sub = 0;
  std::uint32_t size = 0;
  // clang-format off
  const std::pair<const char*, std::function<SysErr()>> ops[] = {
    {"query",  [&] { return reg().QueryValue(key, u"v", nullptr, nullptr, &size); }},
    {"set",    [&] { return Set(key, u"v", kRegSz, "y"); }},
    {"delete", [&] { return reg().DeleteValue(key, u"v"); }},
    {"enumk",  [&] { return reg().EnumKey(key, 0, &name); }},
    {"enumv",  [&] { return reg().EnumValue(key, 0, &name, nullptr, nullptr, &size); }},
    {"info",   [&] { return reg().QueryInfo(key, &info); }},
    {"open",   [&] { return reg().OpenKey(key, u"", kKeyRead, &sub); }},
    {"create", [&] { return reg().CreateKey(key, u"sub", kKeyRead, &sub, nullptr); }},
  };
  // clang-format on
  for (const auto& [id, op] : ops) {
    SCOPED_TRACE(id);
    EXPECT_EQ(kErrKeyDeleted, op());
  }
  EXPECT_EQ(kOk, reg().CloseKey(key));
  EXPECT_EQ(kOk, reg().CloseKey(same));
}

TEST_F(RegistryStoreTest, AccessRightsAndHandles) {
  Create(u"Rights\\Sub");
  std::u16string name;
  KeyInfo info;
  std::uint32_t size = 0;
  Key sub = 0;
  // clang-format off
  const struct { const char* id; std::uint32_t needed; std::function<SysErr(Key)> op; } ops[] = {
    {"query",  kKeyQueryValue,       [&](Key k) { return reg().QueryValue(k, u"", nullptr, nullptr, &size); }},
    {"enumv",  kKeyQueryValue,       [&](Key k) { return reg().EnumValue(k, 0, &name, nullptr, nullptr, &size); }},
    {"info",   kKeyQueryValue,       [&](Key k) { return reg().QueryInfo(k, &info); }},
    {"set",    kKeySetValue,         [&](Key k) { return Set(k, u"", kRegSz, "x"); }},
    {"delete", kKeySetValue,         [&](Key k) { return reg().DeleteValue(k, u""); }},
    {"create", kKeyCreateSubKey,     [&](Key k) { return reg().CreateKey(k, u"New", 0, &sub, nullptr); }},
    {"enumk",  kKeyEnumerateSubKeys, [&](Key k) { return reg().EnumKey(k, 0, &name); }},
  };
  // clang-format on
  const std::uint32_t masks[] = {kKeyQueryValue,   kKeySetValue,
                                 kKeyCreateSubKey, kKeyEnumerateSubKeys,
                                 kKeyRead,         kKeyWrite};
  for (const std::uint32_t mask : masks) {
    for (const auto& o : ops) {
      SCOPED_TRACE(::testing::Message() << std::hex << mask << " " << o.id);
      Key key = 0;
      ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Rights", mask, &key));
      const SysErr err = o.op(key);
      EXPECT_EQ((mask & o.needed) != 0, err != kErrAccessDenied) << err;
      reg().CloseKey(key);
      reg().CloseKey(sub);
      reg().DeleteKey(kCurrentUser, u"Rights\\New");
    }
  }
  // Opening an existing subkey needs no right on the parent.
  Key key = 0;
  ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Rights", 0, &key));
  EXPECT_EQ(kOk, reg().CreateKey(key, u"Sub", kKeyRead, &sub, nullptr));
  reg().CloseKey(sub);

  // Handles that are not open keys, and out pointers that are missing.
  for (const Key bad : {Key{0}, Key{0x80000005u}, key, Key{0x1234567}}) {
    if (bad == key) {
      ASSERT_EQ(kOk, reg().CloseKey(key));
    }
    EXPECT_EQ(kErrInvalidHandle, reg().QueryInfo(bad, &info)) << bad;
    EXPECT_EQ(kErrInvalidHandle, reg().CloseKey(bad)) << bad;
  }
  std::uint8_t buffer[4];
  EXPECT_EQ(kOk, reg().CloseKey(kCurrentUser));  // the roots stay open
  EXPECT_EQ(kErrInvalidParameter,
            reg().OpenKey(kCurrentUser, u"Rights", kKeyRead, nullptr));
  EXPECT_EQ(kErrInvalidParameter,
            reg().CreateKey(kCurrentUser, u"R2", kKeyRead, nullptr, nullptr));
  EXPECT_EQ(kErrInvalidParameter,
            reg().QueryValue(kCurrentUser, u"", nullptr, buffer, nullptr));
  EXPECT_EQ(kErrInvalidParameter, reg().EnumKey(kCurrentUser, 0, nullptr));
  EXPECT_EQ(kErrInvalidParameter, reg().QueryInfo(kCurrentUser, nullptr));
  EXPECT_EQ(kErrInvalidParameter,
            reg().SetValue(kCurrentUser, u"", kRegBinary, nullptr, 4));
  EXPECT_EQ(kErrInvalidParameter, Current().system.LastError());
}

// ---- Values -----------------------------------------------------------------

TEST_F(RegistryStoreTest, ValuesKeepTheirTypeAndRawBytes) {
  const Key key = Create(u"Values");
  // clang-format off
  const struct { const char* id; std::u16string name; std::uint32_t type; Bytes data; } cases[] = {
    {"sz",      u"Text",         kRegSz,       Utf16(u"abc")},   // no terminator
    {"multi",   u"Multi",        kRegMultiSz,  Utf16(std::u16string(u"a\0b\0\0", 5))},
    {"binary",  u"Bin",          kRegBinary,   Bytes("\0\xFF\x01\x80", 4)},
    {"empty",   u"Empty",        kRegBinary,   Bytes()},
    {"default", u"",             kRegDword,    Bytes("\x44\x33\x22\x11", 4)},
    {"odd",     u"Odd",          0x12345678u,  Bytes("z")},
    {"big",     u"Big",          kRegBinary,   Bytes(100000, 'q')},
    {"name",    std::u16string(16383, u'N'), kRegQword, Bytes(8, '\x7F')},
    {"chars",   u"a\\b/\u00e9\U0001F600", kRegExpandSz, Utf16(u"%PATH%")},
  };
  // clang-format on
  for (const auto& c : cases) ASSERT_EQ(kOk, Set(key, c.name, c.type, c.data));
  std::size_t index = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    std::uint32_t type = 0;
    Bytes data;
    EXPECT_EQ(kOk, Get(key, c.name, &type, &data));
    EXPECT_EQ(c.type, type);
    EXPECT_EQ(c.data, data);
    std::u16string name;
    Bytes by_index(c.data.size(), '\0');
    std::uint32_t size = static_cast<std::uint32_t>(by_index.size());
    EXPECT_EQ(kOk,
              reg().EnumValue(
                  key, static_cast<std::uint32_t>(index++), &name, &type,
                  reinterpret_cast<std::uint8_t*>(by_index.data()), &size));
    EXPECT_EQ(c.name, name);
    EXPECT_EQ(c.data, by_index);
  }
  KeyInfo info;
  ASSERT_EQ(kOk, reg().QueryInfo(key, &info));
  EXPECT_EQ(std::size(cases), info.values);
  EXPECT_EQ(16383u, info.max_value_name);
  EXPECT_EQ(100000u, info.max_value_data);
  EXPECT_EQ(0u, info.subkeys);
  EXPECT_EQ(kErrInvalidParameter,
            Set(key, std::u16string(16384, u'N'), kRegSz, "x"));
}

TEST_F(RegistryStoreTest, QueryFollowsTheSizeProtocol) {
  const Key key = Create(u"Sizes");
  ASSERT_EQ(kOk, Set(key, u"Twelve", kRegBinary, "0123456789AB"));
  // clang-format off
  const struct { const char* id; bool buffer; std::uint32_t size; SysErr expected; std::uint32_t size_after; } cases[] = {
    {"size only",  false, 0,   kOk,          12},
    {"too small",  true,  4,   kErrMoreData, 12},
    {"empty",      true,  0,   kErrMoreData, 12},
    {"exact",      true,  12,  kOk,          12},
    {"larger",     true,  100, kOk,          12},
  };
  // clang-format on
  for (const bool by_index : {false, true}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(::testing::Message() << c.id << (by_index ? " enum" : ""));
      std::uint8_t buffer[100] = {};
      std::uint32_t size = c.size;
      std::uint32_t type = 0;
      std::uint8_t* data = c.buffer ? buffer : nullptr;
      const SysErr err =
          by_index ? reg().EnumValue(key, 0, nullptr, &type, data, &size)
                   : reg().QueryValue(key, u"twelve", &type, data, &size);
      EXPECT_EQ(c.expected, err);
      EXPECT_EQ(c.size_after, size);
      EXPECT_EQ(kRegBinary, type);
      EXPECT_EQ(err == kOk && c.buffer, buffer[11] == 'B');
    }
  }
  std::uint32_t size = 0;
  EXPECT_EQ(kErrFileNotFound,
            reg().QueryValue(key, u"", nullptr, nullptr, &size));
  EXPECT_EQ(kErrFileNotFound, reg().DeleteValue(key, u"Other"));
  EXPECT_EQ(kErrNoMoreItems,
            reg().EnumValue(key, 1, nullptr, nullptr, nullptr, &size));
  std::u16string name;
  EXPECT_EQ(kErrNoMoreItems, reg().EnumKey(key, 0, &name));
  EXPECT_EQ(kErrNoMoreItems, Current().system.LastError());
}

// ---- Stores -----------------------------------------------------------------

TEST_F(RegistryStoreTest, EachStoreFileIsItsOwnRegistry) {
  const Key first = Create(u"InFirst");
  ASSERT_EQ(kOk, Set(first, u"v", kRegSz, "1"));
  UseStore("sub/dir/second.db");  // directories made on first use
  Key key = 0;
  EXPECT_EQ(kErrFileNotFound,
            reg().OpenKey(kCurrentUser, u"InFirst", kKeyRead, &key));
  // The old handle keeps its store.
  std::uint32_t type = 0;
  Bytes data;
  EXPECT_EQ(kOk, Get(first, u"v", &type, &data));
  EXPECT_EQ("1", data);
  EXPECT_TRUE(std::filesystem::exists(dir_ + "/sub/dir/second.db"));
  reg().CloseKey(first);
}

TEST_F(RegistryStoreTest, ThreadsShareHandlesAndTheStore) {
  const Key shared = Create(u"Threads");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, shared, t] {
      for (int i = 0; i < 50; ++i) {
        const std::u16string name = u"t" + std::u16string(1, u'0' + t) + u"_" +
                                    std::u16string(1, u'A' + i % 26) +
                                    std::u16string(1, u'a' + i / 26);
        Key key = 0;
        bool created = false;
        ASSERT_EQ(kOk,
                  reg().CreateKey(shared, name, kKeyAllAccess, &key, &created));
        ASSERT_TRUE(created);
        ASSERT_EQ(kOk, Set(shared, name, kRegSz, "v"));
        ASSERT_EQ(kOk, reg().CloseKey(key));
      }
    });
  }
  for (std::thread& t : threads) t.join();
  KeyInfo info;
  ASSERT_EQ(kOk, reg().QueryInfo(shared, &info));
  EXPECT_EQ(200u, info.subkeys);
  EXPECT_EQ(200u, info.values);
}

// A second process writes values and subkeys while this one enumerates:
// every value seen holds what its name says, counts only grow.
TEST_F(RegistryStoreTest, AnotherProcessWritesWhileThisOneReads) {
  const Key key = Create(u"Shared");
  constexpr std::uint32_t kCount = 300;
  Child writer([&](int report) {
    Key mine = 0;
    if (Current().registry.OpenKey(kCurrentUser, u"Shared", kKeyAllAccess,
                                   &mine) != kOk)
      _exit(1);
    for (std::uint32_t i = 0; i < kCount; ++i) {
      const std::u16string name = u"v" + std::u16string(1, u'0' + i % 10) +
                                  std::u16string(1, u'0' + i / 10 % 10) +
                                  std::u16string(1, u'0' + i / 100);
      Key sub = 0;
      if (Set(mine, name, kRegDword,
              Bytes(reinterpret_cast<const char*>(&i), 4)) != kOk ||
          reg().CreateKey(mine, name, kKeyRead, &sub, nullptr) != kOk)
        _exit(2);
      reg().CloseKey(sub);
    }
    Report(report, kCount);
  });
  std::uint32_t last_count = 0;
  int passes = 0;
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (writer.Running() && std::chrono::steady_clock::now() < deadline) {
    ++passes;
    KeyInfo info;
    ASSERT_EQ(kOk, reg().QueryInfo(key, &info));
    EXPECT_GE(info.values, last_count);
    last_count = info.values;
    for (std::uint32_t i = 0;; ++i) {
      std::u16string name;
      std::uint32_t value = 0, size = 4, type = 0;
      const SysErr err = reg().EnumValue(
          key, i, &name, &type, reinterpret_cast<std::uint8_t*>(&value), &size);
      if (err == kErrNoMoreItems) break;
      ASSERT_EQ(kOk, err);
      ASSERT_EQ(value, std::uint32_t(name[1] - u'0') +
                           10 * std::uint32_t(name[2] - u'0') +
                           100 * std::uint32_t(name[3] - u'0'));
      ASSERT_EQ(i, value);  // written in order, enumerated in order
    }
    std::u16string name;
    for (std::uint32_t i = 0; reg().EnumKey(key, i, &name) == kOk; ++i) {
    }
  }
  EXPECT_TRUE(writer.Wait());
  KeyInfo info;
  ASSERT_EQ(kOk, reg().QueryInfo(key, &info));
  EXPECT_EQ(kCount, info.values);
  EXPECT_EQ(kCount, info.subkeys);
  EXPECT_GT(passes, 1);
}

// A writer killed at any point loses nothing it was told was written, and
// leaves a store that opens cleanly.
TEST_F(RegistryStoreTest, KilledWriterLosesNothingReported) {
  std::set<std::uint32_t> reported;
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    ReopenStore("killed.db");  // this process holds no connection meanwhile
    const std::string path = UseStore("killed.db");
    {
      Child writer([&](int report) {
        Key key = 0;
        if (Current().registry.CreateKey(kCurrentUser, u"Killed", kKeyAllAccess,
                                         &key, nullptr) != kOk)
          _exit(1);
        for (std::uint32_t i = round * 100000;; ++i) {
          std::u16string name = u"n";
          for (std::uint32_t n = i; n > 0; n /= 10) name += u'0' + n % 10;
          if (Set(key, name, kRegDword,
                  Bytes(reinterpret_cast<const char*>(&i), 4)) != kOk)
            _exit(2);
          Report(report, i);
        }
      });
      std::uint32_t value = 0;
      for (int n = 0; n < 150 + 40 * round && writer.Read(&value); ++n)
        reported.insert(value);
      writer.Kill();
      while (writer.Read(&value, 0)) reported.insert(value);
    }
    ASSERT_GE(reported.size(), 150u);
    ReopenStore("killed.db");
    Key key = 0;
    ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Killed", kKeyRead, &key));
    std::set<std::uint32_t> stored;
    for (std::uint32_t i = 0;; ++i) {
      std::uint32_t v = 0, size = 4;
      const SysErr err = reg().EnumValue(
          key, i, nullptr, nullptr, reinterpret_cast<std::uint8_t*>(&v), &size);
      if (err != kOk) {
        EXPECT_EQ(kErrNoMoreItems, err);
        break;
      }
      stored.insert(v);
    }
    reg().CloseKey(key);
    for (const std::uint32_t v : reported) EXPECT_EQ(1u, stored.count(v)) << v;
    EXPECT_LE(stored.size(), reported.size() + round + 1);  // one in flight
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open_v2(path.c_str(), &db,
                                         SQLITE_OPEN_READONLY, nullptr));
    sqlite3_stmt* check = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1,
                                            &check, nullptr));
    ASSERT_EQ(SQLITE_ROW, sqlite3_step(check));
    EXPECT_STREQ("ok",
                 reinterpret_cast<const char*>(sqlite3_column_text(check, 0)));
    sqlite3_finalize(check);
    sqlite3_close(db);
  }
}

// ---- Files that are not a store ---------------------------------------------

// Every call on a store that cannot be read gives 1009; none crashes.
void ExpectEveryCallGives(Registry& reg, SysErr expected) {
  Key key = 0;
  std::u16string name;
  std::uint32_t size = 0;
  KeyInfo info;
  EXPECT_EQ(expected, reg.OpenKey(kCurrentUser, u"Keys\\k5", kKeyRead, &key));
  EXPECT_EQ(expected,
            reg.CreateKey(kLocalMachine, u"New\\Key", kKeyRead, &key, nullptr));
  EXPECT_EQ(expected,
            reg.QueryValue(kCurrentUser, u"", nullptr, nullptr, &size));
  EXPECT_EQ(expected,
            reg.SetValue(kCurrentUser, u"v", kRegBinary,
                         reinterpret_cast<const std::uint8_t*>("a"), 1));
  EXPECT_EQ(expected, reg.DeleteValue(kCurrentUser, u"v"));
  EXPECT_EQ(expected, reg.EnumKey(kCurrentUser, 0, &name));
  EXPECT_EQ(expected,
            reg.EnumValue(kCurrentUser, 0, &name, nullptr, nullptr, &size));
  EXPECT_EQ(expected, reg.QueryInfo(kCurrentUser, &info));
  EXPECT_EQ(expected, reg.DeleteKey(kCurrentUser, u"Keys"));
}

TEST_F(RegistryStoreTest, FileThatIsNotAStoreGives1009) {
  // A store of several pages, closed cleanly, then cut: SQLite checks the
  // page count in the header against the file, so any cut is seen at once.
  UseStore("good.db");
  const Key keys = Create(u"Keys");
  for (int i = 0; i < 400; ++i) {
    const std::u16string name = u"k" + std::u16string(1, u'0' + i % 10) +
                                std::u16string(1, u'0' + i / 10 % 10) +
                                std::u16string(1, u'0' + i / 100);
    reg().CloseKey(Create(name, keys));
    ASSERT_EQ(kOk, Set(keys, name, kRegBinary, Bytes(100, 'x')));
  }
  reg().CloseKey(keys);
  ReopenStore("elsewhere.db");
  const std::string good = dir_ + "/good.db";
  const auto size = std::filesystem::file_size(good);
  ASSERT_GT(size, 16384u);
  const auto make = [&](const std::string& file, std::uintmax_t keep,
                        const std::string& content) {
    if (keep > 0) {
      std::filesystem::copy_file(good, dir_ + "/" + file);
      std::filesystem::resize_file(dir_ + "/" + file, keep);
    } else {
      std::ofstream(dir_ + "/" + file, std::ios::binary) << content;
    }
  };
  make("garbage.db", 0, std::string(5000, 'G'));
  make("text.db", 0, "[HKEY_CURRENT_USER\\Software]\r\n\"v\"=\"x\"\r\n");
  make("header.db", 4096, "");
  make("header_part.db", 60, "");
  make("half.db", size / 2, "");
  {
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open((dir_ + "/other.db").c_str(), &other));
    sqlite3_exec(other, "CREATE TABLE t (x)", nullptr, nullptr, nullptr);
    sqlite3_close(other);
  }
  for (const char* file : {"garbage.db", "text.db", "header.db",
                           "header_part.db", "half.db", "other.db"}) {
    SCOPED_TRACE(file);
    UseStore(file);
    ExpectEveryCallGives(reg(), kErrBadDb);
    EXPECT_EQ(kErrBadDb, Current().system.LastError());
  }
}

// ---- The test double --------------------------------------------------------

TEST(FakeRegistry, GivesEachDoubleAFreshStoreAndPlannedFailures) {
  ScopedEnv unset("TESSEL_REGISTRY", nullptr);
  std::string path;
  {
    FakePlatform fake;
    path = getenv("TESSEL_REGISTRY");
    Registry& reg = Current().registry;
    ASSERT_EQ(kOk, fake.registry().AddKey(u"HKEY_LOCAL_MACHINE\\Soft\\A"));
    EXPECT_EQ(kErrInvalidParameter, fake.registry().AddKey(u"HKLM\\Soft"));
    Key key = 0;
    ASSERT_EQ(kOk, reg.OpenKey(kLocalMachine, u"soft\\a", kKeyAllAccess, &key));

    fake.registry().FailNext(RegOp::kSetValue, kErrAccessDenied, 2);
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(kErrAccessDenied,
                reg.SetValue(key, u"v", kRegBinary,
                             reinterpret_cast<const std::uint8_t*>("12"), 2));
    EXPECT_EQ(kErrAccessDenied, Current().system.LastError());
    ASSERT_EQ(kOk,
              reg.SetValue(key, u"v", kRegBinary,
                           reinterpret_cast<const std::uint8_t*>("12"), 2));

    // Only a size query takes the plan; it reports the size it was given.
    fake.registry().FailNextSizeQuery(kErrRegistryIoFailed, 40);
    std::uint8_t buffer[8];
    std::uint32_t size = sizeof buffer;
    EXPECT_EQ(kOk, reg.QueryValue(key, u"v", nullptr, buffer, &size));
    for (const bool by_index : {false, true}) {
      if (by_index) fake.registry().FailNextSizeQuery(kErrRegistryIoFailed, 40);
      size = 0;
      EXPECT_EQ(kErrRegistryIoFailed,
                by_index
                    ? reg.EnumValue(key, 0, nullptr, nullptr, nullptr, &size)
                    : reg.QueryValue(key, u"v", nullptr, nullptr, &size));
      EXPECT_EQ(40u, size);
      EXPECT_EQ(kErrRegistryIoFailed, Current().system.LastError());
      EXPECT_EQ(kOk, reg.QueryValue(key, u"v", nullptr, nullptr, &size));
      EXPECT_EQ(2u, size);
    }
    fake.registry().FailNext(RegOp::kOpenKey, kErrFileNotFound);
    Key other = 77;
    EXPECT_EQ(kErrFileNotFound, reg.OpenKey(key, u"", kKeyRead, &other));
    EXPECT_EQ(0u, other);
    reg.CloseKey(key);
  }
  EXPECT_EQ(nullptr, getenv("TESSEL_REGISTRY"));
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace plat::testing
