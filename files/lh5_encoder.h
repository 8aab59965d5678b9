// files/lh5_encoder.h: the lh5 encoder. Bytes are pushed in as they are
// read; packed bytes leave through a sink as blocks complete. Memory is
// fixed at set-up (about 640 KiB) whatever the length of the input. When
// the sink refuses bytes the encoder goes on accepting input but sends
// nothing more.
//
//   Lh5Encoder encoder(&sink);
//   if (!encoder.Init()) ...;             // no memory
//   encoder.Put(data, size);              // as often as needed
//   encoder.Finish();                     // the last block, the last bits
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "files/byte_channels.h"

namespace files {

class Lh5Encoder {
 public:
  explicit Lh5Encoder(ByteSink* sink);
  ~Lh5Encoder();
  Lh5Encoder(const Lh5Encoder&) = delete;
  Lh5Encoder& operator=(const Lh5Encoder&) = delete;

  // Allocates the tables; false when memory is short.
  bool Init();
  void Put(const std::uint8_t* data, std::size_t count);
  // Sends what is pending and pads the last byte with 0 bits.
  void Finish();

  // Packed bytes handed to the sink so far.
  std::uint64_t packed_size() const;
  // False once the sink refused bytes.
  bool ok() const;

 private:
  struct State;
  ByteSink* sink_;
  std::unique_ptr<State> state_;
};

}  // namespace files
