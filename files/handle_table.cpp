// files/handle_table.cpp: the table of open files and shared zones.
//
// Numbers are handed out ever-increasing from 2 and never reused while the
// library runs, so that a program closing a number twice, or using one it
// closed, is told the number is unknown instead of reaching another file.
// Library end closes everything and starts the numbers again from 2.
#include "files/handle_table.h"

#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "frame/entry.h"

namespace files {
namespace {

constexpr std::int32_t kFirstNumber = 2;

struct Entry {
  HandleKind kind;
  std::unique_ptr<IXStream> stream;
};

struct Table {
  std::mutex mutex;
  std::map<std::int32_t, Entry> entries;
  std::int32_t next = kFirstNumber;
};

// Built in static storage and never destroyed: at process exit the
// platform may already be gone, and the streams are closed at library end.
// Nothing is allocated for it, so unloading the library leaks nothing.
Table& TheTable() {
  alignas(Table) static unsigned char storage[sizeof(Table)];
  static Table* table = new (storage) Table;
  return *table;
}

}  // namespace

std::int32_t AddHandle(HandleKind kind, std::unique_ptr<IXStream> stream) {
  frame::AtLibraryEnd(&CloseAllHandles);
  Table& t = TheTable();
  std::lock_guard<std::mutex> lock(t.mutex);
  // After 2^31 numbers the count starts again, past the ones still open.
  while (t.entries.count(t.next) != 0 ||
         t.next == std::numeric_limits<std::int32_t>::max()) {
    t.next = t.next == std::numeric_limits<std::int32_t>::max() ? kFirstNumber
                                                                : t.next + 1;
  }
  const std::int32_t number = t.next++;
  t.entries.emplace(number, Entry{kind, std::move(stream)});
  return number;
}

IXStream* FindHandle(std::int32_t number, HandleKind* kind) {
  Table& t = TheTable();
  std::lock_guard<std::mutex> lock(t.mutex);
  const auto it = t.entries.find(number);
  if (it == t.entries.end()) return nullptr;
  if (kind != nullptr) *kind = it->second.kind;
  return it->second.stream.get();
}

bool CloseHandle(std::int32_t number) {
  std::unique_ptr<IXStream> stream;
  {
    Table& t = TheTable();
    std::lock_guard<std::mutex> lock(t.mutex);
    const auto it = t.entries.find(number);
    if (it == t.entries.end()) return false;
    stream = std::move(it->second.stream);
    t.entries.erase(it);
  }
  // Closed outside the lock: a zone's close may wait on other processes.
  if (stream != nullptr) {
    stream->set_sink(nullptr);
    stream->Close();
  }
  return true;
}

void CloseAllHandles() {
  std::map<std::int32_t, Entry> entries;
  {
    Table& t = TheTable();
    std::lock_guard<std::mutex> lock(t.mutex);
    entries.swap(t.entries);
    t.next = kFirstNumber;
  }
  for (auto& [number, entry] : entries) {
    if (entry.stream == nullptr) continue;
    entry.stream->set_sink(nullptr);
    entry.stream->Close();
  }
}

}  // namespace files
