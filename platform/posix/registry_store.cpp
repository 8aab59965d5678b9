// platform/posix/registry_store.cpp: the SQLite registry store.
//
//   error mapping | schema and opening | statements and transactions |
//   keys | values | enumeration
#include "platform/posix/registry_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstring>

#include "platform/posix/name_match.h"

namespace plat::posix {

// ---- Error mapping ----------------------------------------------------------

SysErr FromSqlite(int code) {
  switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return kOk;
    // The time-out has passed with another process still writing. ERROR_BUSY
    // tells the truth and that a retry may succeed; 1016 would call the
    // store's files broken.
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return kErrStoreBusy;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_FORMAT:
      return kErrBadDb;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return kErrAccessDenied;
    case SQLITE_FULL:
      return kErrDiskFull;
    case SQLITE_NOMEM:
    case SQLITE_TOOBIG:
      return 14;  // ERROR_OUTOFMEMORY
    default:      // I/O errors, a file that cannot be opened, lock protocol
      return kErrRegistryIoFailed;
  }
}

namespace {

// ---- Schema and opening -----------------------------------------------------

// "TREG" in the file header marks a registry store; user_version is the
// layout, so that a newer layout is refused instead of misread.
constexpr int kApplicationId = 0x54524547;
constexpr int kLayoutVersion = 1;
constexpr int kBusyTimeoutMs = 5000;

// Names are UTF-16 text as given; the folded name is a big-endian BLOB of
// upper-cased code units, so that byte order is the order in which the
// handheld enumerates subkeys. AUTOINCREMENT keeps deleted key ids from
// coming back. A value's row id is its enumeration order: an overwrite
// updates the row in place, a new value takes a higher id.
constexpr const char* kSchema = R"sql(
CREATE TABLE keys (
  id     INTEGER PRIMARY KEY AUTOINCREMENT,
  parent INTEGER NOT NULL,
  name   TEXT NOT NULL,
  folded BLOB NOT NULL,
  UNIQUE (parent, folded));
CREATE TABLE key_values (
  id     INTEGER PRIMARY KEY,
  key    INTEGER NOT NULL,
  name   TEXT NOT NULL,
  folded BLOB NOT NULL,
  type   INTEGER NOT NULL,
  data   BLOB NOT NULL,
  UNIQUE (key, folded));
CREATE INDEX key_values_order ON key_values (key);
)sql";

constexpr std::u16string_view kRootNames[] = {
    u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE",
    u"HKEY_USERS"};

void Fold(std::u16string_view name, std::string* out) {
  out->resize(name.size() * 2);
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char16_t c = FoldCase(name[i]);
    (*out)[2 * i] = static_cast<char>(c >> 8);
    (*out)[2 * i + 1] = static_cast<char>(c & 0xFF);
  }
}

