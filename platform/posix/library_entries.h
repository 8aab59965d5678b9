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

// "TOOLHELP.DLL" (toolhelp_entries.cpp): snapshots of /proc. Each fails
// with FALSE (or kInvalidHandle) and the last error set: 24 for a record
// whose size is not the handheld's, 6 for an unknown snapshot, 18 past the
// last entry.
std::intptr_t ToolhelpCreateSnapshot(std::uint32_t flags,
                                     std::uint32_t process_id);
int ToolhelpProcessFirst(std::intptr_t snapshot, ProcessEntry32* entry);
int ToolhelpProcessNext(std::intptr_t snapshot, ProcessEntry32* entry);
int ToolhelpModuleFirst(std::intptr_t snapshot, ModuleEntry32* entry);
int ToolhelpModuleNext(std::intptr_t snapshot, ModuleEntry32* entry);
int ToolhelpCloseSnapshot(std::intptr_t snapshot);

// "PSAPI.DLL" over the process handles of SystemProcesses(), opened with
// 0x410: module handles are the modules' base addresses, the program first.
int PsapiEnumProcessModules(std::intptr_t process, Module* modules,
                            std::uint32_t bytes, std::uint32_t* needed);
std::uint32_t PsapiGetModuleFileNameEx(std::intptr_t process, Module module,
                                       char16_t* name, std::uint32_t size);

}  // namespace plat::posix
