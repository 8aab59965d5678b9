// bench/registry_bench.cpp: the registry's cost per operation, three ways
// on the same machine in one run:
//   - through the language functions (71 read, 72 write, 288 search), each
//     call prepared once as the VM makes it;
//   - directly on the store (plat::Registry: open, query or set, close, as
//     the functions do);
//   - on plain SQLite: one table keyed by (path, name), the same journal
//     and synchronous settings, prepared statements: the floor a registry
//     over SQLite can hope for.
// The search runs over a tree of 50,000 keys with two values each, for a
// text found only in the last key, so the whole tree is walked.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/shared_host.h"
#include "host/refhost/host.h"
#include "platform/platform.h"

namespace {

constexpr int kGroups = 50;
constexpr int kKeysPerGroup = 1000;  // 50 x 1000 = 50,000 keys
constexpr char16_t kValueKey[] = u"HKEY_CURRENT_USER\\Software\\Bench";
constexpr char16_t kValueSubkey[] = u"Software\\Bench";
constexpr char16_t kTreeKey[] = u"HKEY_CURRENT_USER\\Software\\Tree";
constexpr char16_t kSought[] = u"NEEDLE";

std::filesystem::path& Dir() {
  static std::filesystem::path dir;
  return dir;
}

// A scratch directory holding the store (TESSEL_REGISTRY) and the plain
// SQLite file, removed at exit.
void PrepareDir() {
  if (!Dir().empty()) return;
  std::string pattern =
      (std::filesystem::temp_directory_path() / "std8_reg_bench_XXXXXX")
          .string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  Dir() = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(Dir(), ignored);
  });
  setenv("TESSEL_REGISTRY", (Dir() / "registry.db").c_str(), 1);
}

plat::Registry& Store() { return plat::Current().registry; }

// The value the read benchmarks read and the write benchmarks overwrite.
bool PrepareValue() {
  PrepareDir();
  static bool ready = [] {
    plat::Key key = 0;
    if (Store().CreateKey(plat::kCurrentUser, kValueSubkey, plat::kKeyAllAccess,
                          &key, nullptr) != plat::kOk) {
      return false;
    }
    const char16_t text[] = u"a value of some length";
    bool ok = Store().SetValue(key, u"value", plat::kRegSz,
                               reinterpret_cast<const std::uint8_t*>(text),
                               sizeof text) == plat::kOk;
    Store().CloseKey(key);
    return ok;
  }();
  return ready;
}

// kGroups keys of kKeysPerGroup subkeys, each with a name and a text value;
// only the very last holds the sought text.
bool PrepareTree() {
  if (!PrepareValue()) return false;
  static bool ready = [] {
    for (int g = 0; g < kGroups; ++g) {
      for (int k = 0; k < kKeysPerGroup; ++k) {
        char name[64];
        std::snprintf(name, sizeof name, "Software\\Tree\\Group%02d\\Key%04d",
                      g, k);
        std::u16string path(name, name + std::char_traits<char>::length(name));
        plat::Key key = 0;
        if (Store().CreateKey(plat::kCurrentUser, path, plat::kKeyAllAccess,
                              &key, nullptr) != plat::kOk) {
          return false;
        }
        const bool last = g == kGroups - 1 && k == kKeysPerGroup - 1;
        const std::u16string data =
            last ? u"the needle is here" : u"ordinary data text";
        Store().SetValue(key, u"Data", plat::kRegSz,
                         reinterpret_cast<const std::uint8_t*>(data.c_str()),
                         static_cast<std::uint32_t>((data.size() + 1) * 2));
        const std::uint32_t number = static_cast<std::uint32_t>(k);
        Store().SetValue(key, u"Number", plat::kRegDword,
                         reinterpret_cast<const std::uint8_t*>(&number), 4);
        Store().CloseKey(key);
      }
    }
    return true;
  }();
  return ready;
}

// ---- Language functions -----------------------------------------------------

