// RANDOMEFFECT statements.

#include "model/random_effect.hpp"

#include "catalogue.hpp"

namespace tovik::tests::random_effect_test {
namespace {

std::string read(const std::string& statement, unsigned identifiers) {
  const VariableList list = catalogue(identifiers);
  try {
    const data::random_effect e = model::parse_random_effect(statement, list);
    return e.name + "|" + e.outcome + "|" + e.term + "|" + e.cluster + "|" + e.fullline;
  } catch (const error& fault) {
    return fault.what();
  }
}

TEST(RandomEffect, ReadsItsParts) {
  EXPECT_EQ(read("s = y | x[school]", 2), "s|y|x|school|s = y | x[school]");
  EXPECT_EQ(read("  s=y|x[ school ]  ", 2), "s|y|x|school|s=y|x[ school ]");
  EXPECT_EQ(read("s = y | x", 1), "s|y|x|school|s = y | x");
  for (const char* term : {"Intercept", "INTERCEPT", "1"})
    EXPECT_EQ(read("s = y | " + std::string(term) + "[school]", 2),
              "s|y|Intercept|school|s = y | " + std::string(term) + "[school]");
}

TEST(RandomEffect, WithoutBracketNeedsOneIdentifier) {
  EXPECT_EQ(read("s = y | x", 0), "s|y|x||s = y | x");
  EXPECT_EQ(read("s = y | x", 2),
            "ERROR: Variable 'x'is more than two-levels.\n"
            "       Need to specify which random effect using brackets.\n"
            "       For exmaple : 'x[ID]' for the level-2 random intercept.");
}

TEST(RandomEffect, RefusesOtherForms) {
  for (const std::string statement : {"",
                                      "s",
                                      "s = y",
                                      "s | y",
                                      "| x = y",
                                      "= y | x",
                                      "s = | x",
                                      "s = y |",
                                      "s = y | [school]",
                                      "s t = y | x",
                                      "s = y z | x",
                                      "s = y | x z",
                                      "s = y | x[school",
                                      "s = y | x[school] z",
                                      "s = y | x[]",
                                      "s = y | x]",
                                      "s = y | x[school][district]",
                                      "s = y | x@b",
                                      "s = y | (x*z)",
                                      "s == y | x"})
    EXPECT_EQ(read(statement, 1),
              "ERROR: RANDOMEFFECT command not correctly specified.\n"
              "       Command must be name = outcome | term[identifier].\n       Problem command: " +
                  statement);
}

}  // namespace
}  // namespace tovik::tests::random_effect_test
