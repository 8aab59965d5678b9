// frame/vm_services.h: what implementations ask of the VM through the
// services interface of the call in progress. Each answers a neutral value
// when no VM is there (a call outside a handler, a slot the VM left empty).
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace frame {

// The application's current language code; 1 and 6 are French.
std::int32_t CurrentLanguage();
bool IsFrench();

// Service 13: a request with a buffer. 0 when there is no VM.
std::int32_t VmRequest(std::uint32_t code, void* buffer);

// Whether the host's performance trace is on. No service of its own tells
// it, so the component asks through service 13 with this request; a VM that
// does not know the request answers 0 and the trace stays off.
inline constexpr std::uint32_t kRequestPerformanceTrace = 1700;
bool PerformanceTraceOn();

// Service 123: the "DiskSize" settings, or null.
const void* DiskSizeSettings();

// Services 273 and 274: a structure value of the VM and one of its members.
Word CreateStructure(std::uint32_t members);
void SetStructureMember(Word structure, std::uint32_t index, const void* value,
                        std::uint32_t type);

// Service 278: the current mask settings object, or 0.
Word MaskSettings();

// Service 200: a member accessor's answer.
void AnswerMember(AccessorRecord* record, const void* value,
                  std::uint32_t type);

// The typed slot `slot` of an operation table, or null when it is empty.
template <class Fn>
inline Fn SlotOf(const Word* ops, int slot) {
  return ops == nullptr ? nullptr : reinterpret_cast<Fn>(ops[slot]);
}

}  // namespace frame
