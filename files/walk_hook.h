// files/walk_hook.h: the host's say in a long directory walk. Before each
// entry the walk asks the VM, through the request service (slot 13), with
// the host word of the call's self and whether the caller allowed an
// interruption; the VM clears `go_on` to end the walk. A VM that does not
// know the request leaves the record alone and the walk goes on.
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace files {

inline constexpr std::uint32_t kRequestWalkStep = 350;

struct WalkStepRequest {
  frame::Word host = 0;            // self's host word
  std::int32_t interruptible = 0;  // 1: the caller lets the host stop it
  std::int32_t go_on = 1;          // the VM's answer: 0 stops the walk
};

// False when the host answers stop.
bool HostLetsWalkGoOn(bool interruptible);

}  // namespace files
