// files/lh5_blocks.h: how the lh5 encoder sends a block: the bits in the
// stream's order (the first bit the highest of each byte), the choice of
// its three code tables, their exact cost, and the block itself.
//
//   tokens and counts | bit writer | plan and cost | writing
#pragma once

#include <cstddef>
#include <cstdint>

#include "files/lh5_encoder.h"
#include "files/lh5_format.h"

namespace files::lh5 {

// One code of a block: a C symbol in the low 16 bits and, for a match, the
// distance - 1 in the high 16.
using Token = std::uint32_t;
inline Token LiteralToken(std::uint8_t byte) { return byte; }
inline Token MatchToken(int length, int distance) {
  return static_cast<Token>(256 + length - kMinMatch) |
         (static_cast<Token>(distance - 1) << 16);
}

// How often each C and P symbol occurs in a run of tokens.
struct SymbolCounts {
  std::uint32_t c[kNC];
  std::uint32_t p[kNP];
  void Clear();
  void Add(const SymbolCounts& other);
  void Count(Token token) {
    const std::uint32_t symbol = token & 0xFFFF;
    ++c[symbol];
    if (symbol >= 256) ++p[PositionSymbol(token >> 16)];
  }
};

class BitWriter {
 public:
  explicit BitWriter(ByteSink* sink) : sink_(sink) {}

  // `value` in its low `bits` bits (at most 32).
  void Put(int bits, std::uint32_t value) {
    pending_ = (pending_ << bits) | value;
    count_ += bits;
    if (count_ >= 32) {
      count_ -= 32;
      const auto word = static_cast<std::uint32_t>(pending_ >> count_);
      std::uint8_t* out = buffer_ + used_;
      out[0] = static_cast<std::uint8_t>(word >> 24);
      out[1] = static_cast<std::uint8_t>(word >> 16);
      out[2] = static_cast<std::uint8_t>(word >> 8);
      out[3] = static_cast<std::uint8_t>(word);
      used_ += 4;
      if (used_ > sizeof buffer_ - 4) Send();
    }
  }
  // Pads the last byte with 0 bits and sends everything.
  void Flush();

  std::uint64_t sent() const { return sent_; }
  bool ok() const { return ok_; }

 private:
  void Send();

  ByteSink* sink_;
  std::uint64_t pending_ = 0;
  int count_ = 0;
  std::uint8_t buffer_[4096];
  std::size_t used_ = 0;
  std::uint64_t sent_ = 0;
  bool ok_ = true;
};

// The three tables of a block and what the block costs with them. Every
// table has two symbols or more, but for P in a block without matches,
// which is sent as the single symbol 0 (`p_none`).
struct BlockPlan {
  std::uint8_t c_len[kNC];
  std::uint8_t p_len[kNP];
  std::uint8_t t_len[kNT];
  bool p_none = false;
  std::uint64_t bits = 0;  // header and codes
};

// The best tables for these counts, and the block's size in bits.
void PlanBlock(const SymbolCounts& counts, BlockPlan* plan);

// Sends one block of `count` tokens (1 to kMaxBlockCodes) planned from
// exactly their counts.
void WriteBlock(const BlockPlan& plan, const Token* tokens, int count,
                BitWriter* out);

}  // namespace files::lh5
