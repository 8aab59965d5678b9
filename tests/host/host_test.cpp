// The built component driven through the reference host: start-up and
// attach as the VM makes them, the tables the host reads, forwarded calls,
// and the calls the host refuses to make.
#include "host/refhost/host.h"
#include "tests/host/neutral_args.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace refhost {
namespace {


class HostTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.Load(STD8_COMPONENT_PATH, STD8_VM_PATH))
        << host_.last_error();
  }
  Host host_;
};

TEST_F(HostTest, StartAsksThePeerInAttachOrder) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  EXPECT_EQ(
      (std::vector<std::uint32_t>{9, 10, 12, 13, 15, 7, 1, 5, 2, 3, 4, 14, 8}),
      host_.vm().PeerQueries());
}

TEST_F(HostTest, AttachReadsThePresetOnlyFromSize12) {
  struct Case {
    frame::Word size;
    frame::Word preset;
    bool asks_7;
  };
  const Case cases[] = {
      {20, 0, true}, {20, 5, false}, {12, 5, false}, {8, 5, true}};
  ASSERT_TRUE(host_.InitLibrary() && host_.BindConversion() &&
              host_.ReadTables())
      << host_.last_error();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.size);
    host_.vm().ClearRecords();
    const frame::AttachRecord record{c.size, host_.vm_module(), 0, 0, c.preset};
    EXPECT_EQ(1u, host_.Attach(&record));
    const std::vector<std::uint32_t> asked = host_.vm().PeerQueries();
    const bool asked_7 =
        std::find(asked.begin(), asked.end(), 7u) != asked.end();
    EXPECT_EQ(c.asks_7, asked_7);
  }
}

TEST_F(HostTest, EndingWithoutDetachShutsTheSessionDown) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  host_.Terminate();
  EXPECT_EQ(1, host_.vm().ShutdownCalls());
}

TEST_F(HostTest, DetachBeforeEndLeavesNothingToShutDown) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  host_.Stop();
  EXPECT_EQ(0, host_.vm().ShutdownCalls());
}

TEST_F(HostTest, BindsConversionForInterfaceVersions) {
  struct Case {
    std::uint32_t major;
    std::uint32_t minor;
    bool bound;
  };
  const Case cases[] = {
      {1, 0, false}, {2, 3, false}, {2, 2, true}, {3, 0, true}};
  ASSERT_TRUE(host_.InitLibrary());
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.major << "." << c.minor);
    EXPECT_EQ(c.bound, host_.BindConversion(c.major, c.minor));
  }
}

TEST_F(HostTest, ReadsTheTablesTheComponentHandsOut) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  const Catalogue& c = host_.catalogue();
  ASSERT_EQ(508u, c.functions.size());
  EXPECT_EQ(1102, c.SyntaxCount());
  ASSERT_EQ(650u, c.constants.size());
  EXPECT_EQ(509u, c.constants.front().number);
  EXPECT_EQ(1158u, c.constants.back().number);
  ASSERT_EQ(53u, c.typed.size());
  EXPECT_EQ(1159u, c.typed.front().number);
  EXPECT_EQ(1211u, c.typed.back().number);
  ASSERT_EQ(4u, c.type_names.size());
  EXPECT_EQ("+:061:2:PNT:Ic\xF4ne", c.type_names[0]);
  ASSERT_EQ(11u, c.members.size());
  EXPECT_EQ(1212u, c.members.front().number);

  const FunctionRecord& f1 = *c.Function(1);
  EXPECT_EQ(0xC1010000u, f1.flags);
  EXPECT_EQ(0x81u, f1.word6);
  EXPECT_EQ(0x02080000u, f1.position);
  ASSERT_EQ(2u, f1.syntaxes.size());
  EXPECT_EQ(std::vector<Word>{0x79}, f1.syntaxes[0].signature);
  EXPECT_EQ((std::vector<Word>{0, 0x7A}), f1.syntaxes[1].signature);
  EXPECT_EQ(0xA1u, c.Function(99)->word6);
  const std::vector<std::vector<std::string>> names = HandlerNames(c);
  EXPECT_EQ("h001", names[0][0]);
  EXPECT_EQ(names[47][0], names[47][1]);  // function 48 shares one handler
  for (const std::string& name : names[15]) EXPECT_EQ("", name);
}

TEST_F(HostTest, ForwardedFunctionsLeave42AndTheirIndex) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  // clang-format off
  const std::pair<std::uint32_t, frame::Word> forwards[] = {
    {124, 5},  {125, 20}, {126, 12}, {127, 0},  {128, 2},  {129, 10},
    {130, 11}, {131, 22}, {132, 24}, {133, 7},  {134, 21}, {135, 18},
    {136, 19}, {137, 17}, {138, 14}, {139, 15}, {140, 4},  {141, 9},
    {142, 26}, {143, 25}, {144, 8},  {145, 16}, {146, 13}, {157, 3},
    {223, 6},  {285, 1},  {290, 23}};
  // clang-format on
  for (const auto& [function, index] : forwards) {
    const FunctionRecord* f = host_.catalogue().Function(function);
    ASSERT_NE(nullptr, f);
    for (int k = 1; k <= static_cast<int>(f->syntaxes.size()); ++k) {
      SCOPED_TRACE(testing::Message() << function << " syntax " << k);
      const std::optional<std::vector<Arg>> args =
          NeutralArgs(f->syntaxes[k - 1]);
      ASSERT_TRUE(args.has_value());
      const CallResult r = host_.CallArgs(function, k, *args);
      ASSERT_TRUE(r.called()) << r.refused;
      EXPECT_EQ(1u, r.status);
      EXPECT_EQ(42u, r.forward_component);
      EXPECT_EQ(index, r.forward_index);
      EXPECT_EQ(frame::kForwardMarker, r.error.state);
      EXPECT_FALSE(r.error.raised());
      EXPECT_EQ(0, r.set_calls);
      EXPECT_EQ(0, r.block_delta);
    }
  }
}

TEST_F(HostTest, RefusesCallsTheVmWouldNotMake) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  struct Case {
    std::uint32_t function;
    int syntax;
    std::vector<Arg> args;
    const char* why;
  };
  // clang-format off
  const std::vector<Case> cases = {
    {0,   0, {},      "unknown function 0"},
    {509, 0, {},      "unknown function 509"},
    {1,   0, {5},     "no syntax of function 1 fits the arguments (i:)"},
    {1,   3, {},      "function 1 has 2 syntax(es); there is no syntax 3"},
    {1,   2, {5},     "syntax 2 of function 1 argument 1 (i:) does not fit"},
    {16,  1, {u"x", 1}, "syntax 1 of function 16 has no handler"},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const CallResult r = host_.CallArgs(c.function, c.syntax, c.args);
    EXPECT_FALSE(r.called());
    EXPECT_NE(std::string::npos, r.refused.find(c.why)) << r.refused;
  }
}

TEST_F(HostTest, TextResultLeavesNoBlockBehind) {
  ASSERT_TRUE(host_.Start()) << host_.last_error();
  const CallResult r = host_.CallSyntax(1, 1);
  ASSERT_TRUE(r.called()) << r.refused;
  EXPECT_EQ(0u, r.status);
  EXPECT_EQ(0x79u, r.result_type);
  EXPECT_EQ(1, r.set_calls);
  EXPECT_EQ(0x79u, r.set_type);
  EXPECT_TRUE(std::holds_alternative<std::u16string>(r.value));
  EXPECT_EQ(0, r.block_delta);
}

}  // namespace
}  // namespace refhost
