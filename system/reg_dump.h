// system/reg_dump.h: a registry subtree as indented lines for people to
// read: each key, and each value with its type name and its data rendered.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "system/reg_tree.h"

namespace sys {

// One line a key ("[name]", the start key by its full path) and one a value
// ("\"name\" REG_DWORD 42 (0x0000002a)", "@" for the default), indented two
// spaces a level, each line ending in "\n".
plat::SysErr DumpRegTree(const RegKeyPath& start, std::u16string* out,
                         const RegProgress& progress, RegStoreError* error);

// "REG_SZ", ..., or "type 0x1234" for a number without a name.
std::u16string RegTypeName(std::uint32_t type);
// Texts quoted, numbers in decimal and hexadecimal, other data as bytes.
std::u16string RenderRegData(std::uint32_t type,
                             std::span<const std::uint8_t> data);

}  // namespace sys
