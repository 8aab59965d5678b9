// Binding to the VM's conversion routines, conversion of host values, and
// the composite values the component builds.
#include "frame/conversion.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "frame/text.h"
#include "tests/support/fake_vm.h"

namespace frame {
namespace {

using support::Conversions;
using support::FakeHostValue;
using support::FakeMemoryManager;
using support::FakeVm;

constexpr Word kVm = FakeVm::kModule;
constexpr const char* kConvertName = "nConversionDepassementExt";
constexpr const char* kEndName = "FinConversion";
constexpr const char* kProxyName = "pQueryProxy";

class BindingTest : public ::testing::Test {
 protected:
  void TearDown() override { ClearConversion(); }
  FakeVm vm_;
};

// clang-format off
struct BindCase {
  const char* id;
  std::uint32_t major, minor;
  const char* missing;  // export removed from the module, or null
  std::int32_t result;
  int lookups;          // exports asked for
  bool convert, end, module_kept, proxy;
};

constexpr BindCase kBindCases[] = {
  {"1.1", 1, 0, nullptr,      0, 0, false, false, false, false},
  {"1.2", 2, 3, nullptr,      0, 0, false, false, false, false},
  {"1.3", 3, 3, nullptr,      0, 0, false, false, false, false},
  {"1.4", 2, 2, nullptr,      1, 3, true,  true,  true,  true},
  {"1.5", 3, 0, nullptr,      1, 3, true,  true,  true,  true},
  {"1.6", 2, 0, nullptr,      1, 3, true,  true,  true,  true},
  {"2.1", 2, 2, kConvertName, 0, 1, false, false, false, false},
  {"2.2", 2, 2, kEndName,     0, 2, true,  false, false, false},
  {"2.3", 2, 2, kProxyName,   0, 3, true,  true,  true,  false},
};
// clang-format on

TEST_F(BindingTest, Versions) {
  for (const BindCase& c : kBindCases) {
    SCOPED_TRACE(c.id);
    FakeVm vm;  // a fresh module table and log per row
    if (c.missing != nullptr) vm.modules().Remove(kVm, c.missing);
    ClearConversion();

    EXPECT_EQ(c.result, BindConversion(kVm, c.major, c.minor, 0));
    const ConversionBinding& bound = CurrentConversion();
    EXPECT_EQ(c.lookups, static_cast<int>(vm.modules().lookups().size()));
    EXPECT_EQ(c.convert, bound.convert != nullptr);
    EXPECT_EQ(c.end, bound.end != nullptr);
    EXPECT_EQ(c.module_kept ? kVm : 0, bound.module);
    EXPECT_EQ(c.module_kept ? c.major : 0, bound.major);
    EXPECT_EQ(c.module_kept ? c.minor : 0, bound.minor);
    EXPECT_EQ(c.proxy ? support::FakeConversionProxy() : nullptr, bound.proxy);
    if (c.proxy) {
      EXPECT_EQ(102u, Conversions().proxy_asked);
    }
  }
}

TEST_F(BindingTest, LooksUpTheExportsInOrder) {
  ASSERT_EQ(1, BindConversion(kVm, 2, 1, 0));
  const std::vector<std::string> expected = {kConvertName, kEndName,
                                             kProxyName};
  EXPECT_EQ(expected, vm_.modules().lookups());
  EXPECT_EQ(1, Conversions().proxy_calls);
}

TEST_F(BindingTest, FailedRebindKeepsWhatItFoundBefore) {
  ASSERT_EQ(1, BindConversion(kVm, 2, 2, 0));
  constexpr Word kOther = 0x3000;
  vm_.modules().Define(kOther, kConvertName,
                       vm_.modules().FindExport(kVm, kConvertName));
  vm_.modules().Define(kOther, kEndName,
                       vm_.modules().FindExport(kVm, kEndName));

  EXPECT_EQ(0, BindConversion(kOther, 3, 1, 0));
  const ConversionBinding& bound = CurrentConversion();
  EXPECT_EQ(kOther, bound.module);
  EXPECT_EQ(3u, bound.major);
  EXPECT_EQ(support::FakeConversionProxy(), bound.proxy);  // the earlier one
  EXPECT_EQ(1, Conversions().proxy_calls);
}

// Conversions run with a bound fake VM and a counting memory manager.
class ConversionTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(1, BindConversion(kVm, 2, 2, 0)); }
  void TearDown() override { ClearConversion(); }

  FakeMemoryManager mm_;
  FakeVm vm_;
};

// clang-format off
struct ConvertCase {
  const char* id;
  std::uint32_t type;    // of the host value, with flags
  std::int64_t value;    // read as 32 bits for type 8
  std::uint32_t target;
  std::uint32_t status;
  std::uint32_t type_after;
  bool stores_word;      // the routine's first word, not its address
};

