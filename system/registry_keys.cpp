// system/registry_keys.cpp: the language functions on keys: 73
// RegistryFirstChild, 74 RegistryNextSibling, 75 RegistryRemoveKey, 76
// RegistryMakeKey, and the name lists 287 RegistryValueNames and 462
// RegistryKeyNames.
//
//   walking | 73, 74 | 75, 76 | lists
#include "system/registry_keys.h"

#include <new>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"

namespace sys {
namespace {

constexpr std::u16string_view kListSeparator = u"\r\n";

// The message number of an error number, for adding its text to another
// error.
std::uint32_t MessageOf(std::uint32_t error) {
  for (int i = 0; i < frame::kErrorDefCount; ++i) {
    if (frame::gstErrorDef[i][0] == error) {
      return static_cast<std::uint32_t>(frame::gstErrorDef[i][1]);
    }
  }
  return 0;
}

void SetText(char16_t** result, const std::optional<std::u16string>& text) {
  if (text) frame::AssignText(result, *text);
}

// Deletes a key after its subkeys, depth first. Only a key the system
// reports missing is already deleted: one that cannot be reached at all, as
// under a root without handle, is a failure. Any failure stops the whole at
// once, leaving what was deleted deleted.
bool RemoveKeyTree(const RegistryPath& path) {
  {
    ScopedKey open;
    const plat::SysErr err =
        OpenRegistryKey(path, plat::kKeyEnumerateSubKeys, &open);
    if (err == plat::kErrFileNotFound) return true;
    if (err != plat::kOk) return false;
  }
  std::u16string removed;
  while (std::optional<std::u16string> child = FirstChildSub(path)) {
    // A subkey that is listed again after its removal was not removed.
    if (*child == removed || !RemoveKeyTree({path.root, *child})) return false;
    removed = std::move(*child);
  }
  return Registry().DeleteKey(RootHandle(path.root), path.sub) == plat::kOk;
}

// Gathers the names of a key's subkeys or values, one per line: `enumerate`
// gives the item at an index, from 0 up to its first failure. A failed
// allocation ends the list where it is.
template <class Enumerate>
std::u16string NameList(const char16_t* key, Enumerate enumerate) {
  std::u16string list;
  if (TextArg(key).empty()) return list;
  ScopedKey open;
  plat::KeyInfo info;
  if (OpenRegistryKey(SplitRegistryPath(key), plat::kKeyRead, &open) !=
          plat::kOk ||
      Registry().QueryInfo(open.get(), &info) != plat::kOk) {
    return list;
  }
  try {
    std::u16string item;
    for (std::uint32_t i = 0; enumerate(open.get(), i, &item); ++i) {
      if (i > 0) list += kListSeparator;
      list += item;
    }
  } catch (const std::bad_alloc&) {
  }
  return list;
}

char16_t TypeLetter(std::uint32_t type) {
  switch (type) {
    case plat::kRegSz:
    case plat::kRegExpandSz:
    case plat::kRegMultiSz:
      return u'T';
    case plat::kRegDword:
    case plat::kRegDwordBigEndian:
      return u'N';
    default:
      return u'B';  // REG_QWORD included
  }
}

}  // namespace

// ---- Walking ----------------------------------------------------------------

std::u16string_view ParentSub(std::u16string_view sub) {
  const std::size_t slash = sub.rfind(u'\\');
  return slash == std::u16string_view::npos ? std::u16string_view()
                                            : sub.substr(0, slash);
}

std::u16string_view LastName(std::u16string_view sub) {
  const std::size_t slash = sub.rfind(u'\\');
  return slash == std::u16string_view::npos ? sub : sub.substr(slash + 1);
}

std::optional<std::u16string> FirstChildSub(const RegistryPath& path) {
  ScopedKey open;
  std::u16string name;
  if (OpenRegistryKey(path, plat::kKeyEnumerateSubKeys, &open) != plat::kOk ||
      EnumKeyName(open.get(), 0, &name) != plat::kOk) {
    return std::nullopt;
  }
  return ChildSub(path.sub, name);
}

std::optional<std::u16string> NextSiblingSub(const RegistryPath& path) {
  const std::u16string_view current = LastName(path.sub);
  const RegistryPath parent{path.root, std::u16string(ParentSub(path.sub))};
  ScopedKey open;
  if (OpenRegistryKey(parent, plat::kKeyEnumerateSubKeys, &open) != plat::kOk) {
    return std::nullopt;
  }
  std::u16string name;
  for (std::uint32_t i = 0; EnumKeyName(open.get(), i, &name) == plat::kOk;
       ++i) {
    if (name != current) continue;
    if (EnumKeyName(open.get(), i + 1, &name) != plat::kOk) break;
    return ChildSub(parent.sub, name);
  }
  return std::nullopt;
}

// ---- 73 RegistryFirstChild, 74 RegistryNextSibling --------------------------
// Without an argument the path is empty: the first key of HKEY_CLASSES_ROOT.

void RegistryFirstChild(frame::Self*, char16_t** result, const char16_t* key) {
  const RegistryPath path = SplitRegistryPath(TextArg(key));
  const std::optional<std::u16string> child = FirstChildSub(path);
  if (child) SetText(result, FullRegistryPath(path.root, *child));
}

void RegistryNextSibling(frame::Self*, char16_t** result, const char16_t* key) {
  const RegistryPath path = SplitRegistryPath(TextArg(key));
  const std::optional<std::u16string> next = NextSiblingSub(path);
  if (next) SetText(result, FullRegistryPath(path.root, *next));
}

// ---- 75 RegistryRemoveKey, 76 RegistryMakeKey -------------------------------

bool RegistryRemoveKey(frame::Self* self, const char16_t* key) {
  if (TextArg(key).empty()) {
    frame::Raise(self, frame::kErrRegistryEmptyPath);
    return false;
  }
  return RemoveKeyTree(SplitRegistryPath(key));
}

// True only for a key this call created. A key that was there already is
// no failure of its own: it is reported only when the record holds a
// system error already.
bool RegistryMakeKey(frame::Self* self, const char16_t* key) {
  if (TextArg(key).empty()) return false;
  frame::CXError* record = frame::ErrorRecord(self);
  ScopedKey open;
  bool created = false;
  const plat::SysErr err = CreateRegistryKey(
      SplitRegistryPath(key), plat::kKeyAllAccess, &open, &created);
  open.Close();
  if (err == plat::kOk && created) return true;
  if (err != plat::kOk) {
    frame::Raise(self, frame::kErrRegistryKeyOrValue, {key});
    frame::AttachSystemError(record, err);
  }
  if (record != nullptr && record->system_code != 0) {
    // The write failure is raised; the key's own message follows it.
    const plat::SysErr code = record->system_code;
    frame::Raise(self, frame::kErrRegistryWriteFailed,
                 {key, u"", frame::SystemErrorText(code)});
    frame::AttachSystemError(record, code);
    frame::AddMessage(record, MessageOf(frame::kErrRegistryKeyOrValue), {key});
  }
  return false;
}

// ---- 287 RegistryValueNames, 462 RegistryKeyNames ---------------------------
// A key that cannot be opened lists nothing. With types, each value name is
// followed by a tab and T (text), N (number) or B (anything else).

void RegistryValueNames(frame::Self*, char16_t** result, const char16_t* key,
                        bool with_types) {
  SetText(result, NameList(key, [&](plat::Key open, std::uint32_t i,
                                    std::u16string* item) {
            std::uint32_t type = 0;
            if (Registry().EnumValue(open, i, item, &type, nullptr, nullptr) !=
                plat::kOk) {
              return false;
            }
            if (with_types) *item += {u'\t', TypeLetter(type)};
            return true;
          }));
}

void RegistryKeyNames(frame::Self*, char16_t** result, const char16_t* key) {
  SetText(result, NameList(key, [](plat::Key open, std::uint32_t i,
                                   std::u16string* item) {
            return Registry().EnumKey(open, i, item) == plat::kOk;
          }));
}

}  // namespace sys
