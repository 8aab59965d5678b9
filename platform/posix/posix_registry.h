// platform/posix/posix_registry.h: the registry on Linux: open keys of this
// process over the SQLite store (registry_store.h).
//
// The store is the file named by the environment variable TESSEL_REGISTRY;
// without it, $XDG_DATA_HOME/tessel/registry.db, or
// $HOME/.local/share/tessel/registry.db. The variable is read whenever a
// predefined root is used, so pointing it at another file starts using
// another store; keys already open keep the store they came from.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/platform.h"
#include "platform/posix/registry_store.h"

namespace plat::posix {

// The store file the environment names now.
std::string RegistryStorePath();

class PosixRegistry final : public Registry {
 public:
  SysErr OpenKey(Key parent, std::u16string_view subkey, std::uint32_t access,
                 Key* out) override;
  SysErr CreateKey(Key parent, std::u16string_view subkey, std::uint32_t access,
                   Key* out, bool* created) override;
  SysErr CloseKey(Key key) override;
  SysErr QueryValue(Key key, std::u16string_view name, std::uint32_t* type,
                    std::uint8_t* data, std::uint32_t* size) override;
  SysErr SetValue(Key key, std::u16string_view name, std::uint32_t type,
                  const std::uint8_t* data, std::uint32_t size) override;
  SysErr DeleteValue(Key key, std::u16string_view name) override;
  SysErr EnumKey(Key key, std::uint32_t index, std::u16string* name) override;
  SysErr EnumValue(Key key, std::uint32_t index, std::u16string* name,
                   std::uint32_t* type, std::uint8_t* data,
                   std::uint32_t* size) override;
  SysErr QueryInfo(Key key, KeyInfo* info) override;
  SysErr DeleteKey(Key parent, std::u16string_view subkey) override;

 private:
  struct OpenedKey {
    std::shared_ptr<RegistryStore> store;
    KeyId id = 0;
    std::uint32_t access = 0;
  };

  // The open key behind a handle, when it has every right in `needed`:
  // 6 for no such handle, 5 for a missing right.
  SysErr Resolve(Key key, std::uint32_t needed, OpenedKey* out);
  // The store at `path`, opened once per process. Called with mutex_ held.
  SysErr StoreAt(const std::string& path, std::shared_ptr<RegistryStore>* out);
  Key Add(OpenedKey opened);

  std::mutex mutex_;
  std::unordered_map<Key, OpenedKey> open_;
  Key next_ = 0x1000;
  // The store last named by the environment stays open between calls; the
  // others live as long as a key opened in them.
  std::shared_ptr<RegistryStore> current_;
  std::map<std::string, std::weak_ptr<RegistryStore>> stores_;
};

}  // namespace plat::posix
