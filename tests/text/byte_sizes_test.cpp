// Byte sizes: the level for each magnitude and unit choice, the plural
// marker, the separator, short unit lists, and the VM's settings record.
#include "text/byte_sizes.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "host/disk_size_settings.h"

namespace text {
namespace {

constexpr std::u16string_view kNames = u"byte(s);KB;MB;GB;TB;PB";
constexpr std::int64_t kK = 1024, kT = kK * kK * kK * kK;

TEST(ByteSize, Levels) {
  // clang-format off
  const struct { const char* id; std::int64_t size; std::int32_t unit; std::u16string_view names, text; } cases[] = {
    {"0.1", 1023,        0,  kNames, u"1023 bytes"},
    {"0.2", 1,           0,  kNames, u"1 byte"},
    {"0.3", -5,          0,  kNames, u"-5 byte"},     // the plural needs x >= 2
    {"0.4", 1536,        1,  kNames, u"1536 bytes"},
    {"1.1", 1024,        0,  kNames, u"1,00 KB"},
    {"1.2", -1536,       0,  kNames, u"-1,50 KB"},
    {"2.1", 1536,        3,  kNames, u"0,00 MB"},
    {"3.1", kT / 2 * 3 / kK, 0, kNames, u"1,50 GB"},
    {"4.1", 1024,        5,  kNames, u"0,00 TB"},     // unit 5 does not force name 5
    {"4.2", kT * kK - 1, 0,  kNames, u"1024,00 TB"},
    {"4.3", -kT * kK,    0,  kNames, u"-1024,00 TB"},
    {"4.4", 2048,        -1, kNames, u"0,00 TB"},     // no level named: the last
    {"5.1", kT * kK * 3, 5,  kNames, u"3,00 PB"},
    {"n.1", kT * kK,     0,  u"o;Ko;Mo;Go;To", u"1024,00 To"},
    {"n.2", 3,           0,  u"octet(s);Ko",   u"3 octets"},
    {"n.3", kK * kK,     0,  u"B;KB",          u"1,00 "},
    {"n.4", 2048,        0,  u"B;K.B.",        u"2,00 K,B,"},  // names' dots change too
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.text, FormatByteSize(c.size, c.unit, c.names, u','));
  }
  static_assert(sizeof(DiskSizeRecord) == sizeof(vm::DiskSizeSettings));
  EXPECT_EQ(offsetof(vm::DiskSizeSettings, unit_names),
            offsetof(DiskSizeRecord, unit_names));
}

}  // namespace
}  // namespace text
