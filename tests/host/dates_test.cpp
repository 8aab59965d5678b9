// The date and time functions end to end through the reference host: every
// function with its results, its error numbers in the order the checks make
// them, and its neutral value on failure. The clock setters are only called
// with invalid strings here: a privileged run would set the real clock.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/refhost/host.h"

namespace refhost {
namespace {

Value I(std::int64_t v) { return Value(v); }
Value T(const char16_t* v) { return Value(std::u16string(v)); }
Value B(bool v) { return Value(v); }

class DatesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host_.Start())
        << host_.last_error();
  }
  void TearDown() override { host_.Stop(); }
  Host host_;
};

// clang-format off
struct Case {
  const char* id;
  std::uint32_t function;
  int syntax;
  std::vector<Arg> args;
  Value result;
  std::uint32_t error;
};
const Case kCases[] = {
  // 8: date strings, every check in its order.
  {"8.1",   8, 1, {u"18000101"},           I(1),       0},
  {"8.2",   8, 1, {u"20240229"},           I(81874),   0},
  {"8.3",   8, 1, {u"2024010"},            I(-1),      80121},
  {"8.4",   8, 1, {u"2024O101"},           I(-1),      80122},
  {"8.5",   8, 1, {u"00001399"},           I(-1),      80123},
  {"8.6",   8, 1, {u"15821010"},           I(-1),      80124},
  {"8.7",   8, 1, {u"20241340"},           I(-1),      80125},
  {"8.8",   8, 1, {u"20230231"},           I(-1),      80126},
  {"8.9",   8, 1, {u"20230229"},           I(-1),      80127},
  {"8.10",  8, 1, {u"19000229"},           I(-1),      80127},
  {"8.11",  8, 1, {u"15000229"},           I(-109513), 0},
  {"8.12",  8, 1, {u"15821004"},           I(-79336),  0},
  {"8.13",  8, 1, {u"15821015"},           I(-79335),  0},
  {"8.14",  8, 2, {u"20241231", true},     I(366),     0},
  {"8.15",  8, 2, {u"20230301", true},     I(60),      0},
  // 3: day numbers to dates, with the part selector.
  {"3.1",   3, 1, {1},                     T(u"18000101"), 0},
  {"3.2",   3, 1, {0},                     T(u"17991231"), 0},
  {"3.3",   3, 2, {81874, u"A"},           T(u"2024"),     0},
  {"3.4",   3, 2, {81874, u"y"},           T(u"2024"),     0},
  {"3.5",   3, 2, {81874, u"d"},           T(u"29"),       0},
  {"3.6",   3, 2, {81874, u"Jour"},        T(u"29"),       0},
  {"3.7",   3, 2, {81874, u"m"},           T(u"02"),       0},
  {"3.8",   3, 2, {81874, u"x"},           T(u"20240229"), 0},
  {"3.9",   3, 1, {-79335},                T(u"15821005"), 0},
  {"3.10",  3, 1, {-5000000},              T(u""),         80132},
  {"3.11",  3, 1, {2147483647},            T(u""),         80132},
  // 4, 249: weekdays, Sunday as 7.
  {"4.1",   4, 1, {1},                     I(3),  0},
  {"4.2",   4, 1, {0},                     I(2),  0},
  {"4.3",   4, 1, {-2},                    I(7),  0},
  {"249.1", 249, 1, {u"20240115"},         I(1),  0},
  {"249.2", 249, 1, {u"20240114"},         I(7),  0},
  {"249.3", 249, 1, {u"x"},                I(-1), 80121},
  // 5, 6: time integers; hours are not wrapped.
  {"5.1",   5, 1, {9000000},               T(u"25000000"), 0},
  {"5.2",   5, 1, {0},                     T(u"00000000"), 0},
  {"5.3",   5, 1, {-1},                    T(u""),         80120},
  {"6.1",   6, 1, {u""},                   I(0),       0},
  {"6.2",   6, 1, {u"1230"},               I(4500000), 0},
  {"6.3",   6, 1, {u"123456789"},          I(4529678), 0},
  {"6.4",   6, 1, {u"1234567891234"},      I(4529678), 0},
  {"6.5",   6, 1, {u"12a"},                I(-1),      80128},
  {"6.6",   6, 1, {u"12345678912x"},       I(-1),      80128},
  {"6.7",   6, 1, {u"996099"},             I(-1),      80129},
  {"6.8",   6, 1, {u"996000"},             I(-1),      80130},
  {"6.9",   6, 1, {u"990000"},             I(-1),      80131},
  // 10, 242, 15, 243, 483: validity tests raise nothing.
  {"10.1",  10, 1, {u"20240229"},          B(true),  0},
  {"10.2",  10, 1, {u"20230229"},          B(false), 0},
  {"242.1", 242, 1, {u"15821010"},         B(false), 0},
  {"15.1",  15, 1, {u"2359"},              I(1),     0},
  {"15.2",  15, 1, {u"2360"},              I(0),     0},
  {"243.1", 243, 1, {u"24"},               I(0),     0},
  {"483.1", 483, 1, {u"2024022912"},       B(true),  0},
  {"483.2", 483, 1, {u"2024022"},          B(false), 0},
  {"483.3", 483, 1, {u"20240229126"},      B(false), 0},
  {"483.4", 483, 1, {u"202402291234567890"}, B(false), 0},
  // 11, 13, 252: week numbers.
  {"11.1",  11, 1, {u"20210101"},              I(0),  0},
  {"11.2",  11, 2, {u"20210101", u"<ISO8601>"}, I(53), 0},
  {"11.3",  11, 2, {u"20191230", u"<ISO8601>"}, I(1),  0},
  {"11.4",  11, 2, {u"20210104", u"<ISO8601>"}, I(1),  0},
  {"11.5",  11, 1, {u"20211231"},              I(52), 0},
  {"11.6",  11, 2, {u"20210101", u"<iso8601>"}, I(-1), 80700},
  {"11.7",  11, 1, {u"2021"},                  I(-1), 0},
  {"13.1",  13, 1, {1},                        I(1),  0},
  {"13.2",  13, 2, {u"20210103"},              I(0),  0},
  {"13.3",  13, 2, {u"20210104"},              I(1),  0},
  {"13.4",  13, 2, {u"2021"},                  I(-1), 80121},
  {"13.5",  13, 1, {-5000000},                 I(-1), 80132},
  {"252.1", 252, 2, {u"20240101"},             I(1),  0},
  // 467: first day of a week.
  {"467.1", 467, 1, {1, 2021, u"<ISO8601>"},   T(u"20210104"), 0},
  {"467.2", 467, 1, {1, 2019, u"<ISO8601>"},   T(u"20181231"), 0},
  {"467.3", 467, 2, {1, 2021},                 T(u"20210104"), 0},
  {"467.4", 467, 2, {1, 2019},                 T(u"20190107"), 0},
  {"467.5", 467, 2, {1, 2024},                 T(u"20240101"), 0},
  {"467.6", 467, 1, {1, 2021, u"x"},           T(u""),         80700},
  {"467.7", 467, 2, {1, -4},                   T(u""),         80132},
  // 152, 153, 154: differences, with their own routines.
  {"152.1", 152, 1, {u"20240101", u"20240301"}, I(60),  0},
  {"152.2", 152, 1, {u"15821004", u"15821015"}, I(13),  0},
  {"152.3", 152, 1, {u"15821010", u"20240101"}, I(-1),  80134},
  {"152.4", 152, 1, {u"20240101", u"2024"},     I(-1),  80134},
  {"153.1", 153, 1, {u"1200", u"1230"},         I(180000),  0},
  {"153.2", 153, 1, {u"1230", u"1200"},         I(-180000), 0},
  {"153.3", 153, 1, {u"12", u"123456789"},      I(209678),  0},
  {"153.4", 153, 1, {u"2500", u"0"},            I(-1), 80135},
  {"154.1", 154, 1, {u"20240101", u"20240102083015"}, T(u"+000000108301500"), 0},
  {"154.2", 154, 1, {u"20240102083015", u"20240101"}, T(u"-000000108301500"), 0},
  {"154.3", 154, 1, {u"2024010112", u"2024010112"},   T(u"+000000000000000"), 0},
  {"154.4", 154, 1, {u"18000101", u"99991231235959"}, T(u"+299498723595900"), 0},
  {"154.5", 154, 1, {u"2024010", u"20240101"},        T(u""), 80134},
  {"154.6", 154, 1, {u"20240101", u"20240101250000"}, T(u""), 80134},
  // 333: age.
  {"333.1", 333, 2, {u"19800615", u"20240614"}, T(u"00431130"), 0},
  {"333.2", 333, 2, {u"19800615", u"20240615"}, T(u"00440000"), 0},
  {"333.3", 333, 2, {u"20000131", u"20000301"}, T(u"00000100"), 0},
  {"333.4", 333, 2, {u"20240615", u"20240614"}, T(u""),         0},
  {"333.5", 333, 2, {u"2000", u"20240614"},     T(u""),         80121},
  // 334: Easter, 1583 to 9999 only.
  {"334.1", 334, 2, {2000},                     T(u"20000423"), 0},
  {"334.2", 334, 2, {2008},                     T(u"20080323"), 0},
  {"334.3", 334, 2, {2024},                     T(u"20240331"), 0},
  {"334.4", 334, 1, {u"20241231"},              T(u"20240331"), 0},
  {"334.5", 334, 2, {1582},                     T(u""),         0},
  {"334.6", 334, 2, {10000},                    T(u""),         0},
  {"334.7", 334, 1, {u"20x4"},                  T(u""),         0},
  // 7, 9, 155: display forms; masks need the mask engine.
  {"7.1",   7, 1, {u"1230"},                    T(u"12:30:00:00"), 0},
  {"7.2",   7, 2, {u"1230", u"HH:mm"},          T(u""),            80003},
  {"7.3",   7, 1, {u"2400"},                    T(u""),            80131},
  {"155.1", 155, 1, {u"20240115"},              T(u"15/01/2024"),  0},
  {"155.2", 155, 2, {u"20240115", u"AAAA"},     T(u""),            80003},
  {"155.3", 155, 1, {u"x"},                     T(u""),            80121},
  {"9.1",   9, 1, {u"2024011"},                 T(u""),            0},
  {"9.2",   9, 1, {u"2024011599"},              T(u""),            80131},
  {"9.3",   9, 1, {u"20240115"},                T(u""),            80003},
  // 12, 14, 250, 251: names (English unless the VM's language is French).
  {"12.1",  12, 1, {1},                         T(u"Wednesday"), 0},
  {"12.2",  12, 2, {u"20240115"},               T(u"Monday"),    0},
  {"250.1", 250, 2, {u"20240114"},              T(u"Sunday"),    0},
  {"14.1",  14, 1, {1},                         T(u"January"),   0},
  {"14.2",  14, 2, {u"20240815"},               T(u"August"),    0},
  {"14.3",  14, 1, {-5000000},                  T(u""),          80132},
  {"251.1", 251, 2, {u"20241299"},              T(u""),          80126},
  // 1, 2, 208, 222 with a string set the clock: checked first.
  {"1.1",   1, 2, {u"20241301"},                Value(),         80125},
  {"208.1", 208, 2, {u"x"},                     Value(),         80121},
  {"2.1",   2, 2, {u"1261"},                    Value(),         80130},
  {"222.1", 222, 2, {u"9999"},                  Value(),         80130},
};
// clang-format on

