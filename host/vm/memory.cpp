// host/vm/memory.cpp: the text block allocator behind the memory manager.
#include "host/vm/memory.h"

#include <cstdlib>
#include <cstring>

#include "host/unset_slots.h"

namespace vm {
namespace {

struct MemoryTag {
  static constexpr const char* kName = "VM memory manager";
};
constexpr std::size_t kMemorySlots = 8;
constexpr std::size_t kTerminatorBytes = 2;

}  // namespace

Memory::Memory() {
  static const auto ops = [] {
    auto table = UnsetTable<MemoryTag, kMemorySlots>();
    table[frame::kMemFree] = SlotWord(&Memory::FreeSlot);
    table[frame::kMemResize] = SlotWord(&Memory::ResizeSlot);
    return table;
  }();
  manager_.ops = ops.data();
  manager_.owner = this;
}

MemoryStats Memory::Stats() const {
  MemoryStats s;
  s.allocations = allocations_.load();
  s.frees = frees_.load();
  s.grows = grows_.load();
  s.failures = failures_.load();
  s.live = s.allocations - s.frees;
  return s;
}

frame::BlockHeader* Memory::Header(const void* characters) {
  auto* bytes = static_cast<unsigned char*>(const_cast<void*>(characters));
  return reinterpret_cast<frame::BlockHeader*>(bytes -
                                               frame::kBlockHeaderBytes);
}

bool Memory::Refuse() {
  int n = fail_after_.load();
  while (n >= 0) {
    if (fail_after_.compare_exchange_weak(n, n - 1)) {
      if (n == 0) {
        failures_.fetch_add(1);
        return true;
      }
      return false;
    }
  }
  return false;
}

char16_t* Memory::NewBlock(std::uint32_t capacity) {
  if (Refuse()) return nullptr;
  const std::size_t size =
      frame::kBlockHeaderBytes + std::size_t{capacity} + kTerminatorBytes;
  void* raw = std::calloc(1, size);
  if (raw == nullptr) {
    failures_.fetch_add(1);
    return nullptr;
  }
  auto* header = static_cast<frame::BlockHeader*>(raw);
  header->capacity = capacity;
  allocations_.fetch_add(1);
  return reinterpret_cast<char16_t*>(static_cast<unsigned char*>(raw) +
                                     frame::kBlockHeaderBytes);
}

std::uint32_t Memory::Resize(char16_t** text, std::uint32_t bytes) {
  if (*text == nullptr) {
    char16_t* block = NewBlock(bytes);
    if (block == nullptr) return kOutOfMemory;
    Header(block)->count = 1;
    *text = block;
    return 0;
  }
  const frame::BlockHeader* old = Header(*text);
  if (old->capacity >= bytes) return 0;
  char16_t* block = NewBlock(bytes);
  if (block == nullptr) return kOutOfMemory;
  frame::BlockHeader* header = Header(block);
  header->tag = old->tag;
  header->count = old->count;
  header->length = old->length;
  std::memcpy(block, *text, old->capacity);
  Free(*text);
  grows_.fetch_add(1);
  *text = block;
  return 0;
}

void Memory::Free(void* characters) {
  if (characters == nullptr) return;
  std::free(Header(characters));
  frees_.fetch_add(1);
}

std::uint32_t Memory::ResizeSlot(frame::MemoryManager* mm, char16_t** text,
                                 std::uint32_t bytes, std::uint32_t) {
  return static_cast<Manager*>(mm)->owner->Resize(text, bytes);
}

void Memory::FreeSlot(frame::MemoryManager* mm, void* characters) {
  static_cast<Manager*>(mm)->owner->Free(characters);
}

}  // namespace vm
