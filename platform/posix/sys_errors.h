// platform/posix/sys_errors.h: the thread's last error, errno translated to
// Win32 numbers (errno_map.def) and the system's texts (sys_messages.def).
#pragma once

#include <string>

#include "platform/platform.h"

namespace plat::posix {

// The Win32 number for an errno value; 31 (device not functioning) for
// values the table does not name.
SysErr FromErrno(int error_number);

// Leaves `code` as the thread's last error and returns it, so that a call
// ends with `return Done(err);`.
SysErr Done(SysErr code);
// Done(FromErrno(errno)).
SysErr DoneErrno();
SysErr LastErrorOfThread();

// The text FormatMessageW gives for `code`; empty when there is none.
std::u16string MessageText(SysErr code);

}  // namespace plat::posix
