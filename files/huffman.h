// files/huffman.h: Huffman codes as the lh5 method sends them: code
// lengths of at most 16 bits, and canonical codes (shorter codes first,
// symbols in order within a length) that both sides derive from the
// lengths alone.
//
//   building lengths | canonical codes | the decoding table
#pragma once

#include <cstdint>
#include <vector>

namespace files::huffman {

inline constexpr int kMaxLength = 16;

// Code lengths for `count` symbols of the given frequencies, none longer
// than `limit`; unused symbols get 0. With two used symbols or more the
// code is complete. Returns the number of used symbols: with fewer than
// two, every length is 0 (lh5 sends such a table as its single symbol).
int BuildLengths(const std::uint32_t* freq, int count, int limit,
                 std::uint8_t* lengths);

// The canonical code of every symbol with a length; false when the lengths
// over-subscribe the code space (no prefix code has them).
bool AssignCodes(const std::uint8_t* lengths, int count, std::uint16_t* codes);

// Decodes one symbol from the next 16 bits of a stream. A primary table
// answers codes of up to `table_bits` bits at once; longer ones are found
// from the first code of each length. An incomplete code is accepted: a
// bit pattern that no symbol uses decodes as invalid.
class DecodeTable {
 public:
  // False when the lengths over-subscribe the code space.
  bool Build(const std::uint8_t* lengths, int count, int table_bits);
  // Every pattern decodes as `symbol` and takes no bit.
  void SetSingle(int symbol);

  // The symbol of the 16 bits in `next` (the first bit the highest), and in
  // *length the bits it takes; -1 for an unused pattern.
  int Decode(std::uint32_t next, int* length) const {
    const std::uint16_t e = table_[next >> (16 - table_bits_)];
    if ((e & kSymbolMask) != kLongCode) {
      *length = e >> kLengthShift;
      return e & kSymbolMask;
    }
    return DecodeLong(next, length);
  }

 private:
  static constexpr std::uint16_t kSymbolMask = 0x3FF;
  static constexpr std::uint16_t kLongCode = 0x3FF;  // no symbol has it
  static constexpr int kLengthShift = 10;

  int DecodeLong(std::uint32_t next, int* length) const;

  int table_bits_ = 1;
  std::vector<std::uint16_t> table_;
  // By length: the first left-aligned 16-bit code, where its symbols start
  // in sorted_, and the end of its codes.
  std::uint32_t first_[kMaxLength + 2] = {};
  std::uint16_t offset_[kMaxLength + 2] = {};
  std::vector<std::uint16_t> sorted_;
};

}  // namespace files::huffman
