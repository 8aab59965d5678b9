// Recomputes every published figure of the catalogue from the tables the VM
// reads: functions, syntaxes, signatures, handlers, flags, type codes,
// constants, typed entries, type names and members.
#include "frame/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "frame/xerror_record.h"

namespace frame {
namespace {

struct SyntaxRow {
  int function;
  Word handler;
  Word reserved[3];
  std::vector<std::uint32_t> signature;  // result, then parameters
  Word count_word;
  Word flags;
};

std::vector<SyntaxRow> Syntaxes() {
  std::vector<SyntaxRow> rows;
  for (const auto& f : kFunctionTable) {
    const auto* syntax = reinterpret_cast<const Word(*)[kSyntaxWords]>(f[7]);
    for (int k = 0; k < SyntaxCountOf(f[6]); ++k) {
      SyntaxRow row{static_cast<int>(f[0]), syntax[k][0],
                    {syntax[k][1], syntax[k][2], syntax[k][3]}, {},
                    syntax[k][5], f[4]};
      const auto* sig = reinterpret_cast<const Word*>(syntax[k][4]);
      row.signature.push_back(static_cast<std::uint32_t>(sig[0]));
      for (int i = 1; sig[i] != 0; ++i) {
        row.signature.push_back(static_cast<std::uint32_t>(sig[i]));
      }
      rows.push_back(row);
    }
  }
  return rows;
}

// "16-34, 52-54, 56" -> the numbers.
std::set<int> Ranges(const char* text) {
  std::set<int> out;
  const char* p = text;
  while (*p != '\0') {
    char* end = nullptr;
    const long first = std::strtol(p, &end, 10);
    long last = first;
    if (*end == '-') last = std::strtol(end + 1, &end, 10);
    for (long n = first; n <= last; ++n) out.insert(static_cast<int>(n));
    p = end;
    while (*p == ',' || *p == ' ') ++p;
  }
  return out;
}

constexpr char kWithoutHandler[] =
    "16-34, 52-54, 56, 58, 60-61, 64-70, 79-81, 83-87, 90-91, 93-95, 97-98, "
    "100-108, 110, 158-168, 170-173, 182-183, 188-191, 193, 198, 204-205, "
    "207, 224-225, 230, 232-235, 237-238, 240-241, 244, 246-247, 253-268, "
    "271-279, 281-282, 289, 296, 305-309, 314-324, 326-327, 338-339, 341, "
    "354-359, 363-382, 386, 397-401, 409, 413-437, 440-448, 450, 452-453, "
    "456-457, 459-461, 463, 475-482, 487-491, 493, 497, 501, 503";

TEST(Catalogue, FunctionRecords) {
  for (int i = 0; i < kFunctionCount; ++i) {
    const Word* f = kFunctionTable[i];
    SCOPED_TRACE(i + 1);
    EXPECT_EQ(static_cast<Word>(i + 1), f[0]);
    EXPECT_EQ(0u, f[1] | f[2] | f[3]);
    EXPECT_EQ(0xC0000000u, f[4] & 0xC0000000u);
    EXPECT_EQ(i + 1 == 99 ? 0xA1u : 0x81u, f[5]);
    EXPECT_EQ(static_cast<Word>((8u << 16) | i), f[6] & 0x00FFFFFFu);
    EXPECT_NE(0u, f[7]);
  }
  const Word* first = kFunctionTable[0];
  EXPECT_EQ(0xC1010000u, first[4]);
  EXPECT_EQ(0x02080000u, first[6]);
  EXPECT_EQ(508u, kFunctionTable[507][0]);
  EXPECT_EQ(507u, kFunctionTable[507][6] & 0xFFFF);
}

TEST(Catalogue, SyntaxCounts) {
  std::map<int, int> by_count;
  for (const auto& f : kFunctionTable) ++by_count[SyntaxCountOf(f[6])];
  EXPECT_EQ(204, by_count[1]);
  EXPECT_EQ(183, by_count[2]);
  EXPECT_EQ(66, by_count[3]);
  EXPECT_EQ(22, by_count[4]);
  EXPECT_EQ(0, by_count[0]);
  EXPECT_EQ(by_count.rbegin()->first, 14);
  const std::map<int, int> named = {{72, 14},  {213, 14}, {275, 11},
                                    {276, 11}, {129, 10}, {271, 10},
                                    {481, 10}, {482, 10}};
  for (const auto& f : kFunctionTable) {
    const int n = static_cast<int>(f[0]);
    const int count = SyntaxCountOf(f[6]);
    auto it = named.find(n);
    if (it != named.end()) {
      EXPECT_EQ(it->second, count) << n;
    } else {
      EXPECT_LT(count, 10) << n;
    }
  }
  EXPECT_EQ(static_cast<std::size_t>(kSyntaxCount), Syntaxes().size());
}

TEST(Catalogue, Handlers) {
  const std::vector<SyntaxRow> rows = Syntaxes();
  const std::set<int> without = Ranges(kWithoutHandler);
  ASSERT_EQ(241u, without.size());
  int with_handler = 0;
  std::set<Word> distinct;
  std::map<int, int> handled_per_function;
  for (const SyntaxRow& s : rows) {
    if (s.handler == 0) continue;
    ++with_handler;
    distinct.insert(s.handler);
    ++handled_per_function[s.function];
  }
  EXPECT_EQ(552, with_handler);
  EXPECT_EQ(550, kSyntaxCount - with_handler);
  EXPECT_EQ(501u, distinct.size());
  for (int n = 1; n <= kFunctionCount; ++n) {
    EXPECT_EQ(without.count(n) == 0, handled_per_function.count(n) == 1) << n;
  }
  // Function 48 names one handler for its first two syntaxes; no other
  // handler serves two syntaxes outside the forwarded functions.
  const auto* f48 =
      reinterpret_cast<const Word(*)[kSyntaxWords]>(kFunctionTable[47][7]);
  EXPECT_NE(0u, f48[0][0]);
  EXPECT_EQ(f48[0][0], f48[1][0]);
}

struct ForwardCase {
  int function;
  Word index;
};
constexpr ForwardCase kForwards[] = {
    {124, 5},  {125, 20}, {126, 12}, {127, 0},  {128, 2},  {129, 10},
    {130, 11}, {131, 22}, {132, 24}, {133, 7},  {134, 21}, {135, 18},
    {136, 19}, {137, 17}, {138, 14}, {139, 15}, {140, 4},  {141, 9},
    {142, 26}, {143, 25}, {144, 8},  {145, 16}, {146, 13}, {157, 3},
    {223, 6},  {285, 1},  {290, 23}};

CXError* ErrorOf(Self* self) { return self->error; }

TEST(Catalogue, ForwardingHandlers) {
  CXError record;
  const Word self_ops[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                             reinterpret_cast<Word>(&ErrorOf)};
  Self self{self_ops, 0, &record};
  int syntaxes = 0;
  for (const ForwardCase& c : kForwards) {
    SCOPED_TRACE(c.function);
    const Word* f = kFunctionTable[c.function - 1];
    const auto* syntax = reinterpret_cast<const Word(*)[kSyntaxWords]>(f[7]);
    const int count = SyntaxCountOf(f[6]);
    syntaxes += count;
    for (int k = 0; k < count; ++k) {
      EXPECT_EQ(syntax[0][0], syntax[k][0]);  // one handler per function
    }
    CallFrame frame{nullptr, 0, 99, 0, 0};
    record.state = 0;
    const auto handler = reinterpret_cast<Handler>(syntax[0][0]);
    EXPECT_EQ(kForward, handler(&frame, &self, nullptr));
    EXPECT_EQ(42u, frame.forward_component);
    EXPECT_EQ(c.index, frame.forward_index);
    EXPECT_EQ(kForwardMarker, record.state);
  }
  EXPECT_EQ(77, syntaxes);
}

TEST(Catalogue, Flags) {
  std::map<Word, int> per_syntax;
  int with_bit = 0, with_bit_empty = 0, without_bit = 0, without_bit_empty = 0;
  for (const SyntaxRow& s : Syntaxes()) {
    ++per_syntax[s.flags];
    const bool empty = s.handler == 0;
    if (s.flags & 0x200) {
      ++with_bit;
      with_bit_empty += empty;
    } else {
      ++without_bit;
      without_bit_empty += empty;
    }
  }
  EXPECT_EQ(79u, per_syntax.size());
  EXPECT_EQ(244, per_syntax[0xC3228618]);
  EXPECT_EQ(158, per_syntax[0xC1010000]);
  EXPECT_EQ(67, per_syntax[0xC3228600]);
  EXPECT_EQ(62, per_syntax[0xC3228001]);
  EXPECT_EQ(58, per_syntax[0xC3228418]);
  EXPECT_EQ(38, per_syntax[0xC3210400]);
  EXPECT_EQ(34, per_syntax[0xC1228200]);
  EXPECT_EQ(594, with_bit);
  EXPECT_EQ(525, with_bit_empty);
  EXPECT_EQ(508, without_bit);
  EXPECT_EQ(25, without_bit_empty);
}

struct TypeUse {
  std::uint32_t base;
  int results, parameters;
};
// clang-format off
constexpr TypeUse kTypeUses[] = {
  {0x01, 435, 105}, {0x08, 246, 631}, {0x09, 8, 12},   {0x0A, 12, 17},
  {0x0C, 12, 87},   {0x0E, 2, 26},    {0x0F, 9, 1},    {0x1B, 2, 2},
  {0x1C, 17, 19},   {0x1F, 45, 25},   {0x4B, 64, 0},   {0x79, 153, 6},
  {0x7A, 0, 636},   {0x7E, 28, 4},    {0x7F, 0, 182},  {0x82, 25, 2},
  {0x83, 0, 65},    {0x8C, 1, 0},
};
// clang-format on

TEST(Catalogue, TypeCodes) {
  std::map<std::uint32_t, int> results, parameters;
  int plain_7f = 0, qualified_8050 = 0, empty_results = 0;
  for (const SyntaxRow& s : Syntaxes()) {
    if (s.signature[0] == 0) ++empty_results;
    else ++results[BaseType(s.signature[0])];
    for (std::size_t i = 1; i < s.signature.size(); ++i) {
      const std::uint32_t code = s.signature[i];
      ++parameters[BaseType(code)];
      plain_7f += code == 0x7F;
      qualified_8050 += code == 0x8050;
      if (BaseType(code) == 0x6F || BaseType(code) == 0x7C) {
        EXPECT_NE(0u, code & 0x70000) << s.function;
      }
    }
  }
  for (const TypeUse& u : kTypeUses) {
    SCOPED_TRACE(u.base);
    EXPECT_EQ(u.results, results[u.base]);
    EXPECT_EQ(u.parameters, parameters[u.base]);
  }
  EXPECT_EQ(32, empty_results);
  EXPECT_EQ(135, plain_7f);
  EXPECT_EQ(163, qualified_8050);
  for (std::uint32_t only_params : {0x2Cu, 0x2Eu, 0x39u, 0x43u, 0x4Du, 0x50u}) {
    EXPECT_EQ(0, results[only_params]);
    EXPECT_LT(0, parameters[only_params]);
  }
  for (std::uint32_t rare : {0x10u, 0x12u, 0x13u, 0x1Au, 0x59u, 0x67u, 0x70u,
                             0x7Bu}) {
    const int uses = results[rare] + parameters[rare];
    EXPECT_TRUE(uses >= 1 && uses <= 4) << rare;
  }
}

TEST(Catalogue, ParameterCountsAndReservedWords) {
  const std::set<int> variadic = {220, 221, 286, 309, 451};
  std::set<int> seen_variadic;
  int with_200000 = 0;
  for (const SyntaxRow& s : Syntaxes()) {
    const Word listed = s.signature.size() - 1;
    EXPECT_EQ(listed, s.count_word & 0x7F) << s.function;
    EXPECT_EQ(0u, s.reserved[0] | s.reserved[2]);
    with_200000 += s.reserved[1] == 0x200000;
    EXPECT_TRUE(s.reserved[1] == 0 || s.reserved[1] == 0x200000);
    if (s.count_word == 129 || s.count_word == 130) {
      EXPECT_EQ(1u, variadic.count(s.function)) << s.function;
      seen_variadic.insert(s.function);
    } else if (s.count_word == 257) {
      EXPECT_EQ(430, s.function);
      seen_variadic.insert(430);
    } else {
      EXPECT_EQ(listed, s.count_word) << s.function;
    }
  }
  std::set<int> expected = variadic;
  expected.insert(430);
  EXPECT_EQ(expected, seen_variadic);
  EXPECT_EQ(2, with_200000);
}

TEST(Catalogue, Constants) {
  std::set<Word> ids, flags;
  std::map<Word, int> types;
  for (int i = 0; i < kConstantCount; ++i) {
    const Word* c = kConstantTable[i];
    SCOPED_TRACE(i);
    EXPECT_EQ(static_cast<Word>(kFirstConstant + i), c[0]);
    EXPECT_GE(c[1], 3003u);
    ids.insert(c[1]);
    flags.insert(c[4]);
    EXPECT_EQ(0u, c[2] | c[3]);
    EXPECT_EQ(0x81u, c[5]);
    ++types[c[7]];
    if (c[7] == 0x7A08) {
      EXPECT_NE(0u, c[6]);
      EXPECT_NE(nullptr, reinterpret_cast<const char16_t*>(c[6]));
    }
  }
  EXPECT_EQ(1158u, kConstantTable[kConstantCount - 1][0]);
  EXPECT_EQ(650u, ids.size());
  EXPECT_EQ(33u, flags.size());
  for (Word f : {0x03200010u, 0x03200018u, 0x03200218u, 0x01000010u}) {
    EXPECT_EQ(1u, flags.count(f)) << f;
  }
  EXPECT_EQ(427, types[0x808]);
  EXPECT_EQ(169, types[0x008]);
  EXPECT_EQ(54, types[0x7A08]);
  EXPECT_EQ(3u, types.size());
}

TEST(Catalogue, TypedEntriesNamesAndMembers) {
  const std::set<Word> typed_flags = {0x13200218, 0x13200210, 0x13200010};
  for (int i = 0; i < kTypedCount; ++i) {
    const Word* t = kTypedTable[i];
    SCOPED_TRACE(i);
    EXPECT_EQ(static_cast<Word>(kFirstTyped + i), t[0]);
    EXPECT_EQ(1u, typed_flags.count(t[4]));
    EXPECT_EQ(0u, t[1] | t[2] | t[3] | t[5] | t[7]);
    EXPECT_EQ(static_cast<Word>((8u << 16) | (i + 1)), t[6] & 0x00FFFFFF);
  }
  EXPECT_EQ(1211u, kTypedTable[kTypedCount - 1][0]);

  const char* const names[] = {"+:061:2:PNT:Ic\xF4ne", "+:008:0:STD:Processus",
                               "+:008:1:STD:InfoVersion",
                               "+:008:2:STD:Certificat"};
  for (int i = 0; i < kTypeNameCount; ++i) {
    EXPECT_STREQ(names[i], reinterpret_cast<const char*>(
                               kTypeNameBlock.names[i]));
  }
  std::set<Word> ids;
  for (int i = 0; i < kMemberCount; ++i) {
    const Word* m = kTypeNameBlock.members[i];
    SCOPED_TRACE(i);
    EXPECT_EQ(static_cast<Word>(kFirstMember + i), m[1]);
    ids.insert(m[2]);
    EXPECT_EQ(0u, m[3] | m[4] | m[9] | m[11]);
    EXPECT_EQ(0xEB204690u, m[5]);
    EXPECT_EQ(0x81u, m[6]);
    EXPECT_TRUE(m[7] == 0x01 || m[7] == 0x08 || m[7] == 0x10 || m[7] == 0x7A);
    EXPECT_NE(0u, m[8]);
  }
  EXPECT_EQ(11u, ids.size());
}

}  // namespace
}  // namespace frame
