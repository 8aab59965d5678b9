// system/registry_values.h: reading registry values as the registry
// functions do: the default-value rule, values by index, the two-step read
// into a zeroed buffer, and the texts held in a value's bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace sys {

// RegQueryValueEx with the type preset to REG_SZ. When the query fails for
// the empty name, it succeeds as an empty REG_SZ of size 1 instead (an
// empty text in `data` when given): an existing key always "has" a default
// value. `type` and `size` may be null.
plat::SysErr QueryRegistryValue(plat::Key key, std::u16string_view name,
                                std::uint32_t* type, std::uint8_t* data,
                                std::uint32_t* size);

// The value at a 1-based `index` of the key's enumeration, its name in
// *name; index 0 is the default value as QueryRegistryValue gives it.
plat::SysErr QueryRegistryValueAt(plat::Key key, std::int32_t index,
                                  std::u16string* name, std::uint32_t* type,
                                  std::uint8_t* data, std::uint32_t* size);

// A value read whole: a size query, then a zeroed buffer of twice the size
// it reported, queried again.
struct ValueRead {
  plat::SysErr size_error = plat::kOk;  // what the size query gave
  std::uint32_t reported = 0;           // and the size it reported
  plat::SysErr error = plat::kOk;       // the read as a whole
  std::uint32_t type = 0;               // 0 when the read failed
  std::uint32_t size = 0;               // bytes stored
  std::vector<std::uint8_t> buffer;

  bool ok() const { return error == plat::kOk; }
};
ValueRead ReadRegistryValue(plat::Key key, std::u16string_view name);
ValueRead ReadRegistryValueAt(plat::Key key, std::int32_t index);

// Types whose data is text: REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ.
bool IsTextType(std::uint32_t type);

// The characters of a byte buffer; an odd last byte is dropped.
std::u16string CharsOf(std::span<const std::uint8_t> bytes);
// The characters before the first terminator of the buffer.
std::u16string TextUpToTerminator(std::span<const std::uint8_t> bytes);

// Exchanges the 16-bit halves, not the bytes: 0x11223344 becomes 0x33441122.
// Kept as is: REG_DWORD_BIG_ENDIAN is read and written this way, so a value
// written and read back is unchanged but the stored word is not big-endian.
constexpr std::uint32_t SwapHalves(std::uint32_t v) {
  return (v << 16) | (v >> 16);
}

}  // namespace sys
