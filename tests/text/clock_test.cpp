// The current time and the clock setters on the fake platform, called as a
// handler calls them (inside a call whose VM answers request 9): the tick
// refinement, the 2-second pull-back, the midnight reset, and a refused set.
#include <gtest/gtest.h>

#include <string>

#include "frame/call_context.h"
#include "frame/implementations.h"
#include "frame/text.h"
#include "platform/fake/fake_platform.h"
#include "tests/support/fake_vm.h"
#include "text/dates.h"

namespace text {
namespace {

class ClockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    answer_ = 1;
    ops_[frame::kSlotRequest] = reinterpret_cast<frame::Word>(&Request);
    fake_.system().SetClock({2024, 1, 1, 15, 10, 30, 0, 0});
    fake_.system().SetTickCount(5000000);
    ResetClockReferences();
  }

  static std::int32_t Request(frame::VmServices*, std::uint32_t code, void*) {
    return code == 9 ? answer_ : 0;
  }

  std::u16string Time() {
    char16_t* text = nullptr;
    CurrentTime(&self_, &text);
    std::u16string out = text == nullptr ? u"" : text;
    frame::ReleaseText(&text);
    return out;
  }

  static inline std::int32_t answer_ = 1;
  plat::FakePlatform fake_;
  support::FakeMemoryManager memory_;
  frame::Word ops_[frame::kServiceSlotCount] = {};
  frame::VmServices services_{ops_};
  frame::CallFrame frame_{&services_, 0, 0, 0, 0};
  frame::CXError record_;
  frame::Self self_{nullptr, 0, &record_};
  frame::CallScope scope_{&frame_, &self_};
};

// clang-format off
struct Step {
  const char* id;
  plat::SystemTime clock;  // the local clock at this reading
  std::uint32_t ticks;     // the tick counter at this reading
  const char16_t* time;    // what CurrentTime answers
};
const Step kSteps[] = {
  // The first reading takes both references.
  {"s.1", {2024, 1, 1, 15, 10, 30,  0,   0}, 5000000, u"10300000"},
  // The clock has not ticked; the tick counter carries the time on.
  {"s.2", {2024, 1, 1, 15, 10, 30,  0,   0}, 5000450, u"10300045"},
  {"s.3", {2024, 1, 1, 15, 10, 30,  1,   0}, 5001990, u"10300199"},
  // 2 s of drift is kept, more pulls back to the clock.
  {"s.4", {2024, 1, 1, 15, 10, 30,  2,   0}, 5004000, u"10300400"},
  {"s.5", {2024, 1, 1, 15, 10, 30,  2,   0}, 5004001, u"10300200"},
  // Past midnight the estimate gives way to the clock.
  {"m.1", {2024, 1, 1, 15, 23, 59, 59, 500}, 6000000, u"23595950"},
  {"m.2", {2024, 1, 1, 15, 23, 59, 59, 500}, 6000400, u"23595990"},
  {"m.3", {2024, 1, 2, 16,  0,  0,  0, 300}, 6000800, u"00000030"},
  // The tick counter wraps at 2^32.
  {"w.1", {2024, 1, 2, 16,  1,  0,  0,   0}, 0xFFFFFF00u, u"01000000"},
  {"w.2", {2024, 1, 2, 16,  1,  0,  0,   0}, 0x00000100u, u"01000051"},
};
// clang-format on

TEST_F(ClockTest, RefinesTheClockWithTheTickCounter) {
  for (const Step& s : kSteps) {
    SCOPED_TRACE(s.id);
    fake_.system().SetClock(s.clock);
    fake_.system().SetTickCount(s.ticks);
    EXPECT_EQ(s.time, Time());
  }
}

TEST_F(ClockTest, AVmAnsweringZeroLeavesTheClockUnread) {
  answer_ = 0;
  EXPECT_EQ(u"00000000", Time());
  answer_ = 1;
  ResetClockReferences();
  EXPECT_EQ(u"10300000", Time());
}

TEST_F(ClockTest, SettersKeepTheOtherHalf) {
  SetCurrentDate(&self_, u"20250630");
  EXPECT_EQ(0u, record_.number);
  plat::SystemTime now = fake_.system().LocalTime();
  EXPECT_EQ(2025, now.year);
  EXPECT_EQ(6, now.month);
  EXPECT_EQ(30, now.day);
  EXPECT_EQ(10, now.hour);
  SetCurrentTime(&self_, u"081502500");
  now = fake_.system().LocalTime();
  EXPECT_EQ(30, now.day);
  EXPECT_EQ(8, now.hour);
  EXPECT_EQ(15, now.minute);
  EXPECT_EQ(2, now.second);
  EXPECT_EQ(500, now.milliseconds);
}

TEST_F(ClockTest, ARefusedSetReportsTheSystemError) {
  fake_.system().RefuseSetLocalTime(true);
  SetCurrentTime(&self_, u"0800");
  EXPECT_EQ(1314u, record_.system_code);
  EXPECT_FALSE(record_.texts.empty());
  EXPECT_NE(std::u16string::npos, record_.Message().find(u"(1314)"));
  SetCurrentDateTime(&self_, u"2400");  // checked before the clock is asked
  EXPECT_EQ(80131u, record_.number);
  EXPECT_EQ(0u, record_.system_code);
}

}  // namespace
}  // namespace text
