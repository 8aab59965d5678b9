// files/handle_table.h: the numbers the language program holds for open
// files and shared zones. Numbers start at 2; the table owns the streams
// and lives until library end.
#pragma once

#include <cstdint>
#include <memory>

#include "files/stream.h"

namespace files {

enum class HandleKind : std::uint32_t { kFile = 0, kZone = 1 };

// Enters the stream and returns its number (2 or greater).
std::int32_t AddHandle(HandleKind kind, std::unique_ptr<IXStream> stream);
// The stream of a number, or null; *kind (when given) receives its kind.
IXStream* FindHandle(std::int32_t number, HandleKind* kind = nullptr);
// Closes the stream and frees the number; false when there is none.
bool CloseHandle(std::int32_t number);
// Closes everything (library end).
void CloseAllHandles();

}  // namespace files
