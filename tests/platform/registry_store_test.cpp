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
using Names = std::vector<std::u16string>;

Bytes Utf16(std::u16string_view text) {
  return Bytes(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
Bytes Dword(std::uint32_t value) {
  return Bytes(reinterpret_cast<const char*>(&value), 4);
}
// `prefix` then `n` in decimal.
std::u16string Name(std::u16string_view prefix, std::uint32_t n) {
  std::u16string name(prefix);
  for (const char digit : std::to_string(n)) name += digit;
  return name;
}

// A child process running `body`, killed and reaped when the test lets go of
// it. It reports to the parent through a pipe.
class Child {
 public:
  explicit Child(const std::function<void(int report)>& body) {
    int fds[2];
    if (pipe(fds) != 0) return;
    if ((pid_ = fork()) == 0) {
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
    return poll(&p, 1, timeout_ms) == 1 &&
           read(read_, value, sizeof *value) == sizeof *value;
  }
  bool Running() {
    if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) == pid_) pid_ = -1;
    return pid_ > 0;
  }
  // True when the child ended on its own with status 0.
  bool Wait() {
    if (pid_ > 0 && waitpid(pid_, &status_, 0) == pid_) pid_ = -1;
    return pid_ < 0 && WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
  }
  void Kill() {
    if (pid_ > 0) kill(pid_, SIGKILL);
    Wait();
  }

 private:
  pid_t pid_ = -1;
  int read_ = -1;
  int status_ = -1;
};

void Report(int fd, std::uint32_t value) {
  (void)!write(fd, &value, sizeof value);
}

// Stores live in the device root the base fixture makes and removes.
class RegistryStoreTest : public DeviceRootTest {
 protected:
  void SetUp() override {
    DeviceRootTest::SetUp();
    UseStore("registry.db");
  }

  // Points TESSEL_REGISTRY at `file` in the test's directory.
  std::string UseStore(const std::string& file) {
    store_env_.reset();
    store_env_.emplace("TESSEL_REGISTRY", Host(file).c_str());
    return Host(file);
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
    return reg().SetValue(key, name, type,
                          reinterpret_cast<const std::uint8_t*>(data.data()),
                          static_cast<std::uint32_t>(data.size()));
  }
  // The value's type and bytes through the size protocol.
  SysErr Get(Key key, std::u16string_view name, std::uint32_t* type,
             Bytes* data) {
    std::uint32_t size = 0;
    SysErr err = reg().QueryValue(key, name, type, nullptr, &size);
    if (err != kOk) return err;
    data->assign(size, '\0');
    return reg().QueryValue(
        key, name, type, reinterpret_cast<std::uint8_t*>(data->data()), &size);
  }
  // The names of the subkeys, or of the values, by index.
  Names Enum(Key key, bool values = false) {
    Names names;
    for (std::u16string name;
         (values ? reg().EnumValue(key, names.size(), &name, nullptr, nullptr,
                                   nullptr)
                 : reg().EnumKey(key, names.size(), &name)) == kOk;)
      names.push_back(name);
    return names;
  }

  // Every call on a key's handle, with the right it needs (0: none).
  struct KeyOp {
    const char* id;
    std::uint32_t needed;
    std::function<SysErr(Key)> op;
  };
  std::vector<KeyOp> KeyOps() {
    const auto sub = [this](Key k, bool create, std::u16string_view name) {
      Key sub = 0;
      const SysErr err = create
                             ? reg().CreateKey(k, name, kKeyRead, &sub, nullptr)
                             : reg().OpenKey(k, name, kKeyRead, &sub);
      reg().CloseKey(sub);
      return err;
    };
    // clang-format off
    return {
      {"query",  kKeyQueryValue,       [this](Key k) { return reg().QueryValue(k, u"", nullptr, nullptr, &size_); }},
      {"enumv",  kKeyQueryValue,       [this](Key k) { return reg().EnumValue(k, 0, &name_, nullptr, nullptr, &size_); }},
      {"info",   kKeyQueryValue,       [this](Key k) { return reg().QueryInfo(k, &info_); }},
      {"set",    kKeySetValue,         [this](Key k) { return Set(k, u"", kRegSz, "x"); }},
      {"delete", kKeySetValue,         [this](Key k) { return reg().DeleteValue(k, u""); }},
      {"create", kKeyCreateSubKey,     [sub](Key k) { return sub(k, true, u"New"); }},
      {"enumk",  kKeyEnumerateSubKeys, [this](Key k) { return reg().EnumKey(k, 0, &name_); }},
      {"open",   0,                    [sub](Key k) { return sub(k, false, u"Sub"); }},
      {"exists", 0,                    [sub](Key k) { return sub(k, true, u"Sub"); }},
    };
    // clang-format on
  }

  std::optional<ScopedEnv> store_env_;
  std::u16string name_;  // out parameters for KeyOps
  std::uint32_t size_ = 0;
  KeyInfo info_;
};

// clang-format off
const std::u16string kLong255(255, u'n');
const std::u16string kLong256(256, u'n');
const struct {
  const char* id; bool create; std::u16string_view path; SysErr expected; bool created;
} kKeySteps[] = {
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
  for (const auto& s : kKeySteps) {
    SCOPED_TRACE(s.id);
    Key key = 99;
    bool created = !s.created;
    const SysErr err =
        s.create ? reg().CreateKey(kCurrentUser, s.path, kKeyAllAccess, &key,
                                   &created)
                 : reg().OpenKey(kCurrentUser, s.path, kKeyRead, &key);
    EXPECT_EQ(s.expected, err);
    EXPECT_EQ(s.expected, Current().system.LastError());
    EXPECT_EQ(s.create && s.created, s.create && created);
    EXPECT_EQ(err == kOk, key != 0);
    EXPECT_EQ(kOk, err == kOk ? reg().CloseKey(key) : kOk);
  }
  EXPECT_EQ(Names({u"a", u"Tessel"}), Enum(Create(u"soft")));  // case kept
}

TEST_F(RegistryStoreTest, SubkeysByFoldedNameValuesInOrderFirstSet) {
  const Key parent = Create(u"Order");
  for (const std::u16string_view name :
       {u"zeta", u"_x", u"Alpha", u"\u00e9t\u00e9", u"beta", u"Zulu"})
    reg().CloseKey(Create(name, parent));
  // "_" sorts after the letters once they are upper-cased.
  EXPECT_EQ(
      Names({u"Alpha", u"beta", u"zeta", u"Zulu", u"_x", u"\u00e9t\u00e9"}),
      Enum(parent));

  for (const std::u16string_view name : {u"v3", u"v1", u"", u"v2"})
    ASSERT_EQ(kOk, Set(parent, name, kRegDword, "1234"));
  ASSERT_EQ(kOk, Set(parent, u"V3", kRegSz, "ab"));  // stays first, as "v3"
  ASSERT_EQ(kOk, reg().DeleteValue(parent, u"V1"));
  ASSERT_EQ(kOk, Set(parent, u"V1", kRegDword, "1234"));  // now last
  EXPECT_EQ(Names({u"v3", u"", u"v2", u"V1"}), Enum(parent, true));
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
  for (const bool elsewhere : {false, true}) {
    SCOPED_TRACE(elsewhere ? "another process" : "this process");
    const auto change = [&](const std::function<void()>& body) {
      if (!elsewhere) return body();
      Child child([&](int) { body(); });
      EXPECT_TRUE(child.Wait());
    };
    const auto expect = [&](std::uint32_t key_index, std::u16string_view k,
                            std::uint32_t value_index, std::u16string_view v) {
      std::u16string name;
      EXPECT_EQ(kOk, reg().EnumKey(key, key_index, &name));
      EXPECT_EQ(k, name);
      EXPECT_EQ(kOk, reg().EnumValue(key, value_index, &name, nullptr, nullptr,
                                     nullptr));
      EXPECT_EQ(v, name);
    };
    expect(1, u"b", 1, elsewhere ? u"c" : u"b");
    change([&] {
      reg().DeleteKey(key, u"a");
      reg().DeleteValue(key, u"a");
    });
    expect(1, u"c", 2, u"d");
    change([&] {
      reg().CloseKey(Create(u"a", key));
      Set(key, u"e", kRegSz, "x");
    });
    expect(2, u"c", 3, u"e");
    change([&] { reg().DeleteValue(key, u"e"); });
  }
}

TEST_F(RegistryStoreTest, DeleteRefusesChildrenAndDeletedKeysGive1018) {
  const Key child = Create(u"Del\\Child");
  // clang-format off
  const struct { Key parent; std::u16string_view path; SysErr expected; } cases[] = {
    {kCurrentUser, u"Del", kErrAccessDenied}, {kCurrentUser, u"", kErrAccessDenied},
    {kLocalMachine, u"Del", kErrFileNotFound}, {kCurrentUser, u"Del\\CHILD", kOk},
    {kCurrentUser, u"Del\\Child", kErrFileNotFound}, {kCurrentUser, u"DEL", kOk},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(c.expected, reg().DeleteKey(c.parent, c.path)) << &c - cases;
  EXPECT_EQ(kErrKeyDeleted, reg().DeleteKey(child, u""));

  const Key key = Create(u"Gone");
  ASSERT_EQ(kOk, Set(key, u"", kRegSz, "x"));
  const Key same = Create(u"GONE");
  ASSERT_EQ(kOk, reg().DeleteKey(same, u""));  // deleted through itself
  reg().CloseKey(Create(u"Gone\\Sub"));        // a new key of the same name
  for (const KeyOp& o : KeyOps()) EXPECT_EQ(kErrKeyDeleted, o.op(key)) << o.id;
  EXPECT_EQ(kOk, reg().CloseKey(key));
  EXPECT_EQ(kOk, reg().CloseKey(same));
}

TEST_F(RegistryStoreTest, AccessRightsHandlesAndMissingPointers) {
  Create(u"Rights\\Sub");
  for (const std::uint32_t mask :
       {0u, kKeyQueryValue, kKeySetValue, kKeyCreateSubKey,
        kKeyEnumerateSubKeys, kKeyRead, kKeyWrite}) {
    for (const KeyOp& o : KeyOps()) {
      SCOPED_TRACE(::testing::Message() << std::hex << mask << " " << o.id);
      Key key = 0;
      ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Rights", mask, &key));
      const SysErr err = o.op(key);
      EXPECT_EQ(o.needed == 0 || (mask & o.needed) != 0,
                err != kErrAccessDenied)
          << err;
      reg().CloseKey(key);
      reg().DeleteKey(kCurrentUser, u"Rights\\New");
    }
  }
  // Handles that are not open keys, and out pointers that are missing.
  Key key = 0;
  ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Rights", 0, &key));
  ASSERT_EQ(kOk, reg().CloseKey(key));
  KeyInfo info;
  for (const Key bad : {Key{0}, Key{0x80000005u}, key, Key{0x1234567}}) {
    EXPECT_EQ(kErrInvalidHandle, reg().QueryInfo(bad, &info)) << bad;
    EXPECT_EQ(kErrInvalidHandle, reg().CloseKey(bad)) << bad;
  }
  EXPECT_EQ(kOk, reg().CloseKey(kCurrentUser));  // the roots stay open
  std::uint8_t buffer[4];
  const SysErr missing[] = {
      reg().OpenKey(kCurrentUser, u"Rights", kKeyRead, nullptr),
      reg().CreateKey(kCurrentUser, u"R2", kKeyRead, nullptr, nullptr),
      reg().QueryValue(kCurrentUser, u"", nullptr, buffer, nullptr),
      reg().EnumKey(kCurrentUser, 0, nullptr),
      reg().QueryInfo(kCurrentUser, nullptr),
      reg().SetValue(kCurrentUser, u"", kRegBinary, nullptr, 4)};
  for (const SysErr& err : missing)
    EXPECT_EQ(kErrInvalidParameter, err) << &err - missing;
  EXPECT_EQ(kErrInvalidParameter, Current().system.LastError());
}

// Every value comes back with its type and bytes, through the size protocol
// by name and by index.
TEST_F(RegistryStoreTest, ValuesKeepTheirTypeAndRawBytes) {
  const Key key = Create(u"Values");
  // clang-format off
  const struct { std::u16string name; std::uint32_t type; Bytes data; } values[] = {
    {u"Text",         kRegSz,       Utf16(u"abc")},   // no terminator
    {u"Multi",        kRegMultiSz,  Utf16(std::u16string(u"a\0b\0\0", 5))},
    {u"Bin",          kRegBinary,   Bytes("\0\xFF\x01\x80", 4)},
    {u"Empty",        kRegBinary,   Bytes()},
    {u"",             kRegDword,    Bytes("\x44\x33\x22\x11", 4)},
    {u"Odd",          0x12345678u,  Bytes("z")},
    {u"Big",          kRegBinary,   Bytes(100000, 'q')},
    {std::u16string(16383, u'N'), kRegQword, Bytes(8, '\x7F')},
    {u"a\\b/\u00e9\U0001F600", kRegExpandSz, Utf16(u"%PATH%")},
    {u"Twelve",       kRegBinary,   Bytes("0123456789AB")},
  };
  // clang-format on
  Names names;
  for (const auto& v : values) {
    ASSERT_EQ(kOk, Set(key, v.name, v.type, v.data));
    names.push_back(v.name);
  }
  for (const auto& v : values) {
    std::uint32_t type = 0;
    Bytes data;
    EXPECT_EQ(kOk, Get(key, v.name, &type, &data)) << &v - values;
    EXPECT_EQ(v.type, type) << &v - values;
    EXPECT_EQ(v.data, data) << &v - values;
  }
  EXPECT_EQ(names, Enum(key, true));
  KeyInfo info;
  ASSERT_EQ(kOk, reg().QueryInfo(key, &info));
  EXPECT_EQ(std::size(values), info.values);
  EXPECT_EQ(16383u, info.max_value_name);
  EXPECT_EQ(100000u, info.max_value_data);
  EXPECT_EQ(0u, info.subkeys);
  EXPECT_EQ(kErrInvalidParameter,
            Set(key, std::u16string(16384, u'N'), kRegSz, "x"));

  // clang-format off
  const struct { const char* id; bool buffer; std::uint32_t size; SysErr expected; } sizes[] = {
    {"size only", false, 0, kOk}, {"too small", true, 4, kErrMoreData},
    {"empty", true, 0, kErrMoreData}, {"exact", true, 12, kOk}, {"larger", true, 100, kOk},
  };
  // clang-format on
  for (const bool by_index : {false, true}) {
    for (const auto& c : sizes) {
      SCOPED_TRACE(::testing::Message() << c.id << (by_index ? " enum" : ""));
      std::uint8_t buffer[100] = {};
      std::uint32_t size = c.size, type = 0;
      std::uint8_t* data = c.buffer ? buffer : nullptr;
      const SysErr err =
          by_index ? reg().EnumValue(key, 9, nullptr, &type, data, &size)
                   : reg().QueryValue(key, u"twelve", &type, data, &size);
      EXPECT_EQ(c.expected, err);
      EXPECT_EQ(12u, size);
      EXPECT_EQ(kRegBinary, type);
      EXPECT_EQ(err == kOk && c.buffer, buffer[11] == 'B');
    }
  }
  std::uint32_t size = 0;
  std::u16string name;
  EXPECT_EQ(kErrFileNotFound, reg().DeleteValue(key, u"Other"));
  EXPECT_EQ(kErrFileNotFound,
            reg().QueryValue(kCurrentUser, u"", nullptr, nullptr, &size));
  EXPECT_EQ(kErrNoMoreItems,
            reg().EnumValue(key, 10, nullptr, nullptr, nullptr, &size));
  EXPECT_EQ(kErrNoMoreItems, reg().EnumKey(key, 0, &name));
  EXPECT_EQ(kErrNoMoreItems, Current().system.LastError());
}

TEST_F(RegistryStoreTest, ThreadsShareHandlesAndTheStore) {
  const Key shared = Create(u"Threads");
  std::vector<std::thread> threads;
  for (std::uint32_t t = 0; t < 4; ++t) {
    threads.emplace_back([this, shared, t] {
      for (std::uint32_t i = 0; i < 50; ++i) {
        const std::u16string name = Name(u"t", t * 1000 + i);
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
  Child writer([&](int) {
    Key mine = 0, sub = 0;
    if (reg().OpenKey(kCurrentUser, u"Shared", kKeyAllAccess, &mine) != kOk)
      _exit(1);
    for (std::uint32_t i = 0; i < kCount; ++i) {
      if (Set(mine, Name(u"v", i), kRegDword, Dword(i)) != kOk ||
          reg().CreateKey(mine, Name(u"v", i), kKeyRead, &sub, nullptr) != kOk)
        _exit(2);
      reg().CloseKey(sub);
    }
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
    std::u16string name;
    for (std::uint32_t i = 0;; ++i) {
      std::uint32_t value = 0, size = 4;
      const SysErr err =
          reg().EnumValue(key, i, &name, nullptr,
                          reinterpret_cast<std::uint8_t*>(&value), &size);
      if (err == kErrNoMoreItems) break;
      ASSERT_EQ(kOk, err);
      ASSERT_EQ(i, value);  // written in order, enumerated in order
      ASSERT_EQ(Name(u"v", i), name);
    }
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
  for (std::uint32_t round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    ReopenStore("killed.db");  // this process holds no connection meanwhile
    const std::string path = UseStore("killed.db");
    {
      Child writer([&](int report) {
        Key key = 0;
        if (reg().CreateKey(kCurrentUser, u"Killed", kKeyAllAccess, &key,
                            nullptr) != kOk)
          _exit(1);
        for (std::uint32_t i = round * 100000;; ++i) {
          if (Set(key, Name(u"n", i), kRegDword, Dword(i)) != kOk) _exit(2);
          Report(report, i);
        }
      });
      std::uint32_t value = 0;
      for (std::uint32_t n = 0; n < 150 + 40 * round && writer.Read(&value);
           ++n)
        reported.insert(value);
      writer.Kill();
      while (writer.Read(&value, 0)) reported.insert(value);
    }
    ASSERT_GE(reported.size(), 150u);
    ReopenStore("killed.db");
    Key key = 0;
    ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Killed", kKeyRead, &key));
    std::set<std::uint32_t> stored;
    SysErr err = kOk;
    for (std::uint32_t i = 0, v = 0, size = 4; err == kOk; ++i, size = 4) {
      err = reg().EnumValue(key, i, nullptr, nullptr,
                            reinterpret_cast<std::uint8_t*>(&v), &size);
      if (err == kOk) stored.insert(v);
    }
    EXPECT_EQ(kErrNoMoreItems, err);
    reg().CloseKey(key);
    for (const std::uint32_t v : reported) EXPECT_EQ(1u, stored.count(v)) << v;
    EXPECT_LE(stored.size(), reported.size() + round + 1);  // one in flight
    sqlite3* db = nullptr;
    std::string verdict;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_exec(
        db, "PRAGMA integrity_check",
        [](void* out, int, char** row, char**) {
          return *static_cast<std::string*>(out) = row[0], 0;
        },
        &verdict, nullptr);
    sqlite3_close(db);
    EXPECT_EQ("ok", verdict);
  }
}

// Each store file is its own registry, made with its directories on first
// use; one that cannot be read gives 1009 to every call and crashes none,
// while a handle opened on a good store keeps it.
TEST_F(RegistryStoreTest, FileThatIsNotAStoreGives1009) {
  // A store of several pages, closed cleanly, then cut: SQLite checks the
  // page count in the header against the file, so any cut is seen at once.
  const std::string good = UseStore("sub/dir/good.db");
  const Key keys = Create(u"Keys");
  for (std::uint32_t i = 0; i < 400; ++i) {
    reg().CloseKey(Create(Name(u"k", i), keys));
    ASSERT_EQ(kOk, Set(keys, Name(u"k", i), kRegBinary, Bytes(100, 'x')));
  }
  reg().CloseKey(keys);
  ReopenStore("elsewhere.db");
  const auto size = std::filesystem::file_size(good);
  ASSERT_GT(size, 16384u);
  const std::pair<const char*, std::uintmax_t> cuts[] = {
      {"header.db", 4096}, {"header_part.db", 60}, {"half.db", size / 2}};
  for (const auto& [file, keep] : cuts) {
    std::filesystem::copy_file(good, Host(file));
    std::filesystem::resize_file(Host(file), keep);
  }
  WriteHostFile("garbage.db", std::string(5000, 'G'));
  WriteHostFile("text.db", "[HKEY_CURRENT_USER\\Software]\r\n\"v\"=\"x\"\r\n");
  sqlite3* other = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(Host("other.db").c_str(), &other));
  sqlite3_exec(other, "CREATE TABLE t (x)", nullptr, nullptr, nullptr);
  sqlite3_close(other);

  UseStore("sub/dir/good.db");
  Key old = 0;
  ASSERT_EQ(kOk, reg().OpenKey(kCurrentUser, u"Keys", kKeyRead, &old));
  for (const char* file : {"garbage.db", "text.db", "header.db",
                           "header_part.db", "half.db", "other.db"}) {
    SCOPED_TRACE(file);
    UseStore(file);
    Key key = 0;
    std::u16string name;
    std::uint32_t size = 0;
    KeyInfo info;
    // clang-format off
    const SysErr errors[] = {
      reg().OpenKey(kCurrentUser, u"Keys\\k5", kKeyRead, &key),
      reg().CreateKey(kLocalMachine, u"New\\Key", kKeyRead, &key, nullptr),
      reg().QueryValue(kCurrentUser, u"", nullptr, nullptr, &size),
      reg().SetValue(kCurrentUser, u"v", kRegBinary, reinterpret_cast<const std::uint8_t*>("a"), 1),
      reg().DeleteValue(kCurrentUser, u"v"),
      reg().EnumKey(kCurrentUser, 0, &name),
      reg().EnumValue(kCurrentUser, 0, &name, nullptr, nullptr, &size),
      reg().QueryInfo(kCurrentUser, &info),
      reg().DeleteKey(kCurrentUser, u"Keys"),
    };
    // clang-format on
    for (const SysErr& err : errors) EXPECT_EQ(kErrBadDb, err) << &err - errors;
    EXPECT_EQ(kErrBadDb, Current().system.LastError());
    ASSERT_EQ(kOk, reg().QueryInfo(old, &info));
    EXPECT_EQ(400u, info.values);
  }
  reg().CloseKey(old);
}

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
    const auto set = [&] {
      return reg.SetValue(key, u"v", kRegBinary,
                          reinterpret_cast<const std::uint8_t*>("12"), 2);
    };
    fake.registry().FailNext(RegOp::kSetValue, kErrAccessDenied, 2);
    EXPECT_EQ(kErrAccessDenied, set());
    EXPECT_EQ(kErrAccessDenied, set());
    EXPECT_EQ(kErrAccessDenied, Current().system.LastError());
    ASSERT_EQ(kOk, set());

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
