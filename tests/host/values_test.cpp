// Values at the VM boundary: what slot 149 copies for each type code (and
// the reference it takes on texts), and the host's composite values with
// their release, store, text and direct-pointer slots.
#include "host/refhost/values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/host/vm_module.h"

namespace refhost {
namespace {

using Values = VmModuleTest;

TEST_F(Values, CopiesScalarsByTypeCode) {
  struct Case {
    std::uint32_t type;
    std::uint64_t bits;  // the value's first bytes
    Value want;
  };
  // clang-format off
  const Case cases[] = {
    {1,   1,                   true},
    {1,   0,                   false},
    {8,   0xFFFFFFFB,          std::int64_t{-5}},
    {8,   0xAAAAAAAA00000007,  std::int64_t{7}},  // only 32 bits read
    {140, 0x57000001,          std::int64_t{0x57000001}},
    {9,   0x8000000000000000,  std::int64_t{INT64_MIN}},
    {14,  0x1234567890,        std::int64_t{0x1234567890}},
    {15,  42,                  std::int64_t{42}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    Value got;
    std::uint32_t held = 0;
    std::vector<char16_t*> taken;
    ASSERT_TRUE(CopyValue(&c.bits, c.type, &got, &held, &taken));
    ASSERT_EQ(c.want.index(), got.index());
    if (const auto* b = std::get_if<bool>(&c.want)) {
      EXPECT_EQ(*b, std::get<bool>(got));
    } else {
      EXPECT_EQ(std::get<std::int64_t>(c.want), std::get<std::int64_t>(got));
    }
    EXPECT_TRUE(taken.empty());
  }
  const double real = -2.5;
  Value got;
  std::uint32_t held = 0;
  std::vector<char16_t*> taken;
  ASSERT_TRUE(CopyValue(&real, 12, &got, &held, &taken));
  EXPECT_EQ(-2.5, std::get<double>(got));
  const frame::Decimal decimal{999, 0x8003};
  ASSERT_TRUE(CopyValue(&decimal, 10, &got, &held, &taken));
  EXPECT_EQ(999u, std::get<frame::Decimal>(got).magnitude);
  EXPECT_EQ(0x8003, std::get<frame::Decimal>(got).field);
  for (std::uint32_t unknown : {0u, 2u, 13u, 122u, 0x79u | 0x8000u}) {
    EXPECT_FALSE(CopyValue(&real, unknown, &got, &held, &taken)) << unknown;
  }
}

TEST_F(Values, TextResultsTakeTheirOwnReference) {
  for (std::uint32_t type : {16u, 121u, 130u, 27u, 28u, 126u}) {
    SCOPED_TRACE(type);
    char16_t* text = blocks().NewText(u"ab");
    Value got;
    std::uint32_t held = 0;
    std::vector<char16_t*> taken;
    ASSERT_TRUE(CopyValue(&text, type, &got, &held, &taken));
    ASSERT_EQ(std::vector<char16_t*>{text}, taken);
    EXPECT_EQ(2, Blocks::Header(text)->count);
    if (IsByteBlockType(type)) {
      EXPECT_EQ((Bytes{'a', 0, 'b', 0}), std::get<Bytes>(got));
    } else {
      EXPECT_EQ(u"ab", std::get<std::u16string>(got));
    }
    blocks().Release(text);  // the handler's copy goes first
    EXPECT_EQ(u"ab", Blocks::TextOf(taken[0]));
    blocks().Release(taken[0]);
  }
  char16_t* none = nullptr;
  Value got;
  std::uint32_t held = 0;
  std::vector<char16_t*> taken;
  ASSERT_TRUE(CopyValue(&none, 121, &got, &held, &taken));
  EXPECT_EQ(u"", std::get<std::u16string>(got));
  EXPECT_TRUE(taken.empty());
}

TEST_F(Values, CompositeResultGivesWhatItHolds) {
  const ValueContext context{blocks(), convert()};
  frame::AnyValue* any = NewHostValue(Arg(u"held"), &context);
  Value got;
  std::uint32_t held = 0;
  std::vector<char16_t*> taken;
  ASSERT_TRUE(CopyValue(any, 31, &got, &held, &taken));
  EXPECT_EQ(16u, held);
  EXPECT_EQ(u"held", std::get<std::u16string>(got));
  ASSERT_EQ(1u, taken.size());
  DeleteHostValue(any);
  blocks().Release(taken[0]);

  frame::AnyValue* empty = NewHostValue(Arg::Empty(), &context);
  ASSERT_TRUE(CopyValue(empty, 31, &got, &held, &taken));
  EXPECT_EQ(0u, held);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(got));
  DeleteHostValue(empty);
}

class HostValues : public VmModuleTest {
 protected:
  template <class Fn>
  Fn Slot(frame::AnyValue* v, int slot) {
    return reinterpret_cast<Fn>(v->ops[slot]);
  }
};

TEST_F(HostValues, TextSlotSharesATextAndConvertsTheRest) {
  const ValueContext context{blocks(), convert()};
  frame::AnyValue* text = NewHostValue(Arg(u"abc"), &context);
  frame::AnyValue* number = NewHostValue(Arg(42), &context);
  char16_t* dest = blocks().NewText(u"old");
  auto text_slot = Slot<frame::ValueTextFn>(text, frame::kValueText);
  ASSERT_EQ(0u, text_slot(text, &dest));
  EXPECT_EQ(text->storage.text, dest);
  EXPECT_EQ(2, Blocks::Header(dest)->count);
  ASSERT_EQ(0u, text_slot(number, &dest));
  EXPECT_EQ(u"42", Blocks::TextOf(dest));
  EXPECT_EQ(1, Blocks::Header(text->storage.text)->count);
  EXPECT_EQ(nullptr,
            Slot<frame::ValueDirectFn>(number, frame::kValueDirect)(number));
  blocks().Release(dest);
  DeleteHostValue(text);
  DeleteHostValue(number);
}

TEST_F(HostValues, StoreReadsByTheTypeTheValueNowHas) {
  const ValueContext context{blocks(), convert()};
  frame::AnyValue* v = NewHostValue(Arg(u"before"), &context);
  auto store = Slot<frame::ValueStoreFn>(v, frame::kValueStore);
  v->type = (v->type & ~0xFFu) | 12;
  const double real = 2.5;
  store(v, reinterpret_cast<frame::Word>(&real));
  EXPECT_EQ(2.5, std::get<double>(HostValueContents(v)));

  char16_t* text = blocks().NewText(u"after");
  v->type = 16 | 0x400;
  store(v, reinterpret_cast<frame::Word>(&text));
  EXPECT_EQ(2, Blocks::Header(text)->count);  // the value's own reference
  blocks().Release(text);
  EXPECT_EQ(u"after", std::get<std::u16string>(HostValueContents(v)));

  v->type = 13;
  store(v, 77);
  EXPECT_EQ(77, v->storage.i64);

  Slot<frame::ValueReleaseFn>(v, frame::kValueRelease)(v, 1);
  EXPECT_EQ(0u, v->type & 0xFF);
  DeleteHostValue(v);
}

TEST_F(HostValues, UnsetSlotStopsTheProcessNamingIt) {
  const ValueContext context{blocks(), convert()};
  frame::AnyValue* v = NewHostValue(Arg(1), &context);
  using Fn = frame::Word (*)(frame::AnyValue*);
  EXPECT_DEATH(reinterpret_cast<Fn>(v->ops[2])(v),
               "slot 2 of the VM's composite value interface");
  DeleteHostValue(v);
}

}  // namespace
}  // namespace refhost
