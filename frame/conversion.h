// frame/conversion.h: host values of any type converted through the VM's
// conversion routine, and the composite values the component builds itself.
//
//   binding to the VM | convert, get text | own values | readers
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "frame/abi.h"

namespace frame {

// Types of a composite value (the low byte of its type word).
enum AnyType : std::uint32_t {
  kAnyEmpty = 0,
  kAnyBool = 1,
  kAnyInt = 8,
  kAnyInt64 = 9,
  kAnyDecimal = 10,
  kAnyReal = 12,
  kAnyText = 16,
  kAnyBytes = 28,
  kAnyHostText = 148,  // the host's other text types
  kAnyHostText2 = 149,
};
// Type-word flags that survive a conversion.
inline constexpr std::uint32_t kAnyKeptFlags = 0x100 | 0x400;

// Statuses from this value up are errors of the conversion routine.
inline constexpr std::uint32_t kConversionErrorBase = 100;
// The component's own conversion failure: nothing is bound, or a value of
// the component cannot answer the request.
inline constexpr std::uint32_t kConversionUnavailable = 100;

// --- Binding to the VM -------------------------------------------------------

// What a binding keeps. A failed binding keeps what it found before the
// step that failed, so this may be partly filled.
struct ConversionBinding {
  Word module = 0;
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  ConversionFn convert = nullptr;  // "nConversionDepassementExt"
  EndConversionFn end = nullptr;   // "FinConversion"
  void* proxy = nullptr;           // the module's pQueryProxy(102)
};

// Binds to the VM module's conversion routines (the work of the export
// bInitTLConvFromVM). Interface versions below 2.x or above x.2 are
// refused. Returns 1 when bound, 0 otherwise.
std::int32_t BindConversion(Word vm_module, std::uint32_t major,
                            std::uint32_t minor, Word reserved);
const ConversionBinding& CurrentConversion();
// Forgets the binding.
void ClearConversion();

// --- Convert, get text -------------------------------------------------------

// Converts the value in place to the `target` type through the VM: the old
// content is released, the result stored through the value's own interface
// (which takes its own reference on a text object), and the kept flags
// restored. A value already of that type is left alone. Returns 0, or the
// routine's error (100 and up) with the value unchanged.
std::uint32_t Convert(AnyValue* value, std::uint32_t target);

// Puts the value's text into *destination (a text object, replaced): the
// host's text types answer directly, others give a direct pointer or are
// converted from a copy, the value itself unchanged. Returns 0 or an error.
std::uint32_t GetText(AnyValue* value, char16_t** destination);

// --- Values the component builds ---------------------------------------------
// Results of composite type that implementations fill in. A zero-initialised
// AnyValue is empty; each Make* first releases what the value held.

// Flags of the value interface's release slot.
inline constexpr std::uint32_t kReleaseForReset = 0;  // the value lives on
inline constexpr std::uint32_t kReleaseFinal = 1;     // the holder is done

// The component's value interface: release (drops the text object of types
// 16 and 28), store (a text object is shared, as the VM's values do), get
// text and direct pointer.
const Word* OwnValueOps();

void MakeBool(AnyValue* value, bool b);
void MakeInt(AnyValue* value, std::int32_t n);
void MakeInt64(AnyValue* value, std::int64_t n);
void MakeReal(AnyValue* value, double x);
// These return 0 or the text status; on failure the value is an empty text
// or byte block.
std::uint32_t MakeText(AnyValue* value, std::u16string_view text);
std::uint32_t MakeBytes(AnyValue* value, std::span<const std::uint8_t> bytes);

// Calls the value's own release slot, if it has one.
void ReleaseValue(AnyValue* value, std::uint32_t flag);

// --- Readers -----------------------------------------------------------------
// For composite parameters from the host: a value of the wanted type is read
// as it is, any other is converted from a copy (the host's value is never
// changed). On failure *status (when given) receives the error and the
// result is zero, false or empty; otherwise it receives 0.

bool ValueAsBool(AnyValue* value, std::uint32_t* status = nullptr);
std::int32_t ValueAsInt(AnyValue* value, std::uint32_t* status = nullptr);
std::int64_t ValueAsInt64(AnyValue* value, std::uint32_t* status = nullptr);
double ValueAsReal(AnyValue* value, std::uint32_t* status = nullptr);
std::u16string ValueAsText(AnyValue* value, std::uint32_t* status = nullptr);
std::vector<std::uint8_t> ValueAsBytes(AnyValue* value,
                                       std::uint32_t* status = nullptr);

}  // namespace frame