int Exec(sqlite3* db, const char* sql) {
  return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

// The single integer a query returns; 0 when it fails, as *rc tells.
std::int64_t QueryInt(sqlite3* db, const char* sql, int* rc) {
  sqlite3_stmt* stmt = nullptr;
  std::int64_t result = 0;
  *rc = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
  if (*rc == SQLITE_OK) {
    *rc = sqlite3_step(stmt);
    if (*rc == SQLITE_ROW) {
      result = sqlite3_column_int64(stmt, 0);
      *rc = SQLITE_OK;
    }
  }
  sqlite3_finalize(stmt);
  return result;
}

// What the file holds: a store of this layout, nothing yet, or else.
struct Layout {
  std::int64_t version = 0;
  std::int64_t app = 0;
  std::int64_t tables = 0;
  bool IsStore() const {
    return version == kLayoutVersion && app == kApplicationId;
  }
  bool IsEmpty() const { return version == 0 && app == 0 && tables == 0; }
};

int ReadLayout(sqlite3* db, Layout* out) {
  int rc = SQLITE_OK;
  out->version = QueryInt(db, "PRAGMA user_version", &rc);
  if (rc == SQLITE_OK) out->app = QueryInt(db, "PRAGMA application_id", &rc);
  if (rc == SQLITE_OK)
    out->tables = QueryInt(db, "SELECT count(*) FROM sqlite_schema", &rc);
  return rc;
}

int InsertRoots(sqlite3* db) {
  sqlite3_stmt* stmt = nullptr;
  int rc = sqlite3_prepare_v2(
      db, "INSERT INTO keys (id, parent, name, folded) VALUES (?1, 0, ?2, ?3)",
      -1, &stmt, nullptr);
  std::string folded;
  for (std::size_t i = 0; rc == SQLITE_OK && i < std::size(kRootNames); ++i) {
    Fold(kRootNames[i], &folded);
    sqlite3_bind_int64(stmt, 1, kFirstRootId + static_cast<KeyId>(i));
    sqlite3_bind_text16(stmt, 2, kRootNames[i].data(),
                        static_cast<int>(kRootNames[i].size() * 2),
                        SQLITE_STATIC);
    sqlite3_bind_blob(stmt, 3, folded.data(), static_cast<int>(folded.size()),
                      SQLITE_TRANSIENT);
    rc = sqlite3_step(stmt);
    if (rc == SQLITE_DONE) rc = sqlite3_reset(stmt);
  }
  sqlite3_finalize(stmt);
  return rc;
}

// Makes the tables in a new file, or checks that an old one is a store of
// this layout. The layout is read again under the write lock: two processes
// opening a new file at once, the second finds what the first made.
int SetUpSchema(sqlite3* db, SysErr* err) {
  Layout layout;
  int rc = ReadLayout(db, &layout);
  if (rc != SQLITE_OK || layout.IsStore()) return rc;
  if ((rc = Exec(db, "BEGIN IMMEDIATE")) != SQLITE_OK) return rc;
  rc = ReadLayout(db, &layout);
  if (rc == SQLITE_OK && !layout.IsStore()) {
    if (!layout.IsEmpty()) {
      *err = kErrBadDb;  // another database, or a layout of the future
    } else if ((rc = Exec(db, kSchema)) == SQLITE_OK &&
               (rc = InsertRoots(db)) == SQLITE_OK) {
      const std::string stamp =
          "PRAGMA application_id = " + std::to_string(kApplicationId) +
          "; PRAGMA user_version = " + std::to_string(kLayoutVersion);
      rc = Exec(db, stamp.c_str());
    }
  }
  if (rc == SQLITE_OK && *err == kOk) return Exec(db, "COMMIT");
  Exec(db, "ROLLBACK");
  return rc;
}

// ---- Statements -------------------------------------------------------------

// In the order of RegistryStore::Stmt. Each call is one statement where it
// can be: a join against the key's own row tells a deleted key (no row) from
// a missing child or value (NULL columns) without a second query.
constexpr const char* kStatements[] = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT 1 FROM keys WHERE id = ?1",
    "SELECT c.id FROM keys AS p"
    " LEFT JOIN keys AS c ON c.parent = p.id AND c.folded = ?2"
    " WHERE p.id = ?1",
    "SELECT 1 FROM keys WHERE parent = ?1 LIMIT 1",
    "INSERT INTO keys (parent, name, folded) VALUES (?1, ?2, ?3)",
    "DELETE FROM keys WHERE id = ?1",
    "DELETE FROM key_values WHERE key = ?1",
    "SELECT v.type, v.data FROM keys AS k"
    " LEFT JOIN key_values AS v ON v.key = k.id AND v.folded = ?2"
    " WHERE k.id = ?1",
    "INSERT INTO key_values (key, name, folded, type, data)"
    " SELECT ?1, ?2, ?3, ?4, ?5 WHERE EXISTS (SELECT 1 FROM keys WHERE id = ?1)"
    " ON CONFLICT (key, folded) DO UPDATE"
    " SET type = excluded.type, data = excluded.data",
    "DELETE FROM key_values WHERE key = ?1 AND folded = ?2",
    "SELECT c.name, c.folded FROM keys AS k"
    " LEFT JOIN (SELECT name, folded FROM keys WHERE parent = ?1"
    "            ORDER BY folded LIMIT 1 OFFSET ?2) AS c ON 1"
    " WHERE k.id = ?1",
    "SELECT v.name, v.type, v.data, v.id FROM keys AS k"
    " LEFT JOIN (SELECT id, name, type, data FROM key_values WHERE key = ?1"
    "            ORDER BY id LIMIT 1 OFFSET ?2) AS v ON 1"
    " WHERE k.id = ?1",
    "SELECT name, folded FROM keys WHERE parent = ?1 AND folded >= ?2"
    " ORDER BY folded LIMIT 1",
    "SELECT name, type, data, id FROM key_values WHERE key = ?1 AND id >= ?2"
    " ORDER BY id LIMIT 1",
    "SELECT (SELECT count(*) FROM keys WHERE parent = ?1),"
    " (SELECT ifnull(max(length(folded)), 0) FROM keys WHERE parent = ?1),"
    " (SELECT count(*) FROM key_values WHERE key = ?1),"
    " (SELECT ifnull(max(length(folded)), 0) FROM key_values WHERE key = ?1),"
    " (SELECT ifnull(max(length(data)), 0) FROM key_values WHERE key = ?1)"
    " FROM keys WHERE id = ?1",
};

