// files/lh5_decoder.cpp: the lh5 decoder.
//
//   bit reader | tables of a block | the codes
//
// The history starts as 8 KiB of spaces, as LHA decoders start it, so
// that a stream which reaches before its first byte reads what they read.
// Past the packed size the reader feeds 0 bits; a stream that uses them is
// corrupt. A broken rule ends the decoding by throwing Corrupt, which
// never leaves Decode.
#include "files/lh5_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "files/huffman.h"
#include "files/lh5_format.h"

namespace files {
namespace {

using namespace lh5;

constexpr std::size_t kInputSize = 32 * 1024;
constexpr int kOutputChunk = 64 * 1024;
constexpr int kOutputSize = kDictSize + kOutputChunk + kMaxMatch + 8;
constexpr int kCTableBits = 12;
constexpr int kPtTableBits = 8;

class Corrupt {};

}  // namespace

struct Lh5Decoder::State {
  ByteSource* source;
  ByteSink* sink;

  // ---- Bit reader -----------------------------------------------------------

  std::uint8_t input[kInputSize];
  std::size_t in_pos = 0;
  std::size_t in_end = 0;
  std::uint64_t packed_left = 0;  // bytes the source may still give
  std::uint64_t bits = 0;         // the next bits, the first the highest
  int count = 0;                  // how many are loaded (the rest are 0)
  std::uint32_t fed_zeros = 0;    // 0 bytes fed past the packed size
  bool read_failed = false;

  // Moves the unread bytes to the front and reads more.
  void FillInput() {
    const std::size_t keep = in_end - in_pos;
    std::memmove(input, input + in_pos, keep);
    in_pos = 0;
    in_end = keep;
    while (packed_left > 0 && in_end < kInputSize && !read_failed) {
      const std::size_t want = static_cast<std::size_t>(
          std::min<std::uint64_t>(packed_left, kInputSize - in_end));
      std::size_t got = 0;
      if (!source->Get(input + in_end, want, &got)) {
        read_failed = true;
        break;
      }
      if (got == 0) {  // the source ended before the packed size
        packed_left = 0;
        break;
      }
      in_end += got;
      packed_left -= got;
    }
  }

  // At least 56 bits in `bits` afterwards.
  void Refill() {
    if (count > 56) return;
    if (in_end - in_pos >= 8) {
      std::uint64_t v = 0;
      for (int i = 0; i < 8; ++i) v = (v << 8) | input[in_pos + i];
      const int take = (63 - count) >> 3;
      bits |= v >> count;
      in_pos += static_cast<std::size_t>(take);
      count += take * 8;
      bits &= ~std::uint64_t{0} << (64 - count);
      return;
    }
    while (count <= 56) {
      if (in_pos == in_end) FillInput();
      std::uint64_t byte = 0;
      if (in_pos < in_end) {
        byte = input[in_pos++];
      } else if (++fed_zeros > 8) {
        throw Corrupt();  // a whole byte past the end was used
      }
      bits |= byte << (56 - count);
      count += 8;
    }
    if (in_end - in_pos < 8 && packed_left > 0) FillInput();
  }

  std::uint32_t Peek16() const {
    return static_cast<std::uint32_t>(bits >> 48);
  }
  void Skip(int n) {
    bits <<= n;
    count -= n;
  }
  std::uint32_t Take(int n) {  // n from 1 to 16
    const auto v = static_cast<std::uint32_t>(bits >> (64 - n));
    Skip(n);
    return v;
  }
  // True when no bit past the packed size was used.
  bool WithinStream() const { return static_cast<int>(fed_zeros) * 8 <= count; }

  int DecodeWith(const huffman::DecodeTable& table) {
    int length = 0;
    const int symbol = table.Decode(Peek16(), &length);
    if (symbol < 0) throw Corrupt();
    Skip(length);
    return symbol;
  }

  // ---- Tables of a block ----------------------------------------------------

  huffman::DecodeTable c_table;
  huffman::DecodeTable p_table;
  huffman::DecodeTable t_table;

  // A T or P table: lengths of up to 16 as 3 bits or 1 bits ended by 0.
  void ReadPtTable(int symbols, int count_bits, int special,
                   huffman::DecodeTable* table) {
    Refill();
    const int n = static_cast<int>(Take(count_bits));
    if (n == 0) {
      const int single = static_cast<int>(Take(count_bits));
      if (single >= symbols) throw Corrupt();
      table->SetSingle(single);
      return;
    }
    if (n > symbols) throw Corrupt();
    std::uint8_t len[kNT] = {};
    for (int i = 0; i < n;) {
      Refill();
      int k = static_cast<int>(Peek16() >> 13);
      if (k == 7) {
        std::uint32_t probe = Peek16() << 3;
        while ((probe & 0x8000) != 0) {
          if (++k > kMaxCodeLength) throw Corrupt();
          probe <<= 1;
        }
      }
      Skip(k < 7 ? 3 : k - 3);
      len[i++] = static_cast<std::uint8_t>(k);
      if (i == special) {
        for (int zeros = static_cast<int>(Take(2)); zeros > 0; --zeros) {
          if (i >= symbols) throw Corrupt();
          len[i++] = 0;
        }
      }
    }
    if (!table->Build(len, symbols, kPtTableBits)) throw Corrupt();
  }

