// frame/call_context.h: the call in progress on this thread. Handlers open a
// scope around the implementation so that it can reach the VM services of
// its own call frame.
#pragma once

#include "frame/abi.h"

namespace frame {

class CallScope {
 public:
  CallScope(CallFrame* frame, Self* self);
  ~CallScope();
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

 private:
  CallFrame* previous_frame_;
  Self* previous_self_;
};

// The services of the call in progress, or null outside a call.
VmServices* CurrentServices();
Self* CurrentSelf();

}  // namespace frame
