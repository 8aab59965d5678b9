// frame/progress.h: the progress step of long operations. The component
// tells the VM's session how far an operation has come, for the window
// that was active when it started; the VM keeps its display live and may
// answer that the user cancelled. Without an attached session there is
// nobody to tell, and the operation goes on.
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace frame {

// Sent to the peer Execution as (kEventProgress, percent, window). A VM
// that does not know the event answers 0 and the operation goes on;
// kProgressStop asks it to stop.
inline constexpr std::uint32_t kEventProgress = 3054;
inline constexpr Word kProgressStop = 1;

// The window of the session (the peer's answer to query 10), or 0.
Word ActiveWindow();
// False when the host asks the operation to stop.
bool ProgressStep(Word window, int percent);

}  // namespace frame
