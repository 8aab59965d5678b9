// The VM module's conversion routine, nConversionDepassementExt: every pair
// of types it knows, range and syntax failures, and nothing written when
// it fails.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "host/refhost/values.h"
#include "tests/host/vm_module.h"

namespace refhost {
namespace {

using frame::Decimal;
using frame::Word;

struct ConversionCase {
  const char* id;
  std::uint32_t type;
  Value source;
  std::uint32_t target;
  std::uint32_t status;
  Value result;  // when status is 0
};

class VmConversion : public VmModuleTest {
 protected:
  // The source's storage as the VM holds it; texts in new text objects
  // that Release drops.
  void Store(std::uint32_t type, const Value& v, unsigned char* storage) {
    std::memset(storage, 0, 16);
    if (const auto* i = std::get_if<std::int64_t>(&v)) {
      if (type == 8) {
        const auto narrow = static_cast<std::int32_t>(*i);
        std::memcpy(storage, &narrow, 4);
      } else {
        std::memcpy(storage, i, 8);
      }
    } else if (const auto* b = std::get_if<bool>(&v)) {
      const std::uint32_t word = *b ? 1 : 0;
      std::memcpy(storage, &word, 4);
    } else if (const auto* d = std::get_if<double>(&v)) {
      std::memcpy(storage, d, 8);
    } else if (const auto* dec = std::get_if<Decimal>(&v)) {
      std::memcpy(storage, dec, sizeof(Decimal));
    } else if (const auto* t = std::get_if<std::u16string>(&v)) {
      char16_t* text = blocks().NewText(*t);
      std::memcpy(storage, &text, sizeof(text));
      made_.push_back(text);
    } else if (const auto* bytes = std::get_if<Bytes>(&v)) {
      char16_t* text = blocks().New(bytes->data(), bytes->size());
      std::memcpy(storage, &text, sizeof(text));
      made_.push_back(text);
    }
  }

  // The destination read back as its type; a new text object is dropped.
  Value Read(std::uint32_t target, const unsigned char* dest) {
    const std::uint32_t as =
        target == 13 || target == 18 || target == 110 ? 14 : target;
    Value out;
    std::uint32_t held = 0;
    std::vector<char16_t*> taken;
    EXPECT_TRUE(CopyValue(dest, as, &out, &held, &taken));
    for (char16_t* t : taken) blocks().Release(t);
    if (as == 16 || as == 28) {
      char16_t* made;
      std::memcpy(&made, dest, sizeof(made));
      blocks().Release(made);
    }
    return out;
  }

  void Release() {
    for (char16_t* t : made_) blocks().Release(t);
    made_.clear();
  }

