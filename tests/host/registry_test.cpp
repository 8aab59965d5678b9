// The registry functions through the reference host on a store of the test's
// own (TESSEL_REGISTRY), checked against the store directly.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "host/refhost/host.h"
#include "platform/platform.h"
#include "tests/platform/device_root.h"

namespace refhost {
namespace {

constexpr std::uint32_t kGet = 71, kPut = 72, kFirstChild = 73,
                        kNextSibling = 74, kRemoveKey = 75, kMakeKey = 76,
                        kHasEntry = 216, kRemoveValue = 229, kValueNames = 287,
                        kFind = 288, kKeyNames = 462;
constexpr std::uint32_t kKeyOrValue = 80291, kEmptyPath = 80292,
                        kWriteFailed = 80293, kUnknownType = 80295;
constexpr std::uint32_t kNotStored = ~0u;

template <class T>
Bytes Raw(const T& v) {
  Bytes b(sizeof v);
  std::memcpy(b.data(), &v, sizeof v);
  return b;
}
Bytes Utf16(std::u16string_view text) {
  Bytes b(text.size() * 2);
  if (!b.empty()) std::memcpy(b.data(), text.data(), b.size());
  return b;
}
std::u16string Path(std::u16string_view sub) {
  return u"HKEY_CURRENT_USER\\" + std::u16string(sub);
}

struct Stored {
  std::uint32_t type = 0;
  Bytes data;
  bool operator==(const Stored&) const = default;
};

class RegistryTest : public plat::testing::DeviceRootTest {
 protected:
  void SetUp() override {
    DeviceRootTest::SetUp();
    store_.emplace("TESSEL_REGISTRY", (root_ + "/registry.db").c_str());
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override {
    host_.Stop();
    store_.reset();
    DeviceRootTest::TearDown();
  }

  // The store as this process sees it, under HKEY_CURRENT_USER (or `root`).
  static plat::Registry& Store() { return plat::Current().registry; }
  static void Put(std::u16string_view sub, std::u16string_view name = u"",
                  std::uint32_t type = kNotStored, const Bytes& data = {},
                  plat::Key root = plat::kCurrentUser) {
    plat::Key key = 0;
    ASSERT_EQ(0u,
              Store().CreateKey(root, sub, plat::kKeyAllAccess, &key, nullptr));
    if (type != kNotStored) {
      EXPECT_EQ(0u, Store().SetValue(key, name, type, data.data(),
                                     static_cast<std::uint32_t>(data.size())));
    }
    Store().CloseKey(key);
  }
  // The value, or type kNotStored; a missing key gives nullopt.
  static std::optional<Stored> Get(std::u16string_view sub,
                                   std::u16string_view name = u"") {
    plat::Key key = 0;
    if (Store().OpenKey(plat::kCurrentUser, sub, plat::kKeyRead, &key) != 0) {
      return std::nullopt;
    }
    Stored s{kNotStored, {}};
    std::uint32_t size = 0;
    if (Store().QueryValue(key, name, &s.type, nullptr, &size) == 0) {
      s.data.resize(size);
      Store().QueryValue(key, name, &s.type, s.data.data(), &size);
    }
    Store().CloseKey(key);
    return s;
  }

  CallResult Call(std::uint32_t function, int syntax, std::vector<Arg> args) {
    CallResult r = host_.CallArgs(function, syntax, args);
    EXPECT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(0, r.block_delta);
    return r;
  }

  std::optional<plat::testing::ScopedEnv> store_;
  refhost::Host host_;
};

TEST_F(RegistryTest, ReadConvertsByType) {
  const Bytes qword = Raw(std::uint64_t{0x0102030405060708});
  // clang-format off
  const struct { const char* id; std::u16string_view name; std::uint32_t type; Bytes data; Value value; bool ok; } cases[] = {
    {"r.1",  u"sz",    1,          Utf16({u"abc\0", 4}),    std::u16string(u"abc"),         true},
    {"r.2",  u"bare",  1,          Utf16(u"abc"),           std::u16string(u"abc"),         true},
    {"r.3",  u"exp",   2,          Utf16({u"%X%\0", 4}),    std::u16string(u"%X%\0", 4),    true},
    {"r.4",  u"multi", 7,          Utf16({u"a\0b\0\0", 5}), std::u16string(u"a\0b\0\0", 5), true},
    {"r.5",  u"bin",   3,          Bytes{1, 2, 3},          Bytes{1, 2, 3},                 true},
    {"r.6",  u"dw",    4,          Raw(0x11223344u),        std::int64_t{0x11223344},       true},
    {"r.7",  u"be",    5,          Raw(0x33441122u),        std::int64_t{0x11223344},       true},
    {"r.8",  u"qw",    11,         qword,                   qword,                          true},
    {"r.9",  u"t9",    9,          Bytes{1},                std::monostate(),               true},
    {"r.11", u"t12",   12,         Bytes{1},                std::monostate(),               true},
    {"r.12", u"none",  0,          Bytes{},                 std::monostate(),               true},
    {"r.13", u"gone",  kNotStored, Bytes{},                 std::monostate(),               false},
    {"r.14", u"",      kNotStored, Bytes{},                 std::u16string(),               true},
  };
  // clang-format on
  for (const auto& c : cases) Put(u"T", c.name, c.type, c.data);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r =
        Call(kGet, 2, {Path(u"T"), std::u16string(c.name), !c.ok});
    EXPECT_EQ(c.value, r.value);
    EXPECT_EQ(Value(c.ok), r.outputs[2]);
  }
  // A lower-case root is a subkey of HKEY_CLASSES_ROOT.
  Put(u"hkey_current_user\\T", u"v", 4, Raw(9), plat::kClassesRoot);
  EXPECT_EQ(Value(std::int64_t{9}),
            Call(kGet, 1, {u"hkey_current_user\\T", u"v"}).value);
  // Nothing is asked for an empty key and name: the flag keeps its value.
  EXPECT_EQ(Value(true), Call(kGet, 2, {u"", u"", true}).outputs[2]);
  // By index: 0 is the default value, n the value set n-th.
  EXPECT_EQ(Value(Bytes{1, 2, 3}), Call(kGet, 3, {Path(u"T"), 5}).value);
  EXPECT_EQ(Value(true), Call(kGet, 4, {Path(u"T"), 0, false}).outputs[2]);
  EXPECT_EQ(Value(false), Call(kGet, 4, {Path(u"T"), 13, true}).outputs[2]);
}

TEST_F(RegistryTest, EveryWriteSyntaxStoresTypeAndBytes) {
  void* low = mmap(nullptr, 4096, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_32BIT, -1, 0);
  ASSERT_NE(MAP_FAILED, low);
  std::memcpy(low, "\x07\x08\x09", 3);
  const int at = static_cast<int>(reinterpret_cast<std::uintptr_t>(low));
  const frame::Decimal d{12345, 2};
  const std::int64_t n64 = 0x0102030405060708;
  // clang-format off
  const struct { const char* id; int syntax; std::vector<Arg> args; std::u16string_view name; Stored stored; } cases[] = {
    {"w.1",  1,  {u"v", u"abc"},                 u"v",     {1, Utf16({u"abc\0", 4})}},
    {"w.2",  2,  {u"v", 0x11223344},             u"v",     {4, Raw(0x11223344)}},
    {"w.3",  3,  {u"v", true},                   u"v",     {4, Raw(1)}},
    {"w.4",  4,  {u"v", 1.5},                    u"v",     {3, Raw(1.5)}},
    {"w.5",  5,  {u"v", d},                      u"v",     {3, Raw(d)}},
    {"w.6",  6,  {u"v", at, 3},                  u"v",     {3, Bytes{7, 8, 9}}},
    {"w.7",  7,  {u"v", u"abc", u"REG_SZ"},      u"v",     {1, Utf16({u"abc\0", 4})}},
    {"w.8",  8,  {1, u"abc"},                    u"first", {1, Utf16(u"abc")}},
    {"w.9",  9,  {0, 5},                         u"",      {4, Raw(5)}},
    {"w.10", 10, {1, false},                     u"first", {4, Raw(0)}},
    {"w.11", 11, {1, 1.5},                       u"first", {3, Raw(1.5)}},
    {"w.12", 12, {1, d},                         u"first", {3, Raw(d)}},
    {"w.13", 13, {1, at, 2},                     u"first", {3, Bytes{7, 8}}},
    {"w.14", 14, {1, 42, u"reg_dword"},          u"first", {4, Raw(42)}},
    {"t.1",  7,  {u"v", u"a%b", u"Reg_Expand_Sz"},                        u"v", {2, Utf16({u"a%b\0", 4})}},
    {"t.2",  7,  {u"v", std::u16string(u"a\0b\0\0", 5), u"REG_MULTI_SZ"}, u"v", {7, Utf16({u"a\0b\0\0", 5})}},
    {"t.3",  7,  {u"v", 0x11223344, u"REG_DWORD_BIG_ENDIAN"},             u"v", {5, Raw(0x33441122)}},
    {"t.4",  7,  {u"v", n64, u"REG_QWORD"},                               u"v", {11, Raw(n64)}},
    {"t.5",  7,  {u"v", Bytes{1, 2}, u"REG_BINARY"},                      u"v", {3, Bytes{1, 2}}},
    {"t.6",  7,  {u"v", u"42", u"REG_DWORD"},                             u"v", {4, Raw(42)}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    Put(u"T", u"first", 3, {0});
    std::vector<Arg> args{Path(u"T")};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const CallResult r = Call(kPut, c.syntax, args);
    EXPECT_EQ(Value(true), r.value);
    EXPECT_FALSE(r.error.raised());
    EXPECT_EQ(c.stored, Get(u"T", c.name));
  }
  munmap(low, 4096);
}

TEST_F(RegistryTest, WriteFailures) {
  Put(u"T", u"only", 4, Raw(1));
  const std::u16string no = Path(u"T\\No"), config = u"HKEY_CURRENT_CONFIG\\T";
  // clang-format off
  const struct { const char* id; int syntax; std::vector<Arg> args; std::uint32_t error, code; std::u16string name; } cases[] = {
    {"f.1", 1,  {no, u"v", u"x"},                   kWriteFailed, 2, u"v"},
    {"f.2", 2,  {config, u"v", 1},                  kWriteFailed, 6, u"v"},
    {"f.3", 8,  {no, 1, u"x"},                      kWriteFailed, 2, u""},
    {"f.4", 8,  {Path(u"T"), 2, u"x"},              0,            0, u""},
    {"f.5", 1,  {u"", u"v", u"x"},                  0,            0, u""},
    {"f.6", 14, {u"", 0, 1, u"REG_SZ"},             0,            0, u""},
    {"f.7", 7,  {Path(u"T"), u"v", 1, u"REG_WORD"}, kUnknownType, 0, u""},
    {"f.8", 14, {Path(u"T"), 0, 1, u""},            kUnknownType, 0, u""},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = Call(kPut, c.syntax, c.args);
    EXPECT_EQ(Value(false), r.value);
    EXPECT_EQ(c.error, r.error.number);
    EXPECT_EQ(c.code, r.error.system_code);
    EXPECT_EQ(0u, r.error.state);
    if (c.error != kWriteFailed) continue;
    const std::u16string code(1, static_cast<char16_t>(u'0' + c.code));
    EXPECT_EQ(
        (std::vector<std::u16string>{
            c.args[0].text, c.name, r.error.system_text + u" (" + code + u")"}),
        r.error.params);
  }
  EXPECT_FALSE(Get(u"T\\No"));
  EXPECT_EQ((Stored{4, Raw(1)}), Get(u"T", u"only"));  // nothing at index 2
}

TEST_F(RegistryTest, WalkingAndListing) {
  for (const char16_t* k : {u"T\\K\\A", u"T\\K\\B\\X", u"T\\K\\C", u"U"}) {
    Put(k);
  }
  Put(u".txt", u"", kNotStored, {}, plat::kClassesRoot);
  const std::pair<const char16_t*, std::uint32_t> values[] = {
      {u"sz", 1}, {u"dw", 4}, {u"be", 5}, {u"qw", 11}, {u"m", 7}, {u"bin", 3}};
  for (const auto& [name, type] : values) Put(u"T", name, type, Raw(1));
  const std::u16string k = Path(u"T\\K");
  // clang-format off
  const struct { const char* id; std::uint32_t function; int syntax; std::vector<Arg> args; Value result; } cases[] = {
    {"c.1", kFirstChild,  2, {k},                      Path(u"T\\K\\A")},
    {"c.2", kFirstChild,  2, {u"HKEY_CURRENT_USER"},   Path(u"T")},
    {"c.3", kFirstChild,  2, {k + u"\\A"},             u""},
    {"c.4", kFirstChild,  2, {Path(u"None")},          u""},
    {"c.5", kFirstChild,  1, {},                       u"HKEY_CLASSES_ROOT\\.txt"},
    {"s.1", kNextSibling, 1, {k + u"\\A"},             Path(u"T\\K\\B")},
    {"s.2", kNextSibling, 1, {k + u"\\C"},             u""},
    {"s.3", kNextSibling, 1, {k + u"\\a"},             u""},
    {"s.4", kNextSibling, 1, {Path(u"T")},             Path(u"U")},
    {"n.1", kKeyNames,    1, {k},                      u"A\r\nB\r\nC"},
    {"n.2", kKeyNames,    1, {Path(u"None")},          u""},
    {"n.3", kValueNames,  2, {Path(u"T"), true},       u"sz\tT\r\ndw\tN\r\nbe\tN\r\nqw\tB\r\nm\tT\r\nbin\tB"},
    {"n.4", kValueNames,  1, {Path(u"T")},             u"sz\r\ndw\r\nbe\r\nqw\r\nm\r\nbin"},
    {"n.5", kValueNames,  2, {Path(u"None"), true},    u""},
    {"h.1", kHasEntry,    1, {Path(u"T")},             true},
    {"h.2", kHasEntry,    1, {Path(u"None")},          false},
    {"h.3", kHasEntry,    1, {u""},                    false},
    {"h.4", kHasEntry,    1, {u"HKEY_CURRENT_CONFIG"}, false},
    {"h.5", kHasEntry,    2, {Path(u"T"), u"dw"},      true},
    {"h.6", kHasEntry,    2, {Path(u"T"), u"nope"},    false},
    {"h.7", kHasEntry,    2, {Path(u"U"), u""},        true},
    {"h.8", kHasEntry,    3, {Path(u"U"), 0},          true},
    {"h.9", kHasEntry,    3, {Path(u"T"), 6},          true},
    {"h.10", kHasEntry,   3, {Path(u"T"), 7},          false},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.result, Call(c.function, c.syntax, c.args).value);
  }
}

TEST_F(RegistryTest, ChangingKeysAndValues) {
  const std::u16string config = u"HKEY_CURRENT_CONFIG\\X", t = Path(u"T");
  // clang-format off
  const struct { const char* id; std::uint32_t function; std::vector<Arg> args; bool result; std::uint32_t error, code; } cases[] = {
    {"m.1", kMakeKey,     {Path(u"T\\M\\N")},   true,  0,            0},
    {"m.2", kMakeKey,     {Path(u"T\\M\\N\\")}, false, 0,            0},
    {"m.3", kMakeKey,     {config},             false, kWriteFailed, 6},
    {"m.4", kMakeKey,     {u""},                false, 0,            0},
    {"d.1", kRemoveKey,   {Path(u"T\\Gone")},   true,  0,            0},
    {"d.2", kRemoveKey,   {u""},                false, kEmptyPath,   0},
    {"d.3", kRemoveKey,   {config},             false, 0,            0},
    {"d.4", kRemoveKey,   {Path(u"T\\M")},      true,  0,            0},
    {"v.1", kRemoveValue, {t, u"v"},            true,  0,            0},
    {"v.2", kRemoveValue, {t, u"v"},            true,  0,            0},
    {"v.3", kRemoveValue, {Path(u"None"), u"v"}, true, 0,            0},
    {"v.4", kRemoveValue, {t, u""},             false, 0,            0},
    {"v.5", kRemoveValue, {u"", u"w"},          false, 0,            0},
    {"v.6", kRemoveValue, {config, u"w"},       false, kKeyOrValue,  6},
  };
  // clang-format on
  Put(u"T", u"v", 4, Raw(1));
  Put(u"T", u"w", 4, Raw(1));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    for (const char16_t* k : {u"T\\M\\N\\O", u"T\\M\\P", u"T\\M\\Q"}) {
      if (c.function == kRemoveKey) Put(k);
    }
    const CallResult r = Call(c.function, 1, c.args);
    EXPECT_EQ(Value(c.result), r.value);
    EXPECT_EQ(c.error, r.error.number);
    EXPECT_EQ(c.code, r.error.system_code);
  }
  EXPECT_FALSE(Get(u"T\\M"));
  EXPECT_EQ(kNotStored, Get(u"T", u"v")->type);
  EXPECT_EQ(4u, Get(u"T", u"w")->type);
  // A failed creation also carries the text of the key's own message.
  const CallResult r = Call(kMakeKey, 1, {u"HKEY_DYN_DATA\\X"});
  ASSERT_EQ(2u, r.error.texts.size());
  EXPECT_NE(std::u16string::npos, r.error.texts[1].find(u"HKEY_DYN_DATA\\X"));
}

class RegistryFindTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    Put(u"F", u"Blob", 3, Utf16({u"red\0", 4}));  // not text: never searched
    Put(u"F\\A", u"Colour", 1, Utf16({u"dark red\0", 9}));
    Put(u"F\\A", u"Count", 4, Raw(5));
    Put(u"F\\A\\Deep", u"List", 7, Utf16({u"one\0red two\0\0", 13}));
    Put(u"F\\B", u"Note", 1, Utf16({u"Redwood\0", 8}));
    Put(u"F\\RedKey");
    Put(u"G", u"Other", 2, Utf16({u"red\0", 4}));
  }
  std::u16string Find(std::u16string position, std::u16string sought,
                      int options) {
    const CallResult r = Call(kFind, 2, {position, sought, options});
    return std::get<std::u16string>(r.value);
  }
};

