// host/refhost/services.cpp: the services slots of the reference host.
#include "host/refhost/services.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/refhost/values.h"
#include "host/unset_slots.h"

namespace refhost {
namespace {

struct ServicesTag {
  static constexpr const char* kName = "VM services interface";
};

[[noreturn]] void Fault(const char* what, std::uint32_t value) {
  std::fprintf(stderr, "reference host: %s (%u)\n", what, value);
  std::fflush(stderr);
  std::abort();
}

}  // namespace

Services::Services(vm::Control* control, Blocks blocks)
    : control_(control),
      blocks_(blocks),
      mask_settings_(reinterpret_cast<frame::Word>(mask_block_.data())) {
  static const auto ops = [] {
    auto table = vm::UnsetTable<ServicesTag, frame::kServiceSlotCount>();
    table[frame::kSlotRequest] = vm::SlotWord(&Services::Request);
    table[frame::kSlotLanguage] = vm::SlotWord(&Services::Language);
    table[frame::kSlotDiskSize] = vm::SlotWord(&Services::DiskSize);
    table[frame::kSlotSetResult] = vm::SlotWord(&Services::SetResult);
    table[frame::kSlotSetMember] = vm::SlotWord(&Services::SetMember);
    table[frame::kSlotCreateStruct] = vm::SlotWord(&Services::CreateStruct);
    table[frame::kSlotSetStructMember] =
        vm::SlotWord(&Services::SetStructMember);
    table[frame::kSlotMaskSettings] = vm::SlotWord(&Services::MaskSettings);
    return table;
  }();
  object_.ops = ops.data();
  object_.owner = this;
}

Services* Services::Of(frame::VmServices* svc) {
  return static_cast<Object*>(svc)->owner;
}

std::vector<std::uint32_t> Services::Requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::shared_ptr<const Structure> Services::FindStructure(
    frame::Word handle) const {
  std::lock_guard lock(mutex_);
  const auto it = structures_.find(handle);
  return it == structures_.end() ? nullptr : it->second;
}

int Services::StructureCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(structures_.size());
}

void Services::ReleaseTaken(Capture* capture) const {
  for (char16_t* text : capture->taken) blocks_.Release(text);
  capture->taken.clear();
}

void Services::Put(Capture* capture, const void* value, std::uint32_t type,
                   const char* slot) {
  if (capture == nullptr) Fault(slot, 0);
  ++capture->calls;
  capture->type = type;
  capture->held_type = 0;
  if (!CopyValue(value, type, &capture->value, &capture->held_type,
                 &capture->taken)) {
    Fault("a services slot was given a type code the VM does not know", type);
  }
}

std::int32_t Services::Request(frame::VmServices* svc, std::uint32_t code,
                               void*) {
  Services* s = Of(svc);
  std::lock_guard lock(s->mutex_);
  s->requests_.push_back(code);
  return code == 9 ? s->clock_answer_ : 0;
}

std::int32_t Services::Language(frame::VmServices* svc) {
  return Of(svc)->control_->Language();
}

const void* Services::DiskSize(frame::VmServices* svc) {
  return &Of(svc)->disk_size_;
}

void Services::SetResult(frame::VmServices* svc, frame::Word slot,
                         const void* value, std::uint32_t type) {
  Of(svc)->Put(reinterpret_cast<Capture*>(slot), value, type,
               "slot 149 was given a null result slot");
}

void Services::SetMember(frame::VmServices* svc, frame::AccessorRecord* record,
                         const void* value, std::uint32_t type) {
  if (record == nullptr) Fault("slot 200 was given no accessor record", 0);
  Of(svc)->Put(reinterpret_cast<Capture*>(record->host0), value, type,
               "slot 200 was given an accessor record the VM did not make");
}

frame::Word Services::CreateStruct(frame::VmServices* svc,
                                   std::uint32_t members) {
  Services* s = Of(svc);
  std::lock_guard lock(s->mutex_);
  const frame::Word handle = kFirstStructure + s->structures_.size();
  auto structure = std::make_shared<Structure>();
  structure->member_count = members;
  s->structures_[handle] = std::move(structure);
  return handle;
}

void Services::SetStructMember(frame::VmServices* svc, frame::Word handle,
                               std::uint32_t index, const void* value,
                               std::uint32_t type) {
  Services* s = Of(svc);
  std::lock_guard lock(s->mutex_);
  const auto it = s->structures_.find(handle);
  if (it == s->structures_.end()) {
    Fault("slot 274 was given a structure the VM did not create",
          static_cast<std::uint32_t>(handle));
  }
  if (index >= it->second->member_count) {
    Fault("slot 274 was given a member index beyond the structure", index);
  }
  TypedValue& member = it->second->members[index];
  member.type = type;
  std::uint32_t held = 0;
  std::vector<char16_t*> taken;
  if (!CopyValue(value, type, &member.value, &held, &taken)) {
    // A VM type of its own (dates and times): kept as its first 32 bits.
    std::int32_t first;
    std::memcpy(&first, value, sizeof(first));
    member.value = std::int64_t{first};
  }
  for (char16_t* text : taken) s->blocks_.Release(text);
}

frame::Word Services::MaskSettings(frame::VmServices* svc) {
  return Of(svc)->mask_settings_;
}

}  // namespace refhost
