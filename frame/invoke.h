// frame/invoke.h: the ordinary handler pattern. The generated handlers read
// each argument by its type code with Arg<code>, call the implementation
// inside Invoke<result code>, which hands the result to the VM (slot 149)
// and releases the local copy. Nothing escapes a handler.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "frame/abi.h"
#include "frame/call_context.h"
#include "frame/text.h"

namespace frame {

// --- arguments ----------------------------------------------------------

// Where a one-word value lies in the VM's argument slot. Slots hold at least
// a machine word; values narrower than a word are read from its start.
template <class T>
inline T ReadSlot(void* const* args, int index) {
  T value{};
  std::memcpy(&value, args[index], sizeof(T));
  return value;
}

template <std::uint32_t kCode, class Enable = void>
struct ArgReader {
  // Pass-through codes: the word as it stands.
  using Type = Word;
  static Type Read(void* const* args, int i) { return ReadSlot<Word>(args, i); }
};

template <std::uint32_t kCode>
constexpr bool kByRef = (kCode & kTypeByRef) != 0;
template <std::uint32_t kCode>
constexpr std::uint32_t kBase = BaseType(kCode);

#define STD8_ARG(condition, T, expr)                                      \
  template <std::uint32_t kCode>                                          \
  struct ArgReader<kCode, std::enable_if_t<(condition)>> {                \
    using Type = T;                                                       \
    static Type Read(void* const* args, int i) { return expr; }           \
  };

// By reference: the implementation gets the address of the VM's variable.
STD8_ARG(kByRef<kCode> && (kBase<kCode> == kTypeBool ||
                           kBase<kCode> == kTypeInt),
         std::int32_t*, static_cast<std::int32_t*>(args[i]))
STD8_ARG(kByRef<kCode> && kBase<kCode> == kTypeInt64, std::int64_t*,
         static_cast<std::int64_t*>(args[i]))
STD8_ARG(kByRef<kCode> && kBase<kCode> == kTypeReal, double*,
         static_cast<double*>(args[i]))
STD8_ARG(kByRef<kCode> && kBase<kCode> != kTypeBool &&
             kBase<kCode> != kTypeInt && kBase<kCode> != kTypeInt64 &&
             kBase<kCode> != kTypeReal,
         void*, args[i])
// By value.
STD8_ARG(!kByRef<kCode> && kBase<kCode> == kTypeBool, bool,
         ReadSlot<std::uint32_t>(args, i) != 0)
STD8_ARG(!kByRef<kCode> && kBase<kCode> == kTypeInt, std::int32_t,
         ReadSlot<std::int32_t>(args, i))
STD8_ARG(!kByRef<kCode> && kBase<kCode> == kTypeInt64, std::int64_t,
         ReadSlot<std::int64_t>(args, i))
STD8_ARG(!kByRef<kCode> && kBase<kCode> == kTypeReal, double,
         ReadSlot<double>(args, i))
STD8_ARG(!kByRef<kCode> && kBase<kCode> == kTypeDecimal, Decimal,
         ReadSlot<Decimal>(args, i))
STD8_ARG(!kByRef<kCode> && (kBase<kCode> == kTypeTextParam ||
                            kBase<kCode> == kTypeWordParam),
         const char16_t*, ReadSlot<const char16_t*>(args, i))
STD8_ARG(!kByRef<kCode> && kBase<kCode> == kTypeAny, AnyValue*,
         ReadSlot<AnyValue*>(args, i))
STD8_ARG(!kByRef<kCode> && (kBase<kCode> == kTypeText ||
                            kBase<kCode> == kTypeText82 ||
                            kBase<kCode> == kTypeBinaryText ||
                            kBase<kCode> == kTypeHostText ||
                            kBase<kCode> == kTypeRecord1B ||
                            kBase<kCode> == kTypeBuffer ||
                            kBase<kCode> == kTypeBufferParam),
         const char16_t*, ReadSlot<const char16_t*>(args, i))
#undef STD8_ARG

template <std::uint32_t kCode>
using ArgType = typename ArgReader<kCode>::Type;

template <std::uint32_t kCode>
inline ArgType<kCode> Arg(void* const* args, int index) {
  return ArgReader<kCode>::Read(args, index);
}

// --- results ------------------------------------------------------------

enum class ResultKind { kNone, kScalar, kText, kAny };

constexpr ResultKind KindOfResult(std::uint32_t code) {
  switch (BaseType(code)) {
    case kTypeNone:
      return ResultKind::kNone;
    case kTypeHostText:
    case kTypeRecord1B:
    case kTypeBuffer:
    case kTypeText:
    case kTypeBinaryText:
    case kTypeText82:
      return ResultKind::kText;
    case kTypeAny:
      return ResultKind::kAny;
    default:
      return ResultKind::kScalar;
  }
}

template <std::uint32_t kCode, class Enable = void>
struct ScalarResult;
#define STD8_RESULT(condition, T)                                    \
  template <std::uint32_t kCode>                                     \
  struct ScalarResult<kCode, std::enable_if_t<(condition)>> {        \
    using Type = T;                                                  \
  };
STD8_RESULT(BaseType(kCode) == kTypeBool, bool)
STD8_RESULT(BaseType(kCode) == kTypeInt || BaseType(kCode) == kTypeOwnKind,
            std::int32_t)
STD8_RESULT(BaseType(kCode) == kTypeInt64, std::int64_t)
STD8_RESULT(BaseType(kCode) == kTypeDecimal, Decimal)
STD8_RESULT(BaseType(kCode) == kTypeReal, double)
STD8_RESULT(BaseType(kCode) == kTypeHandle || BaseType(kCode) == kTypeWindow,
            Word)
#undef STD8_RESULT

void SetResult(CallFrame* frame, const void* value, std::uint32_t type);

// The handler's local composite result, released through its own release
// operation with the flag 1.
class ScopedValue {
 public:
  ScopedValue() = default;
  ~ScopedValue() {
    if (value_.ops == nullptr) return;
    auto release = reinterpret_cast<ValueReleaseFn>(value_.ops[kValueRelease]);
    if (release != nullptr) release(&value_, 1);
  }
  ScopedValue(const ScopedValue&) = delete;
  ScopedValue& operator=(const ScopedValue&) = delete;
  AnyValue* get() { return &value_; }

