// The VM module's memory manager: block layout, growth, freeing and
// refused allocations, and its peer answers at attach.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/host/vm_module.h"

namespace refhost {
namespace {

using VmMemory = VmModuleTest;

TEST_F(VmMemory, NewBlockHasCountOneTagZeroLengthZero) {
  const std::int64_t allocations = vm().Stats().allocations;
  char16_t* text = nullptr;
  ASSERT_EQ(0u, Resize(&text, 10));
  ASSERT_NE(nullptr, text);
  const frame::BlockHeader* h = Blocks::Header(text);
  EXPECT_EQ(0u, h->tag);
  EXPECT_EQ(1, h->count);
  EXPECT_EQ(10u, h->capacity);
  EXPECT_EQ(0u, h->length);
  EXPECT_EQ(0, text[5]);  // the two spare bytes after the capacity
  EXPECT_EQ(allocations + 1, vm().Stats().allocations);
  Free(text);
}

TEST_F(VmMemory, GrowKeepsTagCountLengthAndContents) {
  char16_t* text = nullptr;
  ASSERT_EQ(0u, Resize(&text, 4));
  frame::BlockHeader* h = Blocks::Header(text);
  h->tag = 0x1234;
  h->count = 3;
  h->length = 4;
  std::memcpy(text, u"ab", 4);
  ASSERT_EQ(0u, Resize(&text, 100));
  h = Blocks::Header(text);
  EXPECT_EQ(0x1234u, h->tag);
  EXPECT_EQ(3, h->count);
  EXPECT_EQ(4u, h->length);
  EXPECT_EQ(100u, h->capacity);
  EXPECT_EQ(u"ab", std::u16string(text, 2));
  EXPECT_EQ(0, text[50]);
  Free(text);
}

TEST_F(VmMemory, ResizeWithinCapacityKeepsTheBlock) {
  char16_t* text = nullptr;
  ASSERT_EQ(0u, Resize(&text, 10));
  char16_t* const first = text;
  ASSERT_EQ(0u, Resize(&text, 10));
  ASSERT_EQ(0u, Resize(&text, 2));
  EXPECT_EQ(first, text);
  EXPECT_EQ(10u, Blocks::Header(text)->capacity);
  Free(text);
}

TEST_F(VmMemory, RefusedAllocationAnswers8AndChangesNothing) {
  const std::int64_t failures = vm().Stats().failures;
  char16_t* text = nullptr;
  vm().FailAllocation(0);
  EXPECT_EQ(vm::kOutOfMemory, Resize(&text, 10));
  EXPECT_EQ(nullptr, text);

  ASSERT_EQ(0u, Resize(&text, 4));  // refuses once only
  std::memcpy(text, u"xy", 4);
  char16_t* const kept = text;
  vm().FailAllocation(1);
  char16_t* other = nullptr;
  ASSERT_EQ(0u, Resize(&other, 2));  // the one success allowed
  EXPECT_EQ(vm::kOutOfMemory, Resize(&text, 64));
  EXPECT_EQ(kept, text);
  EXPECT_EQ(u"xy", std::u16string(text, 2));
  EXPECT_EQ(4u, Blocks::Header(text)->capacity);
  EXPECT_EQ(failures + 2, vm().Stats().failures);
  Free(text);
  Free(other);
}

TEST_F(VmMemory, ReleaseFreesAtTheLastReference) {
  const Blocks b = blocks();
  char16_t* text = b.NewText(u"shared");
  Blocks::AddRef(text);
  const std::int64_t live = vm().Stats().live;
  b.Release(text);
  EXPECT_EQ(live, vm().Stats().live);
  EXPECT_EQ(u"shared", Blocks::TextOf(text));
  b.Release(text);
  EXPECT_EQ(live - 1, vm().Stats().live);
}

using VmPeer = VmModuleTest;

TEST_F(VmPeer, AnswersTheAttachQueries) {
  auto execution = module().Get<frame::ExecutionFn>("Execution");
  ASSERT_NE(nullptr, execution);
  vm().ClearRecords();
  EXPECT_EQ(reinterpret_cast<frame::Word>(memory()), execution(3053, 13, 0));
  EXPECT_EQ(vm::kInitialEventValue, execution(3053, 12, 0));
  EXPECT_EQ(vm::DefaultPeerAnswer(7), execution(3053, 7, 0));
  vm().SetPeerAnswer(8, 99);
  EXPECT_EQ(99u, execution(3053, 8, 0));
  EXPECT_EQ(0u, execution(4242, 1, 2));
  EXPECT_EQ(0, vm().ShutdownCalls());
  execution(3052, 0, 2816);
  EXPECT_EQ(1, vm().ShutdownCalls());
  EXPECT_EQ((std::vector<std::uint32_t>{13, 12, 7, 8}), vm().PeerQueries());
  EXPECT_EQ(std::vector<std::uint32_t>{4242}, vm().OtherEvents());
}

TEST_F(VmPeer, SessionObjectAnswersItsSlotZero) {
  auto execution = module().Get<frame::ExecutionFn>("Execution");
  struct Session {
    const frame::Word* ops;
  };
  using Query = frame::Word (*)(Session*, frame::Word, frame::Word);
  auto* session = reinterpret_cast<Session*>(execution(3053, 9, 0));
  ASSERT_NE(nullptr, session);
  auto query = reinterpret_cast<Query>(session->ops[0]);
  vm().ClearRecords();
  EXPECT_EQ(vm::kDefaultSessionAnswer, query(session, 5, 6));
  vm().SetSessionAnswer(0);
  EXPECT_EQ(0u, query(session, 7, 8));
  vm().SetSessionAnswer(vm::kDefaultSessionAnswer);
  ASSERT_EQ(2u, vm().SessionCalls().size());
  EXPECT_EQ(7u, vm().SessionCalls()[1].p);
  EXPECT_EQ(8u, vm().SessionCalls()[1].q);
}

TEST_F(VmPeer, QueryProxyGivesTheConversionInterfaceOnly) {
  auto query = module().Get<frame::QueryProxyFn>("pQueryProxy");
  auto end = module().Get<frame::EndConversionFn>("FinConversion");
  ASSERT_NE(nullptr, query);
  ASSERT_NE(nullptr, end);
  void* object = query(102);
  ASSERT_NE(nullptr, object);
  EXPECT_NE(nullptr, *static_cast<const frame::Word* const*>(object));
  EXPECT_EQ(object, query(102));
  EXPECT_EQ(nullptr, query(6));
  EXPECT_EQ(nullptr, query(7));
  const int ends = vm().EndConversionCalls();
  end(nullptr);
  EXPECT_EQ(ends + 1, vm().EndConversionCalls());
}

}  // namespace
}  // namespace refhost
