// The registry functions where the store fails in ways no real one does on
// demand (the test double's planned failures), and the promise that every
// key opened is closed again, failures included.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "frame/conversion.h"
#include "frame/host_state.h"
#include "frame/implementations.h"
#include "frame/text.h"
#include "platform/fake/fake_platform.h"
#include "system/registry_path.h"

namespace sys {
namespace {

// Counts the keys opened and closed on the way to the double, and can fail
// the n-th key deletion.
class CountingRegistry final : public plat::Registry {
 public:
  explicit CountingRegistry(plat::Registry& real) : real_(real) {}
  plat::SysErr OpenKey(plat::Key p, std::u16string_view s, std::uint32_t a,
                       plat::Key* out) override {
    return Opened(real_.OpenKey(p, s, a, out));
  }
  plat::SysErr CreateKey(plat::Key p, std::u16string_view s, std::uint32_t a,
                         plat::Key* out, bool* created) override {
    return Opened(real_.CreateKey(p, s, a, out, created));
  }
  plat::SysErr CloseKey(plat::Key key) override {
    ++closed;
    return real_.CloseKey(key);
  }
  plat::SysErr QueryValue(plat::Key k, std::u16string_view n, std::uint32_t* t,
                          std::uint8_t* d, std::uint32_t* s) override {
    return real_.QueryValue(k, n, t, d, s);
  }
  plat::SysErr SetValue(plat::Key k, std::u16string_view n, std::uint32_t t,
                        const std::uint8_t* d, std::uint32_t s) override {
    return real_.SetValue(k, n, t, d, s);
  }
  plat::SysErr DeleteValue(plat::Key k, std::u16string_view n) override {
    return real_.DeleteValue(k, n);
  }
  plat::SysErr EnumKey(plat::Key k, std::uint32_t i,
                       std::u16string* n) override {
    return real_.EnumKey(k, i, n);
  }
  plat::SysErr EnumValue(plat::Key k, std::uint32_t i, std::u16string* n,
                         std::uint32_t* t, std::uint8_t* d,
                         std::uint32_t* s) override {
    return real_.EnumValue(k, i, n, t, d, s);
  }
  plat::SysErr QueryInfo(plat::Key k, plat::KeyInfo* info) override {
    return real_.QueryInfo(k, info);
  }
  plat::SysErr DeleteKey(plat::Key p, std::u16string_view s) override {
    if (++deletions == fail_deletion) return plat::kErrAccessDenied;
    return real_.DeleteKey(p, s);
  }

  int opened = 0, closed = 0, deletions = 0, fail_deletion = 0;

 private:
  plat::SysErr Opened(plat::SysErr err) {
    if (err == plat::kOk) ++opened;
    return err;
  }
  plat::Registry& real_;
};

constexpr char16_t kKey[] = u"HKEY_CURRENT_USER\\T";

class RegistryFailureTest : public ::testing::Test {
 protected:
  RegistryFailureTest() {
    RegistryMakeKey(&self_, u"HKEY_CURRENT_USER\\T\\A\\X");
    RegistryMakeKey(&self_, u"HKEY_CURRENT_USER\\T\\B");
    RegistryPutValue(&self_, kKey, u"v", u"needle");
    RegistryPutValue(&self_, kKey, u"w", u"needle too");
    record_.Reset();
  }
  plat::FakeRegistry& fake() { return fake_.registry(); }
  std::u16string Find(const char16_t* sought) {
    frame::ScopedText text;
    RegistryFind(&self_, text.out(), u"HKEY_CURRENT_USER\tT", sought, 4);
    return std::u16string(text.view());
  }

