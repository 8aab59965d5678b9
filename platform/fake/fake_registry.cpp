// platform/fake/fake_registry.cpp: the registry through the real store, in a
// fresh temporary file per double, with planned failures.
#include <stdlib.h>

#include <filesystem>

#include "platform/fake/fake_platform.h"

namespace plat {
namespace {

constexpr const char* kStoreVariable = "TESSEL_REGISTRY";

struct RootName {
  std::u16string_view name;
  Key key;
};
constexpr RootName kRoots[] = {
    {u"HKEY_CLASSES_ROOT", kClassesRoot},
    {u"HKEY_CURRENT_USER", kCurrentUser},
    {u"HKEY_LOCAL_MACHINE", kLocalMachine},
    {u"HKEY_USERS", kUsers},
};

char16_t Upper(char16_t c) { return c >= u'a' && c <= u'z' ? c - 0x20 : c; }

bool SameAscii(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (Upper(a[i]) != Upper(b[i])) return false;
  return true;
}

}  // namespace

FakeRegistry::FakeRegistry(Registry& real, SystemInfo& system)
    : real_(real), system_(system) {
  const char* given = getenv(kStoreVariable);
  if (given != nullptr && *given != '\0') return;
  char dir[] = "/tmp/tessel_registry_XXXXXX";
  if (mkdtemp(dir) == nullptr) return;
  temp_dir_ = dir;
  setenv(kStoreVariable, (temp_dir_ + "/registry.db").c_str(), 1);
}

FakeRegistry::~FakeRegistry() {
  if (temp_dir_.empty()) return;
  unsetenv(kStoreVariable);
  std::error_code ignored;
  std::filesystem::remove_all(temp_dir_, ignored);
}

void FakeRegistry::FailNextSizeQuery(SysErr error,
                                     std::uint32_t reported_size) {
  std::lock_guard<std::mutex> lock(mutex_);
  size_failure_.emplace(error, reported_size);
}

SysErr FakeRegistry::AddKey(std::u16string_view path) {
  const std::size_t split = path.find(u'\\');
  const std::u16string_view root = path.substr(0, split);
  const std::u16string_view rest = split == std::u16string_view::npos
                                       ? std::u16string_view()
                                       : path.substr(split + 1);
  for (const RootName& r : kRoots) {
    if (!SameAscii(r.name, root)) continue;
    Key key = 0;
    const SysErr err =
        real_.CreateKey(r.key, rest, kKeyAllAccess, &key, nullptr);
    if (err == kOk) real_.CloseKey(key);
    return err;
  }
  system_.SetLastError(kErrInvalidParameter);
  return kErrInvalidParameter;
}

SysErr FakeRegistry::PlannedSizeQuery(const std::uint8_t* data,
                                      std::uint32_t* size) {
  if (data != nullptr || size == nullptr) return kOk;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!size_failure_) return kOk;
  const auto [error, reported] = *size_failure_;
  size_failure_.reset();
  *size = reported;
  system_.SetLastError(error);
  return error;
}

SysErr FakeRegistry::OpenKey(Key parent, std::u16string_view subkey,
                             std::uint32_t access, Key* out) {
  if (const SysErr err = Planned(RegOp::kOpenKey); err != kOk) {
    if (out != nullptr) *out = 0;
    return err;
  }
  return real_.OpenKey(parent, subkey, access, out);
}

SysErr FakeRegistry::CreateKey(Key parent, std::u16string_view subkey,
                               std::uint32_t access, Key* out, bool* created) {
  if (const SysErr err = Planned(RegOp::kCreateKey); err != kOk) {
    if (out != nullptr) *out = 0;
    if (created != nullptr) *created = false;
    return err;
  }
  return real_.CreateKey(parent, subkey, access, out, created);
}

SysErr FakeRegistry::CloseKey(Key key) {
  if (const SysErr err = Planned(RegOp::kCloseKey); err != kOk) return err;
  return real_.CloseKey(key);
}

SysErr FakeRegistry::QueryValue(Key key, std::u16string_view name,
                                std::uint32_t* type, std::uint8_t* data,
                                std::uint32_t* size) {
  if (const SysErr err = Planned(RegOp::kQueryValue); err != kOk) return err;
  if (const SysErr err = PlannedSizeQuery(data, size); err != kOk) return err;
  return real_.QueryValue(key, name, type, data, size);
}

SysErr FakeRegistry::SetValue(Key key, std::u16string_view name,
                              std::uint32_t type, const std::uint8_t* data,
                              std::uint32_t size) {
  if (const SysErr err = Planned(RegOp::kSetValue); err != kOk) return err;
  return real_.SetValue(key, name, type, data, size);
}

SysErr FakeRegistry::DeleteValue(Key key, std::u16string_view name) {
  if (const SysErr err = Planned(RegOp::kDeleteValue); err != kOk) return err;
  return real_.DeleteValue(key, name);
}

SysErr FakeRegistry::EnumKey(Key key, std::uint32_t index,
                             std::u16string* name) {
  if (const SysErr err = Planned(RegOp::kEnumKey); err != kOk) return err;
  return real_.EnumKey(key, index, name);
}

SysErr FakeRegistry::EnumValue(Key key, std::uint32_t index,
                               std::u16string* name, std::uint32_t* type,
                               std::uint8_t* data, std::uint32_t* size) {
  if (const SysErr err = Planned(RegOp::kEnumValue); err != kOk) return err;
  if (const SysErr err = PlannedSizeQuery(data, size); err != kOk) return err;
  return real_.EnumValue(key, index, name, type, data, size);
}

SysErr FakeRegistry::QueryInfo(Key key, KeyInfo* info) {
  if (const SysErr err = Planned(RegOp::kQueryInfo); err != kOk) return err;
  return real_.QueryInfo(key, info);
}

SysErr FakeRegistry::DeleteKey(Key parent, std::u16string_view subkey) {
  if (const SysErr err = Planned(RegOp::kDeleteKey); err != kOk) return err;
  return real_.DeleteKey(parent, subkey);
}

}  // namespace plat
