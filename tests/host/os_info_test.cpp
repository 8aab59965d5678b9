// Functions 151 and 236 through the reference host on Linux: the desktop
// class from uname (no generation, the whole build number, a refused
// platform-type query) and the selector check.
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <string>
#include <variant>
#include <vector>

#include "host/refhost/host.h"

namespace refhost {
namespace {

TEST(OsInfo, DesktopAnswersThroughTheHandlers) {
  Host host;
  ASSERT_TRUE(host.Load(STD8_COMPONENT_PATH, STD8_VM_PATH) && host.Start())
      << host.last_error();
  // "6.1.0-18-amd64": major, minor and build, read here independently.
  utsname names{};
  ASSERT_EQ(0, uname(&names));
  std::string part[3];
  char* p = names.release;
  for (std::string& n : part) {
    n = std::to_string(std::strtoul(p, &p, 10));
    if (*p != '.') break;
    ++p;
  }
  const std::string version = part[0] + "." + (part[1].empty() ? "0" : part[1]);
  const std::string build = part[2].empty() ? "0" : part[2];
  const struct {
    const char* id;
    std::uint32_t function;
    std::vector<Arg> args;
    std::u16string text;
    std::uint32_t error;
  } cases[] = {
      {"h.1", 151, {}, u"", 0},
      {"h.2", 151, {1}, {version.begin(), version.end()}, 0},
      {"h.3", 151, {2}, {build.begin(), build.end()}, 0},
      {"h.4", 151, {3}, u"", 0},
      {"h.5", 236, {}, u"32", 0},
      {"h.6", 151, {-1}, u"", 80144},
      {"h.7", 151, {6}, u"", 80144},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    const CallResult r = host.CallArgs(c.function, 0, c.args);
    ASSERT_TRUE(r.called()) << r.refused;
    const auto* text = std::get_if<std::u16string>(&r.value);
    EXPECT_EQ(c.text, text == nullptr ? u"" : *text);
    EXPECT_EQ(c.error, r.error.number);
    const std::vector<std::u16string> params =
        c.error == 0 ? std::vector<std::u16string>{}
                     : std::vector<std::u16string>{u"79872"};
    EXPECT_EQ(params, r.error.params);
  }
  host.Stop();
}

}  // namespace
}  // namespace refhost