const void* NonNull(const void* p) { return p != nullptr ? p : ""; }

// RegQueryValueEx's size protocol over one stored value.
SysErr CopyOut(sqlite3_stmt* stmt, int column, std::uint8_t* data,
               std::uint32_t* size) {
  const void* blob = sqlite3_column_blob(stmt, column);
  const auto bytes =
      static_cast<std::uint32_t>(sqlite3_column_bytes(stmt, column));
  if (data != nullptr) {
    if (*size < bytes) {
      *size = bytes;
      return kErrMoreData;
    }
    if (bytes > 0) std::memcpy(data, blob, bytes);
  }
  if (size != nullptr) *size = bytes;
  return kOk;
}

std::u16string TextColumn(sqlite3_stmt* stmt, int column) {
  const auto* text =
      static_cast<const char16_t*>(sqlite3_column_text16(stmt, column));
  const auto bytes =
      static_cast<std::size_t>(sqlite3_column_bytes16(stmt, column));
  return text == nullptr ? std::u16string() : std::u16string(text, bytes / 2);
}

}  // namespace

// A cached statement for one use: bound, stepped, and reset on scope exit so
// that it holds no read lock afterwards.
class RegistryStore::Use {
 public:
  Use(RegistryStore& store, Stmt which) : stmt_(store.stmts_[which]) {}
  ~Use() { sqlite3_reset(stmt_); }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

  Use& Int(int index, std::int64_t value) {
    sqlite3_bind_int64(stmt_, index, value);
    return *this;
  }
  // Text and blobs are bound without copying: they outlive the step.
  Use& Text(int index, std::u16string_view text) {
    sqlite3_bind_text16(stmt_, index, NonNull(text.data()),
                        static_cast<int>(text.size() * 2), SQLITE_STATIC);
    return *this;
  }
  Use& Blob(int index, const void* data, std::size_t size) {
    sqlite3_bind_blob64(stmt_, index, NonNull(data), size, SQLITE_STATIC);
    return *this;
  }
  Use& Blob(int index, const std::string& bytes) {
    return Blob(index, bytes.data(), bytes.size());
  }
  int Step() { return sqlite3_step(stmt_); }
  sqlite3_stmt* get() const { return stmt_; }

 private:
  sqlite3_stmt* stmt_;
};

