// text/byte_sizes.h: a size in bytes written with a unit name (function
// 351), with the numeric settings of the VM's "DiskSize" mask.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace text {

// The VM's "DiskSize" settings record (services slot 123), as the
// component reads it.
struct DiskSizeRecord {
  char16_t decimal_separator;
  char16_t reserved[3];
  const char16_t *unit_names;  // "a;b;..." or null / empty for our own
};

inline constexpr std::int32_t kLargestUnitChoice = 5;

// `names` holds up to six unit names separated by ";", bytes first; the
// first may end with the plural marker "(s)". `unit` is 0 (automatic) to 5.
std::u16string FormatByteSize(std::int64_t size, std::int32_t unit,
                              std::u16string_view names, char16_t separator);

}  // namespace text
