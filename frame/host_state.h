// frame/host_state.h: conditions an implementation hands to the host
// through the state word of the call's error record, beside the numbered
// error. The VM reads the word after the call; the forward marker is the
// other value it knows (frame/abi.h).
#pragma once

#include <cstdint>

#include "frame/xerror.h"
#include "frame/xerror_record.h"

namespace frame {

// The failure was the system refusing access, so the host can tell a
// permission problem from any other failed write. A bit of its own, clear
// of the forward marker's and of the application-end request's.
inline constexpr std::uint32_t kStateAccessDenied = 0x40000020;

// Marks the record of the call in progress; does nothing without one.
inline void MarkAccessDenied(Self* self) {
  if (CXError* record = ErrorRecord(self)) record->state = kStateAccessDenied;
}

}  // namespace frame
