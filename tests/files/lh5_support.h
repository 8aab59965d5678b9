// tests/files/lh5_support.h: the lh5 codec over memory, and streams
// written by hand as strings of bits, for the codec's tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "files/lh5_decoder.h"
#include "files/lh5_encoder.h"

namespace files::testing {

using Bytes = std::vector<std::uint8_t>;

struct MemorySink : ByteSink {
  bool Put(const std::uint8_t* bytes, std::size_t count) override {
    data.insert(data.end(), bytes, bytes + count);
    return true;
  }
  Bytes data;
};

struct MemorySource : ByteSource {
  explicit MemorySource(const Bytes& bytes) : data(bytes) {}
  bool Get(std::uint8_t* buffer, std::size_t capacity,
           std::size_t* got) override {
    *got = std::min(capacity, data.size() - at);
    std::memcpy(buffer, data.data() + at, *got);
    at += *got;
    return true;
  }
  const Bytes& data;
  std::size_t at = 0;
};

// Pushed in uneven pieces, as reads deliver them.
inline Bytes Encode(const Bytes& input) {
  MemorySink sink;
  Lh5Encoder encoder(&sink);
  if (!encoder.Init()) return {};
  std::size_t at = 0;
  for (std::size_t piece = 1; at < input.size(); piece = piece * 3 + 1) {
    const std::size_t n = std::min(piece % 70000 + 1, input.size() - at);
    encoder.Put(input.data() + at, n);
    at += n;
  }
  encoder.Finish();
  return sink.data;
}

inline Lh5Result Decode(const Bytes& packed, std::uint64_t original,
                        Bytes* out) {
  MemorySource source(packed);
  MemorySink sink;
  Lh5Decoder decoder(&source, &sink);
  if (!decoder.Init()) return Lh5Result::kSinkStopped;
  const Lh5Result result = decoder.Decode(packed.size(), original);
  *out = std::move(sink.data);
  return result;
}

// "0101 1..." to bytes, the first bit the highest, blanks ignored, the
// last byte padded with 0 bits.
inline Bytes BitString(std::string_view bits) {
  Bytes out;
  int count = 0;
  for (char c : bits) {
    if (c != '0' && c != '1') continue;
    if (count % 8 == 0) out.push_back(0);
    if (c == '1') out.back() |= static_cast<std::uint8_t>(0x80 >> (count % 8));
    ++count;
  }
  return out;
}

}  // namespace files::testing
