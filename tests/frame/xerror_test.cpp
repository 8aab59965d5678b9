// The error record: raise, add, system errors, the definition table and the
// message block behind them.
#include "frame/xerror.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "frame/descriptor.h"

namespace frame {
namespace {


struct RecordTest : ::testing::Test {
  CXError record;
  Self self{nullptr, 0, &record};
};

TEST_F(RecordTest, RaiseSetsDefinitionAndMessage) {
  Raise(&self, kErrNotAvailable);
  EXPECT_EQ(80003u, record.number);
  EXPECT_EQ(3u, record.severity);
  EXPECT_EQ(0u, record.subcode);
  EXPECT_EQ(kDescriptor, record.component);
  ASSERT_EQ(1u, record.texts.size());
  EXPECT_NE(std::u16string::npos, record.texts[0].find(u"not available"));
}

TEST_F(RecordTest, SubCodesComeFromTheTable) {
  const std::map<std::uint32_t, std::uint32_t> subcodes = {
      {80022, 1}, {80100, 2}, {80102, 3}, {81839, 81839}, {80291, 0}};
  for (const auto& [number, subcode] : subcodes) {
    Raise(&self, number, {1, u"x", u"y"});
    EXPECT_EQ(number, record.number);
    EXPECT_EQ(subcode, record.subcode) << number;
  }
}

TEST_F(RecordTest, UnknownNumberGivesTheMissingDefinitionTrace) {
  Raise(&self, 81844, {5});
  EXPECT_EQ(81844u, record.number);
  EXPECT_EQ(3u, record.severity);
  ASSERT_EQ(1u, record.texts.size());
  EXPECT_EQ(u"##(CXError)-Pas de definition d'erreur dans gstErrorDef pour "
            u"l'identifiant <81844>##",
            record.texts[0]);
}

TEST_F(RecordTest, RaiseResetsAddAppends) {
  Raise(&self, kErrOutOfMemory);
  AttachSystemError(&record, 5);
  Raise(&self, kErrNotAvailable);
  EXPECT_EQ(80003u, record.number);
  EXPECT_EQ(1u, record.texts.size());
  EXPECT_EQ(0u, record.system_code);
  AddMessage(&record, 41);
  EXPECT_EQ(80003u, record.number);
  EXPECT_EQ(2u, record.texts.size());
}

TEST_F(RecordTest, MessagesNotInTheBlockBecomeTraces) {
  AddMessage(&record, 65000);
  ASSERT_EQ(1u, record.texts.size());
  EXPECT_EQ(u"##(CXError)-Ressource <65000> non charg\u00e9e##", record.texts[0]);
}

TEST_F(RecordTest, SystemErrorTextAttachAndClear) {
  AttachSystemError(&record, 2);
  EXPECT_EQ(2u, record.system_code);
  EXPECT_EQ(u"The system cannot find the file specified.", record.system_text);
  AttachSystemError(&record, 0);
  EXPECT_EQ(0u, record.system_code);
  EXPECT_TRUE(record.system_text.empty());
  AttachSystemError(&record, 0xDEAD);  // a code the system has no text for
  EXPECT_TRUE(record.system_text.empty());
  EXPECT_EQ(u"Access is denied. (5)", SystemErrorText(5));
}

TEST(ErrorTable, CountsAndSeverities) {
  std::map<Word, int> severities;
  std::set<Word> numbers;
  for (int i = 0; i < kErrorDefCount; ++i) {
    ++severities[gstErrorDef[i][3]];
    numbers.insert(gstErrorDef[i][0]);
    EXPECT_GE(gstErrorDef[i][0], 80001u);
    EXPECT_LE(gstErrorDef[i][0], 81855u);
    // Every message the table names is in the block.
    EXPECT_TRUE(FindMessage(static_cast<std::uint32_t>(gstErrorDef[i][1]),
                            nullptr, nullptr))
        << gstErrorDef[i][0];
  }
  EXPECT_EQ(290, kErrorDefCount);
  EXPECT_EQ(290u, numbers.size());
  EXPECT_EQ(155, severities[2]);
  EXPECT_EQ(130, severities[3]);
  EXPECT_EQ(2, severities[1]);
  EXPECT_EQ(3, severities[0x10002]);
  EXPECT_EQ(0u, gstErrorDef[0][1]);  // 80001 and 80002 name message 0
  EXPECT_EQ(0u, gstErrorDef[1][1]);
}

TEST(MessageBlock, LookupComparesLowSixteenBits) {
  std::u16string direct, wrapped;
  int cls = -1;
  ASSERT_TRUE(FindMessage(291, &direct, &cls));
  EXPECT_EQ(2, cls);
  ASSERT_TRUE(FindMessage(291 + 0x10000, &wrapped, nullptr));
  EXPECT_EQ(direct, wrapped);
  EXPECT_FALSE(FindMessage(0xFFFF, nullptr, nullptr));
}

struct FormatCase {
  const char* id;
  const char16_t* format;
  std::initializer_list<ErrArg> args;
  const char16_t* expected;
};

TEST(FormatMessage, Placeholders) {
  const FormatCase cases[] = {
      {"s", u"<%s>", {u"abc"}, u"<abc>"},
      {"d", u"%d|%i", {-5, 7}, u"-5|7"},
      {"u", u"%u", {-1}, u"4294967295"},
      {"width", u"[%5d][%-3s][%05u]", {42, u"a", 7}, u"[   42][a  ][00007]"},
      {"hex", u"%x %X %08x", {255, 255, 0xBEEF}, u"ff FF 0000beef"},
      {"percent", u"100%% %s", {u"sure"}, u"100% sure"},
      {"missing", u"%s/%d", {}, u"/0"},
      {"extra", u"%s", {u"a", u"b"}, u"a"},
      {"precision", u"%.2s", {u"abcdef"}, u"ab"},
      {"trailing", u"50%", {}, u"50%"},
      {"length", u"%ld %lu", {3, 4}, u"3 4"},
      {"text as number", u"%d", {u"x"}, u"0"},
  };
  for (const FormatCase& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(std::u16string(c.expected), FormatMessage(c.format, c.args));
  }
}

TEST(LookupMessage, CopiesCutsAndRefuses) {
  std::u16string full;
  ASSERT_TRUE(FindMessage(3, &full, nullptr));
  char16_t buffer[512];
  EXPECT_EQ(static_cast<std::int32_t>(full.size()),
            LookupMessage(3, buffer, 512, nullptr));
  EXPECT_EQ(full, std::u16string(buffer));
  EXPECT_EQ(9, LookupMessage(3, buffer, 10, nullptr));
  EXPECT_EQ(full.substr(0, 9), std::u16string(buffer));
  EXPECT_EQ(0, LookupMessage(3, nullptr, 10, nullptr));
  EXPECT_EQ(0, LookupMessage(65000, buffer, 512, nullptr));
}

}  // namespace
}  // namespace frame
