// files/walk_hook.cpp: the interruption request of directory walks.
#include "files/walk_hook.h"

#include "frame/call_context.h"
#include "frame/vm_services.h"

namespace files {

bool HostLetsWalkGoOn(bool interruptible) {
  WalkStepRequest request;
  if (const frame::Self* self = frame::CurrentSelf(); self != nullptr) {
    request.host = self->host;
  }
  request.interruptible = interruptible ? 1 : 0;
  frame::VmRequest(kRequestWalkStep, &request);
  return request.go_on != 0;
}

}  // namespace files
