// platform/posix/registry_store.h: the registry kept in one SQLite database
// file, shared by every process that opens the same file.
//
// Keys are rows (id, parent, name as given, folded name); values are rows
// (key, name, folded name, type, raw data) whose row id is their enumeration
// order. The four predefined roots are the rows 1 to 4. Key ids are never
// reused, so a handle to a deleted key finds nothing and reports 1018 even
// after a key of the same name is made again.
//
// Each call is one transaction; a store may be used from several threads
// (calls are serialised) and from several processes at once (WAL, with a busy
// time-out). Errors are Win32 numbers; nothing here touches the last error.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

struct sqlite3;
struct sqlite3_stmt;

namespace plat::posix {

// The row id of a key; roots are 1 (HKEY_CLASSES_ROOT) to 4 (HKEY_USERS).
using KeyId = std::int64_t;
inline constexpr KeyId kFirstRootId = 1;
inline constexpr KeyId kLastRootId = 4;

// Longest key name component and value name, in UTF-16 code units.
inline constexpr std::size_t kMaxKeyNameLength = 255;
inline constexpr std::size_t kMaxValueNameLength = 16383;

// ERROR_BUSY: another process held the store past the busy time-out.
inline constexpr SysErr kErrStoreBusy = 170;

class RegistryStore {
 public:
  // Opens (creating when missing) the store at `path`. A file that is not a
  // registry store gives 1009 and no store.
  static SysErr Open(const std::string& path,
                     std::shared_ptr<RegistryStore>* out);
  ~RegistryStore();
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  const std::string& path() const { return path_; }
  // False in a child forked from the process that opened the store: an
  // SQLite connection must not cross fork(), so the child opens its own.
  bool OwnedByThisProcess() const;

  // `names` are the components of a subkey path, already checked; an empty
  // list names `parent` itself. 1018 when `parent` is gone, 2 when a
  // component is missing.
  SysErr FindKey(KeyId parent, const std::vector<std::u16string_view>& names,
                 KeyId* out);
  // Creates what is missing, in one transaction. `may_create` false makes a
  // missing component 5 (the parent handle lacks the right to add subkeys).
  SysErr CreateKey(KeyId parent, const std::vector<std::u16string_view>& names,
                   bool may_create, KeyId* out, bool* created);
  // Deletes a key without subkeys, with its values; roots and keys with
  // subkeys give 5.
  SysErr DeleteKey(KeyId parent, const std::vector<std::u16string_view>& names);

  // The value's type and bytes, RegQueryValueEx's size protocol: `data` null
  // asks the size; a smaller *size gives 234 and the size needed.
  SysErr QueryValue(KeyId key, std::u16string_view name, std::uint32_t* type,
                    std::uint8_t* data, std::uint32_t* size);
  // Overwriting keeps the value's place in the enumeration and its name's
  // case; a new value goes last.
  SysErr SetValue(KeyId key, std::u16string_view name, std::uint32_t type,
                  const std::uint8_t* data, std::uint32_t size);
  SysErr DeleteValue(KeyId key, std::u16string_view name);

  SysErr EnumKey(KeyId key, std::uint32_t index, std::u16string* name);
  SysErr EnumValue(KeyId key, std::uint32_t index, std::u16string* name,
                   std::uint32_t* type, std::uint8_t* data,
                   std::uint32_t* size);
  SysErr QueryInfo(KeyId key, KeyInfo* info);

 private:
  // The statements every call uses, prepared once per store.
  enum Stmt {
    kBegin,
    kBeginImmediate,
    kCommit,
    kRollback,
    kKeyExists,
    kChild,  // the parent row and the child of that name
    kHasChildren,
    kInsertKey,
    kDeleteKey,
    kDeleteValues,
    kQueryValue,
    kUpsertValue,
    kDeleteValue,
    kEnumKey,
    kEnumValue,
    kNextKey,    // from a cursor: the first subkey at or after a name
    kNextValue,  // from a cursor: the first value at or after a row id
    kQueryInfo,
    kStmtCount
  };
  // Where an enumeration of a key last stood, so that asking for the same
  // index or the next one costs one index step instead of an OFFSET scan.
  // Valid while the database's data version is the one recorded.
  struct Cursor {
    KeyId key = 0;
    std::uint32_t index = 0;
    std::int64_t id = 0;  // values: the row id at `index`
    std::string folded;   // subkeys: the folded name at `index`
    unsigned version = 0;
  };
  static constexpr int kCursors = 4;  // keys enumerated in turn, as a walk does
  class Use;                          // a cached statement, reset after use
  class Txn;  // a transaction rolled back unless committed

  RegistryStore(sqlite3* db, std::string path);
  SysErr Prepare();
  // kOk, or 1018 when the key is gone.
  SysErr Exists(KeyId key);
  // The child of `parent` named `name`: kOk and its id; 2 when missing;
  // 1018 when `parent` is gone.
  SysErr Child(KeyId parent, std::u16string_view name, KeyId* out);
  SysErr Walk(KeyId parent, const std::vector<std::u16string_view>& names,
              std::size_t* found, KeyId* out);
  unsigned DataVersion();
  // The cursor of `key` that stands at `index` or just before it, or null.
  Cursor* Near(Cursor* cursors, KeyId key, std::uint32_t index);
  // The cursor to record `key` in: its own, or the oldest.
  Cursor* Slot(Cursor* cursors, int* next, KeyId key);

  sqlite3* db_;
  std::string path_;
  int pid_;
  std::mutex mutex_;
  sqlite3_stmt* stmts_[kStmtCount] = {};
  std::string folded_;  // the folded name bound by the running statement
  Cursor key_cursors_[kCursors];
  Cursor value_cursors_[kCursors];
  int next_key_cursor_ = 0;
  int next_value_cursor_ = 0;
};

// The Win32 number for an SQLite result code.
SysErr FromSqlite(int code);

}  // namespace plat::posix
