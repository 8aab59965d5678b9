// frame/resource_block.h: the compiled resource block the VM asks for with
// InfoComposante 40/41. The component hands it out and never reads it.
#pragma once

#include <cstdint>

namespace frame {

inline constexpr std::uint32_t kResourceBlockSize = 29481;
const unsigned char* ResourceBlock();

}  // namespace frame
