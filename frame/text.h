// frame/text.h: counted UTF-16 text objects. A text object is one word that
// is null (the empty text) or points at the characters of a block of the
// VM's memory manager; the block's header (tag, count, capacity, length)
// sits just before the characters. Blocks are shared by reference count so
// the VM can keep a returned text without copying it.
//
//   memory manager | unaligned words | release, copy, assign, resize
//   views          | ScopedText
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "frame/abi.h"

namespace frame {

// Status of an assign or resize beyond the size limit of a block.
inline constexpr std::uint32_t kTextTooLong = 108;
// Assign takes fewer characters than this; resize at most this many bytes.
inline constexpr std::uint32_t kMaxTextChars = 0x7FFFFF00;
inline constexpr std::int32_t kMaxTextBytes = 0x7FFFFEFF;
// The count that makes assign measure up to the terminating zero.
inline constexpr std::int32_t kUpToTerminator = -1;
// Status of the built-in memory manager when the heap is exhausted (the
// system's "not enough memory" number).
inline constexpr std::uint32_t kTextNoMemory = 8;

// --- Memory manager ----------------------------------------------------------

// Installs the VM's allocator; null goes back to the built-in one. A block
// must be freed by the manager that made it, so this is set at attach,
// before texts are kept across calls.
void SetMemoryManager(MemoryManager* manager);
// The VM's allocator, or a malloc-based one with the same slots while the
// VM has given none.
MemoryManager* CurrentMemoryManager();

// The header of a non-null text object.
BlockHeader* TextHeader(char16_t* text);
const BlockHeader* TextHeader(const char16_t* text);

// --- Words inside host records -----------------------------------------------

// Text objects may lie at any address inside host records: these read and
// write such a word byte by byte. Operate on a local copy, store it back.
char16_t* LoadText(const void* where);
void StoreText(void* where, char16_t* text);

// --- Operations --------------------------------------------------------------
// Every write keeps a zero character after the length, so a non-null text
// object is also a zero-terminated string.

// Drops one reference; the last one frees the block. Leaves *text null.
void ReleaseText(char16_t** text);

// Makes *destination share source's block (one more reference) after
// releasing what it held; a null source leaves it empty.
void CopyText(char16_t** destination, char16_t* source);

// Replaces the text with `count` characters, or up to the terminator for
// kUpToTerminator. A null source or a count of 0 releases: the empty text is
// always null, never an empty block. An unshared block is reused (and grown
// through the manager); a shared one is left to its other holders. Returns
// 0, the manager's error code, or kTextTooLong for counts of kMaxTextChars
// and above (other negative counts included). When the manager fails, an
// unshared text is unchanged and a shared one has been released (empty).
std::uint32_t AssignText(char16_t** text, const char16_t* chars,
                         std::int32_t count);
std::uint32_t AssignText(char16_t** text, std::u16string_view chars);

// Replaces the content with raw bytes: byte blocks (buffer values) are text
// objects whose length may be odd. Same rules and statuses as AssignText.
std::uint32_t AssignBytes(char16_t** text, std::span<const std::uint8_t> bytes);

// Sets the length to `bytes`, keeping the content up to it; bytes past the
// old length read as zero. An unshared block grows through the manager; a
// shared one is copied (content and tag) and the copy replaces it. A size
// of 0 releases the text. Returns 0, the manager's error code, or
// kTextTooLong for a negative size or one above kMaxTextBytes.
std::uint32_t ResizeText(char16_t** text, std::int32_t bytes);

// --- Views -------------------------------------------------------------------

// Length in characters (an odd byte length rounds down) and in bytes.
std::size_t TextLength(const char16_t* text);
std::size_t TextByteLength(const char16_t* text);
std::u16string_view TextView(const char16_t* text);
std::span<const std::uint8_t> TextBytes(const char16_t* text);

// Owns one text object and releases it at scope end.
class ScopedText {
 public:
  ScopedText() = default;
  // Takes over a reference the caller owns.
  explicit ScopedText(char16_t* adopted) : text_(adopted) {}
  ~ScopedText() { ReleaseText(&text_); }
  ScopedText(ScopedText&& other) noexcept : text_(other.Take()) {}
  ScopedText& operator=(ScopedText&& other) noexcept;
  ScopedText(const ScopedText&) = delete;
  ScopedText& operator=(const ScopedText&) = delete;

  char16_t* get() const { return text_; }
  // The word itself, for routines that fill a text object.
  char16_t** out() { return &text_; }
  // Hands the reference to the caller and leaves this empty.
  char16_t* Take();

  std::uint32_t Assign(std::u16string_view chars) {
    return AssignText(&text_, chars);
  }
  std::u16string_view view() const { return TextView(text_); }
  bool empty() const { return TextByteLength(text_) == 0; }

 private:
  char16_t* text_ = nullptr;
};

}  // namespace frame
