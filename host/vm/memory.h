// host/vm/memory.h: the VM's memory manager for text blocks. A block is a
// BlockHeader, the characters and two spare bytes kept zero for a
// terminator; a text object points at the characters.
#pragma once

#include <atomic>
#include <cstdint>

#include "frame/abi.h"
#include "host/vm/control.h"

namespace vm {

class Memory {
 public:
  Memory();
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;

  // Shared with the component, which calls through it; hence not const.
  frame::MemoryManager* manager() const {
    return const_cast<Manager*>(&manager_);
  }
  MemoryStats Stats() const;
  void FailAllocation(int successes) { fail_after_.store(successes); }

  // Slot 5: creates the block of a null text object (count 1, tag 0,
  // length 0) or grows one whose capacity is below `bytes`, keeping tag,
  // count, length and contents. 0, or kOutOfMemory with *text unchanged.
  std::uint32_t Resize(char16_t** text, std::uint32_t bytes);
  // Slot 3: frees the block whose characters start at `characters`.
  void Free(void* characters);

  static frame::BlockHeader* Header(const void* characters);

 private:
  // Object whose first word is the operation table; `owner` leads back.
  struct Manager : frame::MemoryManager {
    Memory* owner;
  };
  static std::uint32_t ResizeSlot(frame::MemoryManager* mm, char16_t** text,
                                  std::uint32_t bytes, std::uint32_t flags);
  static void FreeSlot(frame::MemoryManager* mm, void* characters);

  char16_t* NewBlock(std::uint32_t capacity);
  bool Refuse();

  Manager manager_;
  std::atomic<int> fail_after_{-1};
  std::atomic<std::int64_t> allocations_{0};
  std::atomic<std::int64_t> frees_{0};
  std::atomic<std::int64_t> grows_{0};
  std::atomic<std::int64_t> failures_{0};
};

}  // namespace vm