  void ReadCTable() {
    Refill();
    const int n = static_cast<int>(Take(kCBits));
    if (n == 0) {
      const int single = static_cast<int>(Take(kCBits));
      if (single >= kNC) throw Corrupt();
      c_table.SetSingle(single);
      return;
    }
    if (n > kNC) throw Corrupt();
    std::uint8_t len[kNC] = {};
    for (int i = 0; i < n;) {
      Refill();
      const int t = DecodeWith(t_table);
      if (t > 2) {
        len[i++] = static_cast<std::uint8_t>(t - 2);
        continue;
      }
      const int zeros = t == 0   ? 1
                        : t == 1 ? static_cast<int>(Take(4)) + 3
                                 : static_cast<int>(Take(kCBits)) + 20;
      if (i + zeros > kNC) throw Corrupt();
      i += zeros;  // len[] is zero already
    }
    if (!c_table.Build(len, kNC, kCTableBits)) throw Corrupt();
  }

  // ---- The codes ------------------------------------------------------------

  std::uint8_t output[kOutputSize];

  Lh5Result Run(std::uint64_t original) {
    std::memset(output, ' ', kDictSize);
    int at = kDictSize;
    int sent = kDictSize;
    std::uint32_t block_left = 0;
    auto flush = [&]() {
      const bool ok =
          sink->Put(output + sent, static_cast<std::size_t>(at - sent));
      sent = at;
      return ok;
    };
    while (original > 0) {
      if (block_left == 0) {
        Refill();
        block_left = Take(kBlockSizeBits);
        if (block_left == 0) throw Corrupt();
        ReadPtTable(kNT, kTBits, kTSpecial, &t_table);
        ReadCTable();
        ReadPtTable(kNP, kPBits, -1, &p_table);
      }
      --block_left;
      Refill();
      const int c = DecodeWith(c_table);
      if (c < 256) {
        output[at++] = static_cast<std::uint8_t>(c);
        --original;
      } else {
        const int length = c - 256 + kMinMatch;
        const int p = DecodeWith(p_table);
        const int offset =
            p <= 1 ? p : (1 << (p - 1)) + static_cast<int>(Take(p - 1));
        if (static_cast<std::uint64_t>(length) > original) throw Corrupt();
        CopyMatch(at, offset + 1, length);
        at += length;
        original -= static_cast<std::uint64_t>(length);
      }
      if (at >= kDictSize + kOutputChunk) {
        if (!flush()) return Lh5Result::kSinkStopped;
        std::memmove(output, output + at - kDictSize, kDictSize);
        at = sent = kDictSize;
      }
    }
    if (!WithinStream()) throw Corrupt();
    return flush() ? Lh5Result::kDone : Lh5Result::kSinkStopped;
  }

  // Copies byte by byte where the match overlaps itself closely, else a
  // word at a time (the words may run past the match, into free room).
  void CopyMatch(int at, int distance, int length) {
    std::uint8_t* to = output + at;
    const std::uint8_t* from = to - distance;
    if (distance < 8) {
      for (int i = 0; i < length; ++i) to[i] = from[i];
      return;
    }
    for (int i = 0; i < length; i += 8) std::memcpy(to + i, from + i, 8);
  }
};

Lh5Decoder::Lh5Decoder(ByteSource* source, ByteSink* sink)
    : source_(source), sink_(sink) {}
Lh5Decoder::~Lh5Decoder() = default;

bool Lh5Decoder::Init() {
  state_.reset(new (std::nothrow) State());
  if (state_ == nullptr) return false;
  state_->source = source_;
  state_->sink = sink_;
  return true;
}

Lh5Result Lh5Decoder::Decode(std::uint64_t packed_size,
                             std::uint64_t original_size) {
  State& s = *state_;
  s.packed_left = packed_size;
  s.in_pos = s.in_end = 0;
  s.bits = 0;
  s.count = 0;
  s.fed_zeros = 0;
  s.read_failed = false;
  try {
    const Lh5Result result = s.Run(original_size);
    return s.read_failed ? Lh5Result::kSourceFailed : result;
  } catch (const Corrupt&) {
    return s.read_failed ? Lh5Result::kSourceFailed : Lh5Result::kCorrupt;
  }
}

}  // namespace files
