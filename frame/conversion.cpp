// frame/conversion.cpp: the binding to the VM's conversion routines, value
// conversion, and the component's own value interface.
#include "frame/conversion.h"

#include <array>
#include <cstring>

#include "frame/text.h"
#include "platform/platform.h"

namespace frame {
namespace {

constexpr char kConvertExport[] = "nConversionDepassementExt";
constexpr char kEndExport[] = "FinConversion";
constexpr char kQueryProxyExport[] = "pQueryProxy";
constexpr std::uint32_t kConversionProxy = 102;

// Flags handed to the conversion routine: an in-place conversion and the
// conversion of a copy for get text.
constexpr std::uint32_t kInPlaceFlags = 1;
constexpr std::uint32_t kCopyFlags = 0;

ConversionBinding& Binding() {
  static ConversionBinding binding;
  return binding;
}

// Room for any converted value (the largest is the ten-byte decimal).
struct Scratch {
  alignas(8) unsigned char bytes[32];
};

// Targets whose converted value is stored as the temporary's first word;
// the others are stored by the temporary's address.
bool StoresFirstWord(std::uint32_t target) {
  return target == 13 || target == 18 || target == 110;
}

template <typename Fn>
Fn Slot(const AnyValue* value, int slot) {
  if (value->ops == nullptr) return nullptr;
  return reinterpret_cast<Fn>(value->ops[slot]);
}

// Runs the bound routine on the value's storage into `temp`.
std::uint32_t ConvertCopy(AnyValue* value, std::uint32_t target, Scratch* temp,
                          std::uint32_t flags) {
  const ConversionFn convert = Binding().convert;
  if (convert == nullptr) return kConversionUnavailable;
  *temp = Scratch{};
  return convert(&value->storage, BaseType(value->type), temp->bytes, target,
                 flags, 0);
}

// --- The component's value interface -----------------------------------------

bool HoldsText(const AnyValue* value) {
  const std::uint32_t type = BaseType(value->type);
  return type == kAnyText || type == kAnyBytes;
}

void OwnRelease(AnyValue* value, std::uint32_t) {
  if (HoldsText(value)) ReleaseText(&value->storage.text);
}

void OwnStore(AnyValue* value, Word word) {
  const std::uint32_t type = BaseType(value->type);
  if (StoresFirstWord(type)) {
    std::memcpy(&value->storage, &word, sizeof word);
    return;
  }
  const void* from = reinterpret_cast<const void*>(word);
  switch (type) {
    case kAnyBool:
    case kAnyInt:
      std::memcpy(&value->storage.i32, from, sizeof value->storage.i32);
      return;
    case kAnyDecimal:
      std::memcpy(&value->storage.decimal, from, sizeof(Decimal));
      return;
    case kAnyText:
    case kAnyBytes:
      // Like the VM's values, the value takes its own reference.
      CopyText(&value->storage.text, LoadText(from));
      return;
    default:
      std::memcpy(&value->storage.i64, from, sizeof value->storage.i64);
      return;
  }
}

std::uint32_t OwnText(AnyValue* value, char16_t** destination) {
  if (!HoldsText(value)) return kConversionUnavailable;
  CopyText(destination, value->storage.text);
  return 0;
}

const char16_t* OwnDirect(AnyValue* value) {
  if (BaseType(value->type) != kAnyText) return nullptr;
  return value->storage.text != nullptr ? value->storage.text : u"";
}

// Releases what the value held and makes it one of ours of `type`.
void Reset(AnyValue* value, std::uint32_t type) {
  ReleaseValue(value, kReleaseForReset);
  value->ops = OwnValueOps();
  value->type = type;
  value->reserved = 0;
  std::memset(&value->storage, 0, sizeof value->storage);
}

// Reads a value of a type that the value may already have: as it is, or
// converted from a copy. `temp` receives the value; `owned` tells whether a
// text object in it belongs to the caller.
std::uint32_t Read(AnyValue* value, std::uint32_t target, Scratch* temp,
                   bool* owned) {
  *owned = false;
  if (BaseType(value->type) == target) {
    *temp = Scratch{};
    std::memcpy(temp->bytes, &value->storage, sizeof value->storage);
    return 0;
  }
  const std::uint32_t status = ConvertCopy(value, target, temp, kCopyFlags);
  if (status >= kConversionErrorBase) {
    *temp = Scratch{};
    return status;
  }
  *owned = true;
  return 0;
}

template <typename T>
T ReadScalar(AnyValue* value, std::uint32_t target, std::uint32_t* status) {
  Scratch temp;
  bool owned;
  const std::uint32_t result = Read(value, target, &temp, &owned);
  if (status != nullptr) *status = result;
  T scalar;
  std::memcpy(&scalar, temp.bytes, sizeof scalar);
  return scalar;
}

}  // namespace

// --- Binding -----------------------------------------------------------------

std::int32_t BindConversion(Word vm_module, std::uint32_t major,
                            std::uint32_t minor, Word) {
  if (major < 2 || minor > 2) return 0;
  ConversionBinding& binding = Binding();
  plat::Modules& modules = plat::Current().modules;
  binding.convert = reinterpret_cast<ConversionFn>(
      modules.FindExport(vm_module, kConvertExport));
  if (binding.convert == nullptr) return 0;
  binding.end = reinterpret_cast<EndConversionFn>(
      modules.FindExport(vm_module, kEndExport));
  if (binding.end == nullptr) return 0;
  binding.module = vm_module;
  binding.major = major;
  binding.minor = minor;
  const auto query_proxy = reinterpret_cast<QueryProxyFn>(
      modules.FindExport(vm_module, kQueryProxyExport));
  if (query_proxy == nullptr) return 0;
  binding.proxy = query_proxy(kConversionProxy);
  return 1;
}

const ConversionBinding& CurrentConversion() { return Binding(); }

void ClearConversion() { Binding() = ConversionBinding{}; }

// --- Convert, get text -------------------------------------------------------

std::uint32_t Convert(AnyValue* value, std::uint32_t target) {
  if (BaseType(value->type) == target) return 0;
  Scratch temp;
  const std::uint32_t status = ConvertCopy(value, target, &temp, kInPlaceFlags);
  if (status >= kConversionErrorBase) return status;

  const std::uint32_t kept = value->type & kAnyKeptFlags;
  if (const auto release = Slot<ValueReleaseFn>(value, kValueRelease)) {
    release(value, kReleaseForReset);
  }
  value->type = target;
  std::memset(&value->storage, 0, sizeof value->storage);
  Word stored;
  if (StoresFirstWord(target)) {
    std::memcpy(&stored, temp.bytes, sizeof stored);
  } else {
    stored = reinterpret_cast<Word>(temp.bytes);
  }
  if (const auto store = Slot<ValueStoreFn>(value, kValueStore)) {
    store(value, stored);
  }
  // The store took its own reference on a converted text object.
  if (target == kAnyText || target == kAnyBytes) {
    char16_t* converted = LoadText(temp.bytes);
    ReleaseText(&converted);
  }
  value->type = (value->type & ~kAnyKeptFlags) | kept;
  return 0;
}

std::uint32_t GetText(AnyValue* value, char16_t** destination) {
  const std::uint32_t type = BaseType(value->type);
  if (type == kAnyText || type == kAnyHostText || type == kAnyHostText2) {
    const auto text = Slot<ValueTextFn>(value, kValueText);
    if (text == nullptr) return kConversionUnavailable;
    return text(value, destination);
  }
  if (const auto direct = Slot<ValueDirectFn>(value, kValueDirect)) {
    if (const char16_t* chars = direct(value)) {
      return AssignText(destination, chars, kUpToTerminator);
    }
  }
  Scratch temp;
  const std::uint32_t status = ConvertCopy(value, kAnyText, &temp, kCopyFlags);
  if (status >= kConversionErrorBase) return status;
  char16_t* converted = LoadText(temp.bytes);
  CopyText(destination, converted);
  ReleaseText(&converted);
  return 0;
}

// --- Own values --------------------------------------------------------------

const Word* OwnValueOps() {
  static const std::array<Word, kValueSlotCount> ops = [] {
    std::array<Word, kValueSlotCount> table{};
    table[kValueRelease] = reinterpret_cast<Word>(&OwnRelease);
    table[kValueStore] = reinterpret_cast<Word>(&OwnStore);
    table[kValueText] = reinterpret_cast<Word>(&OwnText);
    table[kValueDirect] = reinterpret_cast<Word>(&OwnDirect);
    return table;
  }();
  return ops.data();
}

void MakeBool(AnyValue* value, bool b) {
  Reset(value, kAnyBool);
  value->storage.i32 = b ? 1 : 0;
}

void MakeInt(AnyValue* value, std::int32_t n) {
  Reset(value, kAnyInt);
  value->storage.i32 = n;
}

void MakeInt64(AnyValue* value, std::int64_t n) {
  Reset(value, kAnyInt64);
  value->storage.i64 = n;
}

void MakeReal(AnyValue* value, double x) {
  Reset(value, kAnyReal);
  value->storage.real = x;
}

std::uint32_t MakeText(AnyValue* value, std::u16string_view text) {
  Reset(value, kAnyText);
  return AssignText(&value->storage.text, text);
}

std::uint32_t MakeBytes(AnyValue* value, std::span<const std::uint8_t> bytes) {
  Reset(value, kAnyBytes);
  return AssignBytes(&value->storage.text, bytes);
}

void ReleaseValue(AnyValue* value, std::uint32_t flag) {
  if (const auto release = Slot<ValueReleaseFn>(value, kValueRelease)) {
    release(value, flag);
  }
}

// --- Readers -----------------------------------------------------------------

bool ValueAsBool(AnyValue* value, std::uint32_t* status) {
  return ReadScalar<std::int32_t>(value, kAnyBool, status) != 0;
}

std::int32_t ValueAsInt(AnyValue* value, std::uint32_t* status) {
  return ReadScalar<std::int32_t>(value, kAnyInt, status);
}

std::int64_t ValueAsInt64(AnyValue* value, std::uint32_t* status) {
  return ReadScalar<std::int64_t>(value, kAnyInt64, status);
}

double ValueAsReal(AnyValue* value, std::uint32_t* status) {
  return ReadScalar<double>(value, kAnyReal, status);
}

std::u16string ValueAsText(AnyValue* value, std::uint32_t* status) {
  ScopedText text;
  const std::uint32_t result = GetText(value, text.out());
  if (status != nullptr) *status = result;
  return std::u16string(text.view());
}

std::vector<std::uint8_t> ValueAsBytes(AnyValue* value, std::uint32_t* status) {
  Scratch temp;
  bool owned;
  const std::uint32_t result = Read(value, kAnyBytes, &temp, &owned);
  if (status != nullptr) *status = result;
  char16_t* block = LoadText(temp.bytes);
  const std::span<const std::uint8_t> bytes = TextBytes(block);
  std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
  if (owned) ReleaseText(&block);
  return copy;
}

}  // namespace frame