TEST_F(DatesTest, EveryFunction) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.id);
    const CallResult r = host_.CallArgs(c.function, c.syntax, c.args);
    ASSERT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(c.result, r.value);
    EXPECT_EQ(c.error, r.error.number) << std::string(
        r.error.Message().begin(), r.error.Message().end());
    EXPECT_EQ(0, r.block_delta);
  }
}

TEST_F(DatesTest, MessagesCarryTheirValues) {
  CallResult r = host_.Call(8, u"20230431");
  ASSERT_EQ(1u, r.error.params.size());
  EXPECT_EQ(u"30", r.error.params[0]);
  // A date-time of the wrong length is a report with the text, no number.
  r = host_.Call(9, u"2024011");
  EXPECT_TRUE(r.error.raised());
  EXPECT_NE(std::u16string::npos, r.error.Message().find(u"\"2024011\""));
  r = host_.CallSyntax(155, 2, u"20240115", u"AAAA");
  EXPECT_NE(std::u16string::npos, r.error.Message().find(u"<AAAA>"));
}

TEST_F(DatesTest, NamesFollowTheVmLanguage) {
  // clang-format off
  const struct { std::int32_t language; const char16_t* day; const char16_t* month; } kCases[] = {
    {1, u"Mercredi",  u"Ao\u00fbt"},
    {6, u"Mercredi",  u"Ao\u00fbt"},
    {2, u"Wednesday", u"August"},
    {7, u"Wednesday", u"August"},
  };
  // clang-format on
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.language);
    host_.SetLanguage(c.language);
    EXPECT_EQ(T(c.day), host_.Call(12, 1).value);
    EXPECT_EQ(T(c.month), host_.CallSyntax(251, 2, u"20240815").value);
  }
}

