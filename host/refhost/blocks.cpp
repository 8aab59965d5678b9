// host/refhost/blocks.cpp: text objects over the memory manager's slots.
#include "host/refhost/blocks.h"

#include <atomic>
#include <cstring>

namespace refhost {

char16_t* Blocks::New(const void* bytes, std::size_t size) const {
  if (size == 0 || size > 0x7FFFFEFF) return nullptr;
  auto resize =
      reinterpret_cast<frame::MemResizeFn>(memory_->ops[frame::kMemResize]);
  char16_t* text = nullptr;
  const auto n = static_cast<std::uint32_t>(size);
  if (resize(memory_, &text, n, 0) != 0 || text == nullptr) return nullptr;
  std::memcpy(text, bytes, size);
  Header(text)->length = n;
  return text;
}

void Blocks::AddRef(char16_t* text) {
  if (text == nullptr) return;
  std::atomic_ref<std::int32_t>(Header(text)->count).fetch_add(1);
}

void Blocks::Release(char16_t* text) const {
  if (text == nullptr) return;
  if (std::atomic_ref<std::int32_t>(Header(text)->count).fetch_sub(1) == 1) {
    auto free =
        reinterpret_cast<frame::MemFreeFn>(memory_->ops[frame::kMemFree]);
    free(memory_, text);
  }
}

frame::BlockHeader* Blocks::Header(const char16_t* text) {
  auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char16_t*>(text));
  return reinterpret_cast<frame::BlockHeader*>(bytes -
                                               frame::kBlockHeaderBytes);
}

std::u16string Blocks::TextOf(const char16_t* text) {
  if (text == nullptr) return {};
  return std::u16string(text, Header(text)->length / sizeof(char16_t));
}

common::Bytes Blocks::BytesOf(const char16_t* text) {
  if (text == nullptr) return {};
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text);
  return common::Bytes(bytes, bytes + Header(text)->length);
}

}  // namespace refhost
