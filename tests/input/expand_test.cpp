#include "input/expand.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/numbers.hpp"
#include "model/tokenize.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::expand_test {
namespace {

struct Pair {
  std::string from;
  std::string to;
};

std::string fault(const std::string& text) {
  try {
    expand(text, ':');
  } catch (const error& e) {
    return e.what();
  }
  return "";
}

TEST(Expand, MakesListsOfNames) {
  const Pair cases[] = {
      {"x1:x3", "x1 x2 x3"},
      {"a x1:x3 b", "a x1 x2 x3 b"},
      {"x1::x3", "x1 x2 x3"},
      {"x0:x2", "x0 x1 x2"},
      {"x01:x03", "x01 x02 x03"},
      {"x9:x11", "x9 x10 x11"},
      {"1:3", "1 2 3"},
      {"t1_x1:t1_x3", "t1_x1 t1_x2 t1_x3"},
      {"t1_x1:t3_x1", "t1_x1 t2_x1 t3_x1"},
      {"t1_x11:t5_x11", "t1_x11 t2_x11 t3_x11 t4_x11 t5_x11"},
      {"x1_a:x3_a", "x1_a x2_a x3_a"},
      {"x1:x3@b", "x1@b x2@b x3@b"},
      {"x1:x3%0.5", "x1%0.5 x2%0.5 x3%0.5"},
      {"x1:x2$1", "x1$1 x2$1"},
      {"x1:x2[id]", "x1[id] x2[id]"},
      {"x1:x3 x1:x2", "x1 x2 x3 x1 x2"},
      {"no range", "no range"},
      {"", ""},
  };
  for (const Pair& c : cases) EXPECT_EQ(expand(c.from, ':'), c.to) << c.from;
}

TEST(Expand, JoinsNamesByTheTextBetweenTheDelimiters) {
  const Pair cases[] = {
      {"x1:+:x3", "x1+x2+x3"},
      {"x1:+:x3@b", "(x1+x2+x3)@b"},
      {"x1:+:x3%2", "(x1+x2+x3)%2"},
      {"x1:*(-1)+:x3", "x1*(-1)+x2*(-1)+x3"},
  };
  for (const Pair& c : cases) EXPECT_EQ(expand(c.from, ':'), c.to) << c.from;
}

TEST(Expand, LeavesDescendingRangesAndColonsOfSuffixesAlone) {
  for (const char* text : {"x3:x1", "x3:+:x1", "x2@a:b", "x@1:2"}) EXPECT_EQ(expand(text, ':'), text);
}

TEST(Expand, RejectsWhatIsNoRange) {
  const std::string start = "ERROR: Unable to expand syntax. ";
  const auto prefixes = [&](const std::string& kind, const std::string& l, const std::string& r) {
    return start + "The " + kind + " for \n       '" + l + "' and '" + r + "' do not match.";
  };
  EXPECT_EQ(fault("x1:x1"), prefixes("prefix/suffix", "x1", "x1"));
  EXPECT_EQ(fault("a:b"), prefixes("prefix/suffix", "a", "b"));
  EXPECT_EQ(fault("x1:x1_2"), prefixes("prefix/suffix", "x1", "x1_2"));
  EXPECT_EQ(fault("x00:x0"), prefixes("prefix/suffix", "x00", "x0"));
  EXPECT_EQ(fault("x01:x10"), prefixes("prefixes", "x01", "x10"));
  EXPECT_EQ(fault("y1:z3"), prefixes("prefixes", "y1", "z3"));
  EXPECT_EQ(fault("x1_a:x3_b"), prefixes("suffixes", "x1_a", "x3_b"));
  EXPECT_EQ(fault("a1_1:a2_2"), prefixes("prefixes", "a1_1", "a2_2"));
  EXPECT_EQ(fault(":x3"), start + "There is a trailing or leading colon for ':x3'");
  EXPECT_EQ(fault("x1:"), start + "There is a trailing or leading colon for 'x1:'");
  EXPECT_EQ(fault(":"), start + "There is a trailing or leading colon for ':'");
  EXPECT_EQ(fault("x1:@b"), start + "There is a trailing or leading colon for 'x1:@b'");
  EXPECT_EQ(fault("a1:b:c3:d4"), start + "There are too many ':' in  'a1:b:c3:d4'");
}

TEST(Expand, LimitsTheSizeOfARange) {
  std::vector<std::string> names{"x1:x1000000"};
  expand(names, ':');
  ASSERT_EQ(names.size(), 1000000u);
  EXPECT_EQ(names.back(), "x1000000");
  EXPECT_EQ(fault("x1:x1000001"),
            "ERROR: Unable to expand syntax. The prefix/suffix for \n"
            "       'x1' and 'x1000001' do not match.");
  EXPECT_NE(fault("x1:x1234567890123456789"), "");
  EXPECT_NE(fault("x1:x700000 x1:x700000"), "");
  EXPECT_NE(fault("x1:" + std::string(1000, '+') + ":x1000000"), "");
}

TEST(TokenExpand, KeepsWhatStandsAround) {
  const Pair cases[] = {
      {"{y1:y3}", "{y1 y2 y3}"},
      {"{y1:y2@b}", "{y1@b y2@b}"},
      {"mean(x1:+:x3)", "mean(x1+x2+x3)"},
      {"(x1:+:x3)@b", "(x1+x2+x3)@b"},
      {"x1:*(-1)+:x3", "x1*(-1)+x2*(-1)+x3"},
      {"x1:x3@(1/3)", "x1@(1/3) x2@(1/3) x3@(1/3)"},
      {"(x1:+:x3@b)", "((x1+x2+x3)@b)"},
      {"a+x1:+:x2*z", "a+x1+x2*z"},
      {"z=x1:+:x2", "z=x1+x2"},
      {"( x1:+:x2 )", "( x1+x2 )"},
      {"x1:x2[id]%2", "x1[id]%2 x2[id]%2"},
      {"plain", "plain"},
      {"y~x1:x2", "y~x1 x2"},
      {"y~a|x1:x2", "y~a|x1 x2"},
      {"x1:x2~z", "x1 x2~z"},
      {"f->x1:x2", "f->x1 x2"},
      {"(a,x1:x2)", "(a,x1 x2)"},
      {"2*x1:+:x2/3", "2*x1+x2/3"},
      {"x3:x1", "x3:x1"},
      {"x@a:b", "x@a:b"},
      {"max(x1:,:x3)", "max(x1,x2,x3)"},
  };
  for (const Pair& c : cases) {
    std::string token = c.from;
    token_expand(token, ':');
    EXPECT_EQ(token, c.to) << c.from;
  }
}

TEST(EvalExpand, TreatsParenthesesAsOneToken) {
  EXPECT_EQ(eval_expand("y ~ x1:x3 z", ':'), "y ~ x1 x2 x3 z");
  EXPECT_EQ(eval_expand("y ~ ( x1 : + : x2 ) z", ':'), "y ~ ( x1 + x2 ) z");
  EXPECT_EQ(eval_expand("y ~ x1:x2@(1 / 3)", ':'), "y ~ x1@(1 / 3) x2@(1 / 3)");
  EXPECT_EQ(eval_expand(" z = x1:+:x2", ':'), "z = x1+x2");
}

TEST(EvalExpand, LeavesUnbalancedStatementsAlone) {
  for (const char* text : {"y ~ (x1:x3", "y ~ x1:x3)", ")x1:x3("}) EXPECT_EQ(eval_expand(text, ':'), text);
}

TEST(EvalExpand, ItsOwnOutputStaysAsItIs) {
  for (const char* text :
       {"y ~ x1:x3 z", "y ~ ( x1 : + : x2 ) z", "y ~ x1:x2@(1 / 3)", "z = x1:+:x2", "y~x9:x11@b|x9",
        "y ~ x3:x1", "f1 -> {y1:y3@l}", "v = max(x1:,:x3) + mean(z1:z1)", ""}) {
    std::string once;
    try {
      once = eval_expand(text, ':');
    } catch (const error&) {
      continue;
    }
    EXPECT_EQ(eval_expand(once, ':'), once);
  }
}

TEST(EvalExpand, TheFirstElementThatFailsIsNamed) {
  const auto message = [](const std::string& text) -> std::string {
    try {
      eval_expand(text, ':');
    } catch (const error& e) {
      return e.what();
    }
    return "";
  };
  EXPECT_EQ(message("y ~ a:b c1:d2"),
            "ERROR: Unable to expand syntax. The prefix/suffix for \n       'a' and 'b' do not match.");
  EXPECT_EQ(message("y ~ x1:x2 :"),
            "ERROR: Unable to expand syntax. There is a trailing or leading colon for ':'");
  EXPECT_EQ(message("y ~ mean(x1:)"),
            "ERROR: Unable to expand syntax. There is a trailing or leading colon for 'x1:'");
  EXPECT_EQ(message("y ~ (a1:+:a2 + b1:+:b2)"),
            "ERROR: Unable to expand syntax. There are too many ':' in  'a1:+:a2 + b1:+:b2'");
}

TEST(RfindVec, FindsTheRunByItsPlace) {
  const struct {
    const char* text;
    std::size_t start;
    std::size_t at;
  } cases[] = {{"x1", 0, 1},
               {"t1_x11", 0, 4},
               {"t1_x11", 1, 1},
               {"x01", 0, 2},
               {"x00", 0, 2},
               {"x0_05", 0, 4},
               {"x0_05", 1, 1},
               {"x1_a", 0, 1},
               {"12", 0, 0},
               {"x100_0", 1, 1},
               {"x1", 1, std::string::npos},
               {"abc", 0, std::string::npos},
               {"", 0, std::string::npos}};
  for (const auto& c : cases) EXPECT_EQ(rfind_vec(c.text, parseUints(c.text), c.start), c.at) << c.text;
}

TEST(In, ComparesWithoutRegardToLetterCase) {
  const std::vector<std::string> list{"Abc", "x1"};
  for (const char* name : {"abc", "ABC", "Abc", "X1"}) EXPECT_TRUE(in(list, name)) << name;
  for (const char* name : {"", "ab", "abcd", "x", "x1 "}) EXPECT_FALSE(in(list, name)) << name;
  EXPECT_FALSE(in({}, "x"));
}

TEST(Tokenize, RejoinsParentheses) {
  std::vector<std::string> tokens{"(a", "+", "b)@c", "d", "f(x", "(y))", "", "e"};
  EXPECT_EQ(model::tokenize(tokens), -1);
  EXPECT_EQ(tokens, (std::vector<std::string>{"(a + b)@c", "d", "f(x (y))", "e"}));
}

TEST(Tokenize, TellsWhereTheBalanceBreaks) {
  const struct {
    std::vector<std::string> tokens;
    int position;
  } cases[] = {{{"a)", "b"}, 1}, {{"a", "(b"}, 2}, {{"(a", "(b)"}, 0},
               {{"a", ")("}, 2}, {{}, -1},         {{"a"}, -1}};
  for (const auto& c : cases) {
    std::vector<std::string> tokens = c.tokens;
    EXPECT_EQ(model::tokenize(tokens), c.position);
    EXPECT_EQ(tokens, c.tokens);
  }
}

}  // namespace
}  // namespace tovik::expand_test
