// files/lh5_encoder.cpp: the lh5 encoder: a window that slides over the
// input, hash tables to find matches, a lazy parse, and tokens gathered
// into blocks.
//
//   window and tables | match search | parse | blocks | interface
//
// Matches of 4 bytes or more are found through hash chains on 4 bytes,
// walked to a bounded depth (less deeply when a good match is already in
// hand, not at all past a length that is good enough); matches of 3 come
// from a table of the latest place of each 3 bytes, and only from near by,
// where they cost fewer bits than three bytes would. The parse is lazy: a
// match is sent only when the next position does not start a longer one.
// Tokens are gathered in groups; each group is cut into the blocks that
// cost the fewest bits in all, judged on the exact size of every block.
#include "files/lh5_encoder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "files/lh5_blocks.h"

namespace files {
namespace {

using lh5::kDictSize;
using lh5::kMaxMatch;
using lh5::kMinMatch;
using lh5::Token;

// The window keeps the input from kSlide bytes back, then moves down by
// kSlide; positions are indexes into it. kSlide is a multiple of the chain
// table so that an index keeps its chain slot when the window moves.
constexpr int kChainBits = 14;  // twice the dictionary: a live slot is
constexpr int kChainSize = 1 << kChainBits;  // never taken by a newer one
constexpr int kChainMask = kChainSize - 1;
constexpr int kHashBits = 15;   // chains, on 4 bytes
constexpr int kHash3Bits = 12;  // the latest place of 3 bytes
constexpr int kSlide = 1 << 18;
constexpr int kWindowSize = kSlide + kChainSize;
constexpr int kPadding = 16;  // word reads past the last byte
constexpr std::int32_t kNil = -(1 << 30);

// Search effort: the chain depth, a shorter one when the pending match is
// already good, the length that ends a search, and the length past which
// the next position is not tried.
constexpr int kMaxChain = 256;
constexpr int kGoodLength = 8;
constexpr int kNiceLength = 160;
constexpr int kMaxLazy = 48;
// A match of 3 farther than this costs more than three literals.
constexpr int kFarForThree = 1024;

// Tokens are gathered in kLeaves runs of kLeafTokens; a group is cut into
// blocks along run boundaries.
constexpr int kLeafTokens = 4096;
constexpr int kLeaves = 8;
constexpr int kGroupTokens = kLeafTokens * kLeaves;
static_assert(kGroupTokens <= lh5::kMaxBlockCodes, "a block fits its count");

inline std::uint32_t Load32(const std::uint8_t* p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
inline std::uint32_t Hash4(const std::uint8_t* p) {
  return (Load32(p) * 2654435761u) >> (32 - kHashBits);
}
inline std::uint32_t Hash3(const std::uint8_t* p) {
  return ((Load32(p) << 8) * 2654435761u) >> (32 - kHash3Bits);
}

inline int CommonLength(const std::uint8_t* a, const std::uint8_t* b,
                        int limit) {
  int n = 0;
  while (n + 8 <= limit) {
    std::uint64_t x, y;
    std::memcpy(&x, a + n, 8);
    std::memcpy(&y, b + n, 8);
    if (const std::uint64_t d = x ^ y; d != 0) {
      // The first differing byte is the lowest in memory order.
      if constexpr (std::endian::native == std::endian::little) {
        return n + std::countr_zero(d) / 8;
      } else {
        return n + std::countl_zero(d) / 8;
      }
    }
    n += 8;
  }
  while (n < limit && a[n] == b[n]) ++n;
  return n;
}

template <class T>
std::unique_ptr<T[]> Allocate(std::size_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

}  // namespace

struct Lh5Encoder::State {
  explicit State(ByteSink* sink) : out(sink) {}

  // ---- Window and tables ----------------------------------------------------

  std::unique_ptr<std::uint8_t[]> window;
  std::unique_ptr<std::int32_t[]> head;
  std::unique_ptr<std::int32_t[]> chain;
  std::unique_ptr<std::int32_t[]> head3;
  std::int32_t end = 0;  // bytes held
  std::int32_t pos = 0;  // the next position to parse

  // Links `at` into its chain and notes its 3 bytes; returns the chain's
  // previous head and, in *near, the latest place of the same 3 bytes.
  // Needs 4 bytes at `at`: the last three positions are never linked.
  std::int32_t Insert(std::int32_t at, std::int32_t* near) {
    const std::uint8_t* p = window.get() + at;
    std::int32_t& h3 = head3[Hash3(p)];
    *near = h3;
    h3 = at;
    std::int32_t& h = head[Hash4(p)];
    const std::int32_t before = h;
    chain[at & kChainMask] = before;
    h = at;
    return before;
  }
  void Insert(std::int32_t at) {
    std::int32_t near;
    Insert(at, &near);
  }

  void Slide() {
    std::memmove(window.get(), window.get() + kSlide,
                 static_cast<std::size_t>(end - kSlide));
    end -= kSlide;
    pos -= kSlide;
    auto rebase = [](std::int32_t v) { return std::max(v - kSlide, kNil); };
    for (int i = 0; i < (1 << kHashBits); ++i) head[i] = rebase(head[i]);
    for (int i = 0; i < (1 << kHash3Bits); ++i) head3[i] = rebase(head3[i]);
    for (int i = 0; i < kChainSize; ++i) chain[i] = rebase(chain[i]);
  }

  // ---- Match search ---------------------------------------------------------

  // The longest match at `at` longer than `best`: the latest place of its
  // first 3 bytes, then the chain of its first 4 from `candidate`. The
  // length stays `best` when there is none.
  void Search(std::int32_t at, std::int32_t near, std::int32_t candidate,
              int* best, int* distance) const {
    const int limit = std::min(kMaxMatch, end - at);
    if (*best >= limit) return;
    if (*best < kMinMatch && near >= 0 && at - near <= kFarForThree) {
      const int n = CommonLength(window.get() + at, window.get() + near, limit);
      if (n >= kMinMatch) {
        *best = n;
        *distance = at - near;
        if (n >= limit) return;
      }
    }
    const int nice = std::min(kNiceLength, limit);
    int depth = *best >= kGoodLength ? kMaxChain / 4 : kMaxChain;
    const std::uint8_t* here = window.get() + at;
    int length = *best;
    while (candidate >= 0 && at - candidate <= kDictSize && depth-- > 0) {
      const std::uint8_t* there = window.get() + candidate;
      if (there[length] == here[length] && Load32(there) == Load32(here)) {
        const int n = CommonLength(here, there, limit);
        if (n > length) {
          length = n;
          *distance = at - candidate;
          if (n >= nice) break;
        }
      }
      candidate = chain[candidate & kChainMask];
    }
    *best = length;
  }

  // ---- Parse ----------------------------------------------------------------

  int pending_length = kMinMatch - 1;  // the match at pos - 1, if any
  int pending_distance = 0;
  bool pending = false;  // pos - 1 is parsed but not yet sent

  // Parses up to `stop`, leaving kMaxMatch bytes ahead unless finishing.
  void Parse(bool finish) {
    const std::int32_t stop = finish ? end : end - kMaxMatch;
    while (pos < stop) {
      int length = kMinMatch - 1;
      int distance = 0;
      if (pos + 4 <= end) {
        std::int32_t near;
        const std::int32_t candidate = Insert(pos, &near);
        if (pending_length < kMaxLazy) {
          length = pending_length;
          Search(pos, near, candidate, &length, &distance);
          if (length == pending_length) length = kMinMatch - 1;
        }
      }
      if (pending_length >= kMinMatch && length <= pending_length) {
        Emit(lh5::MatchToken(pending_length, pending_distance));
        const std::int32_t next = pos - 1 + pending_length;
        const std::int32_t last = std::min(next, end - 3);
        for (std::int32_t i = pos + 1; i < last; ++i) Insert(i);
        pos = next;
        pending = false;
        pending_length = kMinMatch - 1;
        continue;
      }
      if (pending) Emit(lh5::LiteralToken(window[pos - 1]));
      pending = true;
      pending_length = length;
      pending_distance = distance;
      ++pos;
    }
    if (finish && pending) {
      Emit(lh5::LiteralToken(window[pos - 1]));
      pending = false;
    }
  }

  // ---- Blocks ---------------------------------------------------------------

  std::unique_ptr<Token[]> tokens;
  int token_count = 0;
  lh5::SymbolCounts leaf_counts[kLeaves];
  lh5::BitWriter out;

  void Emit(Token token) {
    leaf_counts[token_count / kLeafTokens].Count(token);
    tokens[token_count++] = token;
    if (token_count == kGroupTokens) SendGroup();
  }

  // Cuts the group into blocks: each aligned run of 1, 2, 4 or 8 leaves is
  // sent whole or as its two halves, whichever costs fewer bits in all.
  void SendGroup() {
    if (token_count == 0) return;
    const int leaves = (token_count + kLeafTokens - 1) / kLeafTokens;
    Split(0, kLeaves, leaves);
    for (lh5::SymbolCounts& c : leaf_counts) c.Clear();
    token_count = 0;
  }

  // The best cut of leaves [first, first + span) (those past `leaves` are
  // empty): its cost, its counts in *counts, and the blocks in cuts_.
  std::uint64_t Plan(int first, int span, int leaves,
                     lh5::SymbolCounts* counts) {
    if (span == 1) {
      *counts = leaf_counts[first];
      lh5::PlanBlock(*counts, &plan_);
      cut_at_[first] = true;
      return plan_.bits;
    }
    const int half = span / 2;
    if (first + half >= leaves) return Plan(first, half, leaves, counts);
    lh5::SymbolCounts right;
    const std::uint64_t split = Plan(first, half, leaves, counts) +
                                Plan(first + half, half, leaves, &right);
    counts->Add(right);
    lh5::PlanBlock(*counts, &plan_);
    if (plan_.bits <= split) {
      std::fill(cut_at_ + first + 1, cut_at_ + first + span, false);
      return plan_.bits;
    }
    return split;
  }

  void Split(int first, int span, int leaves) {
    lh5::SymbolCounts counts;
    Plan(first, span, leaves, &counts);
    for (int start = 0; start < leaves;) {
      int stop = start + 1;
      while (stop < leaves && !cut_at_[stop]) ++stop;
      counts.Clear();
      for (int i = start; i < stop; ++i) counts.Add(leaf_counts[i]);
      lh5::PlanBlock(counts, &plan_);
      const int from = start * kLeafTokens;
      const int to = std::min(stop * kLeafTokens, token_count);
      lh5::WriteBlock(plan_, tokens.get() + from, to - from, &out);
      start = stop;
    }
  }

  lh5::BlockPlan plan_;
  bool cut_at_[kLeaves] = {};  // a block starts at this leaf
};

Lh5Encoder::Lh5Encoder(ByteSink* sink) : sink_(sink) {}
Lh5Encoder::~Lh5Encoder() = default;

bool Lh5Encoder::Init() {
  state_.reset(new (std::nothrow) State(sink_));
  if (state_ == nullptr) return false;
  State& s = *state_;
  s.window = Allocate<std::uint8_t>(kWindowSize + kPadding);
  s.head = Allocate<std::int32_t>(std::size_t{1} << kHashBits);
  s.chain = Allocate<std::int32_t>(kChainSize);
  s.head3 = Allocate<std::int32_t>(std::size_t{1} << kHash3Bits);
  s.tokens = Allocate<Token>(kGroupTokens);
  if (!s.window || !s.head || !s.chain || !s.head3 || !s.tokens) {
    state_.reset();
    return false;
  }
  std::memset(s.window.get(), 0, kWindowSize + kPadding);
  std::fill(s.head.get(), s.head.get() + (1 << kHashBits), kNil);
  std::fill(s.chain.get(), s.chain.get() + kChainSize, kNil);
  std::fill(s.head3.get(), s.head3.get() + (1 << kHash3Bits), kNil);
  for (lh5::SymbolCounts& c : s.leaf_counts) c.Clear();
  return true;
}

void Lh5Encoder::Put(const std::uint8_t* data, std::size_t count) {
  State& s = *state_;
  while (count > 0) {
    if (s.end == kWindowSize) {
      s.Parse(false);
      s.Slide();
    }
    const std::size_t take =
        std::min(count, static_cast<std::size_t>(kWindowSize - s.end));
    std::memcpy(s.window.get() + s.end, data, take);
    s.end += static_cast<std::int32_t>(take);
    data += take;
    count -= take;
  }
}

void Lh5Encoder::Finish() {
  State& s = *state_;
  s.Parse(true);
  s.SendGroup();
  s.out.Flush();
}

std::uint64_t Lh5Encoder::packed_size() const {
  return state_ ? state_->out.sent() : 0;
}

bool Lh5Encoder::ok() const { return state_ && state_->out.ok(); }

}  // namespace files