 private:
  std::vector<char16_t*> made_;
};

void ExpectSameValue(const Value& want, const Value& got) {
  ASSERT_EQ(want.index(), got.index());
  if (const auto* d = std::get_if<Decimal>(&want)) {
    EXPECT_EQ(d->magnitude, std::get<Decimal>(got).magnitude);
    EXPECT_EQ(d->field, std::get<Decimal>(got).field);
  } else if (const auto* r = std::get_if<double>(&want)) {
    EXPECT_DOUBLE_EQ(*r, std::get<double>(got));
  } else if (const auto* i = std::get_if<std::int64_t>(&want)) {
    EXPECT_EQ(*i, std::get<std::int64_t>(got));
  } else if (const auto* b = std::get_if<bool>(&want)) {
    EXPECT_EQ(*b, std::get<bool>(got));
  } else if (const auto* t = std::get_if<std::u16string>(&want)) {
    EXPECT_EQ(*t, std::get<std::u16string>(got));
  } else if (const auto* bytes = std::get_if<Bytes>(&want)) {
    EXPECT_EQ(*bytes, std::get<Bytes>(got));
  }
}

TEST_F(VmConversion, ConvertsBetweenTheVmTypes) {
  const std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  using S = std::u16string;
  // clang-format off
  const std::vector<ConversionCase> cases = {
    {"c.1",  8,  std::int64_t{42},  12, 0,   42.0},
    {"c.2",  8,  std::int64_t{-7},  16, 0,   S(u"-7")},
    {"c.3",  12, 1.9,               8,  0,   std::int64_t{1}},
    {"c.4",  12, -1.9,              9,  0,   std::int64_t{-1}},
    {"c.5",  12, 3e10,              8,  101, {}},
    {"c.6",  12, 3e10,              9,  0,   std::int64_t{30000000000}},
    {"c.7",  12, nan,               8,  101, {}},
    {"c.8",  16, S(u"123"),         8,  0,   std::int64_t{123}},
    {"c.9",  16, S(u" 12 "),        8,  0,   std::int64_t{12}},
    {"c.10", 16, S(u"abc"),         8,  102, {}},
    {"c.11", 16, S(u""),            8,  0,   std::int64_t{0}},
    {"c.12", 16, S(u"99999999999"), 8,  101, {}},
    {"c.13", 16, S(u"1234.56"),     10, 0,   Decimal{123456, 2}},
    {"c.14", 16, S(u"2.5"),         12, 0,   2.5},
    {"c.15", 16, S(u"\u00E9"),      12, 102, {}},
    {"c.16", 10, Decimal{999, 0x8003}, 16, 0, S(u"-0.999")},
    {"c.17", 10, Decimal{999, 0x8003}, 12, 0, -0.999},
    {"c.18", 10, Decimal{123456, 2},   8,  0, std::int64_t{1234}},
    {"c.19", 10, Decimal{5, 0x8000},   9,  0, std::int64_t{-5}},
    {"c.20", 1,  true,              8,  0,   std::int64_t{1}},
    {"c.21", 8,  std::int64_t{0},   1,  0,   false},
    {"c.22", 8,  std::int64_t{-3},  1,  0,   true},
    {"c.23", 16, S(u"faux"),        1,  0,   false},
    {"c.24", 16, S(u"True"),        1,  0,   true},
    {"c.25", 16, S(u"peut-etre"),   1,  102, {}},
    {"c.26", 9,  kMax64,            8,  101, {}},
    {"c.27", 9,  kMax64,            16, 0,   S(u"9223372036854775807")},
    {"c.28", 12, 0.1,               16, 0,   S(u"0.1")},
    {"c.29", 12, 0.25,              10, 0,   Decimal{25, 2}},
    {"c.30", 12, -3.0,              10, 0,   Decimal{3, 0x8000}},
    {"c.31", 8,  std::int64_t{5},   13, 0,   std::int64_t{5}},
    {"c.32", 8,  std::int64_t{5},   110, 0,  std::int64_t{5}},
    {"c.33", 8,  std::int64_t{5},   28, 100, {}},
    {"c.34", 16, S(u"ab"),          28, 0,   Bytes{'a', 0, 'b', 0}},
    {"c.35", 28, Bytes{'h', 0, 'i', 0}, 16, 0, S(u"hi")},
    {"c.36", 3,  std::int64_t{1},   8,  100, {}},
    {"c.37", 8,  std::int64_t{1},   99, 100, {}},
    {"c.38", 16, S(u""),            16, 0,   S(u"")},
    {"c.39", 8,  std::int64_t{7},   8,  0,   std::int64_t{7}},
  };
  // clang-format on
  for (const ConversionCase& c : cases) {
    SCOPED_TRACE(c.id);
    alignas(16) unsigned char storage[16];
    alignas(16) unsigned char dest[16];
    std::memset(dest, 0xAB, sizeof(dest));
    Store(c.type, c.source, storage);
    const std::uint32_t status =
        convert()(storage, c.type, dest, c.target, 1, 0);
    EXPECT_EQ(c.status, status);
    if (status == 0) {
      ExpectSameValue(c.result, Read(c.target, dest));
    } else {
      for (unsigned char b : dest) ASSERT_EQ(0xAB, b) << "written on failure";
    }
    Release();
  }
}

TEST_F(VmConversion, TextWithoutMemoryIsAnError) {
  alignas(16) unsigned char storage[16];
  alignas(16) unsigned char dest[16] = {};
  Store(8, std::int64_t{12}, storage);
  vm().FailAllocation(0);
  EXPECT_EQ(vm::kConvNoMemory, convert()(storage, 8, dest, 16, 0, 0));
  vm().FailAllocation(-1);
}

TEST_F(VmConversion, EmptyTextBecomesTheNullTextObject) {
  alignas(16) unsigned char storage[16];
  alignas(16) unsigned char dest[16];
  std::memset(dest, 0xAB, sizeof(dest));
  Store(16, std::u16string(), storage);
  ASSERT_EQ(0u, convert()(storage, 16, dest, 16, 0, 0));
  char16_t* text;
  std::memcpy(&text, dest, sizeof(text));
  EXPECT_EQ(nullptr, text);
  Release();
}

}  // namespace
}  // namespace refhost
