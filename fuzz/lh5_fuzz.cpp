// fuzz/lh5_fuzz.cpp: the lh5 decoder over any bytes. The first three bytes
// give the original size it is asked for (up to 16 MiB), the rest is the
// stream. It may refuse; it may not crash, hang, over-read or write more
// than the size asked for.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "files/lh5_decoder.h"

namespace {

struct Source : files::ByteSource {
  const std::uint8_t* data;
  std::size_t left;
  bool Get(std::uint8_t* buffer, std::size_t capacity,
           std::size_t* got) override {
    *got = capacity < left ? capacity : left;
    std::memcpy(buffer, data, *got);
    data += *got;
    left -= *got;
    return true;
  }
};

struct Sink : files::ByteSink {
  std::uint64_t received = 0;
  bool Put(const std::uint8_t*, std::size_t count) override {
    received += count;
    return true;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size < 3) return 0;
  const std::uint64_t original = data[0] | (data[1] << 8) | (data[2] << 16);
  Source source;
  source.data = data + 3;
  source.left = size - 3;
  Sink sink;
  files::Lh5Decoder decoder(&source, &sink);
  if (!decoder.Init()) std::abort();
  const files::Lh5Result result = decoder.Decode(size - 3, original);
  if (sink.received > original) std::abort();
  if (result == files::Lh5Result::kDone && sink.received != original) {
    std::abort();
  }
  return 0;
}
