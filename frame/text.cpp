// frame/text.cpp: counted text objects over the VM's memory manager, and the
// malloc-based manager used until the VM hands over its own.
#include "frame/text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

namespace frame {
namespace {

// --- Built-in memory manager -------------------------------------------------
// Same block layout and slots as the VM's, so that texts made before attach
// (or in tools without a VM) behave alike.

std::byte* BlockOf(char16_t* text) {
  return reinterpret_cast<std::byte*>(text) - kBlockHeaderBytes;
}

void BuiltinFree(MemoryManager*, void* characters) {
  if (characters != nullptr) {
    std::free(BlockOf(static_cast<char16_t*>(characters)));
  }
}

std::uint32_t BuiltinResize(MemoryManager*, char16_t** text,
                            std::uint32_t bytes, std::uint32_t) {
  // Two spare bytes beyond the capacity hold the terminator.
  if (*text == nullptr) {
    void* block = std::malloc(kBlockHeaderBytes + std::size_t{bytes} + 2);
    if (block == nullptr) return kTextNoMemory;
    auto* header = static_cast<BlockHeader*>(block);
    *header = BlockHeader{0, 1, bytes, 0};
    auto* characters = reinterpret_cast<char16_t*>(header + 1);
    characters[0] = u'\0';
    *text = characters;
    return 0;
  }
  BlockHeader* header = TextHeader(*text);
  if (header->capacity >= bytes) return 0;
  // Grow by half again at least, so that texts built piece by piece do not
  // reallocate at every step.
  const auto capacity = static_cast<std::uint32_t>(
      std::clamp<std::uint64_t>(header->capacity + header->capacity / 2, bytes,
                                std::max<std::uint64_t>(bytes, kMaxTextBytes)));
  void* block = std::realloc(BlockOf(*text),
                             kBlockHeaderBytes + std::size_t{capacity} + 2);
  if (block == nullptr) return kTextNoMemory;
  header = static_cast<BlockHeader*>(block);
  header->capacity = capacity;
  *text = reinterpret_cast<char16_t*>(header + 1);
  return 0;
}

const std::array<Word, kMemResize + 1>& BuiltinOps() {
  static const std::array<Word, kMemResize + 1> ops = [] {
    std::array<Word, kMemResize + 1> table{};
    table[kMemFree] = reinterpret_cast<Word>(&BuiltinFree);
    table[kMemResize] = reinterpret_cast<Word>(&BuiltinResize);
    return table;
  }();
  return ops;
}

MemoryManager* installed_manager = nullptr;

// --- Block helpers -----------------------------------------------------------

std::atomic_ref<std::int32_t> CountOf(char16_t* text) {
  return std::atomic_ref<std::int32_t>(TextHeader(text)->count);
}

bool IsShared(char16_t* text) {
  return CountOf(text).load(std::memory_order_acquire) >= 2;
}

std::uint32_t Grow(char16_t** text, std::uint32_t bytes) {
  MemoryManager* manager = CurrentMemoryManager();
  auto resize = reinterpret_cast<MemResizeFn>(manager->ops[kMemResize]);
  return resize(manager, text, bytes, 0);
}

// Sets the length and writes the terminator in the two bytes after it,
// which the manager keeps beyond the capacity.
void SetLength(char16_t* text, std::uint32_t bytes) {
  TextHeader(text)->length = bytes;
  std::memset(reinterpret_cast<std::byte*>(text) + bytes, 0, 2);
}

// Assign of `bytes` (> 0) bytes from `source`, which may lie inside the
// text's own block.
std::uint32_t AssignRaw(char16_t** text, const void* source,
                        std::uint32_t bytes) {
  if (*text != nullptr && !IsShared(*text)) {
    // A source inside this block is never longer than its capacity, so it
    // does not move before it is copied.
    if (bytes > TextHeader(*text)->capacity) {
      if (const std::uint32_t status = Grow(text, bytes); status != 0) {
        return status;
      }
    }
    std::memmove(*text, source, bytes);
    SetLength(*text, bytes);
    return 0;
  }
  // The shared block is dropped either way; the new one is filled before
  // that, since the source may be the shared text itself.
  char16_t* fresh = nullptr;
  if (const std::uint32_t status = Grow(&fresh, bytes); status != 0) {
    ReleaseText(text);
    return status;
  }
  std::memcpy(fresh, source, bytes);
  SetLength(fresh, bytes);
  ReleaseText(text);
  *text = fresh;
  return 0;
}

}  // namespace

void SetMemoryManager(MemoryManager* manager) { installed_manager = manager; }

MemoryManager* CurrentMemoryManager() {
  if (installed_manager != nullptr) return installed_manager;
  static MemoryManager builtin{BuiltinOps().data()};
  return &builtin;
}

BlockHeader* TextHeader(char16_t* text) {
  return reinterpret_cast<BlockHeader*>(BlockOf(text));
}

const BlockHeader* TextHeader(const char16_t* text) {
  return reinterpret_cast<const BlockHeader*>(
      reinterpret_cast<const std::byte*>(text) - kBlockHeaderBytes);
}

char16_t* LoadText(const void* where) {
  char16_t* text;
  std::memcpy(&text, where, sizeof text);
  return text;
}

void StoreText(void* where, char16_t* text) {
  std::memcpy(where, &text, sizeof text);
}

void ReleaseText(char16_t** text) {
  char16_t* const old = *text;
  if (old == nullptr) return;
  *text = nullptr;
  if (CountOf(old).fetch_sub(1, std::memory_order_acq_rel) == 1) {
    MemoryManager* manager = CurrentMemoryManager();
    reinterpret_cast<MemFreeFn>(manager->ops[kMemFree])(manager, old);
  }
}

void CopyText(char16_t** destination, char16_t* source) {
  // Count first: copying a text onto itself must not free it.
  if (source != nullptr) {
    CountOf(source).fetch_add(1, std::memory_order_relaxed);
  }
  char16_t* old = *destination;
  *destination = source;
  ReleaseText(&old);
}

std::uint32_t AssignText(char16_t** text, const char16_t* chars,
                         std::int32_t count) {
  if (count == kUpToTerminator) {
    count = 0;
    if (chars != nullptr) {
      count = static_cast<std::int32_t>(std::min<std::size_t>(
          std::char_traits<char16_t>::length(chars), kMaxTextChars));
    }
  }
  if (static_cast<std::uint32_t>(count) >= kMaxTextChars) return kTextTooLong;
  if (chars == nullptr || count == 0) {
    ReleaseText(text);
    return 0;
  }
  return AssignRaw(text, chars, static_cast<std::uint32_t>(count) * 2);
}

std::uint32_t AssignText(char16_t** text, std::u16string_view chars) {
  if (chars.size() >= kMaxTextChars) return kTextTooLong;
  return AssignText(text, chars.data(),
                    static_cast<std::int32_t>(chars.size()));
}

std::uint32_t AssignBytes(char16_t** text,
                          std::span<const std::uint8_t> bytes) {
  if (bytes.size() > static_cast<std::size_t>(kMaxTextBytes)) {
    return kTextTooLong;
  }
  if (bytes.empty()) {
    ReleaseText(text);
    return 0;
  }
  return AssignRaw(text, bytes.data(),
                   static_cast<std::uint32_t>(bytes.size()));
}

std::uint32_t ResizeText(char16_t** text, std::int32_t bytes) {
  if (bytes < 0 || bytes > kMaxTextBytes) return kTextTooLong;
  if (bytes == 0) {
    ReleaseText(text);
    return 0;
  }
  const auto size = static_cast<std::uint32_t>(bytes);
  if (*text == nullptr || !IsShared(*text)) {
    const std::uint32_t old_length =
        *text == nullptr ? 0 : TextHeader(*text)->length;
    if (*text == nullptr || size > TextHeader(*text)->capacity) {
      if (const std::uint32_t status = Grow(text, size); status != 0) {
        return status;
      }
    }
    if (size > old_length) {
      std::memset(reinterpret_cast<std::byte*>(*text) + old_length, 0,
                  size - old_length);
    }
    SetLength(*text, size);
    return 0;
  }
  // Copy on write: the other holders keep the old block as it was.
  char16_t* fresh = nullptr;
  if (const std::uint32_t status = Grow(&fresh, size); status != 0) {
    return status;
  }
  const BlockHeader* old = TextHeader(*text);
  const std::uint32_t kept = std::min(size, old->length);
  std::memcpy(fresh, *text, kept);
  std::memset(reinterpret_cast<std::byte*>(fresh) + kept, 0, size - kept);
  TextHeader(fresh)->tag = old->tag;
  SetLength(fresh, size);
  ReleaseText(text);
  *text = fresh;
  return 0;
}

std::size_t TextLength(const char16_t* text) {
  return TextByteLength(text) / 2;
}

std::size_t TextByteLength(const char16_t* text) {
  return text == nullptr ? 0 : TextHeader(text)->length;
}

std::u16string_view TextView(const char16_t* text) {
  if (text == nullptr) return {};
  return std::u16string_view(text, TextLength(text));
}

std::span<const std::uint8_t> TextBytes(const char16_t* text) {
  if (text == nullptr) return {};
  return {reinterpret_cast<const std::uint8_t*>(text), TextByteLength(text)};
}

ScopedText& ScopedText::operator=(ScopedText&& other) noexcept {
  if (this != &other) {
    ReleaseText(&text_);
    text_ = other.Take();
  }
  return *this;
}

char16_t* ScopedText::Take() {
  char16_t* text = text_;
  text_ = nullptr;
  return text;
}

}  // namespace frame
