// files/path_checks.h: what the language's file functions check of a path
// before any system call, and the message-only reports they file.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/abi.h"
#include "frame/xerror.h"

namespace files {

// Language-level messages that are reports of their own, not errors of the
// definition table.
inline constexpr std::uint32_t kMsgReadOnlyNotDeleted = 4865;
inline constexpr std::uint32_t kMsgDirectoryNoReason = 4866;
inline constexpr std::uint32_t kMsgNothingFound = 5261;

// The path argument of the file functions (type 0x7F): the host hands a
// word holding the address of zero-terminated UTF-16 text. An 8-bit host
// value never comes through this host, so no widening is done. Null when
// the host gave none.
const char16_t* PathArgument(frame::Word word);
// The argument's text; empty for none.
std::u16string_view PathView(frame::Word word);

// Not empty, and "\" or "/" first or ":" last (a device name such as a
// port). Drive-letter paths such as "C:\x" are refused.
bool IsAbsolutePath(std::u16string_view path);
// Raises error 80600 naming the path when it is not absolute.
bool CheckAbsolutePath(frame::Self* self, std::u16string_view path);

// Working buffers hold kMaxPath characters with the terminator: a path of
// kMaxPath characters or more is refused before the system sees it.
bool FitsPathBuffer(std::u16string_view path);

// Resets the record and files `message` as the whole report, with the
// system error when one is given.
void ReportMessage(frame::Self* self, std::uint32_t message,
                   frame::ErrArgs args = {}, std::uint32_t system_error = 0);

}  // namespace files