std::unique_ptr<refhost::PreparedCall> PrepareCall(
    benchmark::State& state, std::uint32_t function, int syntax,
    std::initializer_list<refhost::Arg> args) {
  refhost::Host* host = SharedHost(state);
  if (host == nullptr) return nullptr;
  std::string why;
  auto call = host->Prepare(function, syntax,
                            std::span(args.begin(), args.size()), &why);
  if (call == nullptr) state.SkipWithError(why.c_str());
  return call;
}

void ReadFunction71(benchmark::State& state) {
  if (!PrepareValue()) return state.SkipWithError("no store");
  auto call = PrepareCall(state, 71, 1, {kValueKey, u"value"});
  if (call == nullptr) return;
  for (auto _ : state) benchmark::DoNotOptimize(call->Run());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ReadFunction71);

void WriteFunction72(benchmark::State& state) {
  if (!PrepareValue()) return state.SkipWithError("no store");
  auto a = PrepareCall(state, 72, 1, {kValueKey, u"value", u"first text"});
  auto b = PrepareCall(state, 72, 1, {kValueKey, u"value", u"other text"});
  if (a == nullptr || b == nullptr) return;
  bool flip = false;
  for (auto _ : state) {
    flip = !flip;
    benchmark::DoNotOptimize((flip ? a : b)->Run());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WriteFunction72);

void SearchFunction288(benchmark::State& state) {
  if (!PrepareTree()) return state.SkipWithError("no tree");
  // Options 4 | 8: value data, descending; the walk covers every key.
  auto call = PrepareCall(state, 288, 2, {kTreeKey, kSought, 12});
  if (call == nullptr) return;
  for (auto _ : state) benchmark::DoNotOptimize(call->Run());
  state.counters["keys"] = kGroups * kKeysPerGroup;
}
BENCHMARK(SearchFunction288)->Unit(benchmark::kMillisecond);

// ---- The store directly -----------------------------------------------------

void ReadStore(benchmark::State& state) {
  if (!PrepareValue()) return state.SkipWithError("no store");
  std::uint8_t buffer[256];
  for (auto _ : state) {
    plat::Key key = 0;
    Store().OpenKey(plat::kCurrentUser, kValueSubkey, plat::kKeyQueryValue,
                    &key);
    std::uint32_t type = 0, size = sizeof buffer;
    benchmark::DoNotOptimize(
        Store().QueryValue(key, u"value", &type, buffer, &size));
    Store().CloseKey(key);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ReadStore);

void WriteStore(benchmark::State& state) {
  if (!PrepareValue()) return state.SkipWithError("no store");
  const char16_t a[] = u"first text", b[] = u"other text";
  bool flip = false;
  for (auto _ : state) {
    flip = !flip;
    plat::Key key = 0;
    Store().OpenKey(plat::kCurrentUser, kValueSubkey, plat::kKeySetValue,
                    &key);
    benchmark::DoNotOptimize(Store().SetValue(
        key, u"value", plat::kRegSz,
        reinterpret_cast<const std::uint8_t*>(flip ? a : b), sizeof a));
    Store().CloseKey(key);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WriteStore);

// ---- Plain SQLite -----------------------------------------------------------

struct Plain {
  sqlite3* db = nullptr;
  sqlite3_stmt* read = nullptr;
  sqlite3_stmt* write = nullptr;
};

Plain* OpenPlain() {
  PrepareDir();
  static Plain* plain = [] {
    auto* p = new Plain;
    const std::string path = (Dir() / "plain.db").string();
    if (sqlite3_open(path.c_str(), &p->db) != SQLITE_OK) return (Plain*)nullptr;
    sqlite3_exec(p->db,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                 "CREATE TABLE IF NOT EXISTS vals(path TEXT COLLATE NOCASE,"
                 " name TEXT COLLATE NOCASE, type INTEGER, data BLOB,"
                 " PRIMARY KEY(path, name)) WITHOUT ROWID;"
                 "INSERT OR REPLACE INTO vals VALUES('Software\\Bench',"
                 " 'value', 1, x'00');",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(p->db,
                       "SELECT type, data FROM vals WHERE path=? AND name=?",
                       -1, &p->read, nullptr);
    sqlite3_prepare_v2(p->db, "INSERT OR REPLACE INTO vals VALUES(?,?,?,?)", -1,
                       &p->write, nullptr);
    return p;
  }();
  return plain;
}

void ReadPlainSqlite(benchmark::State& state) {
  Plain* p = OpenPlain();
  if (p == nullptr) return state.SkipWithError("sqlite did not open");
  for (auto _ : state) {
    sqlite3_bind_text(p->read, 1, "Software\\Bench", -1, SQLITE_STATIC);
    sqlite3_bind_text(p->read, 2, "value", -1, SQLITE_STATIC);
    if (sqlite3_step(p->read) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_blob(p->read, 1));
    }
    sqlite3_reset(p->read);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ReadPlainSqlite);

void WritePlainSqlite(benchmark::State& state) {
  Plain* p = OpenPlain();
  if (p == nullptr) return state.SkipWithError("sqlite did not open");
  const char16_t a[] = u"first text", b[] = u"other text";
  bool flip = false;
  for (auto _ : state) {
    flip = !flip;
    sqlite3_bind_text(p->write, 1, "Software\\Bench", -1, SQLITE_STATIC);
    sqlite3_bind_text(p->write, 2, "value", -1, SQLITE_STATIC);
    sqlite3_bind_int(p->write, 3, 1);
    sqlite3_bind_blob(p->write, 4, flip ? a : b, sizeof a, SQLITE_STATIC);
    benchmark::DoNotOptimize(sqlite3_step(p->write));
    sqlite3_reset(p->write);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WritePlainSqlite);

// The same tree as rows of (path, name, data), searched with one query:
// upper-cased substring over key paths, value names and text data.
void SearchPlainSqlite(benchmark::State& state) {
  Plain* p = OpenPlain();
  if (p == nullptr) return state.SkipWithError("sqlite did not open");
  static bool filled = [p] {
    sqlite3_exec(p->db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(p->db, "INSERT OR REPLACE INTO vals VALUES(?,?,?,?)",
                       -1, &insert, nullptr);
    for (int g = 0; g < kGroups; ++g) {
      for (int k = 0; k < kKeysPerGroup; ++k) {
        char path[64];
        std::snprintf(path, sizeof path, "Software\\Tree\\Group%02d\\Key%04d",
                      g, k);
        const bool last = g == kGroups - 1 && k == kKeysPerGroup - 1;
        const char* data = last ? "the needle is here" : "ordinary data text";
        sqlite3_bind_text(insert, 1, path, -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, "Data", -1, SQLITE_STATIC);
        sqlite3_bind_int(insert, 3, 1);
        sqlite3_bind_text(insert, 4, data, -1, SQLITE_STATIC);
        sqlite3_step(insert);
        sqlite3_reset(insert);
        sqlite3_bind_text(insert, 2, "Number", -1, SQLITE_STATIC);
        sqlite3_bind_int(insert, 3, 4);
        sqlite3_bind_int(insert, 4, k);
        sqlite3_step(insert);
        sqlite3_reset(insert);
      }
    }
    sqlite3_finalize(insert);
    return sqlite3_exec(p->db, "COMMIT", nullptr, nullptr, nullptr) ==
           SQLITE_OK;
  }();
  if (!filled) return state.SkipWithError("the tree was not written");
  sqlite3_stmt* search = nullptr;
  sqlite3_prepare_v2(
      p->db,
      "SELECT path, name FROM vals WHERE path LIKE 'Software\\Tree\\%'"
      " AND (instr(upper(name), ?1) OR (type = 1 AND"
      " instr(upper(CAST(data AS TEXT)), ?1))) ORDER BY path, name LIMIT 1",
      -1, &search, nullptr);
  for (auto _ : state) {
    sqlite3_bind_text(search, 1, "NEEDLE", -1, SQLITE_STATIC);
    benchmark::DoNotOptimize(sqlite3_step(search));
    sqlite3_reset(search);
  }
  sqlite3_finalize(search);
  state.counters["keys"] = kGroups * kKeysPerGroup;
}
BENCHMARK(SearchPlainSqlite)->Unit(benchmark::kMillisecond);

}  // namespace
