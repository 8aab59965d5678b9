// The handle table and function 177 through its handler, as the VM calls
// it: numbers from 2, never reused, kinds, closing by number, library end.
#include "files/handle_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "frame/catalogue.h"
#include "frame/entry.h"
#include "tests/files/stream_fixture.h"

namespace files {
namespace {

constexpr std::uint32_t kReadWrite = plat::kGenericRead | plat::kGenericWrite;
constexpr std::uint32_t kSentinel = 12345;

// What slot 149 was handed.
struct Result {
  int calls = 0;
  std::uint32_t word = 0xFFFF;
  std::uint32_t type = 0;
};
Result* result_ = nullptr;

void SetResult(frame::VmServices*, frame::Word, const void* value,
               std::uint32_t type) {
  ++result_->calls;
  std::memcpy(&result_->word, value, sizeof result_->word);
  result_->type = type;
}

frame::CXError* ErrorOf(frame::Self* self) { return self->error; }

struct HandleTableTest : DeviceRootTest {
  void SetUp() override {
    DeviceRootTest::SetUp();
    CloseAllHandles();
    result_ = &result;
    services_ops[frame::kSlotSetResult] =
        reinterpret_cast<frame::Word>(&SetResult);
    self_ops[frame::kSelfErrorSlot] = reinterpret_cast<frame::Word>(&ErrorOf);
  }
  void TearDown() override {
    CloseAllHandles();
    result_ = nullptr;
    DeviceRootTest::TearDown();
  }

  // A stream on a file of its own, open for writing without sharing, so
  // that a second open tells whether it is still open.
  std::unique_ptr<IXStream> OpenFile(const char* name) {
    Put(name, {1, 2, 3});
    auto stream = std::make_unique<IXStream>();
    EXPECT_TRUE(
        stream->Open(DevicePath(name), kReadWrite, 0, plat::kOpenExisting, 0));
    return stream;
  }
  bool IsOpen(const char* name) {
    IXStream probe;
    return !probe.Open(DevicePath(name), kReadWrite, 0, plat::kOpenExisting, 0);
  }

  // Function 177 through its handler.
  bool CallHandleClose(std::int32_t number) {
    const frame::Word* f = frame::kFunctionTable[177 - 1];
    EXPECT_EQ(177u, f[0]);
    const auto* syntax =
        reinterpret_cast<const frame::Word(*)[frame::kSyntaxWords]>(f[7]);
    const auto handler = reinterpret_cast<frame::Handler>(syntax[0][0]);
    frame::CallFrame call{&services, 0, 0, 0, 0};
    void* args[] = {&number};
    result.calls = 0;
    EXPECT_EQ(frame::kHandled, handler(&call, &self, args));
    EXPECT_EQ(1, result.calls);
    EXPECT_EQ(frame::kTypeBool, result.type);
    return result.word != 0;
  }

  Result result;
  frame::Word services_ops[frame::kServiceSlotCount] = {};
  frame::VmServices services{services_ops};
  frame::Word self_ops[16] = {};
  frame::Self self{self_ops, 0, &record};
};

TEST_F(HandleTableTest, NumbersStartAtTwoAndAreNotReused) {
  EXPECT_EQ(2, AddHandle(HandleKind::kFile, OpenFile("a.dat")));
  EXPECT_EQ(3, AddHandle(HandleKind::kZone, std::make_unique<IXStream>()));
  EXPECT_TRUE(CloseHandle(2));
  EXPECT_EQ(4, AddHandle(HandleKind::kFile, std::make_unique<IXStream>()));
  HandleKind kind = HandleKind::kFile;
  EXPECT_NE(nullptr, FindHandle(3, &kind));
  EXPECT_EQ(HandleKind::kZone, kind);
  EXPECT_EQ(nullptr, FindHandle(2));
  EXPECT_FALSE(CloseHandle(2));
}

TEST_F(HandleTableTest, LibraryEndClosesEverythingAndStartsAgain) {
  frame::InitLibrary(0x1234);
  AddHandle(HandleKind::kFile, OpenFile("a.dat"));
  AddHandle(HandleKind::kFile, OpenFile("b.dat"));
  frame::TermLibrary(0);
  EXPECT_FALSE(IsOpen("a.dat"));
  EXPECT_FALSE(IsOpen("b.dat"));
  EXPECT_EQ(nullptr, FindHandle(2));
  EXPECT_EQ(2, AddHandle(HandleKind::kFile, std::make_unique<IXStream>()));
}

// A closed number is refused like one never given out; other handles stay.
TEST_F(HandleTableTest, Function177ClosesByNumberAndRefusesUnknownOnes) {
  const std::int32_t closed = AddHandle(HandleKind::kFile, OpenFile("a.dat"));
  record.number = kSentinel;
  EXPECT_TRUE(CallHandleClose(closed));
  EXPECT_EQ(kSentinel, record.number);
  EXPECT_FALSE(IsOpen("a.dat"));
  EXPECT_EQ(nullptr, FindHandle(closed));
  AddHandle(HandleKind::kFile, OpenFile("b.dat"));
  for (const std::int32_t number : {0, 1, -1, closed, 999}) {
    SCOPED_TRACE(number);
    record.Reset();
    EXPECT_FALSE(CallHandleClose(number));
    EXPECT_EQ(frame::kErrInvalidHandle, record.number);
    ASSERT_EQ(1u, record.texts.size());
    EXPECT_EQ(Message(22, {number}), record.texts[0]);
  }
  EXPECT_TRUE(IsOpen("b.dat"));
}

}  // namespace
}  // namespace files
