// The argument array as handlers read it: one entry per argument, each in
// the form its parameter code asks for, and what the host gets back from
// by-reference parameters.
#include "host/refhost/argument_array.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/host/vm_module.h"

namespace refhost {
namespace {

template <class T>
T At(void** entries, int i) {
  T v;
  std::memcpy(&v, entries[i], sizeof(v));
  return v;
}

SyntaxRecord Syntax(std::vector<Word> signature, Word param_word) {
  SyntaxRecord s;
  s.handler = 1;
  s.signature = std::move(signature);
  s.param_word = param_word;
  return s;
}

using ArgumentArrayTest = VmModuleTest;

TEST_F(ArgumentArrayTest, EachEntryHasTheFormOfItsCode) {
  const ValueContext context{blocks(), convert()};
  const SyntaxRecord s = Syntax(
      {0, 0x08, 0x8009, 0x0C, 0x0A, 0x7A, 0x4D, 0x1F, 0x01, 0x0E, 0x79}, 10);
  const std::vector<Arg> args = {-5,      std::int64_t{1} << 40,
                                 2.5,     frame::Decimal{999, 0x8003},
                                 u"text", Bytes{1, 2, 3},
                                 u"any",  true,
                                 7,       u"object"};
  ArgumentArray array(s, args, &context);
  ASSERT_TRUE(array.ok());
  void** e = array.entries();
  EXPECT_EQ(-5, At<std::int32_t>(e, 0));
  EXPECT_EQ(static_cast<frame::Word>(-5), At<frame::Word>(e, 0));
  EXPECT_EQ(std::int64_t{1} << 40, At<std::int64_t>(e, 1));
  EXPECT_EQ(2.5, At<double>(e, 2));
  EXPECT_EQ(999u, At<frame::Decimal>(e, 3).magnitude);
  EXPECT_EQ(0x8003, At<frame::Decimal>(e, 3).field);
  EXPECT_EQ(u"text", std::u16string(At<const char16_t*>(e, 4)));
  const char16_t* buffer = At<const char16_t*>(e, 5);
  EXPECT_EQ((Bytes{1, 2, 3}), Blocks::BytesOf(buffer));
  EXPECT_EQ(1, Blocks::Header(buffer)->count);
  const auto* any = At<const frame::AnyValue*>(e, 6);
  EXPECT_EQ(16u, any->type & 0xFF);
  EXPECT_EQ(u"any", Blocks::TextOf(any->storage.text));
  EXPECT_EQ(1u, At<std::uint32_t>(e, 7));
  EXPECT_EQ(7u, At<frame::Word>(e, 8));
  EXPECT_EQ(u"object", Blocks::TextOf(At<const char16_t*>(e, 9)));
}

TEST_F(ArgumentArrayTest, FurtherArgumentsTakeTheirOwnForm) {
  const ValueContext context{blocks(), convert()};
  const SyntaxRecord s = Syntax({0x08, 0x7A}, 0x81);
  const std::vector<Arg> args = {u"fmt", 3, 1.5, u"x"};
  ArgumentArray array(s, args, &context);
  void** e = array.entries();
  EXPECT_EQ(u"fmt", std::u16string(At<const char16_t*>(e, 0)));
  EXPECT_EQ(3, At<std::int32_t>(e, 1));
  EXPECT_EQ(1.5, At<double>(e, 2));
  EXPECT_EQ(u"x", std::u16string(At<const char16_t*>(e, 3)));
}

TEST_F(ArgumentArrayTest, ByReferenceArgumentsComeBack) {
  const ValueContext context{blocks(), convert()};
  const SyntaxRecord s =
      Syntax({0, 0x4008, 0x4001, 0x400C, 0x404D, 0x08, 0x1F}, 6);
  const std::vector<Arg> args = {1, false, 0.5, Bytes{9}, 4, 8};
  ArgumentArray array(s, args, &context);
  void** e = array.entries();
  const std::int32_t answer = 41;
  std::memcpy(e[0], &answer, sizeof(answer));
  const std::uint32_t yes = 1;
  std::memcpy(e[1], &yes, sizeof(yes));
  const double half = -0.5;
  std::memcpy(e[2], &half, sizeof(half));
  // The callee grows the buffer in place, as the text routines do.
  auto* buffer = static_cast<char16_t**>(e[3]);
  auto resize =
      reinterpret_cast<frame::MemResizeFn>(memory()->ops[frame::kMemResize]);
  ASSERT_EQ(0u, resize(memory(), buffer, 2, 0));
  reinterpret_cast<std::uint8_t*>(*buffer)[1] = 8;
  Blocks::Header(*buffer)->length = 2;
  const std::vector<Value> out = array.Outputs();
  ASSERT_EQ(6u, out.size());
  EXPECT_EQ(41, std::get<std::int64_t>(out[0]));
  EXPECT_TRUE(std::get<bool>(out[1]));
  EXPECT_EQ(-0.5, std::get<double>(out[2]));
  EXPECT_EQ((Bytes{9, 8}), std::get<Bytes>(out[3]));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(out[4]));
  EXPECT_EQ(8, std::get<std::int64_t>(out[5]));  // a composite: as it holds
}

TEST_F(ArgumentArrayTest, RefusedBlockMakesTheArrayUnusable) {
  const ValueContext context{blocks(), convert()};
  const SyntaxRecord s = Syntax({0, 0x4D}, 1);
  const std::vector<Arg> args = {Bytes{1}};
  vm().FailAllocation(0);
  ArgumentArray array(s, args, &context);
  EXPECT_FALSE(array.ok());
  vm().FailAllocation(-1);
}

}  // namespace
}  // namespace refhost
