// host/vm/conversion.h: the VM's value conversion behind its export
// nConversionDepassementExt, between the VM types 1 (boolean), 8, 9, 10
// (decimal), 12 (real), 16 (text object), 28 (byte block in a text object)
// and the one-word types 13, 18 and 110.
#pragma once

#include <cstdint>

#include "host/vm/memory.h"

namespace vm {

// Reads `storage` as `type` and writes it to `dest` as `target`: 4 bytes
// for 1 and 8, 8 for 9 and 12, 10 for a decimal, a word for the others (a
// new text object, null for an empty text). Returns 0 or one of the
// kConv... codes; `dest` is untouched on failure.
std::uint32_t Convert(Memory& memory, const void* storage, std::uint32_t type,
                      void* dest, std::uint32_t target);

}  // namespace vm