constexpr ConvertCase kConvertCases[] = {
  {"1.1", 0x008,  42,            12,  0, 0x00C, false},
  {"1.2", 0x108,  42,            9,   0, 0x109, false},
  {"1.3", 0x408,  42,            1,   0, 0x401, false},
  {"1.4", 0x508,  42,            12,  0, 0x50C, false},
  {"1.5", 0x208,  42,            12,  0, 0x00C, false},  // 0x200 not kept
  {"2.1", 0x108,  7,             13,  0, 0x10D, true},
  {"2.2", 0x008,  7,             18,  0, 0x012, true},
  {"2.3", 0x408,  7,             110, 0, 0x46E, true},
  {"3.1", 0x009,  0x10000000001, 8,   0, 0x008, false},  // below 100: done
  {"3.2", 0x108,  42,            28,  121, 0x108, false},
};
// clang-format on

TEST_F(ConversionTest, ConvertScalars) {
  for (const ConvertCase& c : kConvertCases) {
    SCOPED_TRACE(c.id);
    FakeHostValue host(c.type);
    if (BaseType(c.type) == kAnyInt) {
      host.value.storage.i32 = static_cast<std::int32_t>(c.value);
    } else {
      host.value.storage.i64 = c.value;
    }
    const AnyValue::Storage before = host.value.storage;
    Conversions() = {};

    ASSERT_EQ(c.status, Convert(&host.value, c.target));
    EXPECT_EQ(c.type_after, host.value.type);
    EXPECT_EQ(1, Conversions().calls);
    EXPECT_EQ(&host.value.storage, Conversions().storage);
    EXPECT_EQ(BaseType(c.type), Conversions().type);
    EXPECT_EQ(1u, Conversions().flags1);
    EXPECT_EQ(0u, Conversions().flags2);
    if (c.status != 0) {
      EXPECT_EQ(0, std::memcmp(&before, &host.value.storage, sizeof before));
      EXPECT_EQ(0, host.store_calls);
      EXPECT_EQ(0, host.release_calls);
      continue;
    }
    // Reset first: old content released, the bare target type set.
    EXPECT_EQ(1, host.release_calls);
    EXPECT_EQ(kReleaseForReset, host.release_flag);
    ASSERT_EQ(1, host.store_calls);
    EXPECT_EQ(c.target, host.type_at_store);
    if (c.stores_word) {
      EXPECT_EQ(static_cast<Word>(c.value), host.stored_word);
    } else {
      EXPECT_NE(static_cast<Word>(c.value), host.stored_word);
    }
  }
}

TEST_F(ConversionTest, ConvertedValuesArrive) {
  FakeHostValue to_real(kAnyInt);
  to_real.value.storage.i32 = -3;
  ASSERT_EQ(0u, Convert(&to_real.value, kAnyReal));
  EXPECT_EQ(-3.0, to_real.value.storage.real);

  FakeHostValue to_text(kAnyInt | 0x400);
  to_text.value.storage.i32 = 1234;
  ASSERT_EQ(0u, Convert(&to_text.value, kAnyText));
  EXPECT_EQ(kAnyText | 0x400, to_text.value.type);
  EXPECT_EQ(u"1234", TextView(to_text.value.storage.text));
  // The routine's temporary went once the value had its own reference.
  EXPECT_EQ(1, TextHeader(to_text.value.storage.text)->count);
  EXPECT_EQ(1, mm_.live_blocks());
}

TEST_F(ConversionTest, ConvertReleasesTheOldText) {
  FakeHostValue host(kAnyText);
  ASSERT_EQ(0u, AssignText(&host.value.storage.text, u"-17"));
  ASSERT_EQ(0u, Convert(&host.value, kAnyInt));
  EXPECT_EQ(-17, host.value.storage.i32);
  EXPECT_EQ(0, mm_.live_blocks());
}

TEST_F(ConversionTest, ConvertLeavesAValueOfTheTargetType) {
  FakeHostValue host(0x510);
  EXPECT_EQ(0u, Convert(&host.value, kAnyText));
  EXPECT_EQ(0x510u, host.value.type);
  EXPECT_EQ(0, Conversions().calls);
  EXPECT_EQ(0, host.store_calls);
}

TEST_F(ConversionTest, ConvertErrorsLeaveTheValue) {
  FakeHostValue host(kAnyText | 0x100);
  ASSERT_EQ(0u, AssignText(&host.value.storage.text, u"twelve"));
  char16_t* const text = host.value.storage.text;
  EXPECT_EQ(support::kFakeNotANumber, Convert(&host.value, kAnyInt));
  Conversions().fail_next = 100;
  EXPECT_EQ(100u, Convert(&host.value, kAnyInt));
  EXPECT_EQ(kAnyText | 0x100, host.value.type);
  EXPECT_EQ(text, host.value.storage.text);
  EXPECT_EQ(0, host.release_calls);
}

