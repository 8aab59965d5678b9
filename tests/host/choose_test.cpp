// The syntax choice rule: the first syntax whose count and parameter types
// fit, the pass-through codes only in a second round.
#include "host/refhost/choose.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace refhost {
namespace {

SyntaxRecord Syntax(std::initializer_list<Word> signature,
                    Word param_word = ~Word{0}) {
  SyntaxRecord s;
  s.handler = 1;
  s.signature = signature;
  s.param_word = param_word != ~Word{0} ? param_word : signature.size() - 1;
  return s;
}

FunctionRecord Function(std::vector<SyntaxRecord> syntaxes) {
  FunctionRecord f;
  f.number = 1;
  f.syntaxes = std::move(syntaxes);
  return f;
}

struct ChooseCase {
  const char* id;
  FunctionRecord function;
  std::vector<Arg> args;
  int syntax;  // 0: none fits
};

TEST(ChooseSyntax, TakesTheFirstThatFits) {
  const FunctionRecord text_or_none =
      Function({Syntax({0x79}), Syntax({0x00, 0x7A})});
  const FunctionRecord variadic = Function({Syntax({0x08, 0x7A}, 0x81)});
  const FunctionRecord handle_then_text =
      Function({Syntax({0x08, 0x0E}), Syntax({0x08, 0x7A})});
  const FunctionRecord handle_then_int =
      Function({Syntax({0x00, 0x0E}), Syntax({0x00, 0x08})});
  // clang-format off
  const std::vector<ChooseCase> cases = {
    {"c.1",  text_or_none, {},                    1},
    {"c.2",  text_or_none, {u"x"},                2},
    {"c.3",  text_or_none, {1},                   0},
    {"c.4",  text_or_none, {u"x", u"y"},          0},
    {"c.5",  Function({Syntax({0x08, 0x08, 0x08})}), {1},     0},
    {"c.6",  Function({Syntax({0x08, 0x08, 0x08})}), {1, 2},  1},
    {"c.7",  Function({Syntax({0x08, 0x8008})}),     {1},     1},
    {"c.8",  Function({Syntax({0x08, 0x4008})}),     {1},     1},
    {"c.9",  variadic,     {u"a"},                1},
    {"c.10", variadic,     {u"a", 1, 2.5, true},  1},
    {"c.11", variadic,     {},                    0},
    {"c.12", variadic,     {1},                   0},
    {"c.13", handle_then_text, {u"x"},            2},
    {"c.14", handle_then_text, {1},               1},  // second round
    {"c.15", handle_then_int,  {1},               2},  // first round wins
    {"c.16", Function({Syntax({0, 0x7A}), Syntax({0, 0x1F})}), {1},  2},
    {"c.17", Function({Syntax({0, 0x1F})}), {common::Bytes{1}},     1},
    {"c.18", Function({Syntax({0, 0x4D}), Syntax({0, 0x7A})}),
                                        {common::Bytes{1}},        1},
    {"c.19", Function({Syntax({0, 0x0A}), Syntax({0, 0x0C})}), {1.5}, 2},
    {"c.20", Function({Syntax({0, 0x09})}), {1},                    0},
    {"c.21", Function({}),                  {},                     0},
  };
  // clang-format on
  for (const ChooseCase& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(c.syntax, ChooseSyntax(c.function, c.args));
  }
}

TEST(SyntaxFits, SaysWhatDoesNotFit) {
  std::string why;
  const std::vector<Arg> one_int = {1};
  EXPECT_FALSE(SyntaxFits(Syntax({0, 0x7A, 0x08}), one_int, true, &why));
  EXPECT_EQ("takes 2 argument(s), not 1", why);
  EXPECT_FALSE(SyntaxFits(Syntax({0, 0x7A}), one_int, true, &why));
  EXPECT_EQ("argument 1 (i:) does not fit parameter type 0x7A", why);
  EXPECT_FALSE(SyntaxFits(Syntax({0, 0x7A}, 0x81), {}, true, &why));
  EXPECT_EQ("takes 1 or more argument(s), not 0", why);
}

TEST(SignatureText, ListsResultAndParameters) {
  EXPECT_EQ("0x79 ()", SignatureText(Syntax({0x79})));
  EXPECT_EQ("0x0 (0x7A, 0x8008)", SignatureText(Syntax({0, 0x7A, 0x8008})));
  EXPECT_EQ("0x8 (0x7A, ...)", SignatureText(Syntax({0x08, 0x7A}, 0x81)));
}

}  // namespace
}  // namespace refhost
