// files/lh5_format.h: the numbers of the lh5 method that the encoder and
// the decoder share: an 8 KiB sliding dictionary, matches of 3 to 256
// bytes, and blocks of Huffman codes for characters and lengths (C),
// positions (P) and the C code lengths themselves (T).
#pragma once

#include <bit>

namespace files::lh5 {

inline constexpr int kDictBits = 13;
inline constexpr int kDictSize = 1 << kDictBits;  // the farthest distance
inline constexpr int kMinMatch = 3;
inline constexpr int kMaxMatch = 256;

// C symbols: 0-255 a byte, 256 + (length - 3) a match of that length.
inline constexpr int kNC = 256 + kMaxMatch - kMinMatch + 1;  // 510
// P symbols: 0 for distance 1, k >= 1 for distances 2^(k-1)+1 .. 2^k with
// k - 1 extra bits.
inline constexpr int kNP = kDictBits + 1;  // 14
// T symbols: 0 one zero length, 1 a run of 3-18 zeros (4 bits), 2 a run of
// 20-531 zeros (9 bits), 3-18 a length of 1-16.
inline constexpr int kNT = 19;

// Widths of the counts that open each table.
inline constexpr int kCBits = 9;
inline constexpr int kPBits = 4;
inline constexpr int kTBits = 5;
// After the third T length, two bits tell how many of the next three are 0.
inline constexpr int kTSpecial = 3;

inline constexpr int kMaxCodeLength = 16;
inline constexpr int kBlockSizeBits = 16;
inline constexpr int kMaxBlockCodes = (1 << kBlockSizeBits) - 1;

// The P symbol of a distance - 1 (0 .. kDictSize - 1).
inline int PositionSymbol(unsigned offset) { return std::bit_width(offset); }

}  // namespace files::lh5
