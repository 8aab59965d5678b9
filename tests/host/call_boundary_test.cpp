// Every handler called through the reference host as the VM calls it: the
// result goes through slot 149 exactly when the syntax has one, a failure is
// a numbered error, forwarded calls name component 42, and no text block
// outlives the call.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/refhost/host.h"
#include "tests/host/neutral_args.h"

namespace refhost {
namespace {

// The clock setters (1, 2, 208, 222 with a text): an empty text is a valid
// time, midnight, and a privileged run would really set the machine's clock.
bool SetsTheClock(int function, std::size_t syntax_index) {
  return syntax_index == 1 &&
         (function == 1 || function == 2 || function == 208 || function == 222);
}

class CallBoundaryTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH))
        << host_.last_error();
    ASSERT_TRUE(host_.Start()) << host_.last_error();
  }
  void TearDown() override { host_.Stop(); }
  Host host_;
};

TEST_F(CallBoundaryTest, EveryHandlerKeepsTheConvention) {
  int called = 0;
  for (const FunctionRecord& f : host_.catalogue().functions) {
    for (std::size_t k = 0; k < f.syntaxes.size(); ++k) {
      const SyntaxRecord& s = f.syntaxes[k];
      if (s.handler == 0 || SetsTheClock(f.number, k)) continue;
      const std::optional<std::vector<Arg>> args = NeutralArgs(s);
      if (!args) continue;
      SCOPED_TRACE(std::to_string(f.number) + "." + std::to_string(k + 1));
      const CallResult r =
          host_.CallArgs(static_cast<std::uint32_t>(f.number),
                         static_cast<int>(k + 1), *args);
      ASSERT_TRUE(r.called()) << r.refused;
      ++called;
      EXPECT_EQ(0, r.block_delta);
      if (r.forwarded()) {
        EXPECT_EQ(42u, r.forward_component);
        EXPECT_EQ(0, r.set_calls);
        continue;
      }
      EXPECT_EQ(0u, r.status);
      EXPECT_EQ(s.result() == 0 ? 0 : 1, r.set_calls);
      if (r.error.number != 0) {
        EXPECT_GE(r.error.number, 80001u);
        EXPECT_LE(r.error.number, 81855u);
        EXPECT_FALSE(r.error.Message().empty());
      }
    }
  }
  EXPECT_GT(called, 500);
}

TEST_F(CallBoundaryTest, FunctionsNotBuiltRaiseNotAvailableWithNeutralResults) {
  struct Case {
    std::uint32_t function;
    int syntax;
    std::vector<Arg> args;
    Value neutral;
  };
  const Case cases[] = {
      {39, 1, {}, std::u16string()},          // text result: empty
      {38, 1, {0}, std::int64_t{-1}},         // integer result: -1
      {41, 1, {0}, false},                    // boolean result: false
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.function);
    const CallResult r = host_.CallArgs(c.function, c.syntax, c.args);
    ASSERT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(80003u, r.error.number);
    EXPECT_EQ(3u, r.error.severity);
    EXPECT_EQ(c.neutral, r.value);
  }
}

TEST_F(CallBoundaryTest, WeekdayAndTimeOfDay) {
  struct Case {
    std::uint32_t function;
    std::int32_t argument;
    Value expected;
    std::uint32_t error;
  };
  const Case cases[] = {
      {4, 1, std::int64_t{3}, 0},             // 1 January 1800: Wednesday
      {4, 5, std::int64_t{7}, 0},             // Sunday is 7, not 0
      {4, 0, std::int64_t{2}, 0},
      {4, -657071, std::int64_t{7}, 0},
      {4, -2147483647 - 1, std::int64_t{7}, 0},  // far out: no overflow
      {5, 0, std::u16string(u"00000000"), 0},
      {5, 4567890, std::u16string(u"12411890"), 0},
      {5, 9999999, std::u16string(u"27463999"), 0},  // hours beyond 23
      {5, -1, std::u16string(), 80120},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.function) + " " + std::to_string(c.argument));
    const CallResult r = host_.Call(c.function, c.argument);
    ASSERT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(c.expected, r.value);
    EXPECT_EQ(c.error, r.error.number);
    EXPECT_EQ(0, r.block_delta);
  }
}

}  // namespace
}  // namespace refhost
