// tmhost's output: JSON strings and values, the call object, plain values.
#include "host/tmhost/output.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "host/tmhost/json.h"

namespace tmhost {
namespace {

using refhost::Value;

TEST(JsonString, EscapesWhatJsonRequires) {
  struct Case {
    const char* id;
    std::string text;
    std::string json;
  };
  // clang-format off
  const Case cases[] = {
    {"j.1", "",                     R"("")"},
    {"j.2", "abc",                  R"("abc")"},
    {"j.3", "say \"hi\"",           R"("say \"hi\"")"},
    {"j.4", "C:\\dir",              R"("C:\\dir")"},
    {"j.5", "a\nb\r\tc",            R"("a\nb\r\tc")"},
    {"j.6", "\b\f",                 R"("\b\f")"},
    {"j.7", std::string("\0\x01\x1f", 3), R"("\u0000\u0001\u001f")"},
    {"j.8", "/ \x7f",               "\"/ \x7f\""},
    {"j.9", "Ic\xC3\xB4ne \xE2\x82\xAC", "\"Ic\xC3\xB4ne \xE2\x82\xAC\""},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.json, JsonString(c.text));
  }
  EXPECT_EQ("\"a\\\"\xF0\x9F\x98\x80\"", JsonString(u"a\"\U0001F600"));
}

TEST(ValueOutput, PlainAndJson) {
  auto structure = std::make_shared<refhost::Structure>();
  structure->member_count = 3;
  structure->members[0] = {8, std::int64_t{1}};
  structure->members[2] = {16, std::u16string(u"x")};
  struct Case {
    const char* id;
    Value value;
    std::string plain;
    std::string json;
  };
  const double inf = std::numeric_limits<double>::infinity();
  // clang-format off
  const Case cases[] = {
    {"v.1",  std::monostate(),      "",         "null"},
    {"v.2",  std::int64_t{-5},      "-5",       "-5"},
    {"v.3",  1.5,                   "1.5",      "1.5"},
    {"v.4",  0.1,                   "0.1",      "0.1"},
    {"v.5",  1e300,                 "1e+300",   "1e+300"},
    {"v.6",  inf,                   "inf",      "null"},
    {"v.7",  true,                  "true",     "true"},
    {"v.8",  false,                 "false",    "false"},
    {"v.9",  frame::Decimal{999, 0x8003}, "-0.999", "-0.999"},
    {"v.10", frame::Decimal{150, 2}, "1.50",    "1.50"},
    {"v.11", std::u16string(u"a\"b"), "a\"b",   R"("a\"b")"},
    {"v.12", refhost::Bytes{0x0A, 0x0B, 0xFC}, "0a0bfc", R"({"hex":"0a0bfc"})"},
    {"v.13", refhost::Bytes{},      "",         R"({"hex":""})"},
    {"v.14", std::shared_ptr<const refhost::Structure>(structure),
             "member 0 (type 8): 1\nmember 2 (type 16): x", R"([1,null,"x"])"},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.plain, PlainValue(c.value));
    EXPECT_EQ(c.json, JsonValue(c.value));
  }
}

TEST(CallJson, HasTheFieldsInOrder) {
  refhost::CallResult done;
  done.function = 351;
  done.syntax = 2;
  done.result_type = 0x82;
  done.value = std::u16string(u"1.00 KB");
  EXPECT_EQ(R"({"function":351,"syntax":2,"result":"1.00 KB",)"
            R"("result_type":130,"error":null})",
            CallJson(done));

  refhost::CallResult raised;
  raised.function = 351;
  raised.syntax = 2;
  raised.result_type = 0x82;
  raised.value = std::u16string();
  raised.error.number = 81507;
  raised.error.severity = 2;
  raised.error.texts = {u"Bad \"unit\".", u"second"};
  raised.error.system_code = 5;
  raised.error.system_text = u"Access is denied. (5)";
  EXPECT_EQ(R"({"function":351,"syntax":2,"result":"","result_type":130,)"
            R"("error":{"number":81507,"severity":2,)"
            R"("message":"Bad \"unit\".\nsecond","system_code":5,)"
            R"j("system_text":"Access is denied. (5)"}})j",
            CallJson(raised));

  refhost::CallResult forwarded;
  forwarded.function = 127;
  forwarded.syntax = 1;
  forwarded.status = 1;
  forwarded.forward_component = 42;
  forwarded.forward_index = 0;
  forwarded.error.state = 0x40000010;
  EXPECT_EQ(R"({"function":127,"syntax":1,"result":null,"result_type":0,)"
            R"("error":null,"forwarded":{"component":42,"index":0}})",
            CallJson(forwarded));
}

}  // namespace
}  // namespace tmhost
