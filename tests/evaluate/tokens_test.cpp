#include <gtest/gtest.h>

#include "evaluate/constants.hpp"
#include "evaluate/parser.hpp"

namespace tovik::evaluate::tokens_test {
namespace {

using texts = std::vector<std::string>;

texts tokens(const std::string& text) {
  texts out;
  for (const std::string& token : parse(text)) {
    if (!token.empty()) out.push_back(token);
  }
  return out;
}

TEST(Tokens, IsolatesEveryOperatorAndKeepsNames) {
  EXPECT_EQ(tokens("a+b-c*d/e^f"), (texts{"a", "+", "b", "-", "c", "*", "d", "/", "e", "^", "f"}));
  EXPECT_EQ(tokens("f(a,b)"), (texts{"f", "(", "a", ",", "b", ")"}));
  EXPECT_EQ(tokens("a==b!=c<d>e"), (texts{"a", "==", "b", "!=", "c", "<", "d", ">", "e"}));
  EXPECT_EQ(tokens("{a}"), (texts{"{", "a", "}"}));
}

TEST(Tokens, MendsTheLongOperators) {
  EXPECT_EQ(tokens("a**b"), (texts{"a", "**", "b"}));
  EXPECT_EQ(tokens("a>=b<=c"), (texts{"a", ">=", "b", "<=", "c"}));
  EXPECT_EQ(tokens("a ** b >= c <= d"), (texts{"a", "**", "b", ">=", "c", "<=", "d"}));
}

TEST(Tokens, KeepsALoneEqualSignInsideItsToken) {
  EXPECT_EQ(tokens("a=b"), texts{"a=b"});
  EXPECT_EQ(tokens("a = b"), (texts{"a", "=", "b"}));
}

TEST(Tokens, SplitsANumberAtItsSignedExponent) {
  EXPECT_EQ(tokens("1e-5"), (texts{"1e", "-", "5"}));
  EXPECT_EQ(tokens("1e5"), texts{"1e5"});
}

TEST(Tokens, KnowsTheDashesOfWordProcessors) {
  EXPECT_EQ(tokens("a\xE2\x80\x93"
                   "b"),
            (texts{"a", "\xE2\x80\x93", "b"}));
  EXPECT_EQ(tokens("a\xE2\x88\x92"
                   "b"),
            (texts{"a", "\xE2\x88\x92", "b"}));
}

TEST(Tokens, NeedsBlanksAroundWordOperators) {
  EXPECT_EQ(tokens("a and b"), (texts{"a", "and", "b"}));
  EXPECT_EQ(tokens("aandb"), texts{"aandb"});
  EXPECT_EQ(tokens("(a)or(b)"), (texts{"(", "a", ")", "or", "(", "b", ")"}));
}

TEST(Tokens, KeepsEmptyTokensAndTrimsTheEnds) {
  EXPECT_EQ(parse("  a  b  "), (texts{"a", "", "b"}));
  EXPECT_EQ(parse(""), texts{""});
  EXPECT_EQ(parse("a,b"), (texts{"a", ",", "b"}));
}

TEST(Tokens, ListsTheTextsAndTheCharactersOfALine) {
  EXPECT_EQ(op_parsing.size(), 20u);
  EXPECT_EQ(op_parsing.front(), "^");
  EXPECT_EQ(op_parsing.back(), "}");
  EXPECT_EQ(op_parsing[6], op_parsing[7]);
  EXPECT_EQ(split_string, " ^*/+-\u2013\u2013\u2212,()=!><");
  EXPECT_DOUBLE_EQ(co.at("_pi"), 3.141592653589793);
  EXPECT_DOUBLE_EQ(co.at("_tau"), 6.283185307179586);
  EXPECT_EQ(co.size(), 2u);
}

TEST(SplitNames, CutsAtOperatorsCommasAndParentheses) {
  EXPECT_EQ(split_names("a+b - c*log( d,e)^2"), (texts{"a", "b", "c", "log", "d", "e", "2"}));
  EXPECT_EQ(split_names("a==b != !c <=d>e/f"), (texts{"a", "b", "c", "d", "e", "f"}));
  EXPECT_EQ(split_names("\t a \n+ b"), (texts{"a", "b"}));
  EXPECT_EQ(split_names("a\u2013b\u2212c"), (texts{"a", "b", "c"}));
  EXPECT_TRUE(split_names(" (+) ").empty());
  EXPECT_TRUE(split_names("").empty());
}

TEST(SplitNames, LeavesTheLettersOfOtherAlphabetsWhole) {
  // Single bytes of the dashes stand in these letters too.
  for (const std::string name : {"\u00c0ge", "\u0420\u043e\u0441\u0442", "\u20ac", "\u00d3smosis",
                                 "\u2018x\u2019", "\u4e00\u9fa5", "\U0001F600"}) {
    EXPECT_EQ(split_names("1 + " + name + "\u2212" + name), (texts{"1", name, name})) << name;
  }
}

}  // namespace
}  // namespace tovik::evaluate::tokens_test
