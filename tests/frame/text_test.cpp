// Counted text objects: assign, copy, release and resize over a memory
// manager that counts blocks and moves them on growth; the built-in manager;
// reference counts under concurrent copies.
#include "frame/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/fake_vm.h"

namespace frame {
namespace {

using support::FakeMemoryManager;

std::int32_t CountOf(const char16_t* text) { return TextHeader(text)->count; }

// The terminator the memory manager's spare bytes hold.
bool Terminated(const char16_t* text) {
  const auto* end =
      reinterpret_cast<const unsigned char*>(text) + TextByteLength(text);
  return end[0] == 0 && end[1] == 0;
}

class TextTest : public ::testing::Test {
 protected:
  FakeMemoryManager mm_;
};

// clang-format off
struct AssignCase {
  const char* id;
  const char16_t* chars;
  std::int32_t count;
  std::uint32_t status;
  std::u16string_view expected;  // ignored when the status is not 0
};

constexpr AssignCase kAssignCases[] = {
  {"1.1", u"abc",     -1,         0,   u"abc"},
  {"1.2", u"abc",      2,         0,   u"ab"},
  {"1.3", u"a\0b",     3,         0,   std::u16string_view(u"a\0b", 3)},
  {"1.4", u"\u00e9t\u00e9", -1,   0,   u"\u00e9t\u00e9"},
  {"2.1", u"",        -1,         0,   u""},
  {"2.2", nullptr,    -1,         0,   u""},
  {"2.3", nullptr,     5,         0,   u""},
  {"2.4", u"abc",      0,         0,   u""},
  {"3.1", u"abc",     0x7FFFFF00, 108, u""},
  {"3.2", u"abc",     0x7FFFFFFF, 108, u""},
  {"3.3", u"abc",     -2,         108, u""},
};
// clang-format on

TEST_F(TextTest, Assign) {
  for (const std::u16string_view before : {u"", u"previous text"}) {
    for (const AssignCase& c : kAssignCases) {
      SCOPED_TRACE(std::string(c.id) +
                   (before.empty() ? " from empty" : " over a text"));
      ScopedText text;
      ASSERT_EQ(0u, text.Assign(before));
      EXPECT_EQ(c.status, AssignText(text.out(), c.chars, c.count));
      const std::u16string_view after = c.status == 0 ? c.expected : before;
      EXPECT_EQ(after, text.view());
      // The empty text is null, never an empty block.
      EXPECT_EQ(after.empty(), text.get() == nullptr);
      if (text.get() != nullptr) {
        EXPECT_TRUE(Terminated(text.get()));
      }
      EXPECT_EQ(after.empty() ? 0 : 1, mm_.live_blocks());
    }
  }
}

TEST_F(TextTest, AssignReusesAnUnsharedBlock) {
  ScopedText text;
  ASSERT_EQ(0u, text.Assign(u"abcdef"));
  const char16_t* block = text.get();
  const int resizes = mm_.resize_calls();

  ASSERT_EQ(0u, text.Assign(u"xy"));
  EXPECT_EQ(block, text.get());
  EXPECT_EQ(resizes, mm_.resize_calls());
  EXPECT_TRUE(Terminated(text.get()));

  // Past the capacity the block grows through the manager (and moves).
  ASSERT_EQ(0u, text.Assign(u"abcdefgh"));
  EXPECT_EQ(resizes + 1, mm_.resize_calls());
  EXPECT_EQ(u"abcdefgh", text.view());
  EXPECT_EQ(1, mm_.live_blocks());
}

TEST_F(TextTest, AssignToASharedTextLeavesTheOtherHolder) {
  ScopedText first;
  ASSERT_EQ(0u, first.Assign(u"shared"));
  ScopedText second;
  CopyText(second.out(), first.get());
  ASSERT_EQ(2, CountOf(first.get()));

  ASSERT_EQ(0u, second.Assign(u"own"));
  EXPECT_EQ(u"shared", first.view());
  EXPECT_EQ(u"own", second.view());
  EXPECT_EQ(1, CountOf(first.get()));
  EXPECT_EQ(2, mm_.live_blocks());
}

TEST_F(TextTest, AssignFromInsideItsOwnBlock) {
  ScopedText text;
  ASSERT_EQ(0u, text.Assign(u"hello world"));
  ASSERT_EQ(0u, AssignText(text.out(), text.get() + 6, 5));
  EXPECT_EQ(u"world", text.view());

  // Shared: the source is the block being let go.
  ScopedText other;
  CopyText(other.out(), text.get());
  ASSERT_EQ(0u, AssignText(other.out(), other.get() + 1, -1));
  EXPECT_EQ(u"orld", other.view());
  EXPECT_EQ(u"world", text.view());
}

TEST_F(TextTest, AssignPassesTheManagersError) {
  ScopedText text;
  ASSERT_EQ(0u, text.Assign(u"ab"));
  mm_.FailNextResize(14);
  EXPECT_EQ(14u, text.Assign(u"longer than before"));
  EXPECT_EQ(u"ab", text.view());

  // A shared text is let go before the new block is asked for.
  ScopedText other;
  CopyText(other.out(), text.get());
  mm_.FailNextResize(14);
  EXPECT_EQ(14u, other.Assign(u"x"));
  EXPECT_EQ(nullptr, other.get());
  EXPECT_EQ(u"ab", text.view());
  EXPECT_EQ(1, CountOf(text.get()));
}

TEST_F(TextTest, AssignBytesKeepsOddLengths) {
  const std::uint8_t bytes[] = {0x41, 0x00, 0xFF};
  ScopedText block;
  ASSERT_EQ(0u, AssignBytes(block.out(), bytes));
  ASSERT_EQ(3u, TextByteLength(block.get()));
  EXPECT_EQ(1u, TextLength(block.get()));
  EXPECT_EQ(0, std::memcmp(bytes, TextBytes(block.get()).data(), 3));
  EXPECT_TRUE(Terminated(block.get()));

  EXPECT_EQ(0u, AssignBytes(block.out(), {}));
  EXPECT_EQ(nullptr, block.get());
}

TEST_F(TextTest, ReleaseFreesAtTheLastReference) {
  char16_t* first = nullptr;
  ASSERT_EQ(0u, AssignText(&first, u"abc"));
  char16_t* second = nullptr;
  CopyText(&second, first);
  EXPECT_EQ(first, second);

  ReleaseText(&first);
  EXPECT_EQ(nullptr, first);
  EXPECT_EQ(1, mm_.live_blocks());
  EXPECT_EQ(1, CountOf(second));
  ReleaseText(&second);
  EXPECT_EQ(0, mm_.live_blocks());
  ReleaseText(&second);  // null: nothing to do
  EXPECT_EQ(1, mm_.free_calls());
}

TEST_F(TextTest, CopyReplacesTheDestination) {
  ScopedText source;
  ASSERT_EQ(0u, source.Assign(u"source"));
  ScopedText destination;
  ASSERT_EQ(0u, destination.Assign(u"old"));

  CopyText(destination.out(), source.get());
  EXPECT_EQ(source.get(), destination.get());
  EXPECT_EQ(1, mm_.live_blocks());  // "old" was released

  CopyText(destination.out(), destination.get());  // onto itself
  EXPECT_EQ(u"source", destination.view());
  EXPECT_EQ(2, CountOf(source.get()));

  CopyText(destination.out(), nullptr);
  EXPECT_EQ(nullptr, destination.get());
  EXPECT_EQ(1, CountOf(source.get()));
}

// clang-format off
struct ResizeCase {
  const char* id;
  bool shared;
  std::int32_t bytes;
  std::uint32_t status;
  std::u16string_view expected;  // "abcd" cut or padded with zeros
};

constexpr ResizeCase kResizeCases[] = {
  {"1.1", false,  4, 0,   u"ab"},
  {"1.2", false,  8, 0,   u"abcd"},
  {"1.3", false, 12, 0,   std::u16string_view(u"abcd\0\0", 6)},
  {"1.4", false,  0, 0,   u""},
  {"1.5", false, -1, 108, u"abcd"},
  {"1.6", false, 0x7FFFFF00, 108, u"abcd"},
  {"2.1", true,   4, 0,   u"ab"},
  {"2.2", true,  12, 0,   std::u16string_view(u"abcd\0\0", 6)},
  {"2.3", true,   0, 0,   u""},
  {"2.4", true,  -8, 108, u"abcd"},
};
// clang-format on

TEST_F(TextTest, Resize) {
  for (const ResizeCase& c : kResizeCases) {
    SCOPED_TRACE(c.id);
    ScopedText text;
    ASSERT_EQ(0u, text.Assign(u"abcd"));
    TextHeader(text.get())->tag = 0x5A5A;
    ScopedText other;
    if (c.shared) CopyText(other.out(), text.get());

    EXPECT_EQ(c.status, ResizeText(text.out(), c.bytes));
    EXPECT_EQ(c.expected, text.view());
    EXPECT_EQ(c.expected.empty(), text.get() == nullptr);
    if (text.get() != nullptr) {
      EXPECT_TRUE(Terminated(text.get()));
      EXPECT_EQ(0x5A5Au, TextHeader(text.get())->tag);
    }
    if (c.shared) {
      EXPECT_EQ(u"abcd", other.view());
      EXPECT_EQ(c.status == 0 ? 1 : 2, CountOf(other.get()));
    }
  }
}

TEST_F(TextTest, ResizeFromEmptyMakesAZeroedBlock) {
  ScopedText text;
  ASSERT_EQ(0u, ResizeText(text.out(), 6));
  EXPECT_EQ(std::u16string_view(u"\0\0\0", 3), text.view());
  EXPECT_EQ(1, CountOf(text.get()));
}

TEST_F(TextTest, ResizeAtTheLimitReachesTheManager) {
  ScopedText text;
  mm_.FailNextResize(8);
  EXPECT_EQ(8u, ResizeText(text.out(), kMaxTextBytes));
  EXPECT_EQ(nullptr, text.get());

  // A failed copy on write leaves both holders as they were.
  ASSERT_EQ(0u, text.Assign(u"ab"));
  ScopedText other;
  CopyText(other.out(), text.get());
  mm_.FailNextResize(8);
  EXPECT_EQ(8u, ResizeText(text.out(), 2));
  EXPECT_EQ(other.get(), text.get());
  EXPECT_EQ(2, CountOf(text.get()));
}

TEST_F(TextTest, WordsAtOddAddresses) {
  ScopedText text;
  ASSERT_EQ(0u, text.Assign(u"x"));
  unsigned char record[3 + sizeof(char16_t*)] = {};
  StoreText(record + 3, text.get());
  EXPECT_EQ(text.get(), LoadText(record + 3));
  EXPECT_EQ(0, record[0] | record[1] | record[2]);
}

TEST_F(TextTest, ScopedTextHandsOverItsReference) {
  char16_t* kept = nullptr;
  {
    ScopedText text;
    ASSERT_EQ(0u, text.Assign(u"kept"));
    ScopedText moved(std::move(text));
    EXPECT_EQ(nullptr, text.get());
    kept = moved.Take();
  }
  EXPECT_EQ(1, mm_.live_blocks());
  {
    ScopedText adopted(kept);
    ScopedText other;
    ASSERT_EQ(0u, other.Assign(u"other"));
    other = std::move(adopted);
    EXPECT_EQ(u"kept", other.view());
    EXPECT_EQ(1, mm_.live_blocks());
  }
  EXPECT_EQ(0, mm_.live_blocks());
}

// Before the VM hands over its manager, texts come from the built-in one.
TEST(BuiltinMemoryManager, GrowsAndFrees) {
  ScopedText text;
  std::u16string expected;
  for (int i = 0; i < 200; ++i) {
    expected += static_cast<char16_t>(u'a' + i % 26);
    ASSERT_EQ(0u, text.Assign(expected));
    ASSERT_TRUE(Terminated(text.get()));
  }
  EXPECT_EQ(expected, text.view());
  EXPECT_GE(TextHeader(text.get())->capacity, 400u);

  ScopedText copy;
  CopyText(copy.out(), text.get());
  ASSERT_EQ(0u, ResizeText(copy.out(), 1000));
  EXPECT_EQ(expected, copy.view().substr(0, 200));
  EXPECT_EQ(1, CountOf(text.get()));
}

// Copies and releases from several threads: every reference is counted and
// the block is freed once, by whichever thread lets go last.
TEST(TextThreads, ConcurrentCopiesAndReleases) {
  FakeMemoryManager mm;
  char16_t* shared = nullptr;
  ASSERT_EQ(0u, AssignText(&shared, u"shared between threads"));

  constexpr int kThreads = 8;
  std::vector<char16_t*> held(kThreads, nullptr);
  for (char16_t*& h : held) CopyText(&h, shared);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&held, shared, t] {
      for (int i = 0; i < 5000; ++i) {
        char16_t* copy = nullptr;
        CopyText(&copy, shared);
        ReleaseText(&copy);
      }
      ReleaseText(&held[t]);
    });
  }
  ReleaseText(&shared);  // the threads' references keep it alive
  for (std::thread& t : threads) t.join();

  EXPECT_EQ(0, mm.live_blocks());
  EXPECT_EQ(1, mm.free_calls());
}

}  // namespace
}  // namespace frame
