// frame/abi.h: the records that cross the boundary between the VM and the
// component. The component and the reference host both build against this
// file; nothing here depends on the operating system.
//
//   words and type codes | call frame, self, handlers | VM services slots
//   memory manager       | ten-byte decimal           | composite values
#pragma once

#include <cstddef>
#include <cstdint>

namespace frame {

// Every record the host reads is an array of machine words: 32 bits on the
// handheld, wide enough for a pointer on 64-bit hosts.
using Word = std::uintptr_t;

// Base type codes (the low byte of a signature's type code).
enum TypeCode : std::uint32_t {
  kTypeNone = 0x00,
  kTypeBool = 0x01,
  kTypeInt = 0x08,
  kTypeInt64 = 0x09,
  kTypeDecimal = 0x0A,
  kTypeReal = 0x0C,
  kTypeHandle = 0x0E,
  kTypeWindow = 0x0F,
  kTypeHostText = 0x10,
  kTypeRecord1B = 0x1B,
  kTypeBuffer = 0x1C,
  kTypeAny = 0x1F,
  kTypeHostKind = 0x4B,
  kTypeBufferParam = 0x4D,
  kTypeText = 0x79,
  kTypeTextParam = 0x7A,
  kTypeBinaryText = 0x7E,
  kTypeGeneric = 0x7F,
  kTypeText82 = 0x82,
  kTypeWordParam = 0x83,
  kTypeOwnKind = 0x8C,
};
// Qualifier bits of a parameter code; only by-reference changes how a
// handler reads the argument (it gets the address, not the value).
inline constexpr std::uint32_t kTypeByRef = 0x4000;
inline constexpr std::uint32_t BaseType(std::uint32_t code) {
  return code & 0xFFu;
}

struct VmServices;
class CXError;

// The VM's call frame, as handlers use it.
struct CallFrame {
  VmServices* services;
  Word forward_component;  // written by forwarding handlers
  Word forward_index;
  Word host;               // not read by the component
  Word result_slot;        // handed back with the result
};

// The object a function runs on. Its first word is the host's operation
// table (slot 15 answers the error record), its third the error record.
struct Self {
  const Word* ops;
  Word host;
  CXError* error;
};
inline constexpr int kSelfErrorSlot = 15;
using SelfErrorFn = CXError* (*)(Self*);

// Handler: (frame, self, arguments) -> 0 done here, 1 forward the call.
using Handler = std::uint32_t (*)(CallFrame*, Self*, void** args);
inline constexpr std::uint32_t kHandled = 0;
inline constexpr std::uint32_t kForward = 1;
inline constexpr std::uint32_t kForwardMarker = 0x40000010;

// Member accessors answer through services slot 200; the record's third
// word is the services interface.
struct AccessorRecord {
  Word host0;
  Word host1;
  VmServices* services;
};
using Accessor = std::uint32_t (*)(void* object, AccessorRecord* record);

// The VM services interface: an object whose first word is its table of
// operations, indexed by slot.
struct VmServices {
  const Word* ops;
};
enum ServiceSlot : int {
  kSlotRequest = 13,          // (svc, code, buffer) -> int32
  kSlotLanguage = 18,         // (svc) -> current language code
  kSlotDiskSize = 123,        // (svc) -> const DiskSizeSettings*
  kSlotSetResult = 149,       // (svc, result slot, value, type)
  kSlotSetMember = 200,       // (svc, accessor record, value, type)
  kSlotCreateStruct = 273,    // (svc, member count) -> Word structure
  kSlotSetStructMember = 274, // (svc, structure, index, value, type)
  kSlotMaskSettings = 278,    // (svc) -> Word mask settings object
  kServiceSlotCount = 280,
};
using RequestFn = std::int32_t (*)(VmServices*, std::uint32_t, void*);
using LanguageFn = std::int32_t (*)(VmServices*);
using DiskSizeFn = const void* (*)(VmServices*);
using SetResultFn = void (*)(VmServices*, Word, const void*, std::uint32_t);
using SetMemberFn = void (*)(VmServices*, AccessorRecord*, const void*,
                             std::uint32_t);
using CreateStructFn = Word (*)(VmServices*, std::uint32_t);
using SetStructMemberFn = void (*)(VmServices*, Word, std::uint32_t,
                                   const void*, std::uint32_t);
using MaskSettingsFn = Word (*)(VmServices*);

// The VM's memory manager for text blocks, obtained at attach (query 13).
// A block is a four-word header (tag, count, capacity, length; all bytes)
// followed by the characters; a text object points at the characters.
struct MemoryManager {
  const Word* ops;
};
enum MemorySlot : int {
  kMemFree = 3,    // (mm, characters)
  kMemResize = 5,  // (mm, text object*, bytes, 0) -> 0 or an error code
};
using MemFreeFn = void (*)(MemoryManager*, void*);
// Resize: a null text object gets a new block (count 1, tag 0, length 0);
// a block whose capacity is below `bytes` is grown, keeping tag, count and
// contents. Capacity never counts the two bytes kept for a terminator.
using MemResizeFn = std::uint32_t (*)(MemoryManager*, char16_t**,
                                      std::uint32_t, std::uint32_t);

struct BlockHeader {
  std::uint32_t tag;
  std::int32_t count;  // interlocked
  std::uint32_t capacity;
  std::uint32_t length;
};
inline constexpr std::size_t kBlockHeaderBytes = sizeof(BlockHeader);
static_assert(kBlockHeaderBytes == 16, "four 32-bit words");

// The ten-byte fixed-point decimal: an unsigned magnitude and a field
// holding the count of decimals (low byte) and the sign (bit 15).
#pragma pack(push, 1)
struct Decimal {
  std::uint64_t magnitude;
  std::uint16_t field;
};
#pragma pack(pop)
static_assert(sizeof(Decimal) == 10, "ten bytes");
inline constexpr std::uint16_t kDecimalNegative = 0x8000;
inline constexpr bool operator==(const Decimal& a, const Decimal& b) {
  return a.magnitude == b.magnitude && a.field == b.field;
}
inline constexpr int DecimalScale(const Decimal& d) { return d.field & 0xFF; }
inline constexpr bool DecimalIsNegative(const Decimal& d) {
  return (d.field & kDecimalNegative) != 0;
}

// A composite value (type 0x1F): the value interface, a type word (host
// type code in the low byte; bits 0x100 and 0x400 are flags) and storage.
// Types: 0 empty, 1 boolean, 8 integer, 9 64-bit, 10 decimal, 12 real,
// 16 text object, 28 byte block (a text object holding bytes).
struct AnyValue;
enum ValueSlot : int {
  kValueRelease = 1,   // (value, flag): drops what the storage owns
  kValueStore = 9,     // (value, Word): word or address by type
  kValueText = 16,     // (value, char16_t** text object) -> status
  kValueDirect = 44,   // (value) -> const char16_t* or null
  kValueSlotCount = 45,
};
struct AnyValue {
  const Word* ops;
  std::uint32_t type;
  std::uint32_t reserved;
  union Storage {
    std::int32_t i32;
    std::int64_t i64;
    double real;
    Decimal decimal;
    char16_t* text;  // a text object (types 16 and 28)
  } storage;
};
using ValueReleaseFn = void (*)(AnyValue*, std::uint32_t);
using ValueStoreFn = void (*)(AnyValue*, Word);
using ValueTextFn = std::uint32_t (*)(AnyValue*, char16_t**);
using ValueDirectFn = const char16_t* (*)(AnyValue*);

// The VM module's conversion routine, bound by bInitTLConvFromVM:
// (storage, type, destination, target type, flags1, flags2) -> status;
// 100 or more is an error code.
using ConversionFn = std::uint32_t (*)(const void*, std::uint32_t, void*,
                                       std::uint32_t, std::uint32_t,
                                       std::uint32_t);
using EndConversionFn = void (*)(void*);
using QueryProxyFn = void* (*)(std::uint32_t);
// A module's Execution export: (event, p, q) -> answer.
using ExecutionFn = Word (*)(std::uint32_t, Word, Word);

inline constexpr std::uint32_t kComponentNumber = 8;

}  // namespace frame
