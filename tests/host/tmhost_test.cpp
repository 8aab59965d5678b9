// tmhost as a program: exit statuses and messages for good and bad usage,
// the forwarded call, and the shape of its JSON output. Each run is also
// checked for sanitizer reports, which the status alone may not show.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "tests/support/run_process.h"

namespace {

using support::ProcessResult;

ProcessResult Tmhost(std::vector<std::string> args) {
  ProcessResult r = support::RunProcess(STD8_TMHOST_PATH, args);
  EXPECT_EQ(std::string::npos, r.err.find("Sanitizer")) << r.err;
  EXPECT_EQ(std::string::npos, r.err.find("runtime error")) << r.err;
  return r;
}

std::vector<std::string> WithLib(std::vector<std::string> args) {
  args.insert(args.begin(), {"--lib", STD8_COMPONENT_PATH});
  return args;
}

struct UsageCase {
  const char* id;
  std::vector<std::string> args;
  int status;
  const char* out;  // found in stdout
  const char* err;  // found in stderr
};

TEST(Tmhost, ExitStatusesAndMessages) {
  // clang-format off
  const std::vector<UsageCase> cases = {
    {"t.1", {"call", "127"}, 3, "forwarded: component 42, index 0", ""},
    {"t.2", {"call", "124", "i:0"}, 3, "index 5", ""},
    {"t.3", {"--lang", "1", "call", "127"}, 3, "component 42", ""},
    {"t.4", {"call", "0"}, 2, "", "unknown function 0"},
    {"t.5", {"call", "509"}, 2, "", "unknown function 509"},
    {"t.6", {"call", "abc"}, 2, "", "is not a function number"},
    {"t.7", {"call", "-1"}, 2, "", "is not a function number"},
    {"t.8", {"call"}, 2, "", "no function number"},
    {"t.9", {"call", "127", "x:1"}, 2, "", "unknown kind"},
    {"t.10", {"call", "127", "i:abc"}, 2, "", "not a 32-bit integer"},
    {"t.11", {"call", "127", "i:4294967296"}, 2, "", "not a 32-bit integer"},
    {"t.12", {"call", "127", "h:abc"}, 2, "", "hexadecimal"},
    {"t.13", {"call", "1", "i:5"}, 2, "", "no syntax of function 1 fits"},
    {"t.14", {"call", "--syntax", "1", "16"}, 2, "", "has no handler"},
    {"t.15", {"call", "16", "s:x", "i:5"}, 2, "", "has no handler"},
    {"t.16", {"call", "--syntax", "9", "1"}, 2, "", "there is no syntax 9"},
    {"t.17", {"call", "--syntax", "x", "1"}, 2, "", "--syntax takes"},
    {"t.18", {"call", "--bogus", "127"}, 2, "", "unknown option --bogus"},
    {"t.19", {"frobnicate"}, 2, "", "unknown command"},
    {"t.20", {}, 2, "", "no command"},
    {"t.21", {"--lang"}, 2, "", "--lang needs a value"},
    {"t.22", {"--lang", "x", "call", "127"}, 2, "", "--lang takes"},
    {"t.23", {"child"}, 2, "", "not implemented"},
    {"t.24", {"catalogue", "509"}, 2, "", "unknown function 509"},
    {"t.25", {"catalogue", "1", "2"}, 2, "", "at most one function"},
    {"t.26", {"message"}, 2, "", "no message number"},
    {"t.27", {"message", "x"}, 2, "", "one message number"},
    {"t.28", {"info", "extra"}, 2, "", "takes no argument"},
    {"t.29", {"--help"}, 0, "Usage: tmhost", ""},
    {"t.30", {"call", "--help"}, 0, "d:DECIMAL", ""},
    {"t.31", {"info", "--help"}, 0, "InfoComposante", ""},
    {"t.32", {"catalogue", "--help"}, 0, "\"typed_entries\"", ""},
    {"t.33", {"message", "--help"}, 0, "CommandeComposante", ""},
    {"t.34", {"info"}, 0, "  34: 508", ""},
    {"t.35", {"catalogue", "1"}, 0, "function 1  flags 0xC1010000", ""},
  };
  // clang-format on
  for (const UsageCase& c : cases) {
    SCOPED_TRACE(c.id);
    const ProcessResult r = Tmhost(WithLib(c.args));
    EXPECT_EQ(c.status, r.status) << r.err;
    EXPECT_NE(std::string::npos, r.out.find(c.out)) << r.out;
    EXPECT_NE(std::string::npos, r.err.find(c.err)) << r.err;
  }
}

TEST(Tmhost, FindsTheLibraryBesideItselfOrSaysItIsMissing) {
  EXPECT_EQ(3, Tmhost({"call", "127"}).status);
  const ProcessResult missing =
      Tmhost({"--lib", "/nonexistent/libtm210std.so", "call", "127"});
  EXPECT_EQ(2, missing.status);
  EXPECT_NE(std::string::npos, missing.err.find("no component library"));
  EXPECT_TRUE(missing.out.empty());
}

TEST(Tmhost, ForwardedCallPrintsOneJsonObject) {
  const ProcessResult r = Tmhost(WithLib({"call", "--json", "127"}));
  EXPECT_EQ(3, r.status);
  const std::regex object(
      R"(\{"function":127,"syntax":1,"result":null,"result_type":\d+,)"
      R"("error":null,"forwarded":\{"component":42,"index":0\}\}\n)");
  EXPECT_TRUE(std::regex_match(r.out, object)) << r.out;
}

TEST(Tmhost, CatalogueJsonNamesHandlersAndDecodesTypeNames) {
  const ProcessResult all = Tmhost(WithLib({"catalogue", "--json"}));
  ASSERT_EQ(0, all.status) << all.err;
  EXPECT_EQ(0u, all.out.find(R"({"functions":[{"number":1,"flags":3238068224,)"
                             R"("word6":129,"position":34078720,)"
                             R"("syntaxes":[{"handler":"h001",)"
                             R"("reserved":[0,0,0],"signature":[121],)"
                             R"("param_word":0},)"));
  EXPECT_NE(std::string::npos,
            all.out.find("\"type_names\":[\"+:061:2:PNT:Ic\xC3\xB4ne\","));
  EXPECT_TRUE(std::regex_search(
      all.out, std::regex(R"("value":"[^"]*","type":31240\})")));
  EXPECT_TRUE(
      std::regex_search(all.out, std::regex(R"("value":-\d+,"type":)")));

  const ProcessResult f48 = Tmhost(WithLib({"catalogue", "--json", "48"}));
  std::smatch m;
  ASSERT_TRUE(std::regex_search(
      f48.out, m,
      std::regex(R"re("handler":"(h\d+)".*?"handler":"(h\d+)")re")));
  EXPECT_EQ(m[1], m[2]);
  const ProcessResult f16 = Tmhost(WithLib({"catalogue", "--json", "16"}));
  EXPECT_NE(std::string::npos, f16.out.find("\"handler\":null"));
}

}  // namespace
