// files/byte_channels.h: where the codecs take bytes from and send them
// to, so that they run over files, memory or anything else alike.
#pragma once

#include <cstddef>
#include <cstdint>

namespace files {

// Receives bytes in order. A false answer stops the sender.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual bool Put(const std::uint8_t* bytes, std::size_t count) = 0;
};

// Hands out bytes in order: *got 0 at the end. False when reading failed.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual bool Get(std::uint8_t* buffer, std::size_t capacity,
                   std::size_t* got) = 0;
};

}  // namespace files
