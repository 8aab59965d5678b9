// system/registry_write.cpp: language function 72 RegistryPutValue in its
// fourteen syntaxes: seven value forms, each by name or by 1-based index.
// The key is never created here.
//
//   writing | the value forms | the typed write | the syntaxes
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "frame/conversion.h"
#include "frame/host_state.h"
#include "frame/implementations.h"
#include "frame/xerror.h"
#include "system/registry_path.h"
#include "system/registry_values.h"
#include "text/letter_case.h"

namespace sys {
namespace {

// Opening for a write by index also reads the value's name.
constexpr std::uint32_t kWriteByIndexAccess =
    plat::kKeyQueryValue | plat::kKeySetValue | plat::kKeyEnumerateSubKeys;

// The data of one write. `refused` stands for the system's answer when the
// data cannot be read at all.
struct Payload {
  std::uint32_t type = plat::kRegBinary;
  std::vector<std::uint8_t> bytes;
  plat::SysErr refused = plat::kOk;
};

// ---- Writing ----------------------------------------------------------------

plat::SysErr SetValue(plat::Key key, std::u16string_view name,
                      const Payload& payload) {
  if (payload.refused != plat::kOk) return payload.refused;
  return Registry().SetValue(key, name, payload.type, payload.bytes.data(),
                             static_cast<std::uint32_t>(payload.bytes.size()));
}

void ReportWriteFailure(frame::Self* self, const char16_t* key,
                        std::u16string_view name, plat::SysErr err) {
  frame::Raise(self, frame::kErrRegistryWriteFailed,
               {key, name, frame::SystemErrorText(err)});
  frame::AttachSystemError(frame::ErrorRecord(self), err);
}

bool WriteByName(frame::Self* self, const char16_t* key, const char16_t* name,
                 const Payload& payload) {
  ScopedKey open;
  plat::SysErr err =
      OpenRegistryKey(SplitRegistryPath(key), plat::kKeySetValue, &open);
  if (err == plat::kOk) err = SetValue(open.get(), TextArg(name), payload);
  if (err == plat::kOk) return true;
  open.Close();
  ReportWriteFailure(self, key, TextArg(name), err);
  if (err == plat::kErrAccessDenied) frame::MarkAccessDenied(self);
  return false;
}

// Index 0 is the default value; index n overwrites the value enumerated at
// n - 1, and without one there is nothing to write (no message).
bool WriteByIndex(frame::Self* self, const char16_t* key, std::int32_t index,
                  const Payload& payload) {
  ScopedKey open;
  plat::SysErr err =
      OpenRegistryKey(SplitRegistryPath(key), kWriteByIndexAccess, &open);
  if (err != plat::kOk) {
    ReportWriteFailure(self, key, u"", err);
    return false;
  }
  std::u16string name;
  if (index != 0 && QueryRegistryValueAt(open.get(), index, &name, nullptr,
                                         nullptr, nullptr) != plat::kOk) {
    return false;
  }
  err = SetValue(open.get(), name, payload);
  if (err == plat::kOk) return true;
  open.Close();
  ReportWriteFailure(self, key, name, err);
  return false;
}

// ---- The value forms --------------------------------------------------------

template <class T>
Payload Raw(std::uint32_t type, const T& value) {
  Payload p{type, std::vector<std::uint8_t>(sizeof(T))};
  std::memcpy(p.bytes.data(), &value, sizeof(T));
  return p;
}

Payload Chars(std::uint32_t type, std::u16string_view text,
              bool with_terminator) {
  Payload p{type,
            std::vector<std::uint8_t>((text.size() + with_terminator) * 2)};
  if (!text.empty()) std::memcpy(p.bytes.data(), text.data(), text.size() * 2);
  return p;
}

// Kept as is: by name a text is stored with its terminator, by index
// without it.
Payload Text(const char16_t* text, bool by_index) {
  return Chars(plat::kRegSz, TextArg(text), !by_index);
}

Payload Dword(std::int32_t n) { return Raw(plat::kRegDword, n); }

// The 8-byte form arrives as the VM's 8-byte real: its 8 bytes are stored
// as they arrive, not converted.
Payload Real8(double x) { return Raw(plat::kRegBinary, x); }

Payload Decimal10(const frame::Decimal& d) { return Raw(plat::kRegBinary, d); }

// The language hands the address as a 32-bit integer, so a 64-bit host can
// only write from memory below 4 GiB this way. A negative size, or bytes at
// address 0, are refused as an unreadable buffer would be.
Payload Buffer(std::int32_t address, std::int32_t size) {
  Payload p;
  const auto* data = reinterpret_cast<const std::uint8_t*>(
      static_cast<std::uintptr_t>(static_cast<std::uint32_t>(address)));
  if (size < 0 || (data == nullptr && size > 0)) {
    p.refused = plat::kErrInvalidParameter;
    return p;
  }
  p.bytes.assign(data, data + size);
  return p;
}

// ---- The typed write --------------------------------------------------------

struct TypeName {
  std::u16string_view name;
  std::uint32_t type;
};
constexpr TypeName kTypeNames[] = {
    {u"REG_BINARY", plat::kRegBinary},
    {u"REG_DWORD", plat::kRegDword},
    {u"REG_DWORD_BIG_ENDIAN", plat::kRegDwordBigEndian},
    {u"REG_EXPAND_SZ", plat::kRegExpandSz},
    {u"REG_QWORD", plat::kRegQword},
    {u"REG_SZ", plat::kRegSz},
    {u"REG_MULTI_SZ", plat::kRegMultiSz},
};

enum class Typed { kReady, kUnknownType, kNotConverted };

// The value converted for the named type. REG_SZ and REG_EXPAND_SZ take the
// text up to its first terminator and store one; REG_MULTI_SZ stores the
// text's characters as they are, embedded terminators included, which is
// the form a read gives it, so a value read and written back is unchanged.
Typed TypedPayload(frame::AnyValue* value, const char16_t* type_name,
                   Payload* out) {
  const TypeName* found = nullptr;
  for (const TypeName& t : kTypeNames) {
    if (text::EqualAsciiNoCase(TextArg(type_name), t.name)) found = &t;
  }
  if (found == nullptr) return Typed::kUnknownType;
  std::uint32_t status = 0;
  switch (found->type) {
    case plat::kRegBinary:
      out->bytes = frame::ValueAsBytes(value, &status);
      out->type = plat::kRegBinary;
      break;
    case plat::kRegDword:
      *out = Dword(frame::ValueAsInt(value, &status));
      break;
    case plat::kRegDwordBigEndian:
      *out = Raw(plat::kRegDwordBigEndian,
                 SwapHalves(static_cast<std::uint32_t>(
                     frame::ValueAsInt(value, &status))));
      break;
    case plat::kRegQword:
      *out = Raw(plat::kRegQword, frame::ValueAsInt64(value, &status));
      break;
    case plat::kRegMultiSz:
      *out =
          Chars(plat::kRegMultiSz, frame::ValueAsText(value, &status), false);
      break;
    default: {
      const std::u16string text = frame::ValueAsText(value, &status);
      *out = Chars(found->type, text.substr(0, text.find(u'\0')), true);
      break;
    }
  }
  return status >= frame::kConversionErrorBase ? Typed::kNotConverted
                                               : Typed::kReady;
}

// A value the VM cannot convert for the type is not written.
template <class Write>
bool WriteTyped(frame::Self* self, frame::AnyValue* value,
                const char16_t* type_name, Write write) {
  Payload payload;
  switch (TypedPayload(value, type_name, &payload)) {
    case Typed::kUnknownType:
      frame::Raise(self, frame::kErrRegistryUnknownType);
      return false;
    case Typed::kNotConverted:
      return false;
    case Typed::kReady:
      break;
  }
  return write(payload);
}

// An empty key path writes nothing and reports nothing.
bool ByName(frame::Self* self, const char16_t* key, const char16_t* name,
            const Payload& payload) {
  return !TextArg(key).empty() && WriteByName(self, key, name, payload);
}
bool ByIndex(frame::Self* self, const char16_t* key, std::int32_t index,
             const Payload& payload) {
  return !TextArg(key).empty() && WriteByIndex(self, key, index, payload);
}

}  // namespace

// ---- The syntaxes -----------------------------------------------------------

bool RegistryPutValue(frame::Self* self, const char16_t* key,
                      const char16_t* name, const char16_t* text) {
  return ByName(self, key, name, Text(text, false));
}
bool RegistryPutValueInteger(frame::Self* self, const char16_t* key,
                             const char16_t* name, std::int32_t n) {
  return ByName(self, key, name, Dword(n));
}
bool RegistryPutValueBoolean(frame::Self* self, const char16_t* key,
                             const char16_t* name, bool b) {
  return ByName(self, key, name, Dword(b ? 1 : 0));
}
bool RegistryPutValueInt64(frame::Self* self, const char16_t* key,
                           const char16_t* name, double x) {
  return ByName(self, key, name, Real8(x));
}
bool RegistryPutValueDecimal(frame::Self* self, const char16_t* key,
                             const char16_t* name, frame::Decimal d) {
  return ByName(self, key, name, Decimal10(d));
}
bool RegistryPutValueBuffer(frame::Self* self, const char16_t* key,
                            const char16_t* name, std::int32_t address,
                            std::int32_t size) {
  if (TextArg(key).empty()) return false;  // the buffer is not read then
  return ByName(self, key, name, Buffer(address, size));
}
bool RegistryPutValueTyped(frame::Self* self, const char16_t* key,
                           const char16_t* name, frame::AnyValue* value,
                           const char16_t* type_name) {
  if (TextArg(key).empty()) return false;
  return WriteTyped(self, value, type_name, [&](const Payload& payload) {
    return WriteByName(self, key, name, payload);
  });
}

bool RegistryPutValueByIndex(frame::Self* self, const char16_t* key,
                             std::int32_t index, const char16_t* text) {
  return ByIndex(self, key, index, Text(text, true));
}
bool RegistryPutValueByIndexInteger(frame::Self* self, const char16_t* key,
                                    std::int32_t index, std::int32_t n) {
  return ByIndex(self, key, index, Dword(n));
}
bool RegistryPutValueByIndexBoolean(frame::Self* self, const char16_t* key,
                                    std::int32_t index, bool b) {
  return ByIndex(self, key, index, Dword(b ? 1 : 0));
}
bool RegistryPutValueByIndexInt64(frame::Self* self, const char16_t* key,
                                  std::int32_t index, double x) {
  return ByIndex(self, key, index, Real8(x));
}
bool RegistryPutValueByIndexDecimal(frame::Self* self, const char16_t* key,
                                    std::int32_t index, frame::Decimal d) {
  return ByIndex(self, key, index, Decimal10(d));
}
bool RegistryPutValueByIndexBuffer(frame::Self* self, const char16_t* key,
                                   std::int32_t index, std::int32_t address,
                                   std::int32_t size) {
  if (TextArg(key).empty()) return false;
  return ByIndex(self, key, index, Buffer(address, size));
}
bool RegistryPutValueByIndexTyped(frame::Self* self, const char16_t* key,
                                  std::int32_t index, frame::AnyValue* value,
                                  const char16_t* type_name) {
  if (TextArg(key).empty()) return false;
  return WriteTyped(self, value, type_name, [&](const Payload& payload) {
    return WriteByIndex(self, key, index, payload);
  });
}

}  // namespace sys
