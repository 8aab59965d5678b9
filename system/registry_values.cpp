// system/registry_values.cpp: reading values, and the language functions
// that read, test or delete one value: 71 RegistryGetValue, 216
// RegistryHasEntry, 229 RegistryRemoveValue.
//
//   queries | values read whole | 71 | 216 | 229
#include "system/registry_values.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "frame/conversion.h"
#include "frame/implementations.h"
#include "frame/xerror.h"
#include "system/registry_path.h"

namespace sys {
namespace {

// What a by-index size query may report for a value it cannot size; the
// read then takes this many bytes (in a buffer twice as large).
constexpr std::uint32_t kUnknownSize = 0xFFFFFFFF;
constexpr std::uint32_t kUnknownSizeStandIn = 16384;

// A read in two steps: `query` is asked the size, then the data into a
// zeroed buffer of twice that size.
template <class Query>
ValueRead ReadWhole(Query query, bool by_index) {
  ValueRead read;
  read.size_error = query(&read.type, nullptr, &read.reported);
  read.error = read.size_error;
  if (read.ok()) {
    std::uint32_t size = read.reported;
    if (by_index && size == kUnknownSize) size = kUnknownSizeStandIn;
    read.buffer.assign(std::size_t{size} * 2, 0);
    read.size = static_cast<std::uint32_t>(std::min<std::size_t>(
        read.buffer.size(), std::numeric_limits<std::uint32_t>::max()));
    read.error = query(&read.type, read.buffer.data(), &read.size);
  }
  if (!read.ok()) {
    read.type = 0;
    read.size = 0;
  }
  return read;
}

// The value at `result` for a value read whole (an empty value for types
// the language has no form for).
void MakeValue(frame::AnyValue* result, const ValueRead& read) {
  const std::span<const std::uint8_t> stored(read.buffer.data(), read.size);
  // The first 8 bytes, zero beyond what was read.
  std::uint8_t head[8] = {};
  std::copy_n(read.buffer.begin(), std::min(sizeof head, read.buffer.size()),
              head);
  std::uint32_t word = 0;
  std::memcpy(&word, head, sizeof word);
  switch (read.type) {
    case plat::kRegSz:
      frame::MakeText(result, TextUpToTerminator(read.buffer));
      break;
    case plat::kRegExpandSz:
    case plat::kRegMultiSz:
      // Unexpanded, embedded terminators and all.
      frame::MakeText(result, CharsOf(stored));
      break;
    case plat::kRegBinary:
      frame::MakeBytes(result, stored);
      break;
    case plat::kRegDword:
      frame::MakeInt(result, static_cast<std::int32_t>(word));
      break;
    case plat::kRegDwordBigEndian:
      frame::MakeInt(result, static_cast<std::int32_t>(SwapHalves(word)));
      break;
    case plat::kRegQword:
      // Kept as is: a REG_QWORD reads back as its 8 bytes, not as a
      // number, though the typed write stores numbers.
      frame::MakeBytes(result, head);
      break;
    default:
      break;
  }
}

// Opens `key` with `access` and asks `ask` with the open key; false when
// either fails.
template <class Ask>
bool AskKey(const char16_t* key, std::uint32_t access, Ask ask) {
  if (TextArg(key).empty()) return false;
  ScopedKey open;
  if (OpenRegistryKey(SplitRegistryPath(key), access, &open) != plat::kOk) {
    return false;
  }
  return ask(open.get());
}

constexpr std::uint32_t kReadByIndexAccess =
    plat::kKeyQueryValue | plat::kKeyEnumerateSubKeys;

}  // namespace

// ---- Queries ----------------------------------------------------------------

plat::SysErr QueryRegistryValue(plat::Key key, std::u16string_view name,
                                std::uint32_t* type, std::uint8_t* data,
                                std::uint32_t* size) {
  std::uint32_t preset = plat::kRegSz;
  if (type == nullptr) type = &preset;
  *type = plat::kRegSz;
  const plat::SysErr err = Registry().QueryValue(key, name, type, data, size);
  if (err == plat::kOk || !name.empty()) return err;
  *type = plat::kRegSz;
  if (data != nullptr && size != nullptr && *size >= 2) {
    data[0] = 0;
    data[1] = 0;
  }
  if (size != nullptr) *size = 1;
  return plat::kOk;
}

plat::SysErr QueryRegistryValueAt(plat::Key key, std::int32_t index,
                                  std::u16string* name, std::uint32_t* type,
                                  std::uint8_t* data, std::uint32_t* size) {
  name->clear();
  if (index == 0) return QueryRegistryValue(key, u"", type, data, size);
  if (index < 0) return plat::kErrNoMoreItems;
  return Registry().EnumValue(key, static_cast<std::uint32_t>(index - 1), name,
                              type, data, size);
}

// ---- Values read whole ------------------------------------------------------

ValueRead ReadRegistryValue(plat::Key key, std::u16string_view name) {
  return ReadWhole(
      [&](std::uint32_t* type, std::uint8_t* data, std::uint32_t* size) {
        return QueryRegistryValue(key, name, type, data, size);
      },
      false);
}

ValueRead ReadRegistryValueAt(plat::Key key, std::int32_t index) {
  std::u16string name;
  return ReadWhole(
      [&](std::uint32_t* type, std::uint8_t* data, std::uint32_t* size) {
        return QueryRegistryValueAt(key, index, &name, type, data, size);
      },
      true);
}

bool IsTextType(std::uint32_t type) {
  return type == plat::kRegSz || type == plat::kRegExpandSz ||
         type == plat::kRegMultiSz;
}

std::u16string CharsOf(std::span<const std::uint8_t> bytes) {
  std::u16string chars(bytes.size() / 2, u'\0');
  if (!chars.empty()) std::memcpy(chars.data(), bytes.data(), chars.size() * 2);
  return chars;
}

std::u16string TextUpToTerminator(std::span<const std::uint8_t> bytes) {
  std::u16string chars = CharsOf(bytes);
  chars.resize(std::min(chars.size(), chars.find(u'\0')));
  return chars;
}

// ---- 71 RegistryGetValue ----------------------------------------------------
// Read failures raise nothing: the value is empty and the flag false.

namespace {

template <class Read>
void ReadInto(frame::AnyValue* result, const char16_t* key,
              std::uint32_t access, std::int32_t* success, Read read_open) {
  ValueRead read;
  {
    ScopedKey open;
    read.error =
        OpenRegistryKey(SplitRegistryPath(TextArg(key)), access, &open);
    if (read.ok()) read = read_open(open.get());
  }
  if (success != nullptr) *success = read.ok() ? 1 : 0;
  MakeValue(result, read);
}

}  // namespace

void RegistryGetValue(frame::Self*, frame::AnyValue* result,
                      const char16_t* key, const char16_t* name,
                      std::int32_t* success) {
  // Nothing is asked, so the flag keeps what the caller had.
  if (TextArg(key).empty() && TextArg(name).empty()) {
    frame::MakeText(result, u"");
    return;
  }
  ReadInto(result, key, plat::kKeyQueryValue, success, [&](plat::Key open) {
    return ReadRegistryValue(open, TextArg(name));
  });
}

void RegistryGetValueByIndex(frame::Self*, frame::AnyValue* result,
                             const char16_t* key, std::int32_t index,
                             std::int32_t* success) {
  ReadInto(result, key, kReadByIndexAccess, success,
           [&](plat::Key open) { return ReadRegistryValueAt(open, index); });
}

// ---- 216 RegistryHasEntry ---------------------------------------------------

// A key exists when its default value can be queried, which the
// default-value rule grants to every key that opens.
bool RegistryHasEntry(frame::Self* self, const char16_t* key) {
  return RegistryHasEntryByName(self, key, u"");
}

bool RegistryHasEntryByName(frame::Self*, const char16_t* key,
                            const char16_t* name) {
  return AskKey(key, plat::kKeyQueryValue, [&](plat::Key open) {
    return QueryRegistryValue(open, TextArg(name), nullptr, nullptr, nullptr) ==
           plat::kOk;
  });
}

bool RegistryHasEntryByIndex(frame::Self*, const char16_t* key,
                             std::int32_t index) {
  return AskKey(key, kReadByIndexAccess, [&](plat::Key open) {
    std::u16string name;
    return QueryRegistryValueAt(open, index, &name, nullptr, nullptr,
                                nullptr) == plat::kOk;
  });
}

// ---- 229 RegistryRemoveValue ------------------------------------------------

bool RegistryRemoveValue(frame::Self* self, const char16_t* key,
                         const char16_t* name) {
  if (TextArg(key).empty() || TextArg(name).empty()) return false;
  const RegistryPath path = SplitRegistryPath(key);
  {
    // Only a value (or key) the system reports missing is "already gone";
    // a key that cannot be reached at all, as under a root without handle,
    // goes on to the delete and fails there.
    ScopedKey open;
    plat::SysErr err = OpenRegistryKey(path, plat::kKeyQueryValue, &open);
    if (err == plat::kOk) {
      err = QueryRegistryValue(open.get(), name, nullptr, nullptr, nullptr);
    }
    if (err == plat::kErrFileNotFound) return true;
  }
  ScopedKey open;
  plat::SysErr err = OpenRegistryKey(path, plat::kKeySetValue, &open);
  if (err == plat::kOk) err = Registry().DeleteValue(open.get(), name);
  if (err == plat::kOk) return true;
  frame::Raise(self, frame::kErrRegistryKeyOrValue, {key});
  frame::AttachSystemError(frame::ErrorRecord(self), err);
  return false;
}

}  // namespace sys
