// platform/posix/sys_errors.cpp: the last error of each thread and the two
// tables it is read through.
#include "platform/posix/sys_errors.h"

#include <cerrno>

namespace plat::posix {
namespace {

thread_local SysErr last_error = kOk;

}  // namespace

SysErr FromErrno(int error_number) {
  switch (error_number) {
#define ERRNO(name, win32) \
  case name:               \
    return win32;
#include "platform/posix/errno_map.def"
#undef ERRNO
    default:
      return 31;  // ERROR_GEN_FAILURE
  }
}

SysErr Done(SysErr code) {
  last_error = code;
  return code;
}

SysErr DoneErrno() { return Done(FromErrno(errno)); }

SysErr LastErrorOfThread() { return last_error; }

std::u16string MessageText(SysErr code) {
  switch (code) {
#define SYSMSG(number, text) \
  case number:               \
    return text;
#include "platform/posix/sys_messages.def"
#undef SYSMSG
    default:
      return {};
  }
}

}  // namespace plat::posix
