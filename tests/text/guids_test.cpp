// GUIDs with the test double: both forms of a known record, and an empty
// text without error when "ole32.dll", its entry point or the call fails.
#include <gtest/gtest.h>

#include <algorithm>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror_record.h"
#include "platform/fake/fake_platform.h"

namespace text {
namespace {

long KnownGuid(std::uint8_t guid[16]) {
  constexpr std::uint8_t kKnown[16] = {0x78, 0x56, 0x34, 0x12, 0xBC, 0x9A,
                                       0xF0, 0x4E, 0x8A, 0x0B, 0x01, 0x02,
                                       0x03, 0x04, 0x05, 0xFF};
  std::copy(std::begin(kKnown), std::end(kKnown), guid);
  return 0;
}
long FailingGuid(std::uint8_t *) { return static_cast<long>(0x80004005); }

std::u16string Create(std::int32_t braced) {
  frame::CXError record;
  frame::Self self{nullptr, 0, &record};
  frame::ScopedText text;
  GuidCreate(&self, text.out(), braced);
  EXPECT_FALSE(record.HasError());
  return std::u16string(text.view());
}

TEST(Guid, ComesFromOle32OrIsEmpty) {
  plat::FakePlatform fake;
  fake.libraries().SetEntry(u"OLE32.DLL", "CoCreateGuid",
                            reinterpret_cast<void *>(&KnownGuid));
  EXPECT_EQ(u"123456789abc4ef08a0b0102030405ff", Create(0));
  EXPECT_EQ(u"{12345678-9abc-4ef0-8a0b-0102030405ff}", Create(7));
  fake.libraries().SetEntry(u"ole32.dll", "CoCreateGuid",
                            reinterpret_cast<void *>(&FailingGuid));
  EXPECT_EQ(u"", Create(1));
  fake.libraries().RemoveEntry(u"ole32.dll", "CoCreateGuid");
  EXPECT_EQ(u"", Create(0));
  fake.libraries().RemoveLibrary(u"Ole32.dll");
  EXPECT_EQ(u"", Create(1));
}

}  // namespace
}  // namespace text