 private:
  AnyValue value_{};
};
void RecordAllocationFailure(Self* self);

// Runs one call: `call` receives the address of the local result for text
// and composite results, and returns the value for scalar ones.
template <std::uint32_t kResult, class Call>
std::uint32_t Invoke(CallFrame* frame, Self* self, Call&& call) noexcept {
  constexpr std::uint32_t type = BaseType(kResult);
  CallScope scope(frame, self);
  try {
    if constexpr (KindOfResult(kResult) == ResultKind::kNone) {
      call();
    } else if constexpr (KindOfResult(kResult) == ResultKind::kText) {
      ScopedText result;
      call(result.out());
      SetResult(frame, result.out(), type);
    } else if constexpr (KindOfResult(kResult) == ResultKind::kAny) {
      ScopedValue result;
      call(result.get());
      SetResult(frame, result.get(), type);
    } else if constexpr (BaseType(kResult) == kTypeBool) {
      const std::uint32_t word = call() ? 1u : 0u;
      SetResult(frame, &word, type);
    } else {
      const typename ScalarResult<kResult>::Type value = call();
      SetResult(frame, &value, type);
    }
  } catch (const std::bad_alloc&) {
    RecordAllocationFailure(self);
  } catch (...) {
    RecordAllocationFailure(self);
  }
  return kHandled;
}

// Forwarding handlers: the call runs in another component.
std::uint32_t Forward(CallFrame* frame, Self* self, Word component,
                      Word index) noexcept;

}  // namespace frame