// A transaction rolled back unless committed. A write transaction takes the
// write lock at once (BEGIN IMMEDIATE), so that it waits for other writers
// under the busy time-out instead of failing on upgrade.
class RegistryStore::Txn {
 public:
  Txn(RegistryStore& store, bool write) : store_(store) {
    status_ = FromSqlite(Use(store_, write ? kBeginImmediate : kBegin).Step());
    open_ = status_ == kOk;
  }
  ~Txn() {
    if (open_ && !sqlite3_get_autocommit(store_.db_))
      Use(store_, kRollback).Step();
  }
  Txn(const Txn&) = delete;
  Txn& operator=(const Txn&) = delete;

  SysErr status() const { return status_; }
  SysErr Commit() {
    const SysErr err = FromSqlite(Use(store_, kCommit).Step());
    if (err == kOk) open_ = false;
    return err;
  }

 private:
  RegistryStore& store_;
  SysErr status_;
  bool open_;
};

// ---- Opening ----------------------------------------------------------------

SysErr RegistryStore::Open(const std::string& path,
                           std::shared_ptr<RegistryStore>* out) {
  out->reset();
  sqlite3* db = nullptr;
  int rc = sqlite3_open_v2(
      path.c_str(), &db,
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
      nullptr);
  if (rc != SQLITE_OK) {
    sqlite3_close_v2(db);
    return FromSqlite(rc);
  }
  // Names are UTF-16 throughout, so new files store text as UTF-16 and no
  // call converts. WAL lets readers and one writer work at once across
  // processes. synchronous=NORMAL writes each commit to the WAL before
  // returning, so a killed process loses nothing committed; only a power
  // loss may lose the last commits, like the handheld's lazily flushed
  // registry. FULL would add an fsync to every write for that case alone.
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  SysErr err = kOk;
  rc = Exec(db, "PRAGMA encoding = 'UTF-16le'");
  if (rc == SQLITE_OK) {
    // A read-only file cannot switch; it may still be read.
    int mode_rc = SQLITE_OK;
    QueryInt(db, "PRAGMA journal_mode = WAL", &mode_rc);
    if ((mode_rc & 0xFF) != SQLITE_READONLY) rc = mode_rc;
  }
  if (rc == SQLITE_OK) rc = Exec(db, "PRAGMA synchronous = NORMAL");
  if (rc == SQLITE_OK) rc = SetUpSchema(db, &err);
  if (rc != SQLITE_OK && err == kOk) err = FromSqlite(rc);
  if (err != kOk) {
    sqlite3_close_v2(db);
    return err;
  }
  std::shared_ptr<RegistryStore> store(new RegistryStore(db, path));
  if (const SysErr prepared = store->Prepare(); prepared != kOk)
    return prepared;
  *out = std::move(store);
  return kOk;
}

RegistryStore::RegistryStore(sqlite3* db, std::string path)
    : db_(db), path_(std::move(path)), pid_(getpid()) {}

RegistryStore::~RegistryStore() {
  // Kept as is: a forked child leaves the inherited connection open. Closing
  // it there could checkpoint or remove the WAL under the parent's feet.
  if (!OwnedByThisProcess()) return;
  for (sqlite3_stmt* stmt : stmts_) sqlite3_finalize(stmt);
  sqlite3_close_v2(db_);
}

bool RegistryStore::OwnedByThisProcess() const { return pid_ == getpid(); }

SysErr RegistryStore::Prepare() {
  static_assert(std::size(kStatements) == kStmtCount);
  for (int i = 0; i < kStmtCount; ++i) {
    const int rc =
        sqlite3_prepare_v3(db_, kStatements[i], -1, SQLITE_PREPARE_PERSISTENT,
                           &stmts_[i], nullptr);
    if (rc != SQLITE_OK) return FromSqlite(rc);
  }
  return kOk;
}

// ---- Keys -------------------------------------------------------------------

SysErr RegistryStore::Exists(KeyId key) {
  Use use(*this, kKeyExists);
  const int rc = use.Int(1, key).Step();
  if (rc == SQLITE_ROW) return kOk;
  return rc == SQLITE_DONE ? kErrKeyDeleted : FromSqlite(rc);
}

