// frame/resource_block.cpp: the resource block, 29,481 bytes in a protected
// form. Its content is a fixed pseudo-random sequence, the same in every
// build, so the VM always receives identical bytes.
#include "frame/resource_block.h"

#include <array>

namespace frame {
namespace {

constexpr std::array<unsigned char, kResourceBlockSize> Build() {
  std::array<unsigned char, kResourceBlockSize> block{};
  std::uint32_t state = 0x53544438;  // "STD8"
  for (auto& byte : block) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    byte = static_cast<unsigned char>(state >> 11);
  }
  return block;
}

constexpr std::array<unsigned char, kResourceBlockSize> kBlock = Build();

}  // namespace

const unsigned char* ResourceBlock() { return kBlock.data(); }

}  // namespace frame
