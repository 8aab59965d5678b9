// frame/messages.cpp: the message block. Records lie end to end, each with
// its length, message number, flag byte, text length and scrambled UTF-16
// text at an odd offset; the first record is a header. An index of record
// offsets is built on first use and searched by message number.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/xerror.h"

namespace frame {

extern const unsigned char kMessageBlock[];
extern const std::size_t kMessageBlockSize;

namespace {

constexpr std::size_t kTextOffset = 7;

std::uint16_t Read16(std::size_t at) {
  return static_cast<std::uint16_t>(kMessageBlock[at] |
                                    (kMessageBlock[at + 1] << 8));
}

// Offsets of the message records, header excluded.
const std::vector<std::size_t>& Index() {
  static const std::vector<std::size_t> index = [] {
    std::vector<std::size_t> offsets;
    std::size_t at = Read16(0);  // skip the header
    while (at + 2 <= kMessageBlockSize) {
      const std::uint16_t length = Read16(at);
      if (length < kTextOffset || at + length > kMessageBlockSize) break;
      offsets.push_back(at);
      at += length;
    }
    return offsets;
  }();
  return index;
}

void Unscramble(std::uint16_t message, const unsigned char* data,
                std::size_t bytes, std::u16string* text) {
  std::uint32_t state = 0x5EED0000u ^ (message * 2654435761u);
  text->resize(bytes / 2);
  for (std::size_t i = 0; i < bytes; i += 2) {
    state = state * 1103515245u + 12345u;
    const unsigned lo = data[i] ^ (state >> 24);
    state = state * 1103515245u + 12345u;
    const unsigned hi = data[i + 1] ^ (state >> 24);
    (*text)[i / 2] = static_cast<char16_t>(lo | (hi << 8));
  }
}

}  // namespace

bool FindMessage(std::uint32_t number, std::u16string* text, int* cls) {
  const std::uint16_t wanted = static_cast<std::uint16_t>(number);
  const std::vector<std::size_t>& index = Index();
  std::size_t low = 0, high = index.size();
  while (low < high) {
    const std::size_t mid = low + (high - low) / 2;
    const std::uint16_t found = Read16(index[mid] + 2);
    if (found < wanted) {
      low = mid + 1;
    } else if (found > wanted) {
      high = mid;
    } else {
      const std::size_t at = index[mid];
      const std::size_t chars = Read16(at + 5);
      const std::size_t room = Read16(at) - kTextOffset;
      if (cls != nullptr) *cls = kMessageBlock[at + 4] & 3;
      if (text != nullptr) {
        Unscramble(wanted, kMessageBlock + at + kTextOffset,
                   std::min(chars * 2, room & ~std::size_t{1}), text);
      }
      return true;
    }
  }
  return false;
}

}  // namespace frame