SysErr RegistryStore::Child(KeyId parent, std::u16string_view name,
                            KeyId* out) {
  Fold(name, &folded_);
  Use use(*this, kChild);
  const int rc = use.Int(1, parent).Blob(2, folded_).Step();
  if (rc == SQLITE_DONE) return kErrKeyDeleted;
  if (rc != SQLITE_ROW) return FromSqlite(rc);
  if (sqlite3_column_type(use.get(), 0) == SQLITE_NULL) return kErrFileNotFound;
  *out = sqlite3_column_int64(use.get(), 0);
  return kOk;
}

// Follows `names` from `parent`: *found of them exist, *out is the last one
// found (`parent` when none).
SysErr RegistryStore::Walk(KeyId parent,
                           const std::vector<std::u16string_view>& names,
                           std::size_t* found, KeyId* out) {
  *found = 0;
  *out = parent;
  if (names.empty()) return Exists(parent);
  for (const std::u16string_view name : names) {
    KeyId child = 0;
    if (const SysErr err = Child(*out, name, &child); err != kOk) return err;
    *out = child;
    ++*found;
  }
  return kOk;
}

SysErr RegistryStore::FindKey(KeyId parent,
                              const std::vector<std::u16string_view>& names,
                              KeyId* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::size_t found = 0;
  if (names.size() <= 1) return Walk(parent, names, &found, out);
  Txn txn(*this, false);  // one snapshot for the whole path
  if (txn.status() != kOk) return txn.status();
  return Walk(parent, names, &found, out);
}

SysErr RegistryStore::CreateKey(KeyId parent,
                                const std::vector<std::u16string_view>& names,
                                bool may_create, KeyId* out, bool* created) {
  std::lock_guard<std::mutex> lock(mutex_);
  *created = false;
  std::size_t found = 0;
  // Opening an existing key, the common case, takes no write lock.
  {
    Txn txn(*this, false);
    if (txn.status() != kOk) return txn.status();
    const SysErr err = Walk(parent, names, &found, out);
    if (err != kErrFileNotFound) return err;
  }
  if (!may_create) return kErrAccessDenied;
  Txn txn(*this, true);
  if (txn.status() != kOk) return txn.status();
  SysErr err = Walk(parent, names, &found, out);
  if (err == kOk) return txn.Commit();  // made meanwhile by someone else
  if (err != kErrFileNotFound) return err;
  for (std::size_t i = found; i < names.size(); ++i) {
    Fold(names[i], &folded_);
    Use use(*this, kInsertKey);
    const int rc = use.Int(1, *out).Text(2, names[i]).Blob(3, folded_).Step();
    if (rc != SQLITE_DONE) return FromSqlite(rc);
    *out = sqlite3_last_insert_rowid(db_);
  }
  if ((err = txn.Commit()) != kOk) return err;
  *created = true;
  return kOk;
}

SysErr RegistryStore::DeleteKey(KeyId parent,
                                const std::vector<std::u16string_view>& names) {
  std::lock_guard<std::mutex> lock(mutex_);
  Txn txn(*this, true);
  if (txn.status() != kOk) return txn.status();
  std::size_t found = 0;
  KeyId key = 0;
  if (const SysErr err = Walk(parent, names, &found, &key); err != kOk)
    return err;
  if (key >= kFirstRootId && key <= kLastRootId) return kErrAccessDenied;
  {
    Use use(*this, kHasChildren);
    const int rc = use.Int(1, key).Step();
    if (rc == SQLITE_ROW) return kErrAccessDenied;
    if (rc != SQLITE_DONE) return FromSqlite(rc);
  }
  for (const Stmt stmt : {kDeleteValues, kDeleteKey}) {
    Use use(*this, stmt);
    if (const int rc = use.Int(1, key).Step(); rc != SQLITE_DONE)
      return FromSqlite(rc);
  }
  return txn.Commit();
}

