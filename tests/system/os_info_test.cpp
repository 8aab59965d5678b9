// Function 151 over version records and platform-type answers that only the
// test double gives: handheld generations, build numbers of both classes,
// service-pack suffixes and a refused platform-type query.
#include <gtest/gtest.h>

#include <string>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror_record.h"
#include "platform/fake/fake_platform.h"

namespace sys {
namespace {

constexpr std::uint32_t kCe = plat::kPlatformHandheld,
                        kNt = plat::kPlatformDesktop;

struct OsCase {
  const char* id;
  plat::OsVersion record;
  std::u16string_view generation, version, build, service_pack;
};

// clang-format off
const OsCase kOsCases[] = {
  {"1.1", {5, 2, 21043, kCe, u"", 0},    u"CE 6.5", u"5.2",  u"21043", u""},
  {"1.2", {5, 2, 21042, kCe, u"", 0},    u"CE 6",   u"5.2",  u"21042", u""},
  {"1.3", {5, 1, 1, kCe, u"", 0},        u"CE 5",   u"5.1",  u"1",     u""},
  {"1.4", {6, 0, 0, kCe, u"", 0},        u"CE 6",   u"6.0",  u"0",     u""},
  {"1.5", {6, 2, 21043, kCe, u"", 0},    u"CE 6.5", u"6.2",  u"21043", u""},
  {"1.6", {4, 21, 0, kCe, u"", 0},       u"CE 4",   u"4.21", u"0",     u""},
  {"1.7", {3, 0, 0, kCe, u"B", 0x200},   u"CE 3",   u"3.0",  u"0",     u"B"},
  // The generation compares the whole build; the handheld prints 16 bits.
  {"2.1", {5, 2, 0x10064, kCe, u"", 0},  u"CE 6.5", u"5.2",  u"100",   u""},
  {"2.2", {5, 0, 0x10064, kNt, u"S", 0}, u"",       u"5.0",  u"65636", u"S"},
  {"3.1", {5, 1, 2600, kNt, u"S", 0},    u"",       u"5.1",  u"2600", u"S,Pro"},
  {"3.2", {6, 1, 1, kNt, u"", 0x300},    u"", u"6.1", u"1", u"Home Edition"},
  {"3.3", {4, 9, 1, kNt, u"", 0},        u"",       u"4.9",  u"1",     u""},
};
// clang-format on

std::u16string Info(frame::Self* self, std::int32_t selector) {
  frame::ScopedText text;
  OsInformation(self, text.out(), selector);
  return std::u16string(text.view());
}

TEST(OsInfo, TextsOfTheVersionRecord) {
  plat::FakePlatform fake;
  frame::CXError record;
  frame::Self self{nullptr, 0, &record};
  for (const OsCase& c : kOsCases) {
    SCOPED_TRACE(c.id);
    fake.system().SetVersion(c.record);
    EXPECT_EQ(c.generation, Info(&self, 0));
    EXPECT_EQ(c.version, Info(&self, 1));
    EXPECT_EQ(c.build, Info(&self, 2));
    EXPECT_EQ(c.service_pack, Info(&self, 4));
  }
  // Access denied means a smartphone; other refusals give nothing.
  fake.system().SetPlatformType(u"PocketPC");
  EXPECT_EQ(u"PocketPC", Info(&self, 3));
  fake.system().SetPlatformType(plat::kErrAccessDenied);
  EXPECT_EQ(u"Smartphone", Info(&self, 3));
  fake.system().SetPlatformType(plat::kErrInvalidSpiValue);
  EXPECT_EQ(u"", Info(&self, 3));
  EXPECT_FALSE(record.HasError());
}

}  // namespace
}  // namespace sys
