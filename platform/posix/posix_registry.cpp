// platform/posix/posix_registry.cpp: the handle table, parameter checks and
// access rights of the registry; the store does the rest.
#include "platform/posix/posix_registry.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "platform/posix/device_paths.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr std::uint32_t kAllRights = 0xFFFFFFFFu;

using Names = std::vector<std::u16string_view>;

bool IsRoot(Key key) { return key >= kClassesRoot && key <= kUsers; }

// Generic rights as the registry maps them; MAXIMUM_ALLOWED gets everything.
std::uint32_t MapAccess(std::uint32_t access) {
  if (access & 0x02000000u) return kAllRights;
  std::uint32_t mapped = access & 0x0FFFFFFFu;
  if (access & (kGenericRead | 0x20000000u)) mapped |= kKeyRead;  // or execute
  if (access & kGenericWrite) mapped |= kKeyWrite;
  if (access & 0x10000000u) mapped |= kKeyAllAccess;  // GENERIC_ALL
  return mapped;
}

// The names of a subkey path. An empty path names the key itself, and one
// trailing "\" is accepted, as RegCreateKeyEx accepts it. A leading "\" is
// ERROR_BAD_PATHNAME (161), as Windows NT answers for a path relative to a
// key; an empty name inside the path or one longer than 255 characters is
// 87.
SysErr SplitSubkey(std::u16string_view path, Names* names) {
  names->clear();
  if (path.empty()) return kOk;
  if (path.front() == u'\\') return 161;
  if (path.back() == u'\\') path.remove_suffix(1);
  while (true) {
    const std::size_t end = path.find(u'\\');
    const std::u16string_view name = path.substr(0, end);
    if (name.empty() || name.size() > kMaxKeyNameLength)
      return kErrInvalidParameter;
    names->push_back(name);
    if (end == std::u16string_view::npos) return kOk;
    path.remove_prefix(end + 1);
  }
}

}  // namespace

std::string RegistryStorePath() {
  std::string path = EnvText("TESSEL_REGISTRY");
  if (!path.empty()) return path;
  return TesselDataDir() + "/registry.db";
}

// ---- Handles ----------------------------------------------------------------

SysErr PosixRegistry::StoreAt(const std::string& path,
                              std::shared_ptr<RegistryStore>* out) {
  if (current_ && current_->path() == path && current_->OwnedByThisProcess()) {
    *out = current_;
    return kOk;
  }
  std::shared_ptr<RegistryStore> store = stores_[path].lock();
  if (store && !store->OwnedByThisProcess()) store.reset();  // forked child
  if (!store) {
    const std::filesystem::path dir = std::filesystem::path(path).parent_path();
    if (!dir.empty()) {
      std::error_code ec;
      std::filesystem::create_directories(dir, ec);
      if (ec) return FromErrno(ec.value());
    }
    if (const SysErr err = RegistryStore::Open(path, &store); err != kOk)
      return err;
    std::erase_if(stores_, [](const auto& s) { return s.second.expired(); });
    stores_[path] = store;
  }
  if (path == RegistryStorePath()) current_ = store;
  *out = std::move(store);
  return kOk;
}

SysErr PosixRegistry::Resolve(Key key, std::uint32_t needed, OpenedKey* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (IsRoot(key)) {
    out->id = kFirstRootId + static_cast<KeyId>(key - kClassesRoot);
    out->access = kAllRights;
    return StoreAt(RegistryStorePath(), &out->store);
  }
  const auto it = open_.find(key);
  if (it == open_.end()) return kErrInvalidHandle;
  if ((it->second.access & needed) != needed) return kErrAccessDenied;
  if (!it->second.store->OwnedByThisProcess()) {
    // A handle inherited across fork() gets this process's own connection.
    if (const SysErr err = StoreAt(it->second.store->path(), &it->second.store);
        err != kOk)
      return err;
  }
  *out = it->second;
  return kOk;
}

Key PosixRegistry::Add(OpenedKey opened) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Key key = next_;
  next_ += 4;
  open_.emplace(key, std::move(opened));
  return key;
}

// ---- Keys -------------------------------------------------------------------

SysErr PosixRegistry::OpenKey(Key parent, std::u16string_view subkey,
                              std::uint32_t access, Key* out) {
  if (out == nullptr) return Done(kErrInvalidParameter);
  *out = 0;
  Names names;
  if (const SysErr err = SplitSubkey(subkey, &names); err != kOk)
    return Done(err);
  OpenedKey opened;
  if (const SysErr err = Resolve(parent, 0, &opened); err != kOk)
    return Done(err);
  KeyId id = 0;
  if (const SysErr err = opened.store->FindKey(opened.id, names, &id);
      err != kOk)
    return Done(err);
  *out = Add({std::move(opened.store), id, MapAccess(access)});
  return Done(kOk);
}