// ---- Values -----------------------------------------------------------------

SysErr RegistryStore::QueryValue(KeyId key, std::u16string_view name,
                                 std::uint32_t* type, std::uint8_t* data,
                                 std::uint32_t* size) {
  std::lock_guard<std::mutex> lock(mutex_);
  Fold(name, &folded_);
  Use use(*this, kQueryValue);
  const int rc = use.Int(1, key).Blob(2, folded_).Step();
  if (rc == SQLITE_DONE) return kErrKeyDeleted;
  if (rc != SQLITE_ROW) return FromSqlite(rc);
  if (sqlite3_column_type(use.get(), 0) == SQLITE_NULL) return kErrFileNotFound;
  if (type != nullptr)
    *type = static_cast<std::uint32_t>(sqlite3_column_int64(use.get(), 0));
  return CopyOut(use.get(), 1, data, size);
}

SysErr RegistryStore::SetValue(KeyId key, std::u16string_view name,
                               std::uint32_t type, const std::uint8_t* data,
                               std::uint32_t size) {
  std::lock_guard<std::mutex> lock(mutex_);
  Fold(name, &folded_);
  Use use(*this, kUpsertValue);
  const int rc = use.Int(1, key)
                     .Text(2, name)
                     .Blob(3, folded_)
                     .Int(4, type)
                     .Blob(5, data, size)
                     .Step();
  if (rc != SQLITE_DONE) return FromSqlite(rc);
  return sqlite3_changes(db_) == 0 ? kErrKeyDeleted : kOk;
}

SysErr RegistryStore::DeleteValue(KeyId key, std::u16string_view name) {
  std::lock_guard<std::mutex> lock(mutex_);
  Fold(name, &folded_);
  {
    Use use(*this, kDeleteValue);
    const int rc = use.Int(1, key).Blob(2, folded_).Step();
    if (rc != SQLITE_DONE) return FromSqlite(rc);
    if (sqlite3_changes(db_) > 0) return kOk;
  }
  // Nothing deleted: a missing value, or a key that is gone.
  const SysErr err = Exists(key);
  return err == kOk ? kErrFileNotFound : err;
}

// ---- Enumeration ------------------------------------------------------------

// The data version changes with every commit, this connection's or another
// process's, as soon as a read transaction sees it.
unsigned RegistryStore::DataVersion() {
  unsigned version = 0;
  sqlite3_file_control(db_, "main", SQLITE_FCNTL_DATA_VERSION, &version);
  return version;
}

RegistryStore::Cursor* RegistryStore::Near(Cursor* cursors, KeyId key,
                                           std::uint32_t index) {
  for (int i = 0; i < kCursors; ++i) {
    Cursor& c = cursors[i];
    if (c.key == key && (index == c.index || index == c.index + 1)) return &c;
  }
  return nullptr;
}

RegistryStore::Cursor* RegistryStore::Slot(Cursor* cursors, int* next,
                                           KeyId key) {
  for (int i = 0; i < kCursors; ++i)
    if (cursors[i].key == key) return &cursors[i];
  Cursor* slot = &cursors[*next];
  *next = (*next + 1) % kCursors;
  return slot;
}