  plat::FakePlatform fake_;  // a store of the test's own
  CountingRegistry counting_{fake_.registry()};
  plat::Platform counted_{fake_.platform().modules, fake_.platform().system,
                          fake_.platform().files, fake_.platform().libraries,
                          counting_, fake_.platform().processes};
  plat::ScopedPlatform scope_{counted_};
  frame::CXError record_;
  frame::Self self_{nullptr, 0, &record_};
};

TEST_F(RegistryFailureTest, OnlyAWriteByNameRefusedAccessMarksTheHostState) {
  // clang-format off
  const struct { const char* id; plat::RegOp op; plat::SysErr err; bool by_index; std::uint32_t state; } cases[] = {
    {"a.1", plat::RegOp::kSetValue, 5,    false, frame::kStateAccessDenied},
    {"a.2", plat::RegOp::kOpenKey,  5,    false, frame::kStateAccessDenied},
    {"a.3", plat::RegOp::kSetValue, 1016, false, 0},
    {"a.4", plat::RegOp::kSetValue, 5,    true,  0},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    record_.Reset();
    record_.state = 0;
    fake().FailNext(c.op, c.err);
    EXPECT_FALSE(c.by_index ? RegistryPutValueByIndexInteger(&self_, kKey, 1, 7)
                            : RegistryPutValueInteger(&self_, kKey, u"v", 7));
    EXPECT_EQ(frame::kErrRegistryWriteFailed, record_.number);
    EXPECT_EQ(c.err, record_.system_code);
    EXPECT_EQ(c.state, record_.state);
  }
}

TEST_F(RegistryFailureTest, AFailedDeletionStopsTheRemovalWhereItIs) {
  // T\A\X goes, then deleting T\A fails: X stays deleted, the rest stays.
  counting_.fail_deletion = 2;
  EXPECT_FALSE(RegistryRemoveKey(&self_, kKey));
  EXPECT_FALSE(RegistryHasEntry(&self_, u"HKEY_CURRENT_USER\\T\\A\\X"));
  EXPECT_TRUE(RegistryHasEntry(&self_, u"HKEY_CURRENT_USER\\T\\A"));
  EXPECT_TRUE(RegistryHasEntry(&self_, u"HKEY_CURRENT_USER\\T\\B"));
}

TEST_F(RegistryFailureTest, ASubkeyPathBeyondItsBufferReachesNoKey) {
  const std::u16string path =
      kKey + std::u16string(u"\\") + std::u16string(kMaxRegistryPath - 1, u'a');
  EXPECT_TRUE(RegistryMakeKey(&self_, path.substr(0, path.size() - 1).c_str()));
  EXPECT_FALSE(RegistryMakeKey(&self_, path.c_str()));
  EXPECT_EQ(plat::kErrFilenameTooLong, record_.system_code);
  EXPECT_EQ(counting_.opened, counting_.closed);
}

TEST_F(RegistryFailureTest, AFailedSizeQueryEndsTheSearchOnlyWithASize) {
  fake().FailNextSizeQuery(1016, 40);
  EXPECT_EQ(u"", Find(u"needle"));
  fake().FailNextSizeQuery(1016, 0);
  EXPECT_EQ(u"HKEY_CURRENT_USER\tT\tw\tneedle too", Find(u"needle"));
}

TEST_F(RegistryFailureTest, EveryKeyOpenedIsClosed) {
  const std::function<void()> calls[] = {
      [&] { RegistryMakeKey(&self_, u"HKEY_CURRENT_USER\\T\\N"); },
      [&] { RegistryMakeKey(&self_, kKey); },
      [&] { RegistryPutValueByIndex(&self_, kKey, 1, u"x"); },
      [&] { RegistryPutValueByIndex(&self_, kKey, 9, u"x"); },
      [&] { RegistryPutValueBoolean(&self_, kKey, u"b", true); },
      [&] {
        frame::AnyValue value{};
        RegistryGetValue(&self_, &value, kKey, u"v", nullptr);
        RegistryGetValueByIndex(&self_, &value, kKey, 2, nullptr);
        frame::ReleaseValue(&value, frame::kReleaseFinal);
      },
      [&] { RegistryHasEntryByIndex(&self_, kKey, 1); },
      [&] {
        frame::ScopedText text;
        RegistryValueNames(&self_, text.out(), kKey, true);
        RegistryKeyNames(&self_, text.out(), kKey);
        RegistryFirstChild(&self_, text.out(), kKey);
        RegistryNextSibling(&self_, text.out(), u"HKEY_CURRENT_USER\\T\\A");
        RegistryFind(&self_, text.out(), u"HKEY_CURRENT_USER\tT", u"zz", 31);
      },
      [&] { RegistryRemoveValue(&self_, kKey, u"w"); },
      [&] { RegistryRemoveKey(&self_, kKey); },
  };
  for (const auto& call : calls) {
    call();
    EXPECT_GT(counting_.opened, 0);
    EXPECT_EQ(counting_.opened, counting_.closed);
  }
  fake().FailNext(plat::RegOp::kSetValue, 5);
  RegistryPutValue(&self_, u"HKEY_CURRENT_USER", u"v", u"x");
  EXPECT_EQ(counting_.opened, counting_.closed);
}

}  // namespace
}  // namespace sys