TEST_F(ConversionTest, NothingConvertsWithoutABinding) {
  ClearConversion();
  FakeHostValue host(kAnyInt);
  EXPECT_EQ(kConversionUnavailable, Convert(&host.value, kAnyReal));
  EXPECT_EQ(kAnyInt, host.value.type);
  ScopedText text;
  EXPECT_EQ(kConversionUnavailable, GetText(&host.value, text.out()));
}

TEST_F(ConversionTest, GetTextOfHostTextTypesAsksTheValue) {
  for (const std::uint32_t type : {0x10u, 0x94u, 0x95u, 0x510u}) {
    SCOPED_TRACE(type);
    FakeHostValue host(type);
    ASSERT_EQ(0u, AssignText(&host.value.storage.text, u"host"));
    host.direct = u"not this";
    ScopedText text;
    EXPECT_EQ(0u, GetText(&host.value, text.out()));
    EXPECT_EQ(u"host", text.view());
    EXPECT_EQ(1, host.text_calls);
    EXPECT_EQ(0, host.direct_calls);
    EXPECT_EQ(0, Conversions().calls);
  }
}

TEST_F(ConversionTest, GetTextTakesADirectPointer) {
  FakeHostValue host(kAnyInt);
  host.direct = u"direct";
  ScopedText text;
  ASSERT_EQ(0u, text.Assign(u"replaced"));
  EXPECT_EQ(0u, GetText(&host.value, text.out()));
  EXPECT_EQ(u"direct", text.view());
  EXPECT_EQ(1, host.direct_calls);
  EXPECT_EQ(0, Conversions().calls);
  EXPECT_EQ(1, mm_.live_blocks());
}

TEST_F(ConversionTest, GetTextConvertsACopy) {
  FakeHostValue host(kAnyInt | 0x100);
  host.value.storage.i32 = 42;
  ScopedText text;
  EXPECT_EQ(0u, GetText(&host.value, text.out()));
  EXPECT_EQ(u"42", text.view());
  EXPECT_EQ(kAnyText, Conversions().target);
  EXPECT_EQ(0u, Conversions().flags1);
  EXPECT_EQ(0u, Conversions().flags2);
  // The value is untouched and the temporary went with the copy.
  EXPECT_EQ(kAnyInt | 0x100, host.value.type);
  EXPECT_EQ(42, host.value.storage.i32);
  EXPECT_EQ(0, host.store_calls);
  EXPECT_EQ(1, mm_.live_blocks());
  EXPECT_EQ(1, TextHeader(text.get())->count);
}

TEST_F(ConversionTest, GetTextPassesConversionErrors) {
  FakeHostValue host(kAnyInt);
  ScopedText text;
  ASSERT_EQ(0u, text.Assign(u"kept"));
  Conversions().fail_next = 140;
  EXPECT_EQ(140u, GetText(&host.value, text.out()));
  EXPECT_EQ(u"kept", text.view());
}

// --- Values the component builds ---------------------------------------------

TEST_F(ConversionTest, OwnTextIsSharedWithTheReader) {
  AnyValue value{};
  ASSERT_EQ(0u, MakeText(&value, u"result"));
  EXPECT_EQ(OwnValueOps(), value.ops);
  EXPECT_EQ(kAnyText, value.type);

  ScopedText text;
  EXPECT_EQ(0u, GetText(&value, text.out()));
  EXPECT_EQ(value.storage.text, text.get());
  EXPECT_EQ(2, TextHeader(text.get())->count);

  ReleaseValue(&value, kReleaseFinal);
  EXPECT_EQ(nullptr, value.storage.text);
  EXPECT_EQ(1, TextHeader(text.get())->count);
}

TEST_F(ConversionTest, MakeReleasesWhatTheValueHeld) {
  AnyValue value{};
  const std::uint8_t bytes[] = {1, 2, 3};
  ASSERT_EQ(0u, MakeBytes(&value, bytes));
  EXPECT_EQ(kAnyBytes, value.type);
  EXPECT_EQ(1, mm_.live_blocks());
  MakeInt(&value, 5);
  EXPECT_EQ(0, mm_.live_blocks());
  EXPECT_EQ(kAnyInt, value.type);
  EXPECT_EQ(5, value.storage.i32);

  // A host value handed over is released through its own interface.
  FakeHostValue host(kAnyText);
  MakeReal(&host.value, 2.5);
  EXPECT_EQ(1, host.release_calls);
  EXPECT_EQ(OwnValueOps(), host.value.ops);
}

