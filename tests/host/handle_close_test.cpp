// Function 177 through the reference host: a number the handle table never
// gave out is refused with error 80022 naming it, and the result is false.
#include <gtest/gtest.h>

#include <string>

#include "host/refhost/host.h"

namespace refhost {
namespace {

TEST(HandleCloseThroughHost, UnknownNumbersAreInvalidHandles) {
  Host host;
  ASSERT_TRUE(host.Load(STD8_COMPONENT_PATH, STD8_VM_PATH))
      << host.last_error();
  ASSERT_TRUE(host.Start()) << host.last_error();
  for (const std::int32_t number : {0, 1, 2, -7, 4096}) {
    SCOPED_TRACE(number);
    const CallResult r = host.Call(177, number);
    ASSERT_TRUE(r.called()) << r.refused;
    EXPECT_EQ(Value(false), r.value);
    EXPECT_EQ(80022u, r.error.number);
    const std::u16string digits = [&] {
      const std::string s = std::to_string(number);
      return std::u16string(s.begin(), s.end());
    }();
    EXPECT_NE(std::u16string::npos, r.error.Message().find(digits));
  }
  host.Stop();
}

}  // namespace
}  // namespace refhost