TEST_F(RegistryFindTest, ResumesFromEachMatchThroughSiblingsAndParents) {
  const std::u16string expected[] = {
      u"HKEY_CURRENT_USER\tF\\A\tColour\tdark red",
      u"HKEY_CURRENT_USER\tF\\A\\Deep\tList\tone red two ",
      u"HKEY_CURRENT_USER\tF\\B\tNote\tRedwood",
      u"HKEY_CURRENT_USER\tF\\RedKey",
      u"HKEY_CURRENT_USER\tG\tOther\tred",
      u"",
  };
  std::u16string position = u"HKEY_CURRENT_USER\tF";
  for (const std::u16string& e : expected) {
    position = Find(position, u"red", 15);
    ASSERT_EQ(e, position);
  }
  EXPECT_EQ(Value(expected[0]),
            Call(kFind, 1, {u"HKEY_CURRENT_USER\tF", u"red"}).value);
}

TEST_F(RegistryFindTest, Options) {
  const std::u16string f = u"HKEY_CURRENT_USER\tF", colour = f + u"\\A\tColour";
  // clang-format off
  const struct { const char* id; std::u16string position, sought; int options; std::u16string result; } cases[] = {
    {"o.1",  f,                  u"count", 2 | 8,      f + u"\\A\tCount"},
    {"o.2",  f,                  u"red",   1,          f + u"\\RedKey"},
    {"o.3",  f,                  u"red",   4,          u"HKEY_CURRENT_USER\tG\tOther\tred"},
    {"o.4",  f,                  u"5",     4 | 8,      u""},
    {"o.5",  f,                  u"DARK",  4 | 8,      colour + u"\tdark red"},
    {"o.6",  f + u"\\A\\Deep\tList\tx", u"RED", 4 | 8 | 16, u"HKEY_CURRENT_USER\tG\tOther\tred"},
    {"o.7",  f + u"\\B",         u"wood",  4 | 16,     u""},
    {"o.8",  colour,             u"red",   2 | 4,      colour + u"\tdark red"},
    {"o.9",  colour + u"\tx",    u"dark",  15,         u""},
    {"o.10", u"HKEY_CURRENT_USER\\F\\B", u"wood", 15,  f + u"\\B\tNote\tRedwood"},
    {"o.11", f + u"\\A\\Deep",   u"two",   4 | 16,     f + u"\\A\\Deep\tList\tone red two "},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.result, Find(c.position, c.sought, c.options));
  }
}

}  // namespace
}  // namespace refhost
