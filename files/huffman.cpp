// files/huffman.cpp: length-limited Huffman lengths, canonical codes and
// the decoding table.
#include "files/huffman.h"

#include <algorithm>
#include <cassert>

namespace files::huffman {
namespace {

// Minimum-redundancy lengths in place (Moffat and Katajainen): `a` holds
// the frequencies in ascending order and receives each one's code length.
void MinimumRedundancy(std::uint32_t* a, int n) {
  if (n == 1) {
    a[0] = 0;
    return;
  }
  // Left to right: internal nodes take the place of the leaves they join,
  // each remembering its parent.
  a[0] += a[1];
  int root = 0;
  int leaf = 2;
  for (int next = 1; next < n - 1; ++next) {
    if (leaf >= n || a[root] < a[leaf]) {
      a[next] = a[root];
      a[root++] = static_cast<std::uint32_t>(next);
    } else {
      a[next] = a[leaf++];
    }
    if (leaf >= n || (root < next && a[root] < a[leaf])) {
      a[next] += a[root];
      a[root++] = static_cast<std::uint32_t>(next);
    } else {
      a[next] += a[leaf++];
    }
  }
  // Right to left: depths of the internal nodes, then of the leaves.
  a[n - 2] = 0;
  for (int next = n - 3; next >= 0; --next) a[next] = a[a[next]] + 1;
  int available = 1;
  int used = 0;
  std::uint32_t depth = 0;
  root = n - 2;
  int next = n - 1;
  while (available > 0) {
    while (root >= 0 && a[root] == depth) {
      ++used;
      --root;
    }
    while (available > used) {
      a[next--] = depth;
      --available;
    }
    available = 2 * used;
    ++depth;
    used = 0;
  }
}

}  // namespace

int BuildLengths(const std::uint32_t* freq, int count, int limit,
                 std::uint8_t* lengths) {
  assert(limit <= kMaxLength && "lengths are sent in at most 16 bits");
  std::fill(lengths, lengths + count, 0);
  // (frequency, symbol) pairs of the used symbols, rarest first.
  std::uint64_t order[1024];
  assert(count <= 1024 && "tables of lh5 are small");
  int used = 0;
  for (int i = 0; i < count; ++i) {
    if (freq[i] != 0) {
      order[used++] = (static_cast<std::uint64_t>(freq[i]) << 16) |
                      static_cast<std::uint64_t>(i);
    }
  }
  if (used < 2) return used;
  std::sort(order, order + used);
  std::uint32_t a[1024];
  for (int i = 0; i < used; ++i)
    a[i] = static_cast<std::uint32_t>(order[i] >> 16);
  MinimumRedundancy(a, used);

  // Counts by length; while some are deeper than the limit, two sibling
  // leaves at the deepest level leave it: one takes their parent's place,
  // the other joins a shallower leaf that becomes their parent. The code
  // stays complete, and rare symbols keep the longest codes.
  int by_length[1024] = {};
  int deepest = 0;
  for (int i = 0; i < used; ++i) {
    ++by_length[a[i]];
    deepest = std::max(deepest, static_cast<int>(a[i]));
  }
  for (int len = deepest; len > limit; --len) {
    while (by_length[len] > 0) {
      int j = len - 2;
      while (by_length[j] == 0) --j;
      by_length[len] -= 2;
      by_length[len - 1] += 1;
      by_length[j + 1] += 2;
      by_length[j] -= 1;
    }
  }
  int i = 0;
  for (int len = limit; len >= 1; --len) {
    for (int k = 0; k < by_length[len]; ++k) {
      lengths[order[i++] & 0xFFFF] = static_cast<std::uint8_t>(len);
    }
  }
  return used;
}

bool AssignCodes(const std::uint8_t* lengths, int count, std::uint16_t* codes) {
  std::uint32_t start[kMaxLength + 2] = {};
  int by_length[kMaxLength + 1] = {};
  for (int i = 0; i < count; ++i) ++by_length[lengths[i]];
  for (int len = 1; len <= kMaxLength; ++len) {
    start[len + 1] = start[len] + (static_cast<std::uint32_t>(by_length[len])
                                   << (kMaxLength - len));
  }
  if (start[kMaxLength + 1] > (1u << kMaxLength)) return false;
  for (int i = 0; i < count; ++i) {
    const int len = lengths[i];
    if (len == 0) continue;
    codes[i] = static_cast<std::uint16_t>(start[len] >> (kMaxLength - len));
    start[len] += 1u << (kMaxLength - len);
  }
  return true;
}

bool DecodeTable::Build(const std::uint8_t* lengths, int count,
                        int table_bits) {
  table_bits_ = table_bits;
  int by_length[kMaxLength + 1] = {};
  for (int i = 0; i < count; ++i) {
    if (lengths[i] > kMaxLength) return false;
    ++by_length[lengths[i]];
  }
  std::uint32_t start = 0;
  std::uint16_t offset = 0;
  for (int len = 1; len <= kMaxLength; ++len) {
    first_[len] = start;
    offset_[len] = offset;
    start += static_cast<std::uint32_t>(by_length[len]) << (kMaxLength - len);
    offset = static_cast<std::uint16_t>(offset + by_length[len]);
  }
  first_[kMaxLength + 1] = start;  // the end of the used code space
  if (start > (1u << kMaxLength)) return false;

  // Symbols sorted by length, then by value: the canonical order.
  sorted_.assign(offset, 0);
  std::uint16_t next[kMaxLength + 1];
  std::copy(offset_, offset_ + kMaxLength + 1, next);
  for (int i = 0; i < count; ++i) {
    if (lengths[i] != 0) {
      sorted_[next[lengths[i]]++] = static_cast<std::uint16_t>(i);
    }
  }

  // Short codes fill every primary entry they prefix; entries past them
  // are looked up by length.
  table_.assign(std::size_t{1} << table_bits, kLongCode);
  const int shift = kMaxLength - table_bits;
  for (int len = 1; len <= table_bits; ++len) {
    for (int k = 0; k < by_length[len]; ++k) {
      const std::uint32_t code =
          first_[len] + (static_cast<std::uint32_t>(k) << (kMaxLength - len));
      const std::uint16_t entry = static_cast<std::uint16_t>(
          sorted_[offset_[len] + k] | (len << kLengthShift));
      const std::uint32_t from = code >> shift;
      const std::uint32_t span = 1u << (table_bits - len);
      std::fill(table_.begin() + from, table_.begin() + from + span, entry);
    }
  }
  return true;
}

void DecodeTable::SetSingle(int symbol) {
  table_bits_ = 1;
  table_.assign(2, static_cast<std::uint16_t>(symbol));
  std::fill(std::begin(first_), std::end(first_), 0);
  sorted_.clear();
}

int DecodeTable::DecodeLong(std::uint32_t next, int* length) const {
  for (int len = table_bits_ + 1; len <= kMaxLength; ++len) {
    if (next < first_[len + 1]) {
      if (next < first_[len]) return -1;
      *length = len;
      return sorted_[offset_[len] +
                     ((next - first_[len]) >> (kMaxLength - len))];
    }
  }
  return -1;
}

}  // namespace files::huffman
