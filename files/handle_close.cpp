// files/handle_close.cpp: HandleClose, the language function that closes a
// number of the handle table, whether an open file or a shared zone. A
// zone's own stream does the zone's part of the work when it closes.
#include "files/handle_table.h"
#include "frame/implementations.h"
#include "frame/xerror.h"

namespace files {

bool HandleClose(frame::Self* self, std::int32_t number) {
  if (number < 2 || !CloseHandle(number)) {
    frame::Raise(self, frame::kErrInvalidHandle, {number});
    return false;
  }
  return true;
}

}  // namespace files