TEST_F(ConversionTest, OwnValuesConvertInPlace) {
  AnyValue value{};
  MakeInt64(&value, -9);
  value.type |= 0x400;
  ASSERT_EQ(0u, Convert(&value, kAnyText));
  EXPECT_EQ(kAnyText | 0x400, value.type);
  EXPECT_EQ(u"-9", TextView(value.storage.text));

  ASSERT_EQ(0u, Convert(&value, kAnyReal));
  EXPECT_EQ(-9.0, value.storage.real);
  EXPECT_EQ(0, mm_.live_blocks());

  MakeBool(&value, true);
  ASSERT_EQ(0u, Convert(&value, 13));
  Word word;
  std::memcpy(&word, &value.storage, sizeof word);
  EXPECT_EQ(1u, word);
}

TEST_F(ConversionTest, OwnDirectPointerOfAnEmptyText) {
  AnyValue value{};
  ASSERT_EQ(0u, MakeText(&value, u""));
  const auto direct = reinterpret_cast<ValueDirectFn>(value.ops[kValueDirect]);
  ASSERT_NE(nullptr, direct(&value));
  EXPECT_EQ(u'\0', direct(&value)[0]);
  MakeInt(&value, 1);
  EXPECT_EQ(nullptr, direct(&value));
}

// --- Readers -----------------------------------------------------------------

// clang-format off
struct ReadCase {
  const char* id;
  std::u16string_view text;  // the value is this text, or the integer below
  std::int32_t n;
  std::uint32_t status;      // of reading as an integer
  std::int32_t as_int;
  bool as_bool;
  double as_real;
  std::u16string_view as_text;
};

constexpr ReadCase kReadCases[] = {
  {"1.1", {},       7,  0,   7,   true,  7.0,  u"7"},
  {"1.2", {},       0,  0,   0,   false, 0.0,  u"0"},
  {"1.3", {},      -2,  0,  -2,   true, -2.0,  u"-2"},
  {"2.1", u"12",    0,  0,   12,  true,  12.0, u"12"},
  {"2.2", u"2.75",  0,  0,   2,   true,  2.75, u"2.75"},
  {"2.3", u"x",     0,  120, 0,   false, 0.0,  u"x"},
  {"2.4", u"",      0,  120, 0,   false, 0.0,  u""},
};
// clang-format on

TEST_F(ConversionTest, Readers) {
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(c.id);
    AnyValue value{};
    if (c.text.data() != nullptr) {
      ASSERT_EQ(0u, MakeText(&value, c.text));
    } else {
      MakeInt(&value, c.n);
    }
    const AnyValue before = value;
    std::uint32_t status = 99;
    EXPECT_EQ(c.as_int, ValueAsInt(&value, &status));
    EXPECT_EQ(c.status, status);
    EXPECT_EQ(c.as_bool, ValueAsBool(&value));
    EXPECT_EQ(c.as_real, ValueAsReal(&value));
    EXPECT_EQ(static_cast<std::int64_t>(c.as_int), ValueAsInt64(&value));
    EXPECT_EQ(c.as_text, ValueAsText(&value, &status));
    EXPECT_EQ(0u, status);
    // Reading converts copies only.
    EXPECT_EQ(0, std::memcmp(&before, &value, sizeof value));
    ReleaseValue(&value, kReleaseFinal);
    EXPECT_EQ(0, mm_.live_blocks());
  }
}

TEST_F(ConversionTest, ReadersOfTheWantedTypeAskNoConversion) {
  AnyValue value{};
  MakeInt(&value, 3);
  EXPECT_EQ(3, ValueAsInt(&value));
  MakeReal(&value, 0.5);
  EXPECT_EQ(0.5, ValueAsReal(&value));
  ASSERT_EQ(0u, MakeText(&value, u"t"));
  EXPECT_EQ(u"t", ValueAsText(&value));
  EXPECT_EQ(0, Conversions().calls);
  ReleaseValue(&value, kReleaseFinal);
}

TEST_F(ConversionTest, ReadBytes) {
  AnyValue value{};
  const std::uint8_t bytes[] = {0xFF, 0x00, 0x7F};
  ASSERT_EQ(0u, MakeBytes(&value, bytes));
  EXPECT_EQ(std::vector<std::uint8_t>(bytes, bytes + 3), ValueAsBytes(&value));
  EXPECT_EQ(0, Conversions().calls);

  ASSERT_EQ(0u, MakeText(&value, u"A"));
  EXPECT_EQ((std::vector<std::uint8_t>{0x41, 0x00}), ValueAsBytes(&value));

  std::uint32_t status = 0;
  MakeInt(&value, 1);
  EXPECT_TRUE(ValueAsBytes(&value, &status).empty());
  EXPECT_EQ(support::kFakeUnsupported, status);
  ReleaseValue(&value, kReleaseFinal);
  EXPECT_EQ(0, mm_.live_blocks());
}

}  // namespace
}  // namespace frame
