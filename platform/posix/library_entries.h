// platform/posix/library_entries.h: the entry points that libraries loaded
// by name hand out, with the handheld's signatures.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace plat::posix {

// GetFileAttributesExW of coredll.dll over Current().files: level 0 only
// (else error 87); TRUE or FALSE with the last error set.
int CoreGetFileAttributesEx(const char16_t* path, int level,
                            Win32AttributeData* data);

// CoCreateGuid of ole32.dll: a random version-4 GUID.
long OleCoCreateGuid(std::uint8_t guid[16]);

}  // namespace plat::posix
