// frame/descriptor.h: the component descriptor, a constant record of words
// that every raised error names as its owner.
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace frame {

inline constexpr int kDescriptorWords = 24;
extern const Word kDescriptor[kDescriptorWords];

inline constexpr char16_t kFileName[] = u"tm210std.dll";
inline constexpr char16_t kVersionText[] = u"21.0.108.1";

// Descriptor word 6: copies message `number` into `buffer` (at most
// `capacity` characters with the terminator) and answers the characters
// placed, capacity - 1 when the text was cut, 0 when there is no such
// message. `cls` receives its class when not null.
using MessageLookupFn = std::int32_t (*)(std::uint32_t number,
                                         char16_t* buffer,
                                         std::uint32_t capacity,
                                         std::int32_t* cls);
std::int32_t LookupMessage(std::uint32_t number, char16_t* buffer,
                           std::uint32_t capacity, std::int32_t* cls);

}  // namespace frame
