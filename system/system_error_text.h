// system/system_error_text.h: the system's message for an error code as the
// process and program functions report it: "%s (%d)".
#pragma once

#include <cstddef>
#include <string>

#include "platform/platform.h"

namespace sys {

// The longest system message kept; a longer one is cut.
inline constexpr std::size_t kMaxSystemMessage = 1512;

// The system's message for `code` (neutral language, no inserts, at most
// kMaxSystemMessage characters), a blank and the code in parentheses.
// Empty when the system has no message for the code, as the error record's
// own system text is.
std::u16string SystemErrorText(plat::SysErr code);

}  // namespace sys
