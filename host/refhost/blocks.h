// host/refhost/blocks.h: text objects as the VM holds them: counted blocks
// of the VM's memory manager, shared by reference count.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "frame/abi.h"
#include "host/common/encoding.h"

namespace refhost {

class Blocks {
 public:
  explicit Blocks(frame::MemoryManager* memory) : memory_(memory) {}

  // A new text object (count 1) holding `size` bytes; null for none, and
  // null when the memory manager refuses.
  char16_t* New(const void* bytes, std::size_t size) const;
  char16_t* NewText(std::u16string_view text) const {
    return New(text.data(), text.size() * sizeof(char16_t));
  }

  // Takes one more reference (an interlocked increment).
  static void AddRef(char16_t* text);
  // Drops one reference; the last frees the block through the memory
  // manager. Null is the empty text.
  void Release(char16_t* text) const;

  static frame::BlockHeader* Header(const char16_t* text);
  static std::u16string TextOf(const char16_t* text);
  static common::Bytes BytesOf(const char16_t* text);

 private:
  frame::MemoryManager* memory_;
};

}  // namespace refhost
