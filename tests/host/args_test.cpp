// Typed arguments: the command line forms, the decimal text, and which
// parameter codes each kind fits.
#include "host/refhost/args.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "host/common/decimal_text.h"

namespace refhost {
namespace {

void ExpectSameArg(const Arg& want, const Arg& got) {
  ASSERT_EQ(want.kind, got.kind);
  switch (want.kind) {
    case ArgKind::kReal:
      EXPECT_EQ(want.real, got.real);
      break;
    case ArgKind::kDecimal:
      EXPECT_EQ(want.decimal.magnitude, got.decimal.magnitude);
      EXPECT_EQ(want.decimal.field, got.decimal.field);
      break;
    case ArgKind::kText:
      EXPECT_EQ(want.text, got.text);
      break;
    case ArgKind::kBytes:
      EXPECT_EQ(want.bytes, got.bytes);
      break;
    default:
      EXPECT_EQ(want.integer, got.integer);
  }
}

struct ParseCase {
  const char* id;
  std::string text;
  Arg want;
};

TEST(ParseArg, ReadsEachKind) {
  const std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
  const std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
  // clang-format off
  const std::vector<ParseCase> cases = {
    {"i.1", "i:0",             Arg(0)},
    {"i.2", "i:-2147483648",   Arg(std::numeric_limits<int>::min())},
    {"i.3", "i:2147483647",    Arg(std::numeric_limits<int>::max())},
    {"i.4", "i:+12",           Arg(12)},
    {"i.5", "i:0x7fffFFFF",    Arg(0x7FFFFFFF)},
    {"i.6", "i:-0x10",         Arg(-16)},
    {"l.1", "l:-9223372036854775808", Arg(kMin64)},
    {"l.2", "l:9223372036854775807",  Arg(kMax64)},
    {"l.3", "l:5",             Arg(std::int64_t{5})},
    {"b.1", "b:0",             Arg(false)},
    {"b.2", "b:1",             Arg(true)},
    {"r.1", "r:1.5",           Arg(1.5)},
    {"r.2", "r:-2e10",         Arg(-2e10)},
    {"r.3", "r:+0.25",         Arg(0.25)},
    {"d.1", "d:1234.56",       Arg(frame::Decimal{123456, 2})},
    {"d.2", "d:-0.999",        Arg(frame::Decimal{999, 0x8003})},
    {"d.3", "d:7",             Arg(frame::Decimal{7, 0})},
    {"d.4", "d:.5",            Arg(frame::Decimal{5, 1})},
    {"d.5", "d:18446744073709551615",
                               Arg(frame::Decimal{0xFFFFFFFFFFFFFFFF, 0})},
    {"s.1", "s:",              Arg(u"")},
    {"s.2", "s:abc",           Arg(u"abc")},
    {"s.3", "s:Ic\xC3\xB4ne \xE2\x82\xAC", Arg(u"Ic\u00F4ne \u20AC")},
    {"s.4", "s:\xF0\x9F\x98\x80",          Arg(u"\U0001F600")},
    {"s.5", "s:a:b",           Arg(u"a:b")},
    {"h.1", "h:0a0b0c",        Arg(common::Bytes{0x0A, 0x0B, 0x0C})},
    {"h.2", "h:FFfe",          Arg(common::Bytes{0xFF, 0xFE})},
    {"h.3", "h:",              Arg(common::Bytes{})},
  };
  // clang-format on
  for (const ParseCase& c : cases) {
    SCOPED_TRACE(c.id);
    Arg got(0);
    std::string error;
    ASSERT_TRUE(ParseArg(c.text, &got, &error)) << error;
    ExpectSameArg(c.want, got);
  }
}

TEST(ParseArg, RejectsWithAMessage) {
  const char* const bad[] = {"i:",
                             "i:abc",
                             "i:2147483648",
                             "i:-2147483649",
                             "i:1.5",
                             "i: 1",
                             "i:0x",
                             "i:--1",
                             "l:9223372036854775808",
                             "b:2",
                             "b:true",
                             "b:",
                             "r:",
                             "r:1.5x",
                             "r:++1",
                             "d:",
                             "d:1.2.3",
                             "d:18446744073709551616",
                             "d:-",
                             "d:1e5",
                             "s:\xFF",
                             "s:\xC3",
                             "h:0",
                             "h:zz",
                             "x:1",
                             "i",
                             "5",
                             ""};
  for (const char* text : bad) {
    SCOPED_TRACE(text);
    Arg got(0);
    std::string error;
    EXPECT_FALSE(ParseArg(text, &got, &error));
    EXPECT_NE(std::string::npos, error.find("argument"));
  }
}

TEST(DecimalText, FormatsWithItsScaleAndReadsBack) {
  struct Case {
    frame::Decimal value;
    const char* text;
  };
  // clang-format off
  const Case cases[] = {
    {{999, 0x8003},  "-0.999"},
    {{123456, 2},    "1234.56"},
    {{150, 2},       "1.50"},
    {{5, 3},         "0.005"},
    {{0, 0},         "0"},
    {{0, 2},         "0.00"},
    {{7, 0x8000},    "-7"},
    {{0xFFFFFFFFFFFFFFFF, 19}, "1.8446744073709551615"},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.text, common::FormatDecimal(c.value));
    frame::Decimal back{};
    ASSERT_TRUE(common::ParseDecimal(c.text, &back));
    EXPECT_EQ(c.value.magnitude, back.magnitude);
    EXPECT_EQ(c.value.field, back.field);
  }
}

struct FitCase {
  ArgKind kind;
  std::uint32_t code;
  bool extended;
  bool fits;
};

TEST(Fits, FollowsTheBaseTypeOfTheCode) {
  using K = ArgKind;
  // clang-format off
  const FitCase cases[] = {
    {K::kInt,     0x08,   false, true},
    {K::kInt,     0x8008, false, true},   // qualified
    {K::kInt,     0x4008, false, true},   // by reference
    {K::kInt,     0x09,   true,  false},
    {K::kInt,     0x0E,   false, false},
    {K::kInt,     0x0E,   true,  true},   // pass-through, second round
    {K::kInt,     0x83,   true,  false},  // read as a text pointer
    {K::kInt,     0x50,   true,  true},
    {K::kInt,     0x7A,   true,  false},
    {K::kInt64,   0x09,   false, true},
    {K::kInt64,   0x08,   true,  false},
    {K::kBool,    0x01,   false, true},
    {K::kBool,    0x08,   true,  false},
    {K::kReal,    0x0C,   false, true},
    {K::kReal,    0x0A,   true,  false},
    {K::kDecimal, 0x0A,   false, true},
    {K::kDecimal, 0x0C,   true,  false},
    {K::kText,    0x7A,   false, true},
    {K::kText,    0x807A, false, true},
    {K::kText,    0x7F,   false, true},
    {K::kText,    0x83,   false, true},
    {K::kText,    0x79,   false, false},
    {K::kText,    0x79,   true,  true},
    {K::kText,    0x4D,   true,  false},
    {K::kBytes,   0x4D,   false, true},
    {K::kBytes,   0x7E,   false, true},
    {K::kBytes,   0x1C,   false, true},
    {K::kBytes,   0x7A,   true,  false},
    {K::kWord,    0x0E,   false, true},
    {K::kWord,    0x7A,   true,  false},
    {K::kEmpty,   0x08,   true,  false},
  };
  // clang-format on
  for (const FitCase& c : cases) {
    SCOPED_TRACE(testing::Message() << KindName(c.kind) << " 0x" << std::hex
                                    << c.code << " " << c.extended);
    EXPECT_EQ(c.fits, Fits(c.kind, c.code, c.extended));
  }
}

TEST(Fits, EveryKindFitsAValueOfAnyType) {
  for (ArgKind kind : {ArgKind::kInt, ArgKind::kInt64, ArgKind::kBool,
                       ArgKind::kReal, ArgKind::kDecimal, ArgKind::kText,
                       ArgKind::kBytes, ArgKind::kWord, ArgKind::kEmpty}) {
    SCOPED_TRACE(KindName(kind));
    EXPECT_TRUE(Fits(kind, 0x1F, false));
    EXPECT_TRUE(Fits(kind, 0x801F, false));
  }
}

}  // namespace
}  // namespace refhost