SysErr PosixRegistry::CreateKey(Key parent, std::u16string_view subkey,
                                std::uint32_t access, Key* out, bool* created) {
  if (created != nullptr) *created = false;
  if (out == nullptr) return Done(kErrInvalidParameter);
  *out = 0;
  Names names;
  if (const SysErr err = SplitSubkey(subkey, &names); err != kOk)
    return Done(err);
  OpenedKey opened;
  if (const SysErr err = Resolve(parent, 0, &opened); err != kOk)
    return Done(err);
  // Opening what exists needs no right on the parent; adding a subkey needs
  // KEY_CREATE_SUB_KEY.
  const bool may_create = (opened.access & kKeyCreateSubKey) != 0;
  KeyId id = 0;
  bool made = false;
  if (const SysErr err =
          opened.store->CreateKey(opened.id, names, may_create, &id, &made);
      err != kOk)
    return Done(err);
  if (created != nullptr) *created = made;
  *out = Add({std::move(opened.store), id, MapAccess(access)});
  return Done(kOk);
}

SysErr PosixRegistry::CloseKey(Key key) {
  if (IsRoot(key)) return Done(kOk);  // predefined keys stay open
  std::lock_guard<std::mutex> lock(mutex_);
  return Done(open_.erase(key) == 1 ? kOk : kErrInvalidHandle);
}

SysErr PosixRegistry::DeleteKey(Key parent, std::u16string_view subkey) {
  Names names;
  if (const SysErr err = SplitSubkey(subkey, &names); err != kOk)
    return Done(err);
  OpenedKey opened;
  if (const SysErr err = Resolve(parent, 0, &opened); err != kOk)
    return Done(err);
  return Done(opened.store->DeleteKey(opened.id, names));
}

// ---- Values -----------------------------------------------------------------

SysErr PosixRegistry::QueryValue(Key key, std::u16string_view name,
                                 std::uint32_t* type, std::uint8_t* data,
                                 std::uint32_t* size) {
  if (data != nullptr && size == nullptr) return Done(kErrInvalidParameter);
  OpenedKey opened;
  if (const SysErr err = Resolve(key, kKeyQueryValue, &opened); err != kOk)
    return Done(err);
  return Done(opened.store->QueryValue(opened.id, name, type, data, size));
}

SysErr PosixRegistry::SetValue(Key key, std::u16string_view name,
                               std::uint32_t type, const std::uint8_t* data,
                               std::uint32_t size) {
  if ((data == nullptr && size != 0) || name.size() > kMaxValueNameLength)
    return Done(kErrInvalidParameter);
  OpenedKey opened;
  if (const SysErr err = Resolve(key, kKeySetValue, &opened); err != kOk)
    return Done(err);
  return Done(opened.store->SetValue(opened.id, name, type, data, size));
}

SysErr PosixRegistry::DeleteValue(Key key, std::u16string_view name) {
  OpenedKey opened;
  if (const SysErr err = Resolve(key, kKeySetValue, &opened); err != kOk)
    return Done(err);
  return Done(opened.store->DeleteValue(opened.id, name));
}

// ---- Enumeration ------------------------------------------------------------

SysErr PosixRegistry::EnumKey(Key key, std::uint32_t index,
                              std::u16string* name) {
  if (name == nullptr) return Done(kErrInvalidParameter);
  OpenedKey opened;
  if (const SysErr err = Resolve(key, kKeyEnumerateSubKeys, &opened);
      err != kOk)
    return Done(err);
  return Done(opened.store->EnumKey(opened.id, index, name));
}

SysErr PosixRegistry::EnumValue(Key key, std::uint32_t index,
                                std::u16string* name, std::uint32_t* type,
                                std::uint8_t* data, std::uint32_t* size) {
  if (data != nullptr && size == nullptr) return Done(kErrInvalidParameter);
  OpenedKey opened;
  if (const SysErr err = Resolve(key, kKeyQueryValue, &opened); err != kOk)
    return Done(err);
  return Done(
      opened.store->EnumValue(opened.id, index, name, type, data, size));
}

SysErr PosixRegistry::QueryInfo(Key key, KeyInfo* info) {
  if (info == nullptr) return Done(kErrInvalidParameter);
  OpenedKey opened;
  if (const SysErr err = Resolve(key, kKeyQueryValue, &opened); err != kOk)
    return Done(err);
  return Done(opened.store->QueryInfo(opened.id, info));
}

}  // namespace plat::posix
