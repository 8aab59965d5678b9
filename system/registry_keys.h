// system/registry_keys.h: walking keys one by one, as the first-child and
// next-sibling functions and the search do.
#pragma once

#include <optional>
#include <string>

#include "system/registry_path.h"

namespace sys {

// The subkey path of the first subkey of `path`; none when the key cannot
// be opened or has no subkey.
std::optional<std::u16string> FirstChildSub(const RegistryPath& path);

// The subkey path of the key that follows `path` among its parent's
// subkeys (the root is the parent of a top-level key). The name is found
// case-sensitively; none when it is not there or is the last.
std::optional<std::u16string> NextSiblingSub(const RegistryPath& path);

// The parent's subkey path and the last name of a subkey path.
std::u16string_view ParentSub(std::u16string_view sub);
std::u16string_view LastName(std::u16string_view sub);

}  // namespace sys