// Both enumerations try the cursor first, inside one read transaction: the
// step from the cursor starts the snapshot, and its answer stands only if
// nothing was committed since the cursor was recorded. Otherwise the OFFSET
// query answers in the same snapshot.
SysErr RegistryStore::EnumKey(KeyId key, std::uint32_t index,
                              std::u16string* name) {
  std::lock_guard<std::mutex> lock(mutex_);
  Txn txn(*this, false);
  if (txn.status() != kOk) return txn.status();
  if (Cursor* c = Near(key_cursors_, key, index); c != nullptr) {
    folded_ = c->folded;
    // The name followed by a zero byte is the least one after it.
    if (index != c->index) folded_.push_back('\0');
    Use use(*this, kNextKey);
    const int rc = use.Int(1, key).Blob(2, folded_).Step();
    if ((rc == SQLITE_ROW || rc == SQLITE_DONE) &&
        DataVersion() == c->version) {
      if (rc == SQLITE_DONE) return kErrNoMoreItems;
      *name = TextColumn(use.get(), 0);
      c->index = index;
      c->folded.assign(
          static_cast<const char*>(sqlite3_column_blob(use.get(), 1)),
          static_cast<std::size_t>(sqlite3_column_bytes(use.get(), 1)));
      return kOk;
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) return FromSqlite(rc);
  }
  Use use(*this, kEnumKey);
  const int rc = use.Int(1, key).Int(2, index).Step();
  if (rc == SQLITE_DONE) return kErrKeyDeleted;
  if (rc != SQLITE_ROW) return FromSqlite(rc);
  if (sqlite3_column_type(use.get(), 0) == SQLITE_NULL) return kErrNoMoreItems;
  *name = TextColumn(use.get(), 0);
  Cursor* c = Slot(key_cursors_, &next_key_cursor_, key);
  c->key = key;
  c->index = index;
  c->folded.assign(
      static_cast<const char*>(sqlite3_column_blob(use.get(), 1)),
      static_cast<std::size_t>(sqlite3_column_bytes(use.get(), 1)));
  c->version = DataVersion();
  return kOk;
}

SysErr RegistryStore::EnumValue(KeyId key, std::uint32_t index,
                                std::u16string* name, std::uint32_t* type,
                                std::uint8_t* data, std::uint32_t* size) {
  std::lock_guard<std::mutex> lock(mutex_);
  Txn txn(*this, false);
  if (txn.status() != kOk) return txn.status();
  const auto answer = [&](sqlite3_stmt* stmt) {
    if (name != nullptr) *name = TextColumn(stmt, 0);
    if (type != nullptr)
      *type = static_cast<std::uint32_t>(sqlite3_column_int64(stmt, 1));
    return CopyOut(stmt, 2, data, size);
  };
  if (Cursor* c = Near(value_cursors_, key, index); c != nullptr) {
    Use use(*this, kNextValue);
    const int rc =
        use.Int(1, key).Int(2, c->id + (index == c->index ? 0 : 1)).Step();
    if ((rc == SQLITE_ROW || rc == SQLITE_DONE) &&
        DataVersion() == c->version) {
      if (rc == SQLITE_DONE) return kErrNoMoreItems;
      c->index = index;
      c->id = sqlite3_column_int64(use.get(), 3);
      return answer(use.get());
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) return FromSqlite(rc);
  }
  Use use(*this, kEnumValue);
  const int rc = use.Int(1, key).Int(2, index).Step();
  if (rc == SQLITE_DONE) return kErrKeyDeleted;
  if (rc != SQLITE_ROW) return FromSqlite(rc);
  if (sqlite3_column_type(use.get(), 1) == SQLITE_NULL) return kErrNoMoreItems;
  Cursor* c = Slot(value_cursors_, &next_value_cursor_, key);
  c->key = key;
  c->index = index;
  c->id = sqlite3_column_int64(use.get(), 3);
  c->version = DataVersion();
  return answer(use.get());
}

SysErr RegistryStore::QueryInfo(KeyId key, KeyInfo* info) {
  std::lock_guard<std::mutex> lock(mutex_);
  Use use(*this, kQueryInfo);
  const int rc = use.Int(1, key).Step();
  if (rc == SQLITE_DONE) return kErrKeyDeleted;
  if (rc != SQLITE_ROW) return FromSqlite(rc);
  const auto column = [&](int i) {
    return static_cast<std::uint32_t>(sqlite3_column_int64(use.get(), i));
  };
  info->subkeys = column(0);
  info->max_subkey_name = column(1) / 2;  // folded names: 2 bytes a unit
  info->values = column(2);
  info->max_value_name = column(3) / 2;
  info->max_value_data = column(4);
  return kOk;
}

}  // namespace plat::posix