TEST_F(DatesTest, TheClockAsksTheVmFirst) {
  host_.services().set_clock_answer(0);
  EXPECT_EQ(T(u"00000000"), host_.Call(2).value);  // the VM's empty record
  host_.services().set_clock_answer(1);
  const std::vector<std::uint32_t> requests = host_.services().Requests();
  ASSERT_FALSE(requests.empty());
  EXPECT_EQ(9u, requests.back());

  const CallResult date = host_.Call(1);
  const auto* today = std::get_if<std::u16string>(&date.value);
  ASSERT_NE(nullptr, today);
  EXPECT_EQ(B(true), host_.Call(10, *today).value);
  EXPECT_EQ(date.value, host_.Call(208).value);
  // Born today: age zero, by the default reference date.
  EXPECT_EQ(T(u"00000000"), host_.CallSyntax(333, 1, *today).value);

  const CallResult now = host_.Call(222);
  const auto* s = std::get_if<std::shared_ptr<const Structure>>(&now.value);
  ASSERT_NE(nullptr, s);
  ASSERT_EQ(4u, (*s)->member_count);
  const auto* time = std::get_if<std::u16string>(&(*s)->members.at(0).value);
  ASSERT_NE(nullptr, time);
  EXPECT_EQ(I(1), host_.Call(15, *time).value);
  EXPECT_EQ(26u, (*s)->members.at(1).type);
  EXPECT_EQ(24u, (*s)->members.at(2).type);
  EXPECT_EQ(25u, (*s)->members.at(3).type);
  EXPECT_EQ(0, now.block_delta);
}

}  // namespace
}  // namespace refhost
