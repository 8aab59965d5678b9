// system/registry_path.cpp: splitting key paths, root handles, opening and
// closing keys for the registry functions.
#include "system/registry_path.h"
#include "text/letter_case.h"

namespace sys {
namespace {

constexpr std::u16string_view kDefaultRoot = u"HKEY_CLASSES_ROOT";

// Kept as is: the roots are tried in this order on the first characters of
// the path, case-sensitively and without looking for a "\" after them, so
// "HKEY_USERSX\Abc" is root HKEY_USERS with subkey "X\Abc", and a path in
// lower case is a subkey of HKEY_CLASSES_ROOT. The last three are known
// here but have no handle: every operation under them fails.
constexpr std::u16string_view kRootNames[] = {
    u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER",     u"HKEY_LOCAL_MACHINE",
    u"HKEY_USERS",        u"HKEY_PERFORMANCE_DATA", u"HKEY_CURRENT_CONFIG",
    u"HKEY_DYN_DATA",
};

struct RootKey {
  std::u16string_view name;
  plat::Key key;
};
constexpr RootKey kRootKeys[] = {
    {u"HKEY_CLASSES_ROOT", plat::kClassesRoot},
    {u"HKEY_CURRENT_USER", plat::kCurrentUser},
    {u"HKEY_LOCAL_MACHINE", plat::kLocalMachine},
    {u"HKEY_USERS", plat::kUsers},
};

constexpr plat::SysErr kErrPathTooLong = plat::kErrFilenameTooLong;

}  // namespace

RegistryPath SplitRegistryPath(std::u16string_view path) {
  RegistryPath out{std::u16string(kDefaultRoot), {}};
  std::u16string_view rest = path;
  for (const std::u16string_view root : kRootNames) {
    if (path.starts_with(root)) {
      out.root = root;
      rest = path.substr(root.size());
      break;
    }
  }
  if (rest.starts_with(u'\\')) rest.remove_prefix(1);
  if (rest.ends_with(u'\\')) rest.remove_suffix(1);
  out.sub = rest;
  return out;
}

plat::Key RootHandle(std::u16string_view root) {
  for (const RootKey& r : kRootKeys) {
    if (text::EqualAsciiNoCase(root, r.name)) return r.key;
  }
  return 0;
}

std::u16string ChildSub(std::u16string_view sub, std::u16string_view name) {
  std::u16string out(sub);
  if (!out.empty()) out += u'\\';
  out += name;
  return out;
}

std::u16string FullRegistryPath(std::u16string_view root,
                                std::u16string_view sub) {
  std::u16string out(root);
  if (!sub.empty()) {
    out += u'\\';
    out += sub;
  }
  return out;
}

void ScopedKey::Close() {
  if (key_ != 0) Registry().CloseKey(key_);
  key_ = 0;
}

plat::SysErr OpenRegistryKey(const RegistryPath& path, std::uint32_t access,
                             ScopedKey* key) {
  if (path.sub.size() > kMaxRegistryPath) return kErrPathTooLong;
  plat::Key opened = 0;
  const plat::SysErr err =
      Registry().OpenKey(RootHandle(path.root), path.sub, access, &opened);
  if (err == plat::kOk) *key->out() = opened;
  return err;
}

plat::SysErr CreateRegistryKey(const RegistryPath& path, std::uint32_t access,
                               ScopedKey* key, bool* created) {
  if (path.sub.size() > kMaxRegistryPath) return kErrPathTooLong;
  plat::Key opened = 0;
  const plat::SysErr err = Registry().CreateKey(RootHandle(path.root), path.sub,
                                                access, &opened, created);
  if (err == plat::kOk) *key->out() = opened;
  return err;
}

plat::SysErr EnumKeyName(plat::Key key, std::uint32_t index,
                         std::u16string* name) {
  const plat::SysErr err = Registry().EnumKey(key, index, name);
  if (err == plat::kOk && name->size() > kMaxRegistryName) {
    name->clear();
    return plat::kErrMoreData;
  }
  return err;
}

plat::Registry& Registry() { return plat::Current().registry; }

}  // namespace sys
