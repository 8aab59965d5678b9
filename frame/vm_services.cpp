// frame/vm_services.cpp: the calling side of the VM services interface.
#include "frame/vm_services.h"

#include "frame/call_context.h"

namespace frame {
namespace {

thread_local CallFrame* current_frame = nullptr;
thread_local Self* current_self = nullptr;

const Word* Ops() {
  VmServices* services = CurrentServices();
  return services == nullptr ? nullptr : services->ops;
}

}  // namespace

CallScope::CallScope(CallFrame* frame, Self* self)
    : previous_frame_(current_frame), previous_self_(current_self) {
  current_frame = frame;
  current_self = self;
}

CallScope::~CallScope() {
  current_frame = previous_frame_;
  current_self = previous_self_;
}

VmServices* CurrentServices() {
  return current_frame == nullptr ? nullptr : current_frame->services;
}

Self* CurrentSelf() { return current_self; }

std::int32_t CurrentLanguage() {
  auto fn = SlotOf<LanguageFn>(Ops(), kSlotLanguage);
  return fn == nullptr ? 2 : fn(CurrentServices());
}

bool IsFrench() {
  const std::int32_t language = CurrentLanguage();
  return language == 1 || language == 6;
}

std::int32_t VmRequest(std::uint32_t code, void* buffer) {
  auto fn = SlotOf<RequestFn>(Ops(), kSlotRequest);
  return fn == nullptr ? 0 : fn(CurrentServices(), code, buffer);
}

bool PerformanceTraceOn() {
  return VmRequest(kRequestPerformanceTrace, nullptr) != 0;
}

const void* DiskSizeSettings() {
  auto fn = SlotOf<DiskSizeFn>(Ops(), kSlotDiskSize);
  return fn == nullptr ? nullptr : fn(CurrentServices());
}

Word CreateStructure(std::uint32_t members) {
  auto fn = SlotOf<CreateStructFn>(Ops(), kSlotCreateStruct);
  return fn == nullptr ? 0 : fn(CurrentServices(), members);
}

void SetStructureMember(Word structure, std::uint32_t index, const void* value,
                        std::uint32_t type) {
  auto fn = SlotOf<SetStructMemberFn>(Ops(), kSlotSetStructMember);
  if (fn != nullptr) fn(CurrentServices(), structure, index, value, type);
}

Word MaskSettings() {
  auto fn = SlotOf<MaskSettingsFn>(Ops(), kSlotMaskSettings);
  return fn == nullptr ? 0 : fn(CurrentServices());
}

void AnswerMember(AccessorRecord* record, const void* value,
                  std::uint32_t type) {
  if (record == nullptr || record->services == nullptr) return;
  auto fn = SlotOf<SetMemberFn>(record->services->ops, kSlotSetMember);
  if (fn != nullptr) fn(record->services, record, value, type);
}

}  // namespace frame
