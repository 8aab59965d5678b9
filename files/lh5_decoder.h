// files/lh5_decoder.h: the lh5 decoder. It reads at most the packed size
// from its source and writes exactly the original size to its sink, in
// fixed buffers (about 120 KiB) whatever the sizes say. A stream that
// breaks the method's rules, ends early or would run past the original
// size is refused as corrupt.
#pragma once

#include <cstdint>
#include <memory>

#include "files/byte_channels.h"

namespace files {

enum class Lh5Result {
  kDone,
  kCorrupt,       // not an lh5 stream of that size
  kSourceFailed,  // a read failed
  kSinkStopped,   // the sink refused bytes
};

class Lh5Decoder {
 public:
  Lh5Decoder(ByteSource* source, ByteSink* sink);
  ~Lh5Decoder();
  Lh5Decoder(const Lh5Decoder&) = delete;
  Lh5Decoder& operator=(const Lh5Decoder&) = delete;

  // Allocates the buffers; false when memory is short.
  bool Init();
  Lh5Result Decode(std::uint64_t packed_size, std::uint64_t original_size);

 private:
  struct State;
  ByteSource* source_;
  ByteSink* sink_;
  std::unique_ptr<State> state_;
};

}  // namespace files
