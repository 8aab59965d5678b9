// DirectorySize and the host's say in the walk, over real files, with a VM
// of the test's own answering the request before each entry.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "files/walk_hook.h"
#include "frame/call_context.h"
#include "frame/implementations.h"
#include "frame/xerror_record.h"
#include "tests/files/fs_fixture.h"

namespace files {
namespace {

std::vector<WalkStepRequest> g_asked;
int g_stop_after = -1;  // entries the VM lets by; -1: all

std::int32_t Request(frame::VmServices*, std::uint32_t code, void* buffer) {
  if (code != kRequestWalkStep) return 0;
  auto* request = static_cast<WalkStepRequest*>(buffer);
  g_asked.push_back(*request);
  if (g_stop_after >= 0 && static_cast<int>(g_asked.size()) > g_stop_after) {
    request->go_on = 0;
  }
  return 0;
}

class WalkHookTest : public testing::DeviceRootTest {
 protected:
  WalkHookTest() {
    ops_[frame::kSlotRequest] = reinterpret_cast<frame::Word>(&Request);
    g_asked.clear();
    g_stop_after = -1;
  }
  std::int64_t Size(const char16_t* path, std::int32_t options) {
    frame::CallScope scope(&frame_, &self_);
    return DirectorySize(&self_, reinterpret_cast<frame::Word>(path), options);
  }

  std::array<frame::Word, frame::kServiceSlotCount> ops_{};
  frame::VmServices services_{ops_.data()};
  frame::CallFrame frame_{&services_, 0, 0, 0, 0};
  frame::CXError record_;
  frame::Self self_{nullptr, 0x5E1F, &record_};
};

TEST_F(WalkHookTest, TheHostIsAskedBeforeEachEntryAndMayStop) {
  Put("\\t\\a", "12");
  Put("\\t\\s\\b", "345");
  struct Case {
    std::int32_t options;
    int stop_after;
    std::int64_t size;
    std::size_t asked;
    std::int32_t interruptible;
  };
  const Case cases[] = {
      {0, -1, 5, 3, 0}, {4, -1, 5, 3, 1}, {12, -1, 5, 3, 1}, {4, 1, -1, 2, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.options);
    g_asked.clear();
    g_stop_after = c.stop_after;
    EXPECT_EQ(c.size, Size(u"\\t", c.options));
    EXPECT_EQ(c.asked, g_asked.size());
    for (const WalkStepRequest& r : g_asked) {
      EXPECT_EQ(0x5E1Fu, r.host);
      EXPECT_EQ(c.interruptible, r.interruptible);
    }
    EXPECT_FALSE(record_.HasError());  // a stop is no failure to report
  }
}

}  // namespace
}  // namespace files
