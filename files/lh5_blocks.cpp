// files/lh5_blocks.cpp: the tables of an lh5 block, their cost, and the
// block in bits.
//
// A block is: its count of codes (16 bits); the T table that codes the C
// lengths; the C lengths; the P table; then the codes. T and P lengths go
// as 3 bits up to 6, and as 7 or more by 1 bits ended by a 0.
#include "files/lh5_blocks.h"

#include <algorithm>

#include "files/huffman.h"

namespace files::lh5 {
namespace {

// Walks the C lengths as the T table codes them, calling
// `emit(t_symbol, extra_bits, extra_value)` for each T code.
template <class Emit>
void WalkCLengths(const std::uint8_t* c_len, Emit emit) {
  int n = kNC;
  while (n > 0 && c_len[n - 1] == 0) --n;
  for (int i = 0; i < n;) {
    const int k = c_len[i++];
    if (k != 0) {
      emit(k + 2, 0, 0u);
      continue;
    }
    int run = 1;
    while (i < n && c_len[i] == 0) {
      ++i;
      ++run;
    }
    if (run <= 2) {
      for (int r = 0; r < run; ++r) emit(0, 0, 0u);
    } else if (run <= 18) {
      emit(1, 4, static_cast<std::uint32_t>(run - 3));
    } else if (run == 19) {
      emit(0, 0, 0u);
      emit(1, 4, 15u);
    } else {
      emit(2, kCBits, static_cast<std::uint32_t>(run - 20));
    }
  }
}

int UsedCount(const std::uint8_t* len, int n) {
  while (n > 0 && len[n - 1] == 0) --n;
  return n;
}

// Bits of one T or P length as sent.
int LengthBits(int k) { return k <= 6 ? 3 : k - 3; }

// Bits of a T or P table sent length by length.
std::uint64_t TableBits(const std::uint8_t* len, int count, int count_bits,
                        int special) {
  const int n = UsedCount(len, count);
  std::uint64_t bits = static_cast<std::uint64_t>(count_bits);
  for (int i = 0; i < n;) {
    bits += static_cast<std::uint64_t>(LengthBits(len[i++]));
    if (i == special) {
      while (i < 6 && i < n && len[i] == 0) ++i;
      bits += 2;
    }
  }
  return bits;
}

void WriteTable(const std::uint8_t* len, int count, int count_bits, int special,
                BitWriter* out) {
  const int n = UsedCount(len, count);
  out->Put(count_bits, static_cast<std::uint32_t>(n));
  for (int i = 0; i < n;) {
    const int k = len[i++];
    if (k <= 6) {
      out->Put(3, static_cast<std::uint32_t>(k));
    } else {
      out->Put(k - 3, (1u << (k - 3)) - 2);
    }
    if (i == special) {
      const int from = i;
      while (i < 6 && i < n && len[i] == 0) ++i;
      out->Put(2, static_cast<std::uint32_t>(i - from));
    }
  }
}

// Lengths for a table. Decoders in use mishandle a table sent as its single
// symbol, so one used symbol gets a partner that is never sent: each takes
// one bit. Only a table with no symbol at all (P without matches) is sent
// as a single symbol; the answer is then true.
bool LengthsOrNone(const std::uint32_t* freq, int count, std::uint8_t* len) {
  const int used = huffman::BuildLengths(freq, count, huffman::kMaxLength, len);
  if (used == 1) {
    const int symbol = static_cast<int>(
        std::find_if(freq, freq + count, [](std::uint32_t f) { return f; }) -
        freq);
    len[symbol] = 1;
    len[symbol == 0 ? 1 : 0] = 1;
  }
  return used == 0;
}

}  // namespace

void SymbolCounts::Clear() {
  std::fill(std::begin(c), std::end(c), 0u);
  std::fill(std::begin(p), std::end(p), 0u);
}

void SymbolCounts::Add(const SymbolCounts& other) {
  for (int i = 0; i < kNC; ++i) c[i] += other.c[i];
  for (int i = 0; i < kNP; ++i) p[i] += other.p[i];
}

void BitWriter::Send() {
  if (ok_ && used_ != 0) {
    ok_ = sink_->Put(buffer_, used_);
    if (ok_) sent_ += used_;
  }
  used_ = 0;
}

void BitWriter::Flush() {
  while (count_ > 0) {
    const int take = std::min(count_, 8);
    const auto byte =
        static_cast<std::uint8_t>((pending_ >> (count_ - take)) << (8 - take));
    count_ -= take;
    buffer_[used_++] = byte;
    if (used_ == sizeof buffer_) Send();
  }
  pending_ = 0;
  Send();
}

void PlanBlock(const SymbolCounts& counts, BlockPlan* plan) {
  LengthsOrNone(counts.c, kNC, plan->c_len);
  plan->p_none = LengthsOrNone(counts.p, kNP, plan->p_len);
  std::uint32_t t_freq[kNT] = {};
  WalkCLengths(plan->c_len, [&](int t, int, std::uint32_t) { ++t_freq[t]; });
  LengthsOrNone(t_freq, kNT, plan->t_len);

  std::uint64_t bits = kBlockSizeBits;
  bits += TableBits(plan->t_len, kNT, kTBits, kTSpecial) + kCBits;
  WalkCLengths(plan->c_len, [&](int t, int extra, std::uint32_t) {
    bits += static_cast<std::uint64_t>(plan->t_len[t] + extra);
  });
  bits += plan->p_none ? 2 * kPBits : TableBits(plan->p_len, kNP, kPBits, -1);
  for (int i = 0; i < kNC; ++i) {
    bits += static_cast<std::uint64_t>(counts.c[i]) * plan->c_len[i];
  }
  for (int i = 0; i < kNP; ++i) {
    const int extra = i > 1 ? i - 1 : 0;
    bits += static_cast<std::uint64_t>(counts.p[i]) *
            static_cast<std::uint64_t>(plan->p_len[i] + extra);
  }
  plan->bits = bits;
}

void WriteBlock(const BlockPlan& plan, const Token* tokens, int count,
                BitWriter* out) {
  std::uint16_t c_code[kNC] = {};
  std::uint16_t p_code[kNP] = {};
  std::uint16_t t_code[kNT] = {};
  huffman::AssignCodes(plan.c_len, kNC, c_code);
  huffman::AssignCodes(plan.p_len, kNP, p_code);
  huffman::AssignCodes(plan.t_len, kNT, t_code);

  out->Put(kBlockSizeBits, static_cast<std::uint32_t>(count));
  WriteTable(plan.t_len, kNT, kTBits, kTSpecial, out);
  out->Put(kCBits, static_cast<std::uint32_t>(UsedCount(plan.c_len, kNC)));
  WalkCLengths(plan.c_len, [&](int t, int extra, std::uint32_t value) {
    out->Put(plan.t_len[t], t_code[t]);
    if (extra != 0) out->Put(extra, value);
  });
  if (plan.p_none) {
    out->Put(kPBits, 0);
    out->Put(kPBits, 0);
  } else {
    WriteTable(plan.p_len, kNP, kPBits, -1, out);
  }

  for (int i = 0; i < count; ++i) {
    const Token token = tokens[i];
    const std::uint32_t c = token & 0xFFFF;
    if (c < 256) {
      out->Put(plan.c_len[c], c_code[c]);
      continue;
    }
    const std::uint32_t offset = token >> 16;
    const int p = PositionSymbol(offset);
    // One put for the length, the position and its extra bits: at most
    // 16 + 16 + 12 bits would overflow, so the length goes alone.
    out->Put(plan.c_len[c], c_code[c]);
    if (p > 1) {
      const int extra = p - 1;
      out->Put(plan.p_len[p] + extra,
               (static_cast<std::uint32_t>(p_code[p]) << extra) |
                   (offset & ((1u << extra) - 1)));
    } else {
      out->Put(plan.p_len[p], p_code[p]);
    }
  }
}

}  // namespace files::lh5
