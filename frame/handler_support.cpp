// frame/handler_support.cpp: what the generated handlers share: handing the
// result to the VM, forwarding, and the routines this build lacks.
#include <cstdint>

#include "frame/invoke.h"
#include "frame/pending_support.h"
#include "frame/vm_services.h"
#include "frame/xerror.h"

namespace frame {

void SetResult(CallFrame* frame, const void* value, std::uint32_t type) {
  if (frame == nullptr || frame->services == nullptr) return;
  auto set = SlotOf<SetResultFn>(frame->services->ops, kSlotSetResult);
  if (set != nullptr) set(frame->services, frame->result_slot, value, type);
}

void RecordAllocationFailure(Self* self) { Raise(self, kErrOutOfMemory); }

std::uint32_t Forward(CallFrame* frame, Self* self, Word component,
                      Word index) noexcept {
  frame->forward_component = component;
  frame->forward_index = index;
  CXError* record = nullptr;
  if (self != nullptr && self->ops != nullptr) {
    auto get = SlotOf<SelfErrorFn>(self->ops, kSelfErrorSlot);
    if (get != nullptr) record = get(self);
  }
  if (record != nullptr) record->state = kForwardMarker;
  return kForward;
}

void NotAvailable(Self* self) { Raise(self, kErrNotAvailable); }

std::uint32_t MemberNotAvailable(AccessorRecord* record, std::uint32_t type) {
  const Word empty = 0;  // 0, false, or the empty text
  AnswerMember(record, &empty, type);
  return 0;
}

}  // namespace frame
