// system/registry_path.h: key paths of the registry functions. A path is
// the root's name, "\" and a subkey path; splitting it, the root's handle,
// the keys opened under it and closed again on every path out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace sys {

// The longest root name and subkey path a key path holds. A subkey path
// beyond it is refused at the open (see OpenRegistryKey).
inline constexpr std::size_t kMaxRegistryPath = 256;
// The longest key name the walks take from an enumeration.
inline constexpr std::size_t kMaxRegistryName = 256;

// A split key path; `root` is always one of the seven root names.
struct RegistryPath {
  std::u16string root;
  std::u16string sub;
};

// Root name and subkey path of a language path. A path that names no root
// lands under "HKEY_CLASSES_ROOT" whole. One leading "\" of what follows
// the root and one trailing "\" are dropped.
RegistryPath SplitRegistryPath(std::u16string_view path);

// The predefined key of a root name, compared without regard to case; 0
// for the three roots the system has no key for, and for any other name.
plat::Key RootHandle(std::u16string_view root);

// "sub\name", or "name" under the root itself.
std::u16string ChildSub(std::u16string_view sub, std::u16string_view name);
// "root\sub", or "root" for the root itself.
std::u16string FullRegistryPath(std::u16string_view root,
                                std::u16string_view sub);

// An open key, closed when the holder goes.
class ScopedKey {
 public:
  ScopedKey() = default;
  ~ScopedKey() { Close(); }
  ScopedKey(const ScopedKey&) = delete;
  ScopedKey& operator=(const ScopedKey&) = delete;

  plat::Key get() const { return key_; }
  // Where an open stores the key; closes what was held.
  plat::Key* out() {
    Close();
    return &key_;
  }
  void Close();

 private:
  plat::Key key_ = 0;
};

// Opens or creates the key at `path` (the subkey under the root's handle).
// A root without handle fails with the system's error for key 0. A subkey
// path longer than kMaxRegistryPath fails with 206 before the system is
// asked, so that a long path never reaches a key the caller did not name.
plat::SysErr OpenRegistryKey(const RegistryPath& path, std::uint32_t access,
                             ScopedKey* key);
plat::SysErr CreateRegistryKey(const RegistryPath& path, std::uint32_t access,
                               ScopedKey* key, bool* created);

// Subkey `index` of an open key. A name longer than kMaxRegistryName is 234,
// as for a name buffer that is too small.
plat::SysErr EnumKeyName(plat::Key key, std::uint32_t index,
                         std::u16string* name);

plat::Registry& Registry();

// A text argument that may be absent.
inline std::u16string_view TextArg(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

}  // namespace sys
