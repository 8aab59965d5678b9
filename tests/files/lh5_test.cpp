// The lh5 codec in memory: round trips over inputs that reach its limits
// (dictionary distance, match length, block count, buffer slides), and
// streams that break the method's rules, which must be refused without a
// read or write outside the buffers (the suite runs under the sanitizers).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "files/huffman.h"
#include "files/lh5_decoder.h"
#include "files/lh5_encoder.h"
#include "tests/files/lh5_support.h"

namespace files {
namespace {

using testing::BitString;
using testing::Bytes;
using testing::Decode;
using testing::Encode;

Bytes Random(std::size_t n, std::uint32_t seed) {
  std::mt19937 rng(seed);
  Bytes out(n);
  for (auto& b : out) b = static_cast<std::uint8_t>(rng());
  return out;
}

Bytes Repeat(const Bytes& unit, std::size_t n) {
  Bytes out;
  while (out.size() < n) out.insert(out.end(), unit.begin(), unit.end());
  out.resize(n);
  return out;
}

// Text over few letters: long hash chains and many short matches.
Bytes Letters(std::size_t n, std::uint32_t seed) {
  std::mt19937 rng(seed);
  Bytes out(n);
  for (auto& b : out) b = static_cast<std::uint8_t>("abcd  \n"[rng() % 7]);
  return out;
}

struct RoundTrip {
  const char* id;
  Bytes input;
};

TEST(Lh5, RoundTrips) {
  const Bytes block = Random(8192, 1);
  const Bytes near_block = Random(8191, 2);
  const RoundTrip cases[] = {
      {"empty", {}},
      {"one byte", {0x41}},
      {"two bytes", {0x41, 0x42}},
      {"a run past the longest match", Bytes(1000, 'x')},
      {"a block of one symbol", Bytes(1536 * 1024, 0)},
      {"the farthest distance", Repeat(block, 4 * 8192)},
      {"just inside it", Repeat(near_block, 3 * 8191)},
      {"more literals than a block counts", Random(70000, 3)},
      {"window slides", Letters(700 * 1024, 4)},
      {"pieces of random",
       [] {
         Bytes b = Random(40000, 5);
         for (std::size_t i = 100; i + 300 < b.size(); i += 977) {
           std::memmove(b.data() + i, b.data() + i / 2, 300);
         }
         return b;
       }()},
  };
  for (const RoundTrip& c : cases) {
    SCOPED_TRACE(c.id);
    const Bytes packed = Encode(c.input);
    Bytes out;
    ASSERT_EQ(Lh5Result::kDone, Decode(packed, c.input.size(), &out));
    EXPECT_TRUE(out == c.input);
  }
}

TEST(Lh5, PacksTextAndRunsWell) {
  EXPECT_LT(Encode(Bytes(1 << 20, 'a')).size(), 2048u);
  EXPECT_LT(Encode(Letters(1 << 16, 9)).size(), (1u << 16) * 45 / 100);
}

// Every cut of a stream, and the same stream asked for more bytes than it
// holds, end early: corrupt, and no byte past the stream is read.
TEST(Lh5, TruncatedStreamsAreCorrupt) {
  const Bytes input = Letters(20000, 6);
  const Bytes packed = Encode(input);
  for (std::size_t cut : {std::size_t{0}, std::size_t{1}, std::size_t{7},
                          packed.size() / 2, packed.size() - 2}) {
    SCOPED_TRACE(cut);
    const Bytes part(packed.begin(), packed.begin() + static_cast<long>(cut));
    Bytes out;
    EXPECT_EQ(Lh5Result::kCorrupt, Decode(part, input.size(), &out));
  }
  Bytes out;
  EXPECT_EQ(Lh5Result::kCorrupt, Decode(packed, input.size() + 300, &out));
  EXPECT_EQ(Lh5Result::kCorrupt, Decode(packed, 0xFFFFFFFFu, &out));
}

// clang-format off
struct Hostile { const char* id; std::string bits; };
const Hostile kHostile[] = {
  // count; T table; C table; P table; codes
  {"block of 0 codes",      "0000000000000000"},
  {"T count past 19",       "0000000000000001 10100"},
  {"T single past 19",      "0000000000000001 00000 10011"},
  {"T length past 16",      "0000000000000001 00011 1111111111110"},
  {"T over-subscribed",     "0000000000000001 00011 001 001 001 00"},
  {"C count past 510",      "0000000000000001 00000 00011 111111111"},
  {"C single past 510",     "0000000000000001 00000 00000 000000000 111111111"},
  // T: 0 and 2 of length 1; C: a run of 20+500 zeros, past 510.
  {"zeros past 510",        "0000000000000001 00011 001 000 001 00 000000010 1 111110100"},
  {"P single past 14",      "0000000000000001 00000 00000 000000000 100000000 0000 1110"},
  // C single 256 (a match of 3) with 3 bytes wanted but only 2.
  {"match past the end",    "0000000000000001 00000 00000 000000000 100000000 0000 0000"},
};
// clang-format on

TEST(Lh5, HostileStreamsAreCorrupt) {
  for (const Hostile& c : kHostile) {
    SCOPED_TRACE(c.id);
    Bytes out;
    EXPECT_EQ(Lh5Result::kCorrupt, Decode(BitString(c.bits), 2, &out));
  }
}

// Damaged streams may decode to anything of the right size or be refused,
// but never leave the buffers.
TEST(Lh5, DamagedStreamsStayInBounds) {
  const Bytes input = Letters(30000, 7);
  const Bytes packed = Encode(input);
  std::mt19937 rng(7);
  for (int i = 0; i < 300; ++i) {
    Bytes bad = packed;
    for (int k = 0; k < 3; ++k) bad[rng() % bad.size()] ^= 1u << (rng() % 8);
    Bytes out;
    if (Decode(bad, input.size(), &out) == Lh5Result::kDone) {
      EXPECT_EQ(input.size(), out.size());
    }
  }
}

// A stream may reach before its first byte, into the spaces every LHA
// decoder starts with.
TEST(Lh5, HistoryStartsAsSpaces) {
  // T codes 2 (a run of zeros) and 3 (length 1); C: 'A' and a match of 4
  // (symbol 257), one bit each; P single 9 (distances 257 to 512, 8 extra
  // bits): 'A', then 4 bytes from 300 back.
  Bytes out;
  ASSERT_EQ(Lh5Result::kDone,
            Decode(BitString("0000000000000010 00100 000 000 001 00 001 "
                             "100000010 0 000101101 1 0 010101011 1 "
                             "0000 1001 0 1 00101011"),
                   5, &out));
  EXPECT_EQ("A    ", std::string(out.begin(), out.end()));
}

TEST(Lh5, SinkAndSourceFailuresStop) {
  const Bytes input = Letters(200000, 8);
  const Bytes packed = Encode(input);
  struct Refusing : ByteSink {
    bool Put(const std::uint8_t*, std::size_t) override { return false; }
  } refusing;
  testing::MemorySource source(packed);
  Lh5Decoder decoder(&source, &refusing);
  ASSERT_TRUE(decoder.Init());
  EXPECT_EQ(Lh5Result::kSinkStopped,
            decoder.Decode(packed.size(), input.size()));

  struct Failing : ByteSource {
    bool Get(std::uint8_t*, std::size_t, std::size_t*) override {
      return false;
    }
  } failing;
  testing::MemorySink sink;
  Lh5Decoder broken(&failing, &sink);
  ASSERT_TRUE(broken.Init());
  EXPECT_EQ(Lh5Result::kSourceFailed,
            broken.Decode(packed.size(), input.size()));

  Lh5Encoder encoder(&refusing);
  ASSERT_TRUE(encoder.Init());
  encoder.Put(input.data(), input.size());
  encoder.Finish();
  EXPECT_FALSE(encoder.ok());
  EXPECT_EQ(0u, encoder.packed_size());
}

// Lengths stay within 16 bits and the code stays complete when the
// frequencies would ask for deeper codes (Fibonacci counts).
TEST(Huffman, LengthsAreLimitedAndComplete) {
  std::uint32_t freq[40];
  freq[0] = freq[1] = 1;
  for (int i = 2; i < 40; ++i) freq[i] = freq[i - 1] + freq[i - 2];
  std::uint8_t len[40];
  ASSERT_EQ(40, huffman::BuildLengths(freq, 40, 16, len));
  std::uint64_t kraft = 0;
  for (std::uint8_t l : len) {
    ASSERT_GE(l, 1);
    ASSERT_LE(l, 16);
    kraft += std::uint64_t{1} << (16 - l);
  }
  EXPECT_EQ(std::uint64_t{1} << 16, kraft);
  EXPECT_GE(len[0], len[39]);

  std::uint16_t codes[40];
  ASSERT_TRUE(huffman::AssignCodes(len, 40, codes));
  huffman::DecodeTable table;
  ASSERT_TRUE(table.Build(len, 40, 8));
  for (int s = 0; s < 40; ++s) {
    int length = 0;
    EXPECT_EQ(
        s, table.Decode(static_cast<std::uint32_t>(codes[s]) << (16 - len[s]),
                        &length));
    EXPECT_EQ(len[s], length);
  }
}

}  // namespace
}  // namespace files
